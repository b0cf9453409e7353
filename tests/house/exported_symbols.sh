#!/usr/bin/env bash
# What the shared libraries offer is ours: every exported symbol belongs to krel5 or zel, and none is a template of the
# standard library (cmake/exports.map).   exported_symbols.sh LIBRARY...
set -u
status=0
for library in "$@"; do
  [[ -e $library ]] || { echo "no library $library"; exit 2; }
  ours=0
  while read -r name; do
    case $name in
      *krel5::* | *zel::*) ours=$((ours + 1)) ;;
      _init | _fini) ;;
      *) echo "$library exports $name"; status=1 ;;
    esac
  done < <(nm -DC --defined-only "$library" | awk '$2 ~ /[TWVBDRu]/ { $1 = $2 = ""; sub(/^  */, ""); print }')
  while read -r name; do
    echo "$library exports $name"
    status=1
  done < <(nm -D --defined-only "$library" | grep -Eo ' _Z(Z|GV|GVZ|T[ISV])?N?K?(S[tabiosd]|9__gnu_cxx).*' | c++filt)
  ((ours > 100)) || { echo "$library exports only $ours symbols of ours"; status=1; }
done
exit $status
