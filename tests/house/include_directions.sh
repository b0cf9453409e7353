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
    grep -E 'include (<((zel|krel5|libKrel5|common|memory|cpu|storage|network|pcie|board|inventory|sensors|listing|engine|nlohmann|CLI|elfutils)/|pugixml|libudev|spdlog)|")')
  if [[ -n $found ]]; then
    echo "$folder may include only <$allowed>:"
    echo "$found"
    status=1
  fi
}

# The rows of a layer's table in docs/architecture.md: the rooms that they name, as lines of words.
floors() {
  awk -F'|' -v heading="^### .$1.[:,]" '
    /^##/ { inside = ($0 ~ heading) }
    inside && NF > 2 && $2 ~ /`/ { gsub(/\/?`/, "", $2); print $2 }' docs/architecture.md
}

# Inside a layer the arrows run one way as well. rooms FOLDER PREFIX reads the floors of a layer from standard input, the
# ground floor first. A room, with its sub-folders, may include itself and the rooms of the floors below; those of one
# floor do not know each other. "." is what stands in the layer's folder itself. Further lines "home HEADER ROOM" say in
# which room a public header <krel5/HEADER> lies.
rooms() {
  local folder=$1 prefix=$2 found
  found=$({
    awk '{ print ($1 == "home" ? "" : "floor " NR " ") $0 }'
    grep -rHE '^ *# *include <' --include='*.h' --include='*.cpp' --include='*.def' --include='*.inc' "$folder"
    [[ $prefix != libKrel5 ]] || grep -HE '^ *# *include <' include/krel5/*.h
  } | awk -v folder="$folder/" -v prefix="$prefix/" '
    function room(path,    one, longest) {
      longest = "."
      for (one in floor)
        if (index(path, one "/") == 1 && length(one "/") > length(longest)) longest = one
      return longest
    }
    function roomOf(header) {
      if (index(header, prefix) == 1) return room(substr(header, length(prefix) + 1))
      if (index(header, "krel5/vocabulary/") == 1) return "vocabulary"
      return index(header, "krel5/") == 1 ? home[substr(header, 7)] : ""
    }
    $1 == "floor" { for (i = 3; i <= NF; ++i) floor[$i] = $2; next }
    $1 == "home" { home[$2] = $3; next }
    {
      colon = index($0, ":")
      file = substr($0, 1, colon - 1)
      match($0, /<[^>]*>/)
      to = roomOf(substr($0, RSTART + 1, RLENGTH - 2))
      from = index(file, folder) == 1 ? room(substr(file, length(folder) + 1)) : roomOf(substr(file, 9)) # "include/"
      if (from != "" && from != "nobody" && !(from in floor)) print file " stands in no room of the list"
      else if (from != "" && from != "nobody" && to != "" && to != from && !(to in floor && floor[to] < floor[from]))
        print file ": " from " -> " to ":" substr($0, colon + 1)
    }')
  if [[ -n $found ]]; then
    echo "Includes between rooms of $folder that run upwards or across:"
    echo "$found"
    status=1
  fi
}

# A public header lies in the room of the unit that implements it; one of words only lies nowhere, and one that
# gathers others is for the users of the library.
homes() {
  local header name unit
  for header in include/krel5/*.h; do
    name=$(basename "$header" .h)
    unit=$(find providers/src/libKrel5 -name "$name.cpp" | head -n 1)
    # its own unit, a unit that defines its constructor, or a list whose rows become definitions
    [[ -n $unit ]] || unit=$(grep -rlE "(^|[ &*])$name(<T>)?::$name\\(|^# *define [A-Z0-9_]+ $name\$|^[A-Z0-9_]+\\($name[,)]" \
      providers/src/libKrel5 | head -n 1)
    if [[ -n $unit ]]; then
      unit=$(dirname "${unit#providers/src/libKrel5/}")
      echo "home $name.h $unit"
    elif grep -E '^#include <krel5/' "$header" | grep -qv '<krel5/Export.h>'; then
      echo "home $name.h nobody"
    fi
  done
}

allow platform/zel/foundation 'zel/foundation/|elfutils/'
allow platform/zel/model 'zel/foundation/|zel/model/'
allow platform/zel/enumerator 'zel/foundation/|zel/model/|zel/enumerator/|libudev'
allow platform/zel/ipc 'zel/foundation/|zel/model/|zel/ipc/'
allow include/krel5 'krel5/|zel/foundation/(Array|String).h>|zel/model/vocabulary/tables/'
allow providers/src/libKrel5 'zel/|krel5/|libKrel5/'
for module in modules/*/; do
  [[ $module == modules/inventory/ || $module == modules/sensors/ ]] || allow "$module" 'krel5/|common/|memory/|cpu/|storage/|network/|pcie/|board/|nlohmann/'
done
allow modules/inventory 'krel5/|inventory/|zel/enumerator/(Enumerator|records/Properties)\.h|zel/model/|zel/foundation/String\.h'
allow modules/sensors 'krel5/|sensors/|common/|zel/enumerator/(Enumerator|records/Properties|root/(Root|Text))\.h|zel/model/|zel/foundation/(Logger|String)\.h'
allow examples 'krel5/'
allow tools 'zel/|listing/|engine/|CLI/|nlohmann/'
allow tools/listing 'zel/|listing/|CLI/|nlohmann/'
allow tools/zel-devices 'zel/|listing/|CLI/'

rooms platform/zel/model zel/model < <(floors platform/zel/model)
rooms platform/zel/enumerator zel/enumerator < <(floors platform/zel/enumerator; echo .)
rooms tools/listing listing < <(floors tools/listing)
rooms tools/engine engine < <(floors tools/engine; echo .)
rooms providers/src/libKrel5 libKrel5 < <(floors providers/src/libKrel5; homes)

# reading a drive and asking it for its health know nothing of each other
found=$(grep -rlE 'include <storage/smart/' modules/storage | grep -vE '^modules/storage/(main\.cpp|smart/)')
if [[ -n $found ]]; then
  echo "Only main.cpp knows modules/storage/smart from outside:"
  echo "$found"
  status=1
fi

# each third-party library stays in one unit or two
once() {
  local header=$1 limit=$2 count
  count=$(grep -rlE "include <$header" --include='*.h' --include='*.cpp' platform providers modules tools | wc -l)
  if ((count > limit)); then
    echo "$header is included by $count files, more than $limit"
    status=1
  fi
}
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
