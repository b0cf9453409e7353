#!/usr/bin/env bash
# A test that is repeated for a minimum time says what it does and what it found in its first pass, and not again.
#   passes.sh FOLDER_OF_THE_BUILT_MODULES
set -uo pipefail
umask 022 # settings that others may write are refused
((EUID == 0)) || { echo "tests run as root only"; exit 77; }
folder=$(mktemp -d) || exit 1
trap 'rm -rf "$folder"' EXIT
cp "$1"/cpu "$1"/cpu.w4p "$folder" || exit 1
cd "$folder" || exit 1
# every pass takes a small part of the second
printf '%s\n' MinTimePerTest.value=1 Test.integer.SecondsPerCore.value=0 >cpu.w4i

output=$(./cpu run -t 1 -d 1 -ll debug)
status=$?
((status == 0)) || { echo "status $status"; echo "$output"; exit 1; }
passes=$(cat logs/*.log | grep -c 'test returned result')
((passes >= 2)) || { echo "$passes passes are too few to tell the first from the others"; exit 1; }
for line in 'Running: ' 'Calculations done: '; do
  count=$(grep -c "^$line" <<<"$output")
  ((count == 1)) || { echo "\"$line\" is there $count times, not once:"; echo "$output"; exit 1; }
done
