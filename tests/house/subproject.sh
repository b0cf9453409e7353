#!/usr/bin/env bash
# The other way to the library: its sources as part of another project, which keeps its settings and its target names, and
# compiles against Krel5::Krel5. Building all of the library once more would take minutes: one unit of each side stands for it.
#   subproject.sh SOURCE_FOLDER CXX_COMPILER
set -euo pipefail
source=$1 compiler=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"

# An executable "pattern" and a folder "tests" of its own, as this project has them.
mkdir tests
cat > CMakeLists.txt <<LISTS
cmake_minimum_required(VERSION 3.25)
project(parent LANGUAGES CXX)
add_subdirectory("$source" krel5)
add_executable(pattern "$source/examples/pattern/main.cpp")
target_link_libraries(pattern PRIVATE Krel5::Krel5)
LISTS
cmake -G Ninja -S . -B build -DCMAKE_CXX_COMPILER="$compiler" >output 2>&1 || { cat output; exit 1; }

targets=$(ninja -C build -t targets all)
for unwanted in krel5_module_ zel-devices _test gtest; do
  if grep -q "$unwanted" <<<"$targets"; then echo "the other project is to build $unwanted"; exit 1; fi
done
grep -q '^CMAKE_BUILD_TYPE:STRING=$' build/CMakeCache.txt || { echo "the other project's build type was changed"; exit 1; }
if grep -q -e '-Werror' build/build.ninja; then echo "warnings are errors in the other project"; exit 1; fi

theirs=$(grep -oE '^CMakeFiles/pattern\.dir/[^:]*main\.cpp\.o' <<<"$targets")
ours=$(grep -oE '^krel5/platform/[^:]*/Utf\.cpp\.o' <<<"$targets")
ninja -C build "$theirs" "$ours" >output 2>&1 || { cat output; exit 1; }
