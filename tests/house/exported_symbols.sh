#!/usr/bin/env bash
# What the shared libraries offer is ours: every exported symbol belongs to krel5 or zel.   exported_symbols.sh LIBRARY...
set -u
status=0
for library in "$@"; do
  [[ -e $library ]] || { echo "no library $library"; exit 2; }
  ours=0
  while read -r name; do
    case $name in
      *krel5::* | *zel::*) ours=$((ours + 1)) ;;
      std::* | "void std::"* | "typeinfo "*std::* | "vtable for std::"* | *"std::"* | *__gnu_cxx* | operator* | _init | _fini) ;; # templates of the standard library
      *) echo "$library exports $name"; status=1 ;;
    esac
  done < <(nm -DC --defined-only "$library" | awk '$2 ~ /[TWVBDRu]/ { $1 = $2 = ""; sub(/^  */, ""); print }')
  ((ours > 100)) || { echo "$library exports only $ours symbols of ours"; status=1; }
done
exit $status
