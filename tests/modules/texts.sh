#!/usr/bin/env bash
# Every language file of a module says what its English one says: the same keys, and the same {variables} in each text.
# And every event that a module's table lists is one that its code raises.
#   texts.sh MODULES_FOLDER MODULE/LANGUAGE...          texts.sh modules memory/de cpu/de
set -uo pipefail
export LC_ALL=C
folder=$1
shift
status=0
fault() { echo "$1"; status=1; }

# "key" and "key {variable}", each once, of the texts that are not empty
outline() { texts "$1" | awk -F= '{
    print $1
    text = substr($0, length($1) + 2)
    while (match(text, /[{][^{}]+[}]/)) {
      print $1, substr(text, RSTART, RLENGTH)
      text = substr(text, RSTART + RLENGTH)
    }
  }' | sort -u; }
texts() { grep -E '^[^#=]+=.' "$1"; }

(($# > 0)) || fault "no language file to look at"
for name in "$@"; do
  module=${name%/*} language=${name##*/}
  english=$folder/$module/${module##*/}.w4p other=$folder/$module/${module##*/}.$language.w4p
  [[ -r $english && -r $other ]] || { fault "cannot read both $english and $other"; continue; }
  iconv -f UTF-8 -t UTF-16 "$other" >/dev/null 2>&1 || fault "$other is not UTF-8"
  grep -q '{' <(outline "$english") || fault "$english: no text with a variable was found"
  for file in "$english" "$other"; do
    twice=$(texts "$file" | cut -d= -f1 | sort | uniq -d)
    [[ -z $twice ]] || fault "$file: twice: $twice"
  done
  for tip in $(texts "$english" | sed -nE 's/^(Event\..+\.Tip\.[2-9])=.*/\1/p'); do # the first that is missing ends the list
    grep -q "^${tip%.*}.$((${tip##*.} - 1))=" <(texts "$english") || fault "$english: $tip without the one before it"
  done
  differing=$(diff <(outline "$english") <(outline "$other") | grep '^[<>]')
  [[ -z $differing ]] || fault "$other differs (<: English has, >: $language has):"$'\n'"$differing"
done

# a file that nobody listed would go unseen
for file in "$folder"/*/*.*.w4p "$folder"/*/*/*.*.w4p; do
  found=$(dirname "${file#"$folder"/}")/$(basename "$file" .w4p | cut -d. -f2)
  [[ " $* " == *" $found "* ]] || fault "$file is not looked at by this test"
done

for table in "$folder"/*/Events.def "$folder"/*/*/Events.def; do
  constants=$(sed -nE 's/^MODULE_EVENT\((\w+),.*/\1/p' "$table")
  [[ -n $constants ]] || fault "$table: no rows were found"
  for constant in $constants; do
    grep -rqw --include='*.cpp' --include='*.h' "$constant" "$(dirname "$table")" || fault "$table: $constant is raised nowhere"
  done
done
exit $status
