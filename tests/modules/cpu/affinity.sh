#!/usr/bin/env bash
# A module that may use one of several processors tests that one, and says that the others are not tested.
#   affinity.sh FOLDER_OF_THE_BUILT_MODULES
set -uo pipefail
((EUID == 0)) || { echo "tests run as root only"; exit 77; }
(($(nproc) > 1)) && [[ $(nproc) == $(getconf _NPROCESSORS_ONLN) ]] || { echo "it takes two processors, all usable"; exit 77; }
folder=$(mktemp -d) || exit 1
trap 'rm -rf "$folder"' EXIT
cp "$1"/cpu "$1"/cpu.w4p "$folder" || exit 1
cd "$folder" || exit 1
echo Test.integer.SecondsPerCore.value=0 >cpu.w4i
one=$(taskset -p $$ | sed 's/.* //') # a mask, of which the lowest processor is taken
one=$((16#$one & -16#$one))
failed=0
LC_ALL=C taskset "$(printf %x $one)" ./cpu run -t 1 -d 1 >output 2>&1 &&
  grep -q "^Warning (.*may use only 1 of $(nproc) logical processors" output || { cat output; failed=1; }
LC_ALL=C ./cpu run -t 1 -d 1 >output 2>&1 && ! grep -q '^Warning' output || { cat output; failed=1; }
exit $failed
