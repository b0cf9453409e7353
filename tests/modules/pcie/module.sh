#!/usr/bin/env bash
# The module on a machine with one card behind a bridge: a link with too few lanes is FAIL, one that is whole PASS, and an error that
# it, its bridge or a stranger counts while it is watched is told, and judged where it is on the way to the card.
#   module.sh FOLDER_OF_THE_BUILT_MODULES
set -uo pipefail
private="unshare --mount"
((EUID == 0)) || private="unshare --user --map-root-user --mount"
if [[ ${1-} != inside ]]; then
  $private true || { echo "no mount namespaces here"; exit 77; }
  folder=$(mktemp -d) || exit 1
  trap 'rm -rf "$folder"' EXIT
  cp "$1"/pcie "$1"/pcie.w4p "$folder" || exit 1
  bridge=$folder/sys/devices/pci0000:00/0000:00:01.0 card=$folder/sys/devices/pci0000:00/0000:00:01.0/0000:03:00.0
  mkdir -p "$card" "$folder/sys/bus/pci/devices"
  for end in "$bridge" "$card"; do
    ln -s "../../../${end#"$folder"/sys/}" "$folder/sys/bus/pci/devices/${end##*/}"
    echo 8 | tee "$end"/{max,current}_link_width >/dev/null
    echo '16.0 GT/s PCIe' | tee "$end"/{max,current}_link_speed >/dev/null
    echo 0x144d >"$end/vendor"; echo 0xa808 >"$end/device"; echo 0x010802 >"$end/class"; echo 0x00 >"$end/revision"
    echo 0x144d >"$end/subsystem_vendor"; echo 0xa801 >"$end/subsystem_device"
    printf 'TOTAL_ERR_COR 0\n' >"$end/aer_dev_correctable"
  done
  echo 0x060400 >"$bridge/class"
  neighbour=$folder/sys/devices/pci0000:00/0000:00:02.0 # on no way to the card, and with nothing to test
  mkdir "$neighbour" && ln -s ../../../devices/pci0000:00/0000:00:02.0 "$folder/sys/bus/pci/devices"
  echo 'TOTAL_ERR_COR 0' >"$neighbour/aer_dev_correctable"
  for end in "$bridge" "$card" "$neighbour"; do echo 'TOTAL_ERR_FATAL 0' >"$end/aer_dev_fatal"; done
  $private "$BASH" "$0" inside "$folder"
  exit
fi
mount --make-rprivate / && mount --bind "$2/sys" /sys && cd "$2" || exit 1
card=/sys/bus/pci/devices/0000:03:00.0
failed=0
echo 'Test.link.Seconds.value=0.6' >pcie.w4i
list=$(./pcie enum 2>&1)
link=$(sed -nE 's/^ *link \(([0-9]+)\) : pcie.*/\1/p' <<<"$list")
[[ $link =~ ^[0-9]+$ ]] || { echo "not one device to test:"; echo "$list"; exit 1; }
while IFS='|' read -r name before during exit verdict text; do
  echo 8 >$card/current_link_width
  echo 'Test.link.Seconds.value=0.6' >pcie.w4i
  for end in /sys/bus/pci/devices/*; do
    echo 'TOTAL_ERR_COR 0' >"$end/aer_dev_correctable"
    echo 'TOTAL_ERR_FATAL 0' >"$end/aer_dev_fatal"
  done
  (cd $card && eval "$before")
  rm -f said
  LC_ALL=C timeout 60 ./pcie run -t $link >said 2>&1 </dev/null & module=$!
  until grep -q '^Percent Done: [1-9]' said 2>/dev/null || ! kill -0 $module 2>/dev/null; do sleep 0.02; done
  (cd $card && eval "$during")
  wait $module
  status=$?
  if [[ $status != "$exit" ]] || ! grep -q "^Final Result: $verdict\$" said || ! grep -qF -- "$text" said; then
    echo "$name: exit status $status, not $exit $verdict with: $text"; sed 's/^/    /' said; failed=1
  fi
done <<'END'
a whole link|||0|PASS|8 lanes at 16.0 GT/s; both ends can 8 lanes at 16.0 GT/s
too few lanes|echo 4 >current_link_width||23|FAIL|has 4 lanes, both ends can 8
an error on the way||echo 'TOTAL_ERR_COR 7' >aer_dev_correctable|0|PASS|0000:03:00.0 counted errors of its link that were corrected: 7.
one that was not corrected||echo 'TOTAL_ERR_FATAL 2' >aer_dev_fatal|23|FAIL|0000:03:00.0 counted errors of its link that could not be corrected: 2.
one of the bridge before it||echo 'TOTAL_ERR_FATAL 2' >../aer_dev_fatal|23|FAIL|0000:00:01.0 counted errors of its link that could not be corrected: 2.
one of a link elsewhere||echo 'TOTAL_ERR_FATAL 2' >../../0000:00:02.0/aer_dev_fatal|0|PASS|0000:00:02.0 counted errors of its link that could not be corrected: 2.
corrected, where that fails|echo Parameter.CorrectedErrorsFail.value=true >>"$OLDPWD/pcie.w4i"|echo 'TOTAL_ERR_COR 7' >aer_dev_correctable|23|FAIL|0000:03:00.0 counted errors of its link that were corrected: 7.
END
exit $failed
