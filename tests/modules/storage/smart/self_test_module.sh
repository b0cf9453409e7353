#!/usr/bin/env bash
# The module lets a drive test itself, through a smartctl that it finds and runs: the verdict is the drive's, and who stops the
# module stops the drive's test.
#   self_test_module.sh FOLDER_OF_THE_BUILT_MODULES
set -uo pipefail
here=$(cd "$(dirname "$0")" && pwd)
. "$here/../machine.sh"

cat >sbin/smartctl <<'END'
#!/bin/sh
cd /usr/sbin
echo "$*" >>words
case "$*" in
  *' -t '*) : >begun; [ ! -e errors ] || cat errors >/sys/block/sda/device/ioerr_cnt; [ ! -e link ] || cat link >/sys/bus/pci/devices/0000:00:1f.2/aer_dev_fatal; printf '{"smartctl":{"exit_status":0}}'; exit 0 ;;
  *' -X '*) : >ended; exit 0 ;;
esac
value=0
if [ -e begun ]; then
  echo x >>begun
  left=$((10 - $(wc -l <begun)))
  [ "$(cat result)" != hangs ] || left=5
  if [ $left -gt 0 ]; then value=$((240 + left)); else value=$(cat result); fi
fi
printf '{"smart_status":{"passed":true},"ata_smart_data":{"self_test":{"status":{"value":%d,"string":"so"}}}}' $value
END
chmod +x sbin/smartctl
printf 'Test.selftest%s.PollSeconds.value=0.1\n' short long >storage.w4i

failed=0
begin() { rm -f sbin/begun sbin/ended; : >sbin/words; echo "$1" >sbin/result; }
expect() { # test, exit status, verdict, text
  if [[ $status != "$2" ]] || ! grep -q "^Final Result: $3\$" output || ! grep -qF -- "$4" output; then
    echo "$1: exit status $status, not $2 $3 with: $4"; sed 's/^/    /' output; failed=1
  fi
}
while IFS='|' read -r test type result exit verdict text; do
  begin "$result"
  LC_ALL=C ./storage run -t "$test" -d 1 >output 2>&1
  status=$?
  expect "$type" "$exit" "$verdict" "$text"
  grep -qx -- "--json -t $type /dev/sda" sbin/words || { echo "smartctl was given:"; cat sbin/words; failed=1; }
done <<'END'
6|short|0|0|PASS|The short self-test of the drive passed.
7|long|112|23|FAIL|A self-test of the drive failed: extended
7|long|33|28|CANNOT RUN|did not come to its end
END
# What the system counts of this drive meanwhile is told, and no verdict follows from it.
drive=/sys/devices/pci0000:00/0000:00:1f.2/ata1/host0/target0:0:0/0:0:0:0
ln -s ../../../0:0:0:0 $drive/block/sda/device
echo 0x5 >$drive/ioerr_cnt
begin 0
echo 0x8 >sbin/errors
LC_ALL=C ./storage run -t 6 -d 1 >output 2>&1
status=$?
expect counted 0 PASS 'the drive sda answered commands with errors: 3'
rm sbin/errors
# The link that the drive hangs on counts.
mkdir -p /sys/class/block /sys/bus/pci/devices
ln -s ../../${drive#/sys/}/block/sda /sys/class/block/sda
ln -s ../../../devices/pci0000:00/0000:00:1f.2 /sys/bus/pci/devices
echo 'TOTAL_ERR_COR 0' >/sys/bus/pci/devices/0000:00:1f.2/aer_dev_correctable
echo 'TOTAL_ERR_FATAL 0' >/sys/bus/pci/devices/0000:00:1f.2/aer_dev_fatal
begin 0
echo 'TOTAL_ERR_FATAL 2' >sbin/link
LC_ALL=C ./storage run -t 6 -d 1 >output 2>&1
status=$?
expect link 23 FAIL '0000:00:1f.2 counted errors of its link that could not be corrected: 2.'
rm sbin/link
begin hangs
LC_ALL=C ./storage run -t 7 -d 1 >output 2>&1 & module=$!
until grep -qs 'Percent Done: 50' output; do sleep 0.05; kill -0 $module || break; done
kill -TERM $module
from=$(date +%s%N)
wait $module
status=$?
took=$((($(date +%s%N) - from) / 1000000))
expect stopped 24 'USER ABORTED' 'self-test of the drive has begun'
[[ -e sbin/ended ]] || { echo "the drive's test goes on"; failed=1; }
((took < 3000)) || { echo "the end took $took ms"; failed=1; }
exit $failed
