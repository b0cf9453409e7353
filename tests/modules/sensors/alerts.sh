#!/usr/bin/env bash
# Alerts of what the module reads, each raised, held within its margin and taken back, over a machine of files.
#   alerts.sh FOLDER_OF_THE_BUILT_MODULES
set -uo pipefail
modules=$1 here=$(dirname "$(realpath "$0")")
folder=$(mktemp -d) || exit 1
pid=
trap '[[ -z $pid ]] || kill -9 "$pid" 2>/dev/null; rm -rf "$folder"' EXIT
cp "$modules"/sensors "$modules"/sensors*.w4p "$folder" || exit 1
cd "$folder" || exit 1
. "$here/session.sh"

write() { mkdir -p "machine/$(dirname "$1")" && printf '%s\n' "$2" >"machine/$1.new" && mv "machine/$1.new" "machine/$1"; }
battery=sys/class/power_supply/BAT0 memory=sys/devices/system/edac/mc/mc0
card=sys/devices/pci0000:00/0000:00:19.0/net/eth0 array=sys/block/md0
for line in "$battery/type Battery" "$battery/present 1" "$battery/capacity 80" "$battery/energy_full 40000000" \
  "$battery/energy_full_design 50000000" "$memory/ce_count 5" "$memory/ue_count 0" "$memory/dimm0/dimm_ce_count 5" \
  "$memory/dimm0/dimm_ue_count 0" "$card/address 02:00:00:00:00:07" "$card/type 1" "${card%/net*}/class 0x020000" \
  "${card%/net*}/vendor 0x8086" "${card%/net*}/device 0x10d3" "$card/statistics/rx_bytes 100" "$card/statistics/tx_bytes 100" "$card/statistics/rx_errors 3" "$card/statistics/tx_errors 0" \
  "$array/md/level raid1" "$array/md/array_state clean" "$array/md/degraded 0" "$array/md/mismatch_cnt 0"; do
  write ${line}
done
mkdir -p machine/sys/class/net machine/sys/bus/pci/devices
ln -s ../../"${card#sys/}" machine/sys/class/net/eth0 # as the kernel has them
ln -s ../../../devices/pci0000:00/0000:00:19.0 machine/sys/bus/pci/devices/0000:00:19.0
drive=sys/devices/pci0000:00/0000:00:1f.2/ata1/host0/target0:0:0/0:0:0:0/block/sda
write "$drive/size" 1000000
write "${drive%/block*}/model" Drive
write proc/diskstats "   8       0 sda 1 0 8 0 1 0 8 0 0 0 0 0 0 0 0 0 0"
mkdir -p machine/sys/block
ln -s ../"${drive#sys/}" machine/sys/block/sda
ln -s ../../../0:0:0:0 "machine/$drive/device"
# report PASSED WEAR SPARE ERRORS: what the drive says of itself
report() { write smartctl/sda.json "{\"smart_status\":{\"passed\":$1},\"nvme_smart_health_information_log\":{\"critical_warning\":0,
\"percentage_used\":$2,\"available_spare\":$3,\"available_spare_threshold\":10,\"media_errors\":$4}}"; }
report true 3 100 0
usage() { write proc/meminfo "MemTotal: 1000000 kB
MemFree: 1000 kB
MemAvailable: $1 kB
SwapTotal: 0 kB
SwapFree: 0 kB"; }
usage 500000
cat >sensors.w4i <<END
Parameter.Root.value=$folder/machine
Parameter.UpdateIntervalInSeconds.value=0.1
Parameter.ScanIntervalInSeconds.value=0.3
Parameter.HealthIntervalInSeconds.value=0.01
Parameter.ErrorsQuietInSeconds.value=0.05
Indicator.readings.Enable.value=true
Indicator.devices.Enable.value=true
END
LC_ALL=C ./sensors run >output 2>&1 &
pid=$!

# passes ALERT FILE BAD HELD WELL READING: raised, and neither taken back nor raised again between the limit and the margin
passes() {
  write "$2" "$3"
  await "^  Message: "
  local from=$seen
  write "$2" "$4"
  for i in 1 2 3 4; do await "^  $6: $4"; done
  ! tail -n "+$from" output | grep -qE "Alert: $1\$|^  Message: " || fault "$1 does not hold at $4"
  write "$2" "$5"
  await "Removing Alert: $1\$"
}
# counts ALERT FILE NUMBER PATTERN: raised with what came on top, taken back when it is quiet
counts() {
  write "$2" "$3"
  await "^  Message: .*$4"
  await "Removing Alert: $1\$"
}
await '^  Charge: 80'
passes BatteryLow $battery/capacity 9 11 13 Charge
write $battery/energy_full 20000000
await '^  Title: .* is worn$'
write $battery/energy_full 30000000
await 'Removing Alert: BatteryWorn$'
counts MemoryErrorsCorrected $memory/dimm0/dimm_ce_count 12 ' 7 '
counts MemoryErrors $memory/dimm0/dimm_ue_count 2 ' 2 '
counts ReceiveErrorsRose $card/statistics/rx_errors 10 ' 7 packets'
counts TransmitErrorsRose $card/statistics/tx_errors 4 ' 4 packets'
counts ArrayDiffers $array/md/mismatch_cnt 128 ' 128 '
passes ArrayDegraded $array/md/degraded 1 1 0 MissingMembers
usage 20000
await '^  MemoryUse: 98'
await '^  Title: .*[Mm]emory'
usage 500000
await 'Removing Alert: MemoryShort$'

report true 90 100 0
await '^  Message: .* has used 90'
report true 3 9 0
await '^  Message: .* has 9% of its spare space left; its maker warns below 10'
report true 3 100 5
await '^  Message: .* 5 times'
write smartctl/sda.json 'no report'
await '^  Title: .* does not answer$'
await '^  Message: .*smartctl: what it printed is no report'
report true 3 100 5
await 'Removing Alert: NoAnswer$'
report false 3 100 5
await '^  Title: .* is failing$'
report true 3 100 5
await 'Removing Alert: DriveFailing$'

write $card/statistics/rx_errors 20 # a device goes while an alert of it stands: both are gone
await '^  Message: .* 10 packets'
rm -r "machine/${card:?}" machine/sys/class/net/eth0
await 'Removing Alert: ReceiveErrorsRose$'
await 'Removing Device: '
kill -TERM "$pid"
wait "$pid" || fault "exit status $?"
pid=
exit $failed
