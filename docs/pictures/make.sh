#!/usr/bin/env bash
# Makes the pictures of this folder again, from one session with a fault: a page of the memory under test is broken, as the library
# libbroken_page.so of the tests makes it. Times, seeds and addresses differ from run to run.
# Usage: docs/pictures/make.sh [BUILD_FOLDER]   (as root; of a build with tests; build/release without it; needs python3 and Chromium)
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
build=$(cd "${1:-$here/../../build/release}" && pwd)
[[ $EUID -eq 0 ]] || { echo "tests run as root only" >&2; exit 1; }
chromium=$(command -v chromium || command -v chromium-browser) || { echo "there is no Chromium" >&2; exit 1; }
# Reports and the name of the machine are not this machine's.
if [[ -z ${OWN_PLACE-} ]]; then
  OWN_PLACE=yes exec unshare --mount --uts "$BASH" "$0" "$build"
fi
mount -t tmpfs none /var/log
hostname workshop-3
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT

engine=$build/bin/krel5-engine
session=(run memory:quick cpu --set SizeMiB=512 --set SecondsPerCore=2)
broken=$build/bin/tests/libbroken_page.so
[[ -r $broken ]] || { echo "$broken is not there" >&2; exit 1; }
drawn() { # [OPTIONS...] PICTURE
  BROKEN_PAGE=file LD_PRELOAD=$broken "$here/terminal.py" "$@" "$engine" "${session[@]}"
}
drawn --at "All cores" --after 1.3 "$here/running.svg"
drawn "$here/done.svg"

report=$(find /var/log/krel5 -name '*.jsonl' | sort | tail -n 1)
"$engine" report "$report" --to html --output "$folder/report.html"
grep -q '>FAIL<' "$folder/report.html" || { echo "the session found no fault" >&2; exit 1; }
HOME=$folder "$chromium" --headless --no-sandbox --disable-gpu --disable-dev-shm-usage --hide-scrollbars --user-data-dir="$folder/profile" \
  --window-size=1100,1180 --screenshot="$here/report.png" "file://$folder/report.html" > /dev/null 2>&1
for picture in running.svg done.svg; do
  grep -q 'FAIL' "$here/$picture" || { echo "$picture shows no fault" >&2; exit 1; }
done
