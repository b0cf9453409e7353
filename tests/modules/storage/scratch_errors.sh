#!/usr/bin/env bash
# A file on a drive, several layers below it, is made, written and read whatever the system stumbles over, and what fails
# is told; nothing is left of it.
#   scratch_errors.sh FOLDER_OF_THE_BUILT_MODULES LIBRARY_OF_THE_FAULTY_DRIVE
set -uo pipefail
here=$(cd "$(dirname "$0")" && pwd)
. "$here/machine.sh"

# Its size is that of the file and as much again.
mkdir files && mount -t tmpfs -o size=8m files files || { echo "no file system can be mounted"; exit 77; }
number=$(awk -v place="$PWD/files" '$5 == place { print $3 }' /proc/self/mountinfo)
printf 'Test.readsequential.%s.value=%s\n' UseFile true FileSizeMiB 4 BlockSizeKiB 1024 >storage.w4i

failed=0
run() { # FAULTY_CALLS STATUS VERDICT TEXT
  output=$(FAULTY_CALLS=$1 LD_PRELOAD=$library LC_ALL=C ./storage run -t 1 -d 1 2>&1)
  local result=$?
  if ((result != $2)) || ! grep -q "^Final Result: $3\$" <<<"$output" || ! grep -qF "$4" <<<"$output"; then
    echo "$1: exit status $result, not $3 or no \"$4\":"
    echo "$output"
    failed=1
  fi
}
library=$3

# A partition, and as many layers upon it as are looked at; the file system is on the last one.
minor=0 layer=sys/dev/block/8:0
mkdir -p $layer/sda1 && echo 8:0 >$layer/dev && touch $layer/sda1/partition && echo 8:1 >$layer/sda1/dev
layer+=/sda1
for upper in md0 dm-0 dm-1 dm-2 dm-3; do
  layer+=/holders/$upper
  mkdir -p "$layer" && echo "252:$((++minor))" >"$layer/dev"
done
run "" 28 "CANNOT RUN" "no mounted, writable file system on /dev/sda"
mkdir -p "$layer/holders/dm-4" && echo "$number" >"$layer/holders/dm-4/dev"
run "" 28 "CANNOT RUN" "no mounted, writable file system on /dev/sda"
echo "$number" >"$layer/dev"

while IFS='|' read -r calls status verdict shows; do
  run "$calls" "$status" "$verdict" "$shows"
  left=$(ls -A files)
  [[ -z $left || $calls == *unlink* ]] || { echo "$calls: left $left"; failed=1; }
  rm -f files/.[!.]*
done <<'END'
|0|PASS|Read: 4194304 bytes
read half 3|0|PASS|only when tried again: 0.
read EINTR 2|0|PASS|only when tried again: 0.
opennameless EINTR 2|0|PASS|Read: 4194304 bytes
opennameless EOPNOTSUPP|0|PASS|Read: 4194304 bytes
opennameless EISDIR|0|PASS|Read: 4194304 bytes
opennameless EACCES|26|INSUFFICIENT PRIVILEGE|A temporary file cannot be made
opennameless EISDIR, opennew EACCES|26|INSUFFICIENT PRIVILEGE|A temporary file cannot be made
opennameless EISDIR, unlink EIO|23|FAIL|failed while a temporary file was written
openagain EIO|23|FAIL|failed while a temporary file was written
openagain EINVAL 1|0|PASS|cannot be read past the operating system's cache
pwrite half 2|0|PASS|Read: 4194304 bytes
pwrite EINTR 2|0|PASS|Read: 4194304 bytes
pwrite nothing|23|FAIL|failed while a temporary file was written
pwrite EIO|23|FAIL|failed while a temporary file was written
pwrite EDQUOT|28|CANNOT RUN|A temporary file cannot be made
fsync EIO|23|FAIL|failed while a temporary file was written
sync EIO 1|23|FAIL|failed while a temporary file was written
sync ENOSYS|0|PASS|Read: 4194304 bytes
sync EINVAL|0|PASS|Read: 4194304 bytes
sync ESPIPE|0|PASS|Read: 4194304 bytes
sync EOPNOTSUPP|0|PASS|Read: 4194304 bytes
sync EINTR|0|PASS|Read: 4194304 bytes
END

mount -t tmpfs -o size=64m above files || exit 1
run "" 28 "CANNOT RUN" "no mounted, writable file system on /dev/sda"
exit $failed
