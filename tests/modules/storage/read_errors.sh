#!/usr/bin/env bash
# A drive fails in every way there is, and the module says what failed: the medium only where it did.
#   read_errors.sh FOLDER_OF_THE_BUILT_MODULES LIBRARY_OF_THE_FAULTY_DRIVE
set -uo pipefail
here=$(cd "$(dirname "$0")" && pwd)
. "$here/machine.sh"

printf 'Test.readsequential.%s\n' SizeMiB.value=2 Retries.value=1 MaxBadBlocks.value=1 >storage.w4i
failed=0
while IFS='|' read -r faults status verdict shows; do
  IFS=';' read -ra set <<<"$faults"
  output=$(env "${set[@]}" LD_PRELOAD="$3" LC_ALL=C ./storage run -t 1 -d 1 2>&1)
  result=$?
  if ((result != status)) || ! grep -q "^Final Result: $verdict\$" <<<"$output" || ! grep -qF "$shows" <<<"$output" ||
    { [[ $verdict != FAIL ]] && grep -qi 'unreadable sectors' <<<"$output"; }; then
    echo "$faults: exit status $result, not $verdict or no \"$shows\":"
    echo "$output"
    failed=1
  fi
done <<'END'
FAULTY_DRIVE=EIO|23|FAIL|unreadable sectors within LBA 2048 to 4095
FAULTY_DRIVE=ENODATA|23|FAIL|unreadable sectors within LBA 2048 to 4095
FAULTY_DRIVE=EILSEQ|23|FAIL|unreadable sectors within LBA 2048 to 4095
FAULTY_DRIVE=EBADMSG|23|FAIL|unreadable sectors within LBA 2048 to 4095
FAULTY_DRIVE=EBADE|28|CANNOT RUN|reserved by another computer
FAULTY_DRIVE=EREMOTEIO|28|CANNOT RUN|answered that it cannot do what was asked
FAULTY_DRIVE=ENOLINK|28|CANNOT RUN|The connection to the drive failed
FAULTY_DRIVE=ETIMEDOUT|28|CANNOT RUN|did not answer within the time
FAULTY_DRIVE=EBUSY|28|CANNOT RUN|The drive is busy
FAULTY_DRIVE=EAGAIN|28|CANNOT RUN|asks to try again later
FAULTY_DRIVE=ENOMEM|28|CANNOT RUN|refuses to read the drive
FAULTY_DRIVE=ENXIO|31|NO DEVICE|no longer there
FAULTY_DRIVE=EIO;FAULTY_SECTORS=2056 2056;FAULTY_GEOMETRY=512 512|23|FAIL|Unreadable sectors: LBA 2056 to 2056
FAULTY_DRIVE=EIO;FAULTY_SECTORS=2056 2063;FAULTY_GEOMETRY=512 4096|23|FAIL|Unreadable sectors: LBA 2056 to 2063
FAULTY_DRIVE=EIO;FAULTY_SECTORS=2056 2056;FAULTY_GEOMETRY=512 4096|23|FAIL|Unreadable sectors: LBA 2056 to 2063
FAULTY_DRIVE=EIO;FAULTY_SECTORS=2056 2056;FAULTY_GEOMETRY=512 8192|23|FAIL|Unreadable sectors: LBA 2056 to 2056
FAULTY_DRIVE=EIO;FAULTY_SECTORS=2056 2056;FAULTY_GEOMETRY=512 0|23|FAIL|Unreadable sectors: LBA 2056 to 2056
FAULTY_DRIVE=EIO;FAULTY_SECTORS=2056 2056;FAULTY_CALLS=physical EINVAL|23|FAIL|Unreadable sectors: LBA 2056 to 2056
FAULTY_DRIVE=EIO;FAULTY_SECTORS=2056 2056;FAULTY_GEOMETRY=4096 512|23|FAIL|Unreadable sectors: LBA 257 to 257
FAULTY_GEOMETRY=65536 65536|0|PASS|Read: 2097152 bytes
FAULTY_GEOMETRY=131072 131072|28|CANNOT RUN|/dev/sda cannot be opened
FAULTY_GEOMETRY=256 256|28|CANNOT RUN|/dev/sda cannot be opened
FAULTY_CALLS=open EINTR 2|0|PASS|Read: 2097152 bytes
FAULTY_CALLS=open EINVAL 1|0|PASS|cannot be read past the operating system's cache
FAULTY_CALLS=open EACCES 1|26|INSUFFICIENT PRIVILEGE|
FAULTY_CALLS=fstat EIO|28|CANNOT RUN|/dev/sda cannot be opened
FAULTY_CALLS=size EIO|28|CANNOT RUN|/dev/sda cannot be opened
FAULTY_CALLS=logical EIO|28|CANNOT RUN|/dev/sda cannot be opened
FAULTY_CALLS=pread EINTR 2|0|PASS|only when tried again: 0.
FAULTY_CALLS=pread half 3|0|PASS|only when tried again: 0.
FAULTY_CALLS=pread nothing 1|0|PASS|only when tried again: 1.
END
exit $failed
