#!/usr/bin/env bash
# Runs the shipped modules under the engine's program, as a technician does: verdicts, reports, stops, deaths.
# Usage: test_run.sh PROGRAM   (as root; the modules stand beside the program)
set -u
program=$1
[[ $(id -u) -eq 0 ]] || { echo "tests run as root only"; exit 77; }
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
check "a report is never written over" 22 'well.jsonl' run cpu:coherence --report "$folder/well.jsonl"
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
if unshare -m mount -t tmpfs none /var/log 2> /dev/null; then
  PROGRAM=$program unshare -m bash -c 'mount -t tmpfs none /var/log
    "$PROGRAM" run cpu:integer cpu:coherence --for 1h > /var/log/out 2>&1 &
    for _ in $(seq 200); do grep -qs run-began /var/log/krel5/*/*.jsonl && break; sleep 0.05; done
    "$PROGRAM" last | grep -q "RUNNING .*cpu: *Integer\|cpu *Integer.*RUNNING" || echo "not running: $("$PROGRAM" last)"
    kill -KILL $!; wait $! 2> /dev/null
    "$PROGRAM" last > /var/log/last || echo "last ends with $?"
    grep -q "Integer.*DID NOT END" /var/log/last || cat /var/log/last' > "$folder/last.out" 2>&1
  [[ -s $folder/last.out ]] && fail "the last session: $(cat "$folder/last.out")"
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
