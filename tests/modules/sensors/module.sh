#!/usr/bin/env bash
# The module over a machine of files: readings, alerts that come and go, devices that come and go, a sensor that blocks, a stop.
#   module.sh FOLDER_OF_THE_BUILT_MODULES
set -uo pipefail
modules=$1 here=$(dirname "$(realpath "$0")")
folder=$(mktemp -d) || exit 1
pid=
trap '[[ -z $pid ]] || kill -9 "$pid" 2>/dev/null; rm -rf "$folder"' EXIT
cp "$modules"/sensors "$modules"/sensors*.w4p "$folder" || exit 1
cd "$folder" || exit 1
chip=machine/sys/class/hwmon/hwmon0 other=machine/sys/class/hwmon/hwmon7
mkdir -p "$chip" "$other"
echo other >"$other/name"
echo 33000 >"$other/temp1_input"
echo board >"$chip/name"
echo 41000 >"$chip/temp1_input"
echo 80000 >"$chip/temp1_max"
echo 1200 >"$chip/fan1_input"
cat >sensors.w4i <<END
Parameter.Root.value=$folder/machine
Parameter.UpdateIntervalInSeconds.value=0.1
Parameter.ScanIntervalInSeconds.value=0.3
Parameter.MinimumFanSpeed.value=300
Indicator.readings.Enable.value=true
Indicator.devices.Enable.value=true
END
. "$here/session.sh"

LC_ALL=C ./sensors enum >output 2>&1 || fault "enum: exit status $?"
grep -q 'TEMP.*board\|[Tt]emperature 1' output || fault "the sensor is not listed"
[ "$(head -n 1 output)" = 'No devices discovered' ] || fault "does not say that the library found none"

LC_ALL=C ./sensors run >output 2>&1 &
pid=$!
await '^  Temperature: 41'
echo 85000 >"$chip/temp1_input"
await '^  Title: .* is too hot$'
await '^  Message: .* has 85\.0 .*; allowed is 80\.0'
echo 78000 >"$chip/temp1_input" # within the margin: it stays
await '^  Temperature: 78'
echo 70000 >"$chip/temp1_input"
await 'Removing Alert: TooHot$'
echo 90000 >"$chip/temp1_max" # somebody changes the limit
await 'Removing Property: MaximumTemperature .*80\.0'
await 'Adding Property: MaximumTemperature .*90\.0'
echo 100 >"$chip/fan1_input"
await '^  Title: .* turns too slowly$'

cp -r machine/sys/class/hwmon/hwmon0 machine/sys/class/hwmon/hwmon1
echo second >machine/sys/class/hwmon/hwmon1/name
await 'Adding Device: .*'
rm -r machine/sys/class/hwmon/hwmon1
await 'Removing Device: .*'

rm "$chip/temp1_input"
mkfifo "$chip/temp1_input"
await '^  Title: .* does not answer$'
await '^  Message: .*hwmon0/temp1_input: no answer within 2 s'
await '^  Temperature: 33'

begin=$SECONDS
kill -TERM "$pid"
wait "$pid"
status=$?
pid=
((status == 0)) || fault "exit status $status"
((SECONDS - begin < 10)) || fault "the stop waited for the sensor that blocks"
exit $failed
