#!/usr/bin/env bash
# A module author's way: install the library, build a module against the package in a folder of its own, run it.
#   consumer.sh BUILD_FOLDER EXAMPLE_FOLDER [CMAKE_CXX_FLAGS]
set -euo pipefail
build=$1 example=$2 flags=${3:-}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cmake --install "$build" --prefix "$work/installed" >/dev/null
cp -r "$example" "$work/source"
cmake -S "$work/source" -B "$work/build" -DCMAKE_PREFIX_PATH="$work/installed" -DCMAKE_CXX_FLAGS="$flags" >/dev/null
cmake --build "$work/build" >/dev/null
cd "$work"
shown=$(./build/pattern -version)
grep -q '^Version: 1\.0\.1$' <<<"$shown" || { echo "unexpected: $shown"; exit 1; }
if [[ $(id -u) -eq 0 ]]; then
  ./build/pattern run | grep -q '^Final Result: PASS$' || { echo "the module's run did not pass"; exit 1; }
fi
echo "a module outside the tree builds and runs"
