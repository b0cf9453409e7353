#!/usr/bin/env bash
# What a settings file asks of the memory tests reaches them: a share, a size, threads, times and a seed that were lost on the way would
# be a PASS for less than was asked for.
#   settings.sh FOLDER_OF_THE_BUILT_MODULES
set -uo pipefail
umask 022 # settings that others may write are refused
folder=$(mktemp -d) || exit 1
trap 'rm -rf "$folder"' EXIT
cp "$1"/memory "$1"/memory.w4p "$folder" && cd "$folder" || exit 1
failed=0

# check TEST TEXT SETTING...: the test is asked for so, and says so
check() {
  local test=$1 text=$2 output number
  printf "Test.$test.%s\n" "${@:3}" >memory.w4i
  number=$(LC_ALL=C ./memory enum | sed -n "s/^ *$test (\([0-9]*\)).*/\1/p")
  output=$(LC_ALL=C timeout 50 ./memory run -d 1 -t "$number" 2>&1 </dev/null)
  grep -qE "$text" <<<"$output" && grep -qE '^Final Result: (PASS|INSUFFICIENT PRIVILEGE|CANNOT RUN)$' <<<"$output" && return
  echo "$test, ${*:3}: \"$text\" is missing:"
  echo "$output"
  failed=1
}
region='Testing 2 MiB of [0-9]+ MiB of memory, number of threads: 1\.'
refused='cannot be locked|does not tell'
for test in quick random; do
  check $test "Testing 64 MiB at a time until 1 % of|$refused" SizeMiB.value=64 Threads.value=1 Cover.value=1 CacheFlush.value=none
done
for test in quick standard thorough patterns random; do
  check $test "$region|$refused" SizeMiB.value=2 Threads.value=1
done
check fade "$region|$refused" SizeMiB.value=2 Threads.value=1 PauseSeconds.value=1
check bus "$region|$refused" SizeMiB.value=2 Threads.value=1 Seconds.value=1
check random "Seed of the data: 4711\.|$refused" SizeMiB.value=2 Seed.value=4711
check bus "Seed of the data: 4711\.|$refused" SizeMiB.value=2 Seconds.value=1 Seed.value=4711
check hammer "hammered: [1-9]|$refused|lie together" SizeMiB.value=64 Seconds.value=1 PairMilliseconds.value=100
exit $failed
