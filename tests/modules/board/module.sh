#!/usr/bin/env bash
# The module on a machine with a fan that stops while it is hot, a supply voltage that is too low, and a clock without a date.
#   module.sh FOLDER_OF_THE_BUILT_MODULES
set -uo pipefail
private="unshare --mount"
((EUID == 0)) || private="unshare --user --map-root-user --mount"
if [[ ${1-} != inside ]]; then
  $private true || { echo "no mount namespaces here"; exit 77; }
  folder=$(mktemp -d) || exit 1
  trap 'rm -rf "$folder"' EXIT
  cp "$1"/board "$1"/board.w4p "$folder" || exit 1
  chip=$folder/sys/class/hwmon/hwmon0 clock=$folder/sys/class/rtc/rtc0
  mkdir -p "$chip" "$clock"
  echo chip >"$chip/name"; echo 71000 >"$chip/temp1_input"
  echo 900 >"$chip/fan1_input"; echo 0 >"$chip/fan2_input"
  echo 12000 >"$chip/in0_input"; echo +12V >"$chip/in0_label"
  echo rtc_cmos >"$clock/name"; date +%s >"$clock/since_epoch"
  $private "$BASH" "$0" inside "$folder"
  exit
fi
mount --make-rprivate / && mount --bind "$2/sys" /sys && cd "$2" || exit 1
chip=/sys/class/hwmon/hwmon0 failed=0
few() { prlimit --pid "$1" --nofile=3:; sleep 1; prlimit --pid "$1" --nofile=1024:; } # sanitizers need some themselves at the end
printf 'Test.%s.WatchSeconds.value=%s\n' fans 4.5 voltages 1.2 >board.w4i
while IFS='|' read -r test during exit verdict text; do
  echo 900 >$chip/fan1_input
  number=$(./board enum 2>/dev/null | sed -n "s/^ *$test (\([0-9]*\)).*/\1/p")
  device=$(./board enum 2>/dev/null | awk -v t="$test" '/^[^ ]/ { d = $0 } $1 == t { sub(/^[^(]*\(/, "", d); sub(/\).*/, "", d); print d }')
  [[ $number && $device ]] || { echo "$test is not there:"; ./board enum; failed=1; continue; }
  rm -f said
  LC_ALL=C timeout 60 ./board run -t "$number" -d "$device" >said 2>&1 </dev/null & module=$!
  until grep -q '^Percent Done: [1-9]' said 2>/dev/null || ! kill -0 $module 2>/dev/null; do sleep 0.02; done
  eval "$during"
  wait $module
  status=$?
  if [[ $status != "$exit" ]] || ! grep -q "^Final Result: $verdict\$" said || ! grep -qF -- "$text" said; then
    echo "$test: exit status $status, not $exit $verdict with: $text"; sed 's/^/    /' said; failed=1
  fi
done <<'END'
fans||0|PASS|It may be a plug without a fan
fans|echo 0 >$chip/fan1_input|23|FAIL|chip fan1 stood still at 71 degrees Celsius
voltages||0|PASS|chip +12V: 12.000 V
voltages|echo 11100 >$chip/in0_input|23|FAIL|chip +12V was 11.100 V
rtc||23|FAIL|The real-time clock stood still
fans|few $(pgrep -P $module)|28|CANNOT RUN|Files of the system that this test rests on could not be opened
rtc|: >/sys/class/rtc/rtc0/since_epoch|23|FAIL|The real-time clock could not be read
END
exit $failed
