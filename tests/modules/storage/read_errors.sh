#!/usr/bin/env bash
# A drive fails in every way there is, and the module says what failed: the medium only where it did.
#   read_errors.sh FOLDER_OF_THE_BUILT_MODULES LIBRARY_OF_THE_FAULTY_DRIVE
set -uo pipefail
here=$(cd "$(dirname "$0")" && pwd)
. "$here/machine.sh"

printf 'Test.readsequential.%s\n' SizeMiB.value=2 Retries.value=1 MaxBadBlocks.value=1 >storage.w4i
failed=0
while IFS='|' read -r error status verdict shows; do
  output=$(FAULTY_DRIVE=$error LD_PRELOAD=$3 LC_ALL=C ./storage run -t 1 -d 1 2>&1)
  result=$?
  if ((result != status)) || ! grep -q "^Final Result: $verdict\$" <<<"$output" || ! grep -qF "$shows" <<<"$output" ||
    { [[ $verdict != FAIL ]] && grep -q 'unreadable sectors' <<<"$output"; }; then
    echo "$error: exit status $result, not $verdict or no \"$shows\":"
    echo "$output"
    failed=1
  fi
done <<'END'
EIO|23|FAIL|unreadable sectors within LBA 2048 to 4095
ENODATA|23|FAIL|unreadable sectors within LBA 2048 to 4095
EILSEQ|23|FAIL|unreadable sectors within LBA 2048 to 4095
EBADMSG|23|FAIL|unreadable sectors within LBA 2048 to 4095
EBADE|28|CANNOT RUN|reserved by another computer
EREMOTEIO|28|CANNOT RUN|answered that it cannot do what was asked
ENOLINK|28|CANNOT RUN|The connection to the drive failed
ETIMEDOUT|28|CANNOT RUN|did not answer within the time
EBUSY|28|CANNOT RUN|The drive is busy
EAGAIN|28|CANNOT RUN|asks to try again later
ENOMEM|28|CANNOT RUN|refuses to read the drive
ENXIO|31|NO DEVICE|no longer there
END
exit $failed
