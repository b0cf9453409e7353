#!/usr/bin/env bash
# A module author's way: install the library, build each example against the package in a folder of its own, run it.
#   consumer.sh BUILD_FOLDER EXAMPLES_FOLDER COMPILER [CMAKE_CXX_FLAGS]
set -euo pipefail
build=$1 examples=$2 compiler=$3 flags=${4:-}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cmake --install "$build" --prefix "$work/installed" >/dev/null
cd "$work"
./installed/bin/zel-devices >/dev/null
for example in pattern drive kernel load host; do
  cp -r "$examples/$example" .
  cmake -S $example -B $example/build -DCMAKE_PREFIX_PATH="$work/installed" \
    -DCMAKE_CXX_COMPILER="$compiler" -DCMAKE_CXX_FLAGS="$flags" >/dev/null
  cmake --build $example/build >/dev/null
  shown=$(./$example/build/$example -version)
  grep -q '^Version: 1\.0\.1$' <<<"$shown" || { echo "$example: unexpected: $shown"; exit 1; }
done

# Without CMake: by what pkg-config says of the installed library.
folder=$(dirname "$(find installed -name krel5.pc)")
read -ra needed <<<"$(PKG_CONFIG_PATH=$folder pkg-config --cflags --libs krel5)"
"$compiler" -std=c++20 ${flags:+"$flags"} pattern/main.cpp "${needed[@]}" -Wl,-rpath,"$work/$folder/.." -o by_pkg_config
grep -q '^Version: 1\.0\.1$' <<<"$(./by_pkg_config -version)" || { echo "unexpected of the one built by pkg-config"; exit 1; }

missing=$(./drive/build/drive -k 2>&1 | grep 'Event\..*no text' || true)
[[ -z "$missing" ]] || { echo "drive: $missing"; exit 1; }
if [[ $(id -u) -eq 0 ]]; then
  shown=$(./pattern/build/pattern run) # not piped: a reader that stops early is an error of the run
  grep -q '^Final Result: PASS$' <<<"$shown" || { echo "the module's run did not pass: $shown"; exit 1; }
fi
echo "modules outside the tree build and run"
