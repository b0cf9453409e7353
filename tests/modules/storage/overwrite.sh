#!/usr/bin/env bash
# The module overwrites a drive of the kernel, a loop device: never one that is in use, never unasked, and what it writes is there.
#   overwrite.sh FOLDER_OF_THE_BUILT_MODULES
set -uo pipefail
here=$(cd "$(dirname "$0")" && pwd)
((EUID == 0)) || { echo "needs root"; exit 77; }
if [[ ${1-} != inside ]]; then
  image=$(mktemp) || exit 1
  truncate -s 8M "$image"
  mkfs.ext4 -q -F "$image" 2>/dev/null || head -c 8M /dev/urandom >"$image"
  loop=$(losetup --find --show "$image" 2>/dev/null) || { rm -f "$image"; echo "no loop devices here"; exit 77; }
  # Goes with whoever holds it open last, however this ends.
  exec 9<"$loop" && losetup --detach "$loop" && rm -f "$image" || exit 1
  export loop
fi
. "$here/machine.sh"
trap - EXIT

mkdir dev dev/shm mounted && for node in 'null 1 3' 'zero 1 5' 'random 1 8' 'urandom 1 9' "sda 7 ${loop#/dev/loop}"; do
  read -r name major minor <<<"$node"
  kind=c; [[ $name != sda ]] || kind=b
  mknod "dev/$name" $kind "$major" "$minor" || exit 77
done
mount --bind dev /dev
failed=0
expect() { # name, exit status, verdict, text
  LC_ALL=C ./storage run -t "$test" -d 1 >output 2>&1 </dev/null
  local status=$?
  if [[ $status != "$2" ]] || ! grep -q "^Final Result: $3\$" output || ! grep -qF -- "$4" output; then
    echo "$1: exit status $status, not $2 $3 with: $4"; sed 's/^/    /' output; failed=1
  fi
}
cp --sparse=never dev/sda before || exit 1
test=$(./storage enum | sed -nE 's/^ *overwrite \(([0-9]+)\).*/\1/p')
[[ -n $test ]] || { echo "the test is not listed:"; ./storage enum; exit 1; }
: >storage.w4i
expect "nobody who could be asked" 28 'CANNOT RUN' 'is not overwritten, since nobody said that it may be'
cmp -s dev/sda before || { echo "it was written to"; failed=1; }

printf 'Test.overwrite.%s\n' EraseConfirmed.value=true Seed.value=7 >storage.w4i
if mount -o ro,noload dev/sda mounted 2>output; then
  expect "a mounted one" 28 'CANNOT RUN' 'is in use'
  umount mounted
  cmp -s dev/sda before || { echo "it was written to while it was mounted"; failed=1; }
else
  echo "not tried with a mounted one: $(cat output)"
fi
expect "a sound one" 0 PASS 'Written: 8388608 of 8388608 bytes'
! cmp -s -n 4096 dev/sda before || { echo "it was not written to"; failed=1; }
# One whose own count of what it could not correct rises meanwhile.
cat >sbin/smartctl <<'END'
#!/bin/sh
echo x >>/usr/sbin/asked
printf '{"nvme_smart_health_information_log":{"critical_warning":0,"media_errors":%d}}' "$(grep -c x /usr/sbin/asked)"
END
chmod +x sbin/smartctl
expect "one that loses data" 23 FAIL 'what it could not correct (media errors) rose by 1'
exit $failed
