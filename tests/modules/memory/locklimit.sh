#!/usr/bin/env bash
# Root of a user namespace holds every capability in there, and still may lock no more than its limit. That is told as
# a matter of privilege and not as lack of memory.
#   locklimit.sh FOLDER_OF_THE_BUILT_MODULES
set -uo pipefail
umask 022 # settings that others may write are refused
ulimit -l 64 && unshare -U -r true || { echo "no user namespaces here"; exit 77; }
folder=$(mktemp -d) || exit 1
trap 'rm -rf "$folder"' EXIT
cp "$1"/memory "$1"/memory.w4p "$folder" || exit 1
cd "$folder" || exit 1
echo Test.quick.SizeMiB.value=16 >memory.w4i

output=$(unshare -U -r ./memory run -t 1 -d 1)
for line in 'the limit is 64 KiB' '^Final Result: INSUFFICIENT PRIVILEGE$'; do
  grep -q "$line" <<<"$output" || { echo "\"$line\" is missing:"; echo "$output"; exit 1; }
done
