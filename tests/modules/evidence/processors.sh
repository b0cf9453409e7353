#!/usr/bin/env bash
# The processor module on a machine whose processors raise machine checks, correct errors, or are slowed down while it tests.
#   processors.sh FOLDER_OF_THE_BUILT_MODULES
set -uo pipefail
umask 022 # settings that others may write are refused
if [[ ${1-} != inside ]]; then
  ((EUID == 0)) || { echo "tests run as root only"; exit 77; }
  unshare --mount true || { echo "no namespaces here"; exit 77; }
  folder=$(mktemp -d) || exit 1
  trap 'rm -rf "$folder"' EXIT
  cp "$1"/cpu "$1"/cpu.w4p "$folder" || exit 1
  unshare --mount "$BASH" "$0" inside "$folder"
  exit
fi
cd "$2" || exit 1
throttled=sys/devices/system/cpu/cpu1/thermal_throttle
mkdir -p $throttled && : >interrupts || exit 1
mount --make-rprivate / && mount --bind interrupts /proc/interrupts && mount --bind "$2/sys" /sys || exit 1
throttled=/$throttled
interrupts() { # machine checks of processor 1, errors that it corrected
  printf '%13s %6s\n%4s: %6d %6d   Machine check exceptions\n%4s: %6d %6d   Threshold APIC interrupts\n' CPU0 CPU1 MCE 4 "$1" THR 0 "$2" >/proc/interrupts
}
failed=0
while IFS='|' read -r name setting deed exit verdict text; do
  printf '%s\n' Test.integer.SecondsPerCore.value=0.3 "$setting" >cpu.w4i
  interrupts 7 1
  echo 5 >$throttled/core_throttle_count
  rm -f said
  LC_ALL=C timeout 60 ./cpu run -d 1 -t 1 >said 2>&1 </dev/null & module=$!
  until grep -q '^Percent Done: [1-9]' said 2>/dev/null || ! kill -0 $module 2>/dev/null; do sleep 0.01; done
  eval "$deed"
  wait $module
  status=$?
  if [[ $status != "$exit" ]] || ! grep -q "^Final Result: $verdict\$" said || ! grep -qF -- "$text" said; then
    echo "$name: exit status $status, not $exit $verdict with: $text"; sed 's/^/    /' said; failed=1
  fi
done <<'END'
a quiet machine|||0|PASS|Calculations done
machine checks||interrupts 9 1|23|FAIL|machine check exceptions: 2 on logical processors 1
corrected||interrupts 7 4|0|PASS|corrected errors: 3 times, on logical processors 1
corrected, and that counts|Parameter.CorrectedErrorsFail.value=true|interrupts 7 4|23|FAIL|corrected errors: 3 times
slowed down||echo 9 >$throttled/core_throttle_count|0|PASS|logical processors 1 slowed down because of heat, one of them 4 times
END
exit $failed
