#!/usr/bin/env bash
# In a control group of 600 MiB the memory tests take what the group leaves, not what the machine has; and of two that
# want more together than there is, one says so, and neither is killed.
#   controlgroup.sh FOLDER_OF_THE_BUILT_MODULES
set -uo pipefail
umask 022 # settings that others may write are refused
((EUID == 0)) || { echo "tests run as root only"; exit 77; }
modules=$(cd "$1" && pwd) || exit 1

top=/sys/fs/cgroup/memory limit=memory.limit_in_bytes
[[ -e $top/$limit ]] || { top=/sys/fs/cgroup limit=memory.max; }
folder=$(mktemp -d) || exit 1
group=$top/$(basename "$folder")
trap 'rmdir "$group" 2>/dev/null; rm -rf "$folder"' EXIT
mkdir "$group" 2>/dev/null && [[ -w $group/$limit ]] || { echo "no memory group can be made here"; exit 77; }
echo $((600 << 20)) >"$group/$limit"

cp "$modules"/memory "$modules"/memory.w4p "$folder" || exit 1
cd "$folder" || exit 1
started() { # FOLDER: one run from a folder of its own, inside the group; its status is that of this function
  mkdir -p "$1" && cp memory memory.w4p memory.w4i "$1" || return 1
  bash -c "echo \$\$ >'$group/cgroup.procs' && cd '$1' && exec ./memory run -t 1 -d 1" >"$1/output" 2>&1
}

echo Test.quick.CacheFlush.value=none >memory.w4i
started default
status=$?
size=$(sed -nE 's/^Testing ([0-9]+) MiB.*/\1/p' default/output)
((status == 0 && size > 200 && size <= 300)) || { echo "status $status, $size MiB"; cat default/output; exit 1; }

printf '%s\n' Test.quick.CacheFlush.value=none Test.quick.SizeMiB.value=400 >memory.w4i
started one & one=$!
started other & other=$!
wait $one; one=$?
wait $other; other=$?
# CANNOT RUN, or BAD PARAMS of the one that started when the other had taken its memory
for status in $one $other; do
  [[ $status =~ ^(0|28|29)$ ]] || { echo "status $status"; tail one/output other/output; exit 1; }
done
((one != 0 || other != 0)) || { echo "800 MiB were locked in a group of 600"; exit 1; }
