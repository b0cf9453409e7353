#!/usr/bin/env bash
# The module on real interfaces of the kernel: a cable that loses, damages, cuts, doubles and reorders frames is found out, and a
# link that dies, errs or is not there as well.
#   module.sh FOLDER_OF_THE_BUILT_MODULES TAP_CABLE
set -uo pipefail
private="unshare --mount --net"
((EUID == 0)) || private="unshare --user --map-root-user --mount --net"
if [[ ${1-} != inside ]]; then
  $private true && [[ -c /dev/net/tun ]] || { echo "no namespaces, or no /dev/net/tun, here"; exit 77; }
  folder=$(mktemp -d) || exit 1
  trap 'rm -rf "$folder"' EXIT
  cp "$1"/network "$1"/network.w4p "$folder" || exit 1
  card=devices/pci0000:00/0000:00:03.0/net/cable0
  mkdir -p "$folder/sys/class/net" "$folder/sys/$card/statistics"
  ln -s "../../$card" "$folder/sys/class/net/cable0"
  cd "$folder/sys/$card" && echo 0x1003 >flags && echo 02:00:00:00:00:01 >address && echo 0 >addr_assign_type
  echo 1 | tee carrier type >/dev/null
  echo up >operstate; echo 1500 >mtu; echo 1000 >speed; echo full >duplex; echo 0 >carrier_down_count; echo INTERFACE=cable0 >uevent
  for counter in {rx,tx}_{packets,errors} rx_crc_errors rx_missed_errors; do echo 5 >statistics/$counter; done
  echo 0 >statistics/rx_crc_errors
  cd "$folder" || exit 1
  $private "$BASH" "$0" inside "$folder" "$2"
  exit
fi

mount --make-rprivate / && mount --bind "$2/sys" /sys && cd "$2" || exit 1
card=/sys/class/net/cable0
failed=0
expect() { # name, exit status, verdict, text; the output on standard input
  local output
  output=$(cat)
  if ! grep -q "^Final Result: $3\$" <<<"$output" || ! grep -qF "$4" <<<"$output" || [[ $status != "$2" ]]; then
    echo "$1: exit status $status, no $3 or no \"$4\":"
    echo "$output"
    failed=1
  fi
}
run() { output=$(LC_ALL=C timeout 60 ./network "$@" 2>&1 </dev/null); status=$?; }

# ---- frames through a loop
while IFS='|' read -r fault exit verdict text; do
  coproc "$3" cable0 "$fault"
  read -r -t 10 -u "${COPROC[0]}" line || { echo "no interface could be made"; exit 77; }
  printf 'Test.loopback.%s\n' PlugInPlace.value=true Frames.value=2000 >network.w4i
  run run -t 3 -d 1
  expect "a cable that does $fault" "$exit" "$verdict" "$text" <<<"$output"
  kill "$COPROC_PID" 2>/dev/null && wait "$COPROC_PID" 2>/dev/null
done <<'END'
none|0|PASS|of 2000 frames 2000 came back
lose|23|FAIL|Of 2000 frames that cable0 sent 40 did not come back
damage|23|FAIL|came back changed
cut|23|FAIL|and received -
double|23|FAIL|came back more than once, or later than was waited for: 40
swap|23|FAIL|that were overtaken: 40
silent|23|FAIL|none came back
down|28|CANNOT RUN|switched off
END
run run -t 3 -d 1
expect "no such interface" 31 "NO DEVICE" "is not there" <<<"$output"
"$3" cable0 none >ready & cable=$!
while ! [[ -s ready ]]; do sleep 0.05; done
rm network.w4i
run run -t 3 -d 1
expect "nobody who could be asked" 28 "CANNOT RUN" "There is no loopback plug" <<<"$output"
run run -t 2 -d 1
expect "a driver without a self-test" 27 "NOT SUPPORTED" "has no self-test" <<<"$output"
kill $cable

# ---- the link, and what happens to it while it is watched
while IFS='|' read -r name setting event exit verdict text; do
  echo 1 | tee $card/carrier >/dev/null; echo 0x1003 >$card/flags; echo 1000 >$card/speed; echo full >$card/duplex
  echo 0 | tee $card/carrier_down_count $card/statistics/{rx_crc_errors,rx_errors,rx_missed_errors} >/dev/null
  echo 5 >$card/statistics/rx_packets
  { echo Test.link.Seconds.value=0.6; echo "$setting"; } >network.w4i
  rm -f said # what the run before has said is no sign of this one
  LC_ALL=C timeout 60 ./network run -t 1 -d 1 >said 2>&1 </dev/null & module=$!
  until grep -q '^Link of' said 2>/dev/null || ! kill -0 $module 2>/dev/null; do sleep 0.02; done
  (echo 100 >$card/statistics/rx_packets; cd $card && eval "$event")
  wait $module
  status=$?
  expect "$name" "$exit" "$verdict" "$text" <said
done <<'END'
a good link|||0|PASS|1000 Mbit/s, duplex full
bad checksums||echo 3 >statistics/rx_crc_errors; echo 3 >statistics/rx_errors|23|FAIL|rx_crc_errors rose by 3 while
errors without a name||echo 4 >statistics/rx_errors|23|FAIL|rx_errors rose by 4 while
as many as are allowed|Test.link.MaxErrors.value=3|echo 3 >statistics/rx_crc_errors|0|PASS|rx_crc_errors rose by 3 while
a slow computer||echo 9 >statistics/rx_missed_errors|0|PASS|the computer was too slow
a loose plug||echo 2 >carrier_down_count|23|FAIL|was lost while it was watched: 2 times
another speed||echo 100 >speed|23|FAIL|from 1000 to 100 Mbit/s
half duplex||echo half >duplex|0|PASS|duplex full
too slow|Test.link.MinSpeedMbps.value=2500||23|FAIL|at least 2500 Mbit/s are demanded
a counter that begins anew||echo 0 >statistics/rx_packets|0|PASS|duplex full
switched off||echo 0x1002 >flags|28|CANNOT RUN|switched off
gone||rm flags|31|NO DEVICE|is not there, or no longer
END
exit $failed
