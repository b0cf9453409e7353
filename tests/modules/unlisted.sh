#!/usr/bin/env bash
# A fault whose event the module's main forgot to create is told all the same, and the verdict stands.
#   unlisted.sh THE_BUILT_MODULE
set -uo pipefail
((EUID == 0)) || { echo "tests run as root only"; exit 77; }
folder=$(mktemp -d) || exit 1
trap 'rm -rf "$folder"' EXIT
cp "$1" "$folder" || exit 1
cd "$folder" || exit 1
echo 'Event.Forgotten.Message=The {Part} is broken' >reporting.w4p

output=$(./reporting run -t 2 -d 1)
status=$?
((status == 23)) || { echo "status $status, not that of a fault"; echo "$output"; exit 1; }
for line in 'The fan is broken' 'Event.ForgottenWithoutText.Message' 'Final Result: FAIL'; do
  grep -qF "$line" <<<"$output" || { echo "\"$line\" is not said:"; echo "$output"; exit 1; }
done
