#!/bin/sh
# Runs the device lister on small trees: what it prints, and how it refuses. Usage: test.sh PROGRAM [SANITIZERS [SYSINFO]]
# SYSINFO: where the installed program looks for further modules, seen from its own folder.
set -u
program=$1
sanitizers=${2:-}
sysinfo=${3:-}
folder=$(mktemp -d) || exit 1
trap 'rm -rf "$folder"' EXIT
mkdir -p "$folder/proc" "$folder/sys/class/dmi/id"
echo "MemTotal:       2048 kB" > "$folder/proc/meminfo"
printf 'AC"ME\\n' > "$folder/sys/class/dmi/id/sys_vendor"
mkdir -p "$folder/proc/sys/kernel"
printf 'road\033[31mrunner\302\233\177\342\200\256\342\200\215.\n' > "$folder/proc/sys/kernel/hostname"
failures=0

# check DESCRIPTION STATUS PATTERN ARGUMENTS...: exit status, and a line of the output (both streams) with the pattern
check()
{
    what=$1 status=$2 pattern=$3
    shift 3
    output=$("$program" "$@" 2>&1)
    got=$?
    if [ "$got" -ne "$status" ] || ! printf '%s\n' "$output" | grep -qe "$pattern"; then
        printf 'FAILED: %s: status %s, wanted %s with "%s":\n%s\n' "$what" "$got" "$status" "$pattern" "$output"
        failures=$((failures + 1))
    fi
}

check "one line a device" 0 '^  Memory  *Memory  *2 MiB$' --root "$folder"
check "properties" 0 '^  Memory  \[Memory\]  Memory  /proc/meminfo' -v --root "$folder"
check "property below its device" 0 '^      Size: 2 MiB' -v --root "$folder"
check "typed value" 0 '"value": 2097152' --root "$folder" --json
check "texts in JSON" 0 '"value": "road\\u001b\[31mrunner' --root "$folder" --json
check "quotes in JSON" 0 '"value": "AC\\"ME\\\\n"$' --root "$folder" --json
check "XML" 0 '<Property key="Size" type="DISCRETEMEASUREMENT" name="Size">2 MiB' --root "$folder" --xml
joiner=$(printf '\342\200\215')
check "controls as escapes" 0 "Host name: road.x1b\[31mrunner.x9b.x7f.u202e$joiner\.$" -v --root "$folder"
check "JSON" 0 "road.u001b\[31mrunner.u009b.u007f.u202e$joiner\.\"" --root "$folder" --json
check "XML" 0 "\[31mrunner&#x9b;&#x7f;&#x202e;$joiner\.<" --root "$folder" --xml
for option in '' -v --json --xml --html; do
    # shellcheck disable=SC2086 # no option is no argument
    if "$program" --root "$folder" $option | LC_ALL=C grep -q "$(printf '[\033\177]\|\302\233\|\342\200\256')"; then
        echo "FAILED: zel-devices $option: a control character reaches the terminal"
        failures=$((failures + 1))
    fi
done
if command -v python3 > /dev/null; then
    "$program" --root "$folder" --json | python3 -c 'import json, sys
listing = json.load(sys.stdin)
assert listing["format"] == "zel-devices" and listing["formatVersion"] == 1 and not listing["live"], listing
assert listing["hostName"] == "road\x1b[31mrunner\x9b\x7f\u202e\u200d.", listing
assert listing["properties"]["Size"]["name"] == "Size", listing["properties"]
system = listing["devices"][0]
assert system["properties"]["Manufacturer"]["value"] == "AC\"ME\\n", system
assert system["properties"]["HostName"]["value"] == "road\x1b[31mrunner\x9b\x7f\u202e\u200d.", system
assert [child["name"] for child in system["children"]] == ["Memory"], system
assert system["childBusIds"] == [] and system["capabilities"], system' || failures=$((failures + 1))
elif [ -n "${CI:-}" ]; then
    echo "FAILED: no python3, which scripts/dependencies installs"
    failures=$((failures + 1))
fi
# What a technician asks of it, in all three forms: a count, a list, a measurement, a device that is only a word.
mkdir -p "$folder/sys/class/hwmon/hwmon0" "$folder/sys/block/md0/md/dev-sda1"
printf 'chip\n' > "$folder/sys/class/hwmon/hwmon0/name"
printf '35021000\n' > "$folder/sys/class/hwmon/hwmon0/power1_average"
printf 'raid1\n' > "$folder/sys/block/md0/md/level"
printf '128\n' > "$folder/sys/block/md0/md/mismatch_cnt"
printf 'in_sync\n' > "$folder/sys/block/md0/md/dev-sda1/state"
check "reading" 0 '^      Power: 35.02 W$' -v --root "$folder"
check "reading in XML" 0 '<Property key="Power" type="NONDISCRETEMEASUREMENT" name="Power">35.02 W<' --root "$folder" --xml
check "reading in JSON" 0 '"value": 35.021\b' --root "$folder" --json
check "type of a sensor" 0 '\[PowerSensor\]' -v --root "$folder"
check "count" 0 '^      Sectors that differed at the last check: 128$' -v --root "$folder"
check "count in XML" 0 '<Property key="MismatchCount" type="UINT64" name="[^"]*">128<' --root "$folder" --xml
check "count in JSON" 0 '"value": 128\b' --root "$folder" --json
check "list" 0 '^      Members and their states: sda1: in_sync$' -v --root "$folder"
mkdir "$folder/sys/block/md0/md/dev-sdb1"
printf 'faulty,write_error\n' > "$folder/sys/block/md0/md/dev-sdb1/state"
check "list of phrases" 0 '^      Members and their states:$' -v --root "$folder"
check "list of phrases" 0 '^          sdb1: faulty,write_error$' -v --root "$folder"
check "list in XML" 0 '>sda1: in_sync, sdb1: faulty,write_error<' --root "$folder" --xml
check "list in JSON" 0 '^ *"sdb1: faulty,write_error"$' --root "$folder" --json
rm -r "$folder/sys/block"

check "help" 0 '--root' --help
check "two formats" 2 'xml' --xml --json
check "unknown option, the nearest one" 2 '"--jsno".*--json?' --jsno
check "unknown command, the nearest one" 2 '"comapre".*compare?' comapre a b
check "version" 0 '^zel-devices [0-9]' --version
check "option without value" 2 '--root' --root
check "folder that is not there" 2 '--root.*nowhere' --root "$folder/nowhere"
for option in -v --json --html --help; do
    if "$program" --root "$folder" "$option" > /dev/full 2> /dev/null; then
        echo "FAILED: $option: a full disk went unnoticed"
        failures=$((failures + 1))
    fi
done

# The administrator may read everything: then as somebody else, where that can be done.
if [ "$(id -u)" -ne 0 ]; then as=''; else as='setpriv --reuid=65534 --regid=65534 --clear-groups'; fi
if $as test -x "$program" 2> /dev/null; then
    trusted=$program
    program=$folder/program
    printf '#!/bin/sh\nexec %s %s "$@"\n' "$as" "$trusted" > "$program"
    chmod 755 "$folder" "$program"
    mkdir -m 000 "$folder/sys/block"
    check "folder that may not be read" 0 "sys/block.*permission denied" --root "$folder"
    check "the rest is there" 0 '^  Memory  ' --root "$folder"
    mkdir -m 000 "$folder/closed"
    check "root that may not be read" 1 "/closed\".*permission denied" --root "$folder/closed"
    rmdir "$folder/closed" "$folder/sys/block"
    program=$trusted
else
    echo "skipped: permissions, which do not bind this user"
fi

# However few descriptors there are: all is listed, or it is said that devices may be missing. The run-times of
# sanitizers need descriptors themselves.
limits='3 4 5 6 7 8 9 10 12 16'
if [ -n "$sanitizers" ]; then
    echo "skipped: few descriptors, of which the sanitizers ($sanitizers) need some"
    limits=''
fi
for number in 0 1 2 3 4 5 6 7; do
    mkdir -p "$folder/sys/class/power_supply/BAT$number"
    echo Battery > "$folder/sys/class/power_supply/BAT$number/type"
done
whole=$("$program" --root "$folder")
told=0
for limit in $limits; do
    output=$(sh -c 'ulimit -n "$1" && exec "$2" --root "$3"' sh "$limit" "$program" "$folder" 2> "$folder/errors")
    status=$?
    if [ "$status" -eq 0 ] && [ "$output" != "$whole" ] || [ "$status" -ne 0 ] && [ ! -s "$folder/errors" ]; then
        printf 'FAILED: %s descriptors: status %s:\n%s\n' "$limit" "$status" "$output"
        failures=$((failures + 1))
    fi
    [ "$status" -ne 1 ] || told=$((told + $(grep -c "devices may be missing: Too many open files (.*times, first at /" "$folder/errors")))
done
[ -z "$limits" ] || [ "$told" -gt 0 ] || { echo "FAILED: no limit made it say that devices may be missing"; failures=$((failures + 1)); }

# On the running machine a further module is asked; it calls the memory by a name and a guid of its own.
if [ -n "$sysinfo" ] && grep -q MemTotal /proc/meminfo; then
    installed=$folder/installed/for/this/bin
    mkdir -p "$installed" && mkdir -p "$installed/$sysinfo"
    cat > "$installed/$sysinfo/acme" <<'END'
#!/bin/sh
cat >&4 <<'ANSWER'
<StateManager format="zel-state" version="1">
<specification name="Colour" key="Colour" type="STRING" category="SysInfo"/>
<device guid="own" name="Acme memory" type="Memory" capabilities="Memory" busClass="MEM" location="Memory"><property spec="Colour" value="red"/></device>
<device guid="below" parent="own" name="Acme part" type="MemoryChip" capabilities="MemoryChip"/>
</StateManager>
ANSWER
END
    chmod 755 "$installed/$sysinfo/acme"
    cp "$program" "$installed/zel-devices"
    tested=$program
    program=$installed/zel-devices
    LD_LIBRARY_PATH=$(dirname "$tested")/../lib
    export LD_LIBRARY_PATH
    check "a module's device below the one that is known" 0 '^    Acme part'
    if ! "$program" -v | grep -A20 '^  Memory  \[Memory\]' | grep -q 'Colour: red' || "$program" -v | grep -q 'Acme memory'; then
        echo "FAILED: a known device that a module calls otherwise is listed twice"
        failures=$((failures + 1))
    fi
    unset LD_LIBRARY_PATH
    program=$tested
fi

rm -rf "$folder/proc" "$folder/sys"
check "empty machine" 0 'No devices found' --root "$folder"

exit "$failures"
