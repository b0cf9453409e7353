#!/usr/bin/env bash
# A coherence test whose process is stopped and continued, for longer than it has patience, accuses no processor: it
# goes on, and ends by the stop that comes then. Another program keeps one of its two processors busy, so that most
# pauses meet one of its threads waiting for the other.
#   paused.sh FOLDER_OF_THE_BUILT_MODULES
set -uo pipefail
((EUID == 0)) || { echo "tests run as root only"; exit 77; }
(($(nproc) > 1)) || { echo "it takes two processors"; exit 77; }
cores=()
for span in $(sed -n 's/^Cpus_allowed_list:\t//p' /proc/self/status | tr , ' '); do
  for ((core = ${span%-*}; core <= ${span#*-}; ++core)); do cores+=("$core"); done
done
folder=$(mktemp -d) || exit 1
module=
taskset -c "${cores[1]}" sh -c 'while :; do :; done' & busy=$!
trap 'kill -KILL $busy ${module:+"$module"} 2>/dev/null; rm -rf "$folder"' EXIT
cp "$1"/cpu "$1"/cpu.w4p "$folder" || exit 1
cd "$folder" || exit 1
printf 'Test.coherence.%s.value=%s\n' PatienceSeconds 0.5 Rounds 4000000000 >cpu.w4i
mkfifo output || exit 1
taskset -c "${cores[0]},${cores[1]}" ./cpu run -t 4 -d 1 >output 2>errors & module=$!
exec 3<output
read -r -t 60 said <&3 && [[ $said == "Running: Cache coherence" ]] || { echo "it said: $said"; exit 1; }
for pause in 1 2 3 4 5 6; do
  kill -STOP $module || { echo "ended before pause $pause"; exit 1; }
  sleep 0.7 # longer than its patience: time that must not count
  kill -CONT $module
  sleep 0.1 # so that the next pause meets it somewhere else
done
kill -TERM $module
wait $module
status=$?
said=$(cat <&3)
((status == 24)) && ! grep -q '^Error' <<<"$said" || { echo "status $status"; echo "$said"; cat errors; exit 1; }
