#!/bin/sh
# Runs the device lister over trees that change: classes, masks, saved listings and what differs between them.
# Usage: test_compare.sh PROGRAM SCHEMA [ARCHIVE OF CAPTURED MACHINES]
set -u
program=$1
schema=$2
archive=${3:-}
folder=$(mktemp -d) || exit 1
trap 'rm -rf "$folder"' EXIT
cd "$folder" || exit 1
failures=0
fail() { echo "FAILED: $*"; failures=$((failures + 1)); }

# check DESCRIPTION STATUS PATTERN ARGUMENTS...: exit status, and a line of the output (both streams) with the pattern
check()
{
    what=$1 status=$2 pattern=$3
    shift 3
    output=$("$program" "$@" 2>&1 < "${input:-/dev/null}")
    got=$?
    if [ "$got" -ne "$status" ] || ! printf '%s\n' "$output" | grep -qe "$pattern"; then
        printf 'FAILED: %s: status %s, wanted %s with "%s":\n%s\n' "$what" "$got" "$status" "$pattern" "$output"
        failures=$((failures + 1))
    fi
}

# disk ROOT NUMBER SERIAL SECTORS
disk()
{
    controller=sys/devices/pci0000:00/0000:00:0$2.0/nvme/nvme$2
    mkdir -p "$1/$controller/nvme$2n1" "$1/sys/block"
    echo "ACME Drive" > "$1/$controller/model"
    echo "$3" > "$1/$controller/serial"
    echo "$4" > "$1/$controller/nvme$2n1/size"
    ln -s "../../$controller/nvme$2n1" "$1/sys/block/nvme$2n1"
}
machine()
{
    mkdir -p "$1/proc/sys/kernel" "$1/sys/class/dmi/id" "$1/sys/class/hwmon/hwmon0"
    echo 'MemTotal:       2048 kB' > "$1/proc/meminfo"
    echo amsel > "$1/proc/sys/kernel/hostname"
    echo 82161681-492E-11CB-BCCA-A7FDE26F414B > "$1/sys/class/dmi/id/product_uuid"
    echo chip > "$1/sys/class/hwmon/hwmon0/name"
    echo 40000 > "$1/sys/class/hwmon/hwmon0/temp1_input"
    disk "$1" 1 SERIAL-A 2048
}
machine before
machine after
"$program" --root before --json > before.json || fail "save"

check "against the same machine" 0 '^No differences' compare before.json --root before
echo 41000 > after/sys/class/hwmon/hwmon0/temp1_input
check "a reading is no difference" 0 'Note: .*--all' compare before.json --root after
check "unless it is asked for" 1 '^      Temperature: 40.0 °C -> 41.0 °C' compare before.json --root after --all
echo 'MemTotal:       1024 kB' > after/proc/meminfo
disk after 2 SERIAL-B 4096
"$program" --root after --json > after.json || fail "save"
check "changed" 1 '^      Usable memory (UsableMemory): 2 MiB -> 1 MiB' compare before.json after.json
check "added" 1 '^  .*\[HardDrive\].*2 MiB' compare before.json after.json
echo '{"format": "zel-devices", "formatVersion": 1, "devices": []}' > none.saved
echo '{"format": "zel-devices", "formatVersion": 1, "devices": [{"type": "Monitor", "name": "", "hwLocator": "X"}]}' > nameless.saved
check "without a name" 1 '^  Monitor  \[Monitor\]  X' compare none.saved nameless.saved
mkfifo pipe
check "a pipe that nobody writes to" 2 'pipe: is no regular file; - is standard input' compare pipe before.json
check "a device that never ends" 2 '/dev/zero: is no regular file' compare before.json /dev/zero
check "what the shell opened" 1 '^Changed' compare /dev/fd/5 after.json 5< before.json
check "the other way round" 1 '^Removed' compare after.json before.json
input=after.json check "standard input" 1 '^Added' compare before.json -
check "only one class" 1 '^Devices: 1 changed' compare before.json after.json --class memory
check "masked" 1 '^After: .*\[Host name 1\].*masked' compare before.json after.json --mask

check "class" 0 '^  Memory ' --root before --class MEMORY --class fan
check "class, with its parents" 0 '^Computer ' --root before --class MEMORY
"$program" --root before --class MEMORY | grep -q nvme && fail "--class: another class is listed"
check "class that is none, the nearest one" 2 '"Memroy".*"Memory"?' --class Memroy --root before
for option in '' -v --json --xml --html; do
    # shellcheck disable=SC2086 # no option is no argument
    "$program" --root before --mask $option > masked || fail "--mask $option"
    grep -i -e amsel -e 492E -e SERIAL-A masked && fail "--mask $option shows what it is to hide"
done
grep -q '\[Host name 1\]' masked || fail "--mask: no placeholder"
"$program" --root before --mask --json > masked.json
check "masked and not" 0 'masked and were not compared' compare masked.json --root before
check "a part and the whole" 0 '^No differences' compare before.json --root before --class HardDrive

# What cannot be read is trouble, with its place.
head -c 700 before.json > cut.json
check "cut off" 2 'cut.json:[0-9]*: no JSON' compare cut.json after.json
sed 's/"formatVersion": 1/"formatVersion": 2/' before.json > newer.json
check "newer" 2 'newer.json:3: format version 2' compare newer.json after.json
check "no such file" 2 'nowhere.json: No such file' compare nowhere.json after.json
check "a folder" 2 '^zel-devices: .*before: Is a directory' compare before after.json
head -c 70000000 /dev/zero > large.json
check "too large" 2 'large.json: larger than 64 MiB' compare large.json after.json
check "standard input twice" 2 'not both' compare - -
check "two files and a machine" 2 'root' compare before.json after.json --root before
check "option of a listing" 2 'html.* before "compare"' --html compare before.json after.json
check "nothing to compare" 2 'A.* required' compare
check "machine that is not there" 2 'root.*nowhere' compare before.json --root nowhere
[ -c /dev/full ] && { "$program" compare before.json after.json > /dev/full 2> errors; [ $? -eq 2 ]; } ||
    fail "compare: a full disk went unnoticed"
grep -q "No space left on device" errors || fail "compare: a full disk is told as $(cat errors)"
# As of a script whose variable is empty: that must not mean this machine.
check "compare: no name" 2 "second file has an empty name" compare before.json ""
for arguments in "compare before.json after.json" "--root before -v" "--root before --json" "--help"; do
    # shellcheck disable=SC2086 # several arguments
    { "$program" $arguments 2> errors; echo $? > status; } | true
    [ -s errors ] && fail "$arguments: a reader that goes away is told of: $(cat errors)"
    [ "$(cat status)" -le 1 ] || fail "$arguments: a reader that goes away ends with $(cat status)"
done

if command -v xmllint > /dev/null; then
    "$program" --root before --xml | xmllint --noout - || fail "XML"
    "$program" --root before --html > page.html
    xmllint --html --noout page.html 2> errors || fail "HTML"
    grep -v -e 'Tag main invalid' -e 'Tag details invalid' -e 'Tag summary invalid' errors |
        grep 'error :' && fail "HTML: $(cat errors)"
    grep -e 'src=' -e 'href=' -e 'url(' -e '<script' page.html && fail "HTML: needs more than itself"
fi

# Captured machines, where there are any: what is saved says all that is listed, and no device stands twice.
if [ -f "$archive" ]; then
    roots='given/laptop-thinkpad-t60p given/desktop-ryzen5-1600 given/smbios-server-supermicro-x9dbl given/vm-q35-virtio'
    # shellcheck disable=SC2086 # several folders
    tar -xf "$archive" $roots || fail "unpack"
    for root in $roots; do
        name=$(basename "$root")
        "$program" --root "$root" --json > "$name.json" || fail "$name: not saved"
        check "$name: saved" 0 '^No differences' compare "$name.json" --root "$root" --all
        "$program" --root "$root" --json --mask > "$name.masked.json" || fail "$name: not saved"
        check "$name: masked" 0 '^No differences' compare "$name.masked.json" --root "$root" --all
        twice=$("$program" --root "$root" | sort | uniq -d | grep -v '^(')
        [ -z "$twice" ] || fail "$name: twice: $twice"
        secrets=$("$program" --root "$root" -v | sed -nE 's/^ *(Serial number|Hardware address|Host name|Universal unique id): //p')
        for secret in $secrets; do
            [ "${#secret}" -lt 6 ] || ! grep -qF -e "$secret" "$name.masked.json" || fail "$name: $secret is not masked"
        done
    done
    check "two machines" 1 '^Devices: .*removed, .*added, .*changed' compare laptop-thinkpad-t60p.json vm-q35-virtio.json
else
    echo "skipped: no captured machines: $archive is not there"
fi

"$program" --root before --json --class CPU > none.saved || fail "save"
if python3 -c 'import jsonschema' 2> /dev/null; then
    rm -f after.json cut.json newer.json large.json
    python3 -W ignore -c 'import json, jsonschema, sys
schema = json.load(open(sys.argv[1]))
for name in sys.argv[2:]:
    jsonschema.validate(json.load(open(name)), schema)' "$schema" ./*.json || fail "not as the schema says"
else
    echo "skipped: python3-jsonschema is not there"
    [ -z "${CI:-}" ] || fail "scripts/dependencies installs it"
fi
exit "$failures"
