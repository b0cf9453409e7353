#!/usr/bin/env bash
# A page that breaks under the test is a found fault with its address: FAIL, said once, and the rest is tested on. So it
# is for every test, in each language, and when the run is stopped afterwards.
#   brokenpage.sh FOLDER_OF_THE_BUILT_MODULES BROKEN_PAGE_LIBRARY [poison]
# "poison" takes a page of this machine's memory away until it is started again.
set -uo pipefail
((EUID == 0)) || { echo "tests run as root only"; exit 77; }
way=${3:-file}
[[ $way == file || -n ${KREL5_POISON_MEMORY:-} ]] || { echo "set KREL5_POISON_MEMORY to give a page away"; exit 77; }
(($(getconf PAGESIZE) == 4096)) || { echo "written for pages of 4096 bytes"; exit 77; }
library=$(realpath "$2") || exit 1
folder=$(mktemp -d) || exit 1
module=
trap '[[ -z $module ]] || kill -KILL "$module" 2>/dev/null; rm -rf "$folder"' EXIT
cp "$1"/memory "$1"/memory.w4p "$1"/memory.de.w4p "$folder" || exit 1
cd "$folder" || exit 1

broken() { exec env LD_PRELOAD="$library" BROKEN_PAGE="$way" ./memory run -d 1 "$@"; }
settings() { # SIZE FLUSH
  for name in quick standard thorough patterns fade random; do
    printf "Test.$name.%s.value=%s\n" SizeMiB "$1" CacheFlush "$2"
  done >memory.w4i
  echo Test.fade.PauseSeconds.value=1 >>memory.w4i
}
fault() { echo "$1"; echo "$output"; exit 1; }

told='an error in memory that it cannot correct: page of 4096 bytes at offset 0x5000 of the memory under test'
verify() { # WHAT STATUS TEXT
  (($2 == 77)) && [[ $way == poison ]] && { echo "the kernel cannot poison a page"; exit 77; }
  (($2 == 23)) || fault "$1: status $2"
  (($(grep -c '^[A-Z][a-z]* ([0-9]*) : ' <<<"$output") == 1)) || fault "$1: not one event"
  grep -q "$3" <<<"$output" || fault "$1: \"$3\" is missing"
  grep -q '^Final Result: FAIL$' <<<"$output" || fault "$1: no verdict"
}

settings 1 none
for test in 1 2 3 4 5 6; do
  output=$(broken -t $test 2>&1)
  verify "test $test" $? "$told"
  [[ $way == file ]] || exit 0 # one page is enough
done
output=$(broken -t 1 -lang de 2>&1)
verify German $? 'einen Speicherfehler, den sie nicht korrigieren kann: Seite von 4096 Byte bei Offset 0x5000 '
settings 128 pass
mkfifo said || exit 1
broken -t 2 >said 2>&1 & module=$!
exec 3<said
output=
while read -r -t 60 line <&3; do
  output+=$line$'\n'
  [[ $line == *"$told"* ]] && break
done
kill -TERM $module
output+=$(cat <&3)
wait $module
status=$?
module=
verify "stopped" $status "$told"
