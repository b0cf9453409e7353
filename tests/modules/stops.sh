#!/usr/bin/env bash
# Every test that this machine can run ends soon after it is told to, and does not call that a PASS. Prints how long each took.
#   stops.sh FOLDER_OF_THE_BUILT_MODULES
set -uo pipefail
umask 022 # settings that others may write are refused
((EUID == 0)) || { echo "tests run as root only"; exit 77; }
most=1500 # milliseconds; an idle machine takes less than 100, one that runs other tests beside has been seen to take 250
folder=$(mktemp -d) || exit 1
trap 'rm -rf "$folder"' EXIT
modules=(memory cpu storage network pcie board)
for module in "${modules[@]}"; do cp "$1/$module" "$1/$module.w4p" "$folder" || exit 1; done
cd "$folder" || exit 1
printf 'Test.%s.UseFile.value=true\n' readsequential readrandom readsurface readspeed >storage.w4i
echo 'Test.coherence.Rounds.value=10000000' >cpu.w4i # or it may be over just when it is told
failed=0 stopped=0
for module in "${modules[@]}"; do
  while IFS= read -r line; do
    if [[ $line =~ ^\ +([a-z]+)\ \(([0-9]+)\) ]]; then
      test=${BASH_REMATCH[1]} number=${BASH_REMATCH[2]}
    else
      [[ $line =~ .*\ \(([0-9]+)\)\ : ]] && device=${BASH_REMATCH[1]}
      continue
    fi
    [[ $test != overwrite ]] || continue # asks first
    ./$module run -d "$device" -t "$number" >said 2>&1 </dev/null & process=$!
    sleep 0.4
    if ! kill -0 $process 2>/dev/null; then
      wait $process
      echo "$module $test: over before it could be stopped, $(grep -h '^Final Result' said)"
      continue
    fi
    from=$(date +%s%N)
    kill -TERM $process
    wait $process
    status=$?
    took=$((($(date +%s%N) - from) / 1000000))
    if ((status != 0 && took <= most)) && grep -qE '^Final Result: (NOT SUPPORTED|NOTAPPLICABLE|CANNOT RUN|INSUFFICIENT PRIVILEGE)$' said; then
      echo "$module $test: over before it heard of the stop, $(grep -h '^Final Result' said)"
      continue
    fi
    echo "$module $test: $took ms"
    ((++stopped))
    if ((status == 0 || took > most)) || ! grep -qE '^Final Result: (USER ABORTED|FAIL)$' said; then
      echo "that is too long, or no result of a test that was stopped (status $status):"; sed 's/^/    /' said; failed=1
    fi
  done < <(LC_ALL=C ./$module enum 2>/dev/null)
done
((stopped >= 8)) || { echo "only $stopped tests were stopped"; failed=1; }
exit $failed
