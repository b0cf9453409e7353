#!/usr/bin/env bash
# Includes follow the layers: modules, examples -> krel5 -> enumerator, ipc -> model -> foundation, tools -> platform.
# Prints every include that points the wrong way; third-party headers stand only where docs/dependencies.md says.
set -u
cd "$1" || exit 2
status=0

# allow FOLDER REGEX: every include of the folder's sources that is neither a system header nor a file of its own folder
# ("Listing.h") matches the regex
allow() {
  local folder=$1 allowed=$2 found
  [[ -d $folder ]] || { echo "no folder $folder"; status=1; return; }
  found=$(grep -rnE '^ *# *include' --include='*.h' --include='*.cpp' --include='*.def' "$folder" |
    grep -vE "include (<($allowed)|\"[A-Za-z]+\.(h|inc)\")" |
    grep -E 'include (<((zel|krel5|libKrel5|common|memory|cpu|storage|nlohmann|CLI|elfutils)/|pugixml|libudev|spdlog)|")')
  if [[ -n $found ]]; then
    echo "$folder may include only <$allowed>:"
    echo "$found"
    status=1
  fi
}

allow platform/zel/foundation 'zel/foundation/|pugixml|elfutils/'
allow platform/zel/model 'zel/foundation/|zel/model/'
allow platform/zel/enumerator 'zel/foundation/|zel/model/|zel/enumerator/|libudev'
allow include/krel5 'krel5/|zel/foundation/String.h>|zel/model/vocabulary/tables/'
allow providers/src/libKrel5 'zel/|krel5/|libKrel5/'
allow modules 'krel5/|common/|memory/|cpu/|storage/|nlohmann/'
allow examples 'krel5/'
allow tools 'zel/|CLI/|nlohmann/'

# each third-party library stays in one unit or two
once() {
  local header=$1 limit=$2 count
  count=$(grep -rlE "include <$header" --include='*.h' --include='*.cpp' platform providers modules | wc -l)
  if ((count > limit)); then
    echo "$header is included by $count files, more than $limit"
    status=1
  fi
}
once pugixml 2
once elfutils 2
once libudev 1
once nlohmann 2

# system calls of the platform stand in its linux folders
found=$(grep -rnE 'include <(unistd|fcntl|signal|csignal|poll|dirent|dlfcn|sched|pthread|execinfo|sys/[a-z]+)(\.h)?>' \
  --include='*.h' --include='*.cpp' platform providers include | grep -v '/linux/')
if [[ -n $found ]]; then
  echo "Operating-system headers outside the linux folders:"
  echo "$found"
  status=1
fi
exit $status
