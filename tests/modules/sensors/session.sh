# For the scripts beside it: what a running module shows, in the file "output", is awaited.
failed=0
fault() { echo "$1"; tail -n 60 output | sed 's/^/    /'; failed=1; }

# Waits until the pattern stands in what was shown since the last time that something was awaited.
seen=1
await() {
  for ((i = 0; i < 1500; ++i)); do
    local line
    line=$(tail -n "+$seen" output | grep -nE -m1 -- "$1" | cut -d: -f1)
    [[ -z $line ]] || { ((seen += line)); return 0; }
    sleep 0.02
  done
  fault "did not come: $1"
  exit 1 # what comes behind it cannot come either
}
