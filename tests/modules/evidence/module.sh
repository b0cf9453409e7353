#!/usr/bin/env bash
# The memory module on a machine whose own counters rise while it tests: a corrected error is a warning that names the module
# and its count, or FAIL where that is asked for; one that could not be corrected is FAIL.
#   module.sh FOLDER_OF_THE_BUILT_MODULES
set -uo pipefail
umask 022 # settings that others may write are refused
if [[ ${1-} != inside ]]; then
  ((EUID == 0)) || { echo "tests run as root only"; exit 77; }
  unshare --mount true || { echo "no namespaces here"; exit 77; }
  folder=$(mktemp -d) || exit 1
  trap 'rm -rf "$folder"' EXIT
  cp "$1"/memory "$1"/memory.w4p "$1"/memory.de.w4p "$folder" || exit 1
  unshare --mount "$BASH" "$0" inside "$folder"
  exit
fi

cd "$2" || exit 1
counters=$2/sys/devices/system/edac/mc/mc0/dimm0
mkdir -p "$counters" && echo "DIMM_B1" >"$counters/dimm_label" || exit 1
mount --make-rprivate / && mount --bind "$2/sys" /sys || exit 1
mkfifo said || exit 1
failed=0

# check NAME COUNTER STATUS VERDICT TEXT OPTION...: the counter rises by 3 while the test waits
check() {
  local name=$1 counter=$2 expected=$3 verdict=$4 text=$5 output= status raised= module
  shift 5
  printf '%s\n' 5 | tee "$counters/dimm_ce_count" >"$counters/dimm_ue_count"
  LC_ALL=C timeout 60 ./memory run -d 1 -t 5 "$@" >said 2>&1 </dev/null & module=$!
  while IFS= read -r -t 60 line; do
    output+=$line$'\n'
    [[ -n $raised || $line != *" MiB"* ]] || { echo 8 >"$counters/$counter"; raised=1; }
  done <said
  wait $module
  status=$?
  if [[ -z $raised || $status != "$expected" ]] || ! grep -q "^Final Result: $verdict\$" <<<"$output" ||
    ! grep -qF "$text" <<<"$output"; then
    echo "$name: status $status, expected $expected, $verdict and \"$text\":"
    echo "$output"
    failed=1
  fi
}
printf 'Test.fade.%s\n' SizeMiB.value=1 PauseSeconds.value=1 Threads.value=1 >memory.w4i
check corrected dimm_ce_count 0 PASS 'errors of the memory module DIMM_B1: 3'
check uncorrected dimm_ue_count 23 FAIL 'of the memory module DIMM_B1 that it could not correct: 3'
check German dimm_ue_count 23 FAIL 'Fehler des Speichermoduls DIMM_B1 gezählt' -lang de
echo Parameter.CorrectedErrorsFail.value=true >>memory.w4i
check strict dimm_ce_count 23 FAIL 'errors of the memory module DIMM_B1: 3'
exit $failed
