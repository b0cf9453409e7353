#!/usr/bin/env bash
# Every source is formatted as .clang-format says. Skipped (77) where clang-format 14 is not installed.
set -u
cd "$1" || exit 2
formatter=$(command -v clang-format-14) || { echo "clang-format-14 is not installed: not checked"; exit 77; }
find include platform providers modules tools examples tests benchmarks \
  \( -name '*.h' -o -name '*.cpp' \) -print0 | xargs -0 "$formatter" --dry-run -Werror 2>&1 | grep -m 20 error && exit 1
exit 0
