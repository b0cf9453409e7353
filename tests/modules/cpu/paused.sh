#!/usr/bin/env bash
# A coherence test whose process is stopped and continued, for far longer than it has patience, accuses no processor: it
# goes on, and ends by the stop that comes then.
#   paused.sh FOLDER_OF_THE_BUILT_MODULES
set -uo pipefail
((EUID == 0)) || { echo "tests run as root only"; exit 77; }
(($(nproc) > 1)) || { echo "it takes two processors"; exit 77; }
folder=$(mktemp -d) || exit 1
module=
trap '[[ -z $module ]] || kill -KILL "$module" 2>/dev/null; rm -rf "$folder"' EXIT
cp "$1"/cpu "$1"/cpu.w4p "$folder" || exit 1
cd "$folder" || exit 1
printf 'Test.coherence.%s.value=%s\n' PatienceSeconds 0.5 Rounds 4000000000 >cpu.w4i
mkfifo output || exit 1
./cpu run -t 4 -d 1 >output 2>errors & module=$!
exec 3<output
read -r -t 60 said <&3 && [[ $said == "Running: Cache coherence" ]] || { echo "it said: $said"; exit 1; }
for pause in 1 2 3; do
  kill -STOP $module || { echo "ended before pause $pause"; exit 1; }
  sleep 1.2 # longer than its patience: time that must not count
  kill -CONT $module
  sleep 0.1 # so that the next pause meets it somewhere else
done
kill -TERM $module
wait $module
status=$?
said=$(cat <&3)
((status == 24)) && ! grep -q '^Error' <<<"$said" || { echo "status $status"; echo "$said"; cat errors; exit 1; }
