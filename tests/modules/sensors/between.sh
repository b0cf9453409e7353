#!/usr/bin/env bash
# Under an engine, which asks for the devices first: one that comes behind that is watched, one that goes is said to be gone.
#   between.sh FOLDER_OF_THE_BUILT_MODULES KREL5_ENGINE
set -uo pipefail
modules=$1 engine=$2
folder=$(mktemp -d) || exit 1
trap 'rm -rf "$folder"' EXIT
cd "$folder" || exit 1
mkdir -p real watched
cp "$modules"/sensors "$modules"/sensors*.w4p real || exit 1
cat >real/sensors.w4i <<END
Parameter.Root.value=$folder/machine
Indicator.readings.Enable.value=true
Indicator.devices.Enable.value=true
END
for i in 0 1; do
  mkdir -p "machine/sys/class/hwmon/hwmon$i"
  echo "chip$i" >"machine/sys/class/hwmon/hwmon$i/name"
  echo "4${i}000" >"machine/sys/class/hwmon/hwmon$i/temp1_input"
done
# what stands in for the module: it changes the machine when the engine has the list
cat >watched/sensors <<'END'
#!/usr/bin/env bash
folder=$(dirname "$(dirname "$0")")
if [[ $1 == run ]]; then
  rm -r "$folder/machine/sys/class/hwmon/hwmon1"
  mkdir "$folder/machine/sys/class/hwmon/hwmon2"
  echo chip2 >"$folder/machine/sys/class/hwmon/hwmon2/name"
  echo 42000 >"$folder/machine/sys/class/hwmon/hwmon2/temp1_input"
fi
exec "$folder/real/sensors" "$@"
END
chmod +x watched/sensors
"$engine" watch --only-modules --modules watched --json --for 2s --interval 0.2 >lines 2>errors
status=$?
failed=0
fault() { echo "$1"; cat errors lines | cut -c 1-300 | head -n 40; failed=1; }
((status == 0)) || fault "exit status $status"
grep -q '"event":"deviceAdded".*hwmon2/temp1' lines || fault "the device that came is not told"
grep -q '"event":"deviceRemoved".*hwmon1/temp1' lines || fault "the device that went is not told"
read_at() { grep -q "\"event\":\"readings\".*$1/temp1.*\"number\":$2" lines; }
read_at hwmon2 42 || fault "the device that came is not read"
read_at hwmon0 40 || fault "the device that was there is not read"
! grep -q '"readings":\[\]' lines || fault "a device with nothing to say has a line"
exit $failed
