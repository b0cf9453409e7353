#!/usr/bin/env bash
# Every report of smart_reports.txt comes from a smartctl that the module finds and runs, and the module ends with its
# verdict, its exit status and its words.
#   smart_module.sh FOLDER_OF_THE_BUILT_MODULES
set -uo pipefail
here=$(cd "$(dirname "$0")" && pwd)
. "$here/../machine.sh"

cat >sbin/smartctl <<'END'
#!/bin/sh
echo "$*" >/usr/sbin/words
cat /usr/sbin/report
exit "$(cat /usr/sbin/status)"
END
chmod +x sbin/smartctl

failed=0 done=0
fault() { echo "$name: $1"; sed 's/^/    /' output; failed=1; }

judge() {
  : >sbin/words
  LC_ALL=C ./storage run -t 5 -d 1 >output 2>&1
  local status=$? wanted="--json -a /dev/sda"
  [[ -z $type ]] || wanted="--json -a -d $type /dev/sda"
  ((status == ${verdict##* })) || fault "exit status $status, not ${verdict##* }"
  grep -q "^Final Result: ${verdict% *}\$" output || fault "not ${verdict% *}"
  grep -qF -- "$shows" output || fault "does not show: $shows"
  ! LC_ALL=C grep -qaP '[\x00-\x08\x0b-\x1f\x7f]|\xc2[\x80-\x9f]' output || fault "shows what a terminal obeys"
  [[ $type == *\ * || $(cat sbin/words) == "$wanted" ]] || fault "smartctl was given: $(cat sbin/words)"
  ((++done))
}

name='' type=''
while IFS= read -r line; do
  case $line in
    '=== '*)
      [[ -z $name ]] || judge
      name=${line#=== } type='' shows='(no text)'
      : >sbin/report
      : >storage.w4i
      ;;
    'exit '*) echo "${line#exit }" >sbin/status ;;
    'set '*)
      setting=${line#set }
      echo "Test.smart.${setting%%=*}.value=${setting#*=}" >storage.w4i
      [[ $line != 'set DeviceType='* ]] || type=${line#set DeviceType=}
      ;;
    'verdict '*) verdict=${line#verdict } ;;
    'shows '*) shows=${line#shows } ;;
    '{'* | ' '*) printf '%s\n' "$line" >>sbin/report ;;
  esac
done <"$here/smart_reports.txt"
judge
echo "$done reports"
wanted=$(grep -c '^=== ' "$here/smart_reports.txt")
((done == wanted && done > 0)) || { echo "not all of the $wanted reports"; exit 1; }

name='zero byte' type='' verdict='CANNOT RUN 28' shows='smartctl printed no JSON object'
: >storage.w4i
echo 0 >sbin/status
printf '{"smart_status":{"passed":true}}\0{"smart_status":{"passed":false}}' >sbin/report
judge

# A child of smartctl that has left its group and holds its output does not hold the test.
name='escaped child' type='' verdict='PASS 0' shows='according to SMART: yes'
: >storage.w4i
echo '{"smart_status":{"passed":true}}' >sbin/report
echo 0 >sbin/status
sed -i '2i setsid sleep 600 & echo $! >/usr/sbin/escaped; sleep 0.2' sbin/smartctl
SECONDS=0
judge
((SECONDS < 60)) || fault "held for $SECONDS s"
kill -KILL "$(cat sbin/escaped)" || fault "nobody escaped"

# A module that is killed takes its smartctl along: nobody is left who could stop it.
name='killed module'
printf '#!/bin/sh\necho $$ >/usr/sbin/running\nexec sleep 600\n' >sbin/smartctl
rm -f sbin/running
./storage run -t 5 -d 1 >output 2>&1 &
module=$!
SECONDS=0
until [[ -s sbin/running ]] || ((SECONDS >= 60)); do sleep 0.05; done
child=$(cat sbin/running) || fault "smartctl was not started"
kill -KILL $module
wait $module 2>/dev/null
lives() { grep -qs '^State:.[^ZX]' "/proc/$child/status"; } # a dead one whose status nobody takes still stands there
SECONDS=0
while lives && ((SECONDS < 60)); do sleep 0.05; done
! lives || { fault "smartctl outlived it"; kill -KILL "$child"; }
exit $failed
