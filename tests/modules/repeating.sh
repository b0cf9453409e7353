#!/usr/bin/env bash
# Of the passes of a repeated test, those are told that find something, and the first; signs of life of every one.
#   repeating.sh THE_BUILT_MODULE
set -uo pipefail
umask 022 # settings that others may write are refused
((EUID == 0)) || { echo "tests run as root only"; exit 77; }
folder=$(mktemp -d) || exit 1
trap 'rm -rf "$folder"' EXIT
cp "$1" "$folder" || exit 1
cd "$folder" || exit 1
# Far more than it takes: the fault ends the run.
echo MinTimePerTest.value=600 >reporting.w4i
printf '%s\n' Module.Name=Reporting Module.Description=Reporting Module.Company=Krel5 Test.later.Name=Later \
  Test.later.Description=Later 'Event.Seed.Message=seed {Pass}\n' 'Event.Alive.Message=alive {Pass}\n' \
  'Event.Found.Message=found {Pass}' 'Event.Done.Message=done {Pass}\n' >reporting.w4p

output=$(./reporting run -t 1 -d 1)
status=$?
((status == 23)) || { echo "status $status, not that of a fault"; echo "$output"; exit 1; }
said=$(grep -oE '(seed|alive|found|done) [0-9]+' <<<"$output" | tr '\n' ',')
[[ $said == 'seed 1,alive 1,done 1,alive 2,alive 3,seed 3,found 3,done 3,' ]] || { echo "$said"; echo "$output"; exit 1; }
