#!/bin/sh
# Runs the engine's program on written modules and a small captured machine: what it lists, what it plans, how it refuses.
# Usage: test.sh PROGRAM
set -u
program=$1
folder=$(mktemp -d) || exit 1
trap 'rm -rf "$folder"' EXIT
chmod go-w "$folder"
umask 022
machine=$folder/machine modules=$folder/modules
mkdir -p "$machine/proc" "$machine/sys" "$modules"
echo "MemTotal:       2048 kB" > "$machine/proc/meminfo"
failures=0
unset LANG LC_ALL LC_MESSAGES

# module NAME: its metadata on standard input; the program itself must never be started
module()
{
    printf '#!/bin/sh\nexit 3\n' > "$modules/$1"
    chmod 755 "$modules/$1"
    { printf 'Module.Type=DIAG\nModule.Guid=%s\nModule.Version=1.0.1\nModule.EnumTests=false\n' "$1"; cat; } > "$modules/$1.w4m"
}

# check DESCRIPTION STATUS PATTERN ARGUMENTS...: exit status, and a line of the output (both streams) with the pattern
check()
{
    what=$1 status=$2 pattern=$3
    shift 3
    output=$("$program" "$@" 2>&1)
    got=$?
    if [ "$got" -ne "$status" ] || ! printf '%s\n' "$output" | grep -qe "$pattern"; then
        printf 'FAILED: %s: status %s, wanted %s with "%s":\n%s\n' "$what" "$got" "$status" "$pattern" \
            "$(printf '%s\n' "$output" | head -n 40)"
        failures=$((failures + 1))
    fi
}

module ram << 'END'
Test.1.TestKey=quick
Test.1.Capabilities=Memory
Test.1.supportsParallelTesting=false
Test.1.Parameter.1.ParameterKey=SizeMiB
Test.1.Parameter.1.DataType=UINT64
Test.1.Parameter.1.ValidDataRange=1..64
Test.1.Parameter.1.Required=false
Test.2.TestKey=wipe
Test.2.Capabilities=HardDrive
Test.2.supportsParallelTesting=true
Test.2.isDestructive=true
Test.3.TestKey=big
Test.3.Capabilities=Memory
Test.3.supportsParallelTesting=true
Test.3.isInteractive=true
Test.3.devicePropertyRequirements=Size:<MorvaneIncValidDataRange>1099511627776..</MorvaneIncValidDataRange>
Test.4.TestKey=off
Test.4.Capabilities=Memory
Test.4.supportsParallelTesting=true
END
echo 'Test.off.Enable.value=no' > "$modules/ram.w4i"
printf 'Module.Name=Memory\\u001b[31m tests\nTest.quick.Name=Quick test\nParameter.SizeMiB.Name=Size\n' > "$modules/ram.w4p"
printf 'Test.quick.Name=Schneller Test\n' > "$modules/ram.de.w4p"
where="--only-modules --modules $modules --root $machine"

# shellcheck disable=SC2086 # several words
{
check "a test with its device" 0 '^ *1  ram:quick  Quick test$' list $where
check "number and name of the device" 0 '^ *1  Memory  \[Memory\]  /proc/meminfo$' list $where
check "no such device" 0 'not here: this machine has no device of its kind: HardDrive' list $where
check "requirement" 0 'not here: Memory: its Size is 2 MiB, outside the range' list $where
check "switched off" 0 'not here: the settings switch it off: .*ram.w4i:1: Test.off.Enable.value=no' list $where
check "flags" 0 '! destroys data' list $where
check "parameters" 0 'SizeMiB: UINT64, 1..64 (Size)' list $where --all
check "language" 0 'ram:quick  Schneller Test' list $where --lang de
check "control characters" 0 'Memory.x1b\[31m tests' list $where
check "one module" 0 'ram:quick' list ram $where
check "unknown module" 22 'there is no module "rum"; did you mean ram?' list rum $where
check "unknown language" 22 'no language "xx" is known' list $where --lang xx
check "no modules" 0 'There are no modules' list --only-modules --root "$machine"
check "no such folder" 22 'there is no ".*/none"' list --modules "$folder/none" --root "$machine"
check "no such root" 22 'none' list --only-modules --modules "$modules" --root "$folder/none"
check "why: met" 0 'yes  the device is one of: Memory' why ram:quick $where
check "why: not met" 0 'NO   its Size is in "1099511627776.."' why ram:big $where
check "why: settings" 0 'NO   the settings leave it on: .*ram.w4i:1' why ram:off $where
check "why: unknown" 22 'has no test "quik"; did you mean quick?' why ram:quik $where
check "why: nothing named" 22 'TEST is required' why
}
LANG=de_DE.UTF-8 "$program" list --only-modules --modules "$modules" --root "$machine" | grep -q 'Schneller Test' || {
    echo "FAILED: LANG does not choose the language"
    failures=$((failures + 1))
}
# shellcheck disable=SC2086
if command -v python3 > /dev/null; then
    "$program" list $where --json | python3 -c 'import json, os, sys
listing = json.load(sys.stdin)
tests = {test["test"]: test for module in listing["modules"] for test in module["tests"]}
assert listing["format"] == "krel5-engine-list" and listing["formatVersion"] == 1, listing
assert tests["ram:quick"]["devices"] == [1] and tests["ram:quick"]["applies"], tests
is_root = os.geteuid() == 0
assert tests["ram:quick"]["runs"] == is_root, tests
assert tests["ram:quick"]["result"] == ("" if is_root else "INSUFFICIENT PRIVILEGE"), tests
assert not tests["ram:wipe"]["runs"] and tests["ram:wipe"]["reason"], tests
assert tests["ram:wipe"]["destructive"] and tests["ram:wipe"]["result"] == "NO DEVICE", tests
assert tests["ram:big"]["interactive"] and tests["ram:big"]["result"] == "NOTAPPLICABLE", tests
assert listing["devices"][0]["osLocator"] == "/proc/meminfo", listing["devices"]
assert "\x1b[31m" in listing["modules"][0]["name"], listing["modules"]' || failures=$((failures + 1))
fi

# what is to run; the modules are written, the machine is this one, and nothing is started
own="--only-modules --modules $modules --dry-run"
# shellcheck disable=SC2086
{
if [ "$(id -u)" -eq 0 ]; then
    check "a run" 0 '^ram:quick on Memory (/proc/meminfo) SizeMiB=8, for 1m at most$' \
        run ram:quick --set SizeMiB=8 --timeout 1m --device /proc/meminfo $own
    check "the quick plan" 0 '^1 run\.$' run $own
else
    check "not root" 28 'not run: ram:quick: INSUFFICIENT PRIVILEGE' run ram:quick $own
fi
check "switched off" 28 'not run: ram:off: SKIPPED: the settings switch it off' run ram:off $own
check "asked for and not there" 28 'not run: ram:big: ' run ram:big $own
check "a module means what applies" 0 'left out: ram:wipe: ' run ram $own
check "unknown test" 22 'there is no module "rom"; did you mean ram?' run rom:quick $own
check "out of range" 22 'SizeMiB=65 for ram:quick: "65" lies outside the valid range' run ram:quick --set SizeMiB=65 $own
check "unknown parameter" 22 'no test that is to run has a parameter "Size"' run ram:quick --set Size=1 $own
check "unknown device" 22 'there is no device "/dev/nothing"' run ram:quick --device /dev/nothing $own
check "unknown plan" 22 'there is no plan and no file "quik"; did you mean quick?' run --plan quik $own
check "no time" 22 '"soon" is no time' run ram:quick --for soon $own
check "no time at all" 22 '^krel5-engine: --timeout: "0" is too short a time: it must be more than 0$' \
    run ram:quick --timeout 0 $own
check "report without a folder" 22 '--report: there is no folder ".*/none" for .*/none/r.jsonl$' \
    run ram:quick --report "$folder/none/r.jsonl" $own
check "no whole number" 22 'SizeMiB=1.5 for ram:quick: "1.5" is no UINT64: expecting an integer' \
    run ram:quick --set SizeMiB=1.5 $own
check "no number" 22 'repeat' run ram:quick --repeat 0 $own
check "unknown option" 22 '"--devise" is not understood; did you mean --device?' run --devise=1 $own
printf 'ram:quick\n\nram:quik # slip\n' > "$folder/bad.plan"
check "plan with an unknown test" 22 'bad.plan:3: the module "ram" has no test "quik"; did you mean quick?' \
    run --plan "$folder/bad.plan" $own
printf 'ram:quick SizeMiB=99\n' > "$folder/bad.plan"
check "plan with a bad value" 22 'bad.plan:1: SizeMiB=99 for ram:quick' run --plan "$folder/bad.plan" $own
printf 'SizeMiB=1\nnothing\n' > "$folder/settings"
check "bad settings" 22 'settings:2: has no' run ram:quick --settings "$folder/settings" $own
if [ "$(id -u)" -eq 0 ]; then
    printf 'ram:quick\n' > "$folder/open.plan"
    chmod 644 "$folder/open.plan"
    chown 65534 "$folder/open.plan"
    check "a plan of somebody else" 22 'belongs to user 65534' run --plan "$folder/open.plan" $own
fi
check "unknown command" 22 '"lst" is not understood; did you mean last or list?' lst
check "no command" 22 'no command was given'
check "help" 0 'krel5-engine run --plan thorough' --help
check "help of a command" 0 'burn-in' run --help
check "version" 0 '^krel5-engine [0-9]' --version
}

# as the lister has them
check "inventory" 0 '^ *Memory  *Memory  *2 MiB$' inventory --root "$machine"
"$program" inventory --root "$machine" --json > "$folder/before.json"
check "nothing changed" 0 'No differences' compare "$folder/before.json" --root "$machine"
echo "MemTotal:       1024 kB" > "$machine/proc/meminfo"
check "something changed" 1 'Size: 2 MiB -> 1 MiB' compare "$folder/before.json" --root "$machine"
check "no listing" 2 'none.json' compare "$folder/none.json"

# one damaged file costs its module and a line; a module without metadata is asked, in a folder of its own
echo 'Module.Guid=bad' | module bad
cat > "$modules/told" << 'END'
#!/bin/sh
printf 'Module.Guid=told\nModule.Version=2.0\nTest.1.TestKey=t\nTest.1.Capabilities=Memory\n' > told.w4m
pwd > "$KREL5_TEST_PLACE"
END
chmod 755 "$modules/told"
# shellcheck disable=SC2086
{
check "damaged" 28 'bad.w4m:5: sets "Module.Guid" again' list $where
KREL5_TEST_PLACE=$folder/place
export KREL5_TEST_PLACE
check "asked" 28 '  told:t  t$' list $where
check "the others are there" 28 '  ram:quick  ' list $where
}
place=$(cat "$folder/place")
if [ -z "$place" ] || [ "$place" = "$PWD" ] || [ -e "$place" ]; then
    echo "FAILED: the module was asked in \"$place\", or that is still there"
    failures=$((failures + 1))
fi

# with metadata nothing is started, however many there are
rm -f "$modules/bad" "$modules/bad.w4m" "$modules/told"
i=0
while [ $i -lt 200 ]; do
    i=$((i + 1))
    printf 'Test.1.TestKey=quick\nTest.1.Capabilities=Memory\nTest.2.TestKey=long\nTest.2.Capabilities=CPU\n' | module "m$i"
done
# shellcheck disable=SC2086
check "200 modules" 0 '^ *400  m200:long' list $where
exit $((failures > 0))
