#!/usr/bin/env bash
# Where the programs of the build look for libraries: beside themselves, and never in the working directory, where anybody
# may have put one that a program run as root would load. Looks at every ELF file, then plants libraries and sees.
#   library_paths.sh BUILD_FOLDER COMPILER
set -u
build=$1 compiler=$2
work=$(mktemp -d) || exit 2
trap 'rm -rf "$work"' EXIT
status=0
wrong() { echo "$*"; status=1; }

looked_at=0
while IFS= read -r -d '' file; do
  [[ $(head -c 4 "$file" | tr -d '\0') == $'\x7fELF' ]] || continue
  looked_at=$((looked_at + 1))
  dynamic=$(readelf -d "$file") || wrong "$file: readelf cannot read it"
  grep -q '(RPATH)' <<<"$dynamic" && wrong "$file: RPATH, which comes before what the caller says"
  path=$(sed -n 's/.*(RUNPATH).*\[\(.*\)\]$/\1/p' <<<"$dynamic")
  if grep -q '(RUNPATH)' <<<"$dynamic"; then
    while IFS= read -r element; do
      [[ $element == "\$ORIGIN" || $element == "\$ORIGIN/"* ]] || wrong "$file: looks in \"$element\" ($path)"
    done < <(tr ':' '\n' <<<"$path")
  elif grep -qE 'NEEDED.*\[lib(zel|Krel5)\.so' <<<"$dynamic"; then
    wrong "$file: needs our libraries and does not say where they are"
  fi
done < <(find "$build" -path '*/CMakeFiles' -prune -o -type f \( -perm -u+x -o -name '*.so*' \) -print0)
for one in lib/libzel.so lib/libKrel5.so bin/zel-devices bin/modules/storage bin/tests/foundation_test; do
  [[ -e $build/$one ]] || wrong "no $one: the search has looked in the wrong place"
done
((looked_at > 10)) || wrong "only $looked_at programs and libraries found"

# Names that our programs load at start or when first needed. Each of the planted ones tells that it was loaded.
cat > "$work/planted.c" <<'SOURCE'
#include <fcntl.h>
__attribute__((constructor)) static void planted(void)
{
    creat(MARKER, 0600);
}
SOURCE
mkdir "$work/planted"
"$compiler" -x c -shared -fPIC -DMARKER="\"$work/loaded\"" -o "$work/library" "$work/planted.c" || exit 2
for name in libudev.so.1 libdw.so.1 libelf.so.1 libm.so.6 libgcc_s.so.1 libstdc++.so.6 libpthread.so.0 libzel.so.5 libKrel5.so.5; do
  cp "$work/library" "$work/planted/$name"
done
cd "$work/planted" || exit 2

# stays_out PROGRAM ARGUMENTS...: it does its work, and nothing planted was loaded
stays_out() {
  "$@" >"$work/output" 2>&1 || wrong "$* fails beside planted libraries: $(tail -n 2 "$work/output")"
  [[ ! -e $work/loaded ]] || wrong "$* has loaded a library of the working directory"
  rm -f "$work/loaded"
}
stays_out "$build/bin/zel-devices"
for module in memory cpu storage; do
  stays_out "$build/bin/modules/$module" -version
  if [[ $(id -u) -eq 0 ]]; then stays_out "$build/bin/modules/$module" enum; fi
done

# Were the planted libraries of no use, this would have been no test. Told through a program of the system: a sanitizer's
# run-time refuses to start behind a preloaded library.
LD_PRELOAD=$work/library cat /dev/null
[[ -e $work/loaded ]] || wrong "the planted library does nothing when it is loaded"
exit $status
