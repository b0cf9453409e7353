#!/usr/bin/env bash
# Runs the shipped modules under the engine's program, as a technician does: verdicts, reports, stops, deaths.
# Usage: test_run.sh PROGRAM   (as root; the modules stand beside the program)
set -u
program=$1
[[ $(id -u) -eq 0 ]] || { echo "tests run as root only"; exit 77; }
# The folder of the day is not this machine's.
if [[ -z ${OWN_LOG_FOLDER-} ]] && unshare -m mount -t tmpfs none /var/log 2> /dev/null; then
  export OWN_LOG_FOLDER=yes
  exec unshare -m bash -c 'mount -t tmpfs none /var/log && exec "$0" "$@"' "$0" "$@"
fi
folder=$(mktemp -d) || exit 1
chmod go-w "$folder"
trap 'rm -rf "$folder"' EXIT
unset LANG LC_ALL LC_MESSAGES
failures=0
fail() { echo "FAILED: $*"; failures=$((failures + 1)); }

# check DESCRIPTION STATUS PATTERN ARGUMENTS...: exit status, and a line of both streams with the pattern
check() {
  local what=$1 status=$2 pattern=$3 output got
  shift 3
  output=$("$program" "$@" 2>&1 < /dev/null)
  got=$?
  if [[ $got -ne $status ]] || ! grep -qe "$pattern" <<< "$output"; then
    fail "$what: status $got, wanted $status with \"$pattern\":"$'\n'"$(head -n 40 <<< "$output")"
  fi
}
# whether a process with this in its command line is there, waiting for it to go
gone() {
  for _ in $(seq 50); do
    pgrep -f -- "$1" > /dev/null || return 0
    sleep 0.1
  done
  return 1
}
until_in() { # PATTERN FILE: waits for the line
  for _ in $(seq 200); do
    grep -qse "$1" "$2" && return 0
    sleep 0.05
  done
  return 1
}

check "what is well passes" 0 '^Verdict: PASS (2 PASS)' run cpu:coherence cpu:integer --report "$folder/well.jsonl"
for form in html junit json ocp text; do
  check "a report as $form" 0 . report "$folder/well.jsonl" --to $form
done
check "a report is never written over" 22 'well.jsonl is there already' run cpu:coherence --report "$folder/well.jsonl"
# What is drawn at random is drawn again, wherever the command is given.
(mkdir "$folder/copies" && cp "$(dirname "$program")/modules/cpu"* "$folder/copies" && chmod go-w "$folder"/copies/* && cd "$folder" &&
  "$program" run cpu:integer --set SecondsPerCore=0.1 --repeat 2 --modules copies --only-modules --report seeds.jsonl) > "$folder/seeds.out" 2>&1
mapfile -t given < <(grep -o '"name":"Seed","value":"[0-9]*"' "$folder/seeds.jsonl" | grep -o '[0-9]*')
mapfile -t drawn < <(grep -o 'Seed of the operands: [0-9]*' "$folder/seeds.jsonl" | grep -o '[0-9]*$')
[[ ${#given[@]} -eq 2 && ${given[*]} == "${drawn[*]}" && ${given[0]} != "${given[1]}" ]] ||
  fail "the seeds given, ${given[*]}, and drawn, ${drawn[*]}: $(cat "$folder/seeds.out")"
again=$(grep -om1 '"again":"[^"]*' "$folder/seeds.jsonl" | cut -d'"' -f4)
(cd / && eval "${again/krel5-engine/\"$program\"} --report '$folder/again.jsonl'" > "$folder/again.out" 2>&1) ||
  fail "again: $again: $(cat "$folder/again.out")"
grep -q "Seed of the operands: ${given[0]}\." "$folder/again.jsonl" || fail "another seed: $(cat "$folder/again.out")"
if [[ -n ${OWN_LOG_FOLDER-} ]]; then
  check "the last report, wherever it is" 0 "^Report: $folder/again.jsonl" last
  mv "$folder/again.jsonl" "$folder/moved.jsonl"
  check "or that it is gone" 22 "not there any more: $folder/again.jsonl" last
fi
check "a plan's name for a test" 0 'the plan of that name is --plan quick' run quick --dry-run
check "the report is a file" 22 '"-" is none' run cpu:coherence --report -
check "what excludes each other" 22 'stop-at-failure' run cpu:coherence --keep-going --stop-at-failure
check "how long a test takes" 0 'takes about 10s in the plan quick' list cpu
check "what cannot be tested is no PASS" 28 "^Verdict: NOT TESTED" run memory:quick --device CPU --report "$folder/none.jsonl"
# What was asked for and refused is told once, with the summary.
"$program" run cpu:coherence memory:quick --device CPU --report "$folder/once.jsonl" > "$folder/once.out" 2>&1
[[ $? -eq 28 && $(grep -c 'quick on' "$folder/once.out") -eq 1 ]] || fail "a refusal: $(cat "$folder/once.out")"
touch "$folder/nomodule"
check "a module that cannot be taken leaves no PASS" 28 '^Verdict: NOT TESTED\|^Verdict: BROKEN' run cpu:integer --modules "$folder/nomodule" \
  --report "$folder/missing.jsonl"
check "a word that is none runs nothing" 22 "cpu99" run cpu:coherence --device cpu99 --report "$folder/never.jsonl"

# A copy whose settings force a fault: FAIL beats the PASS behind it.
mkdir "$folder/forced"
cp "$(dirname "$program")/modules/cpu"* "$folder/forced"
chmod go-w "$folder"/forced/*
printf 'Test.integer.Enable.value=true\nTest.integer.ForceResult.value=FAIL\n' > "$folder/forced/cpu.w4i"
check "FAIL beats what comes behind it" 23 '^Verdict: FAIL (1 FAIL, 1 PASS)' run cpu:integer cpu:coherence \
  --modules "$folder/forced" --only-modules --report "$folder/fault.jsonl"
check "and is told with the command that runs it again" 0 'krel5-engine run cpu:integer' report "$folder/fault.jsonl" --to text

printf 'Test.integer.ForceResult.value=PASS\n' > "$folder/forced/cpu.w4i"
check "a PASS that the settings force tests nothing" 28 'SKIPPED .*Forced result: PASS; the test did not run' run cpu:integer \
  --modules "$folder/forced" --only-modules --report "$folder/forced.jsonl"

# Two at once do not hear each other.
"$program" run cpu:integer --report "$folder/one.jsonl" > "$folder/one.out" 2>&1 &
one=$!
check "beside another engine" 0 '^Verdict: PASS (1 PASS)' run cpu:integer --report "$folder/two.jsonl"
wait "$one" || fail "the other engine: $(cat "$folder/one.out")"

# A stop is no PASS, and nothing goes on.
long=(run cpu:integer --for 1h --report)
"$program" "${long[@]}" "$folder/stopped.jsonl" > "$folder/stopped.out" 2>&1 &
engine=$!
until_in '"percent"' "$folder/stopped.jsonl" || until_in 'cpu: Integer' "$folder/stopped.out" || fail "nothing began"
kill -TERM "$engine"
wait "$engine"
status=$?
[[ $status -eq 24 ]] && grep -q '^Verdict: STOPPED' "$folder/stopped.out" ||
  fail "a stopped session: status $status, $(cat "$folder/stopped.out")"
gone "-ePid $engine" || fail "a module outlives a stop"

# An engine that is killed takes its modules along, and the report says what was running.
"$program" "${long[@]}" "$folder/killed.jsonl" > "$folder/killed.out" 2>&1 &
engine=$!
until_in 'cpu: Integer' "$folder/killed.out" || fail "nothing began"
kill -KILL "$engine"
wait "$engine" 2> /dev/null
gone "-ePid $engine" || fail "a module outlives its engine"
check "what was running" 0 'DID NOT END' report "$folder/killed.jsonl" --to text

# What root asks for after a crash; in a folder of reports that is nobody else's.
if [[ -n ${OWN_LOG_FOLDER-} ]]; then
  "$program" run cpu:integer cpu:coherence --for 1h > "$folder/running.out" 2>&1 &
  engine=$!
  until_in 'cpu: Integer' "$folder/running.out" || fail "nothing began"
  "$program" last > "$folder/last.out"
  grep -q "RUNNING .*cpu: *Integer\|cpu *Integer.*RUNNING" "$folder/last.out" || fail "not running: $(cat "$folder/last.out")"
  kill -KILL "$engine"
  wait "$engine" 2> /dev/null
  "$program" last > "$folder/last.out" || fail "last ends with $?"
  grep -q "Integer.*DID NOT END" "$folder/last.out" || fail "the last session: $(cat "$folder/last.out")"
fi

# A module that is killed is no PASS, and the next test still runs.
"$program" run cpu:integer cpu:coherence --set cpu:integer.SecondsPerCore=60 --report "$folder/dead.jsonl" > "$folder/dead.out" 2>&1 &
engine=$!
until_in 'cpu: Integer' "$folder/dead.out" || fail "nothing began"
for _ in $(seq 100); do module=$(pgrep -P "$engine" -f -- "-ePid $engine") && break; sleep 0.05; done
kill -SEGV "$module"
wait "$engine"
status=$?
[[ $status -eq 22 ]] && grep -q 'PASS  cpu: Cache coherence' "$folder/dead.out" ||
  fail "a killed module: status $status, $(cat "$folder/dead.out")"
# A terminal that is stopped holds up neither limits nor stops; what was said comes when it goes on.
if command -v python3 > /dev/null; then
  for kind in xterm dumb; do
    for way in limit stop; do
      TERM=$kind python3 - "$program" "$folder/$kind$way.jsonl" $way << 'END_OF_PYTHON' || fail "a stopped terminal ($kind, $way)"
import os, pty, select, signal, sys, time
program, report, way = sys.argv[1:]
words = [program, "run", "cpu:integer", "--for", "1h", "--report", report] + (["--timeout", "2s"] if way == "limit" else [])
child, terminal = pty.fork()
if child == 0:
    os.execv(program, words)
os.write(terminal, b"\x13")
def has(text, seconds):
    end = time.time() + seconds
    while time.time() < end:
        if os.path.exists(report) and text in open(report).read():
            return True
        time.sleep(0.05)
    return False
began = has('"run-began"', 20)
if way == "stop":
    time.sleep(1)
    os.kill(child, signal.SIGTERM)
ended = has('"session-ended"', 15)
os.write(terminal, b"\x11")
said = b""
end = time.time() + 20
while time.time() < end:
    try:
        if select.select([terminal], [], [], 1)[0]:
            said += os.read(terminal, 4096)
    except OSError:
        break
else:
    os.kill(child, signal.SIGKILL)
status = os.waitstatus_to_exitcode(os.waitpid(child, 0)[1])
if not (began and ended and status == 24 and b"Verdict: STOPPED" in said):
    sys.exit("began %s, ended %s, status %s, said:\n%s" % (began, ended, status, said.decode()))
END_OF_PYTHON
    done
  done
fi
exit $((failures > 0))
