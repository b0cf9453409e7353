#!/bin/sh
# The compiler must have left the packed instructions in the module: instructions.sh MODULE
set -u
[ "$(uname -m)" = x86_64 ] || exit 77
command -v objdump >/dev/null || exit 77
listing=$(mktemp) || exit 1
trap 'rm -f "$listing"' EXIT
objdump -d --no-show-raw-insn "$1" >"$listing" || exit 1
missing=0
# look REGEX NAME
look()
{
    grep -Eq "$1" "$listing" || { echo "not in the module: $2"; missing=1; }
}
for kind in pd ps; do
    for name in add mul div sqrt; do
        look "[[:space:]]v?$name$kind .*%xmm" "$name$kind, 128 bits"
        look "[[:space:]]v$name$kind .*%ymm" "v$name$kind, 256 bits"
        look "[[:space:]]v$name$kind .*%zmm" "v$name$kind, 512 bits"
    done
    look "[[:space:]]vfmadd[0-9]+$kind .*%ymm" "vfmadd$kind, 256 bits"
    look "[[:space:]]vfmadd[0-9]+$kind .*%zmm" "vfmadd$kind, 512 bits"
done
for name in aesenc aesenclast aesdec aesdeclast aesimc sha256rnds2 sha256msg1 sha256msg2 sha1rnds4 sha1nexte sha1msg1 sha1msg2; do
    look "[[:space:]]v?$name[[:space:]]" "$name"
done
# The width is in the name, or in that of the first register.
look "[[:space:]]crc32(b[[:space:]]|[[:space:]]+%([abcd]l|[sd]il|[sb]pl|r[0-9]+b),)" "crc32, 8 bits"
look "[[:space:]]crc32(w[[:space:]]|[[:space:]]+%([abcd]x|[sd]i|[sb]p|r[0-9]+w),)" "crc32, 16 bits"
look "[[:space:]]crc32(l[[:space:]]|[[:space:]]+%(e[a-z]+|r[0-9]+d),)" "crc32, 32 bits"
# Of two registers the listing names no width; into a register of 64 bits there is this one only.
look "[[:space:]]crc32q?[[:space:]].*,%r([a-ds][a-z]|bp|[0-9]+)[[:space:]]*$" "crc32, 64 bits"
look "[[:space:]]v?pclmul[a-z]*[[:space:]]" pclmulqdq
# What stands in assembler is there if its kernel is; one of each group, and of each width.
for name in pdep pext mulx rorx adcx adox blsr bextr lzcnt tzcnt popcnt; do
    look "[[:space:]]$name[[:space:]]" "$name"
done
for name in vpshufb vpermd vcvtps2dq vcvtdq2ps vcvttps2dq vpgatherdd; do
    look "[[:space:]]$name .*%ymm" "$name, 256 bits"
    look "[[:space:]]$name .*%zmm" "$name, 512 bits"
done
for name in vpermt2d vpermi2w vpscatterdd vpcompressd vcvtpd2qq; do
    look "[[:space:]]$name .*%zmm" "$name"
done
for name in vpdpbusd vpdpbusds vpdpwssd vpdpwssds; do
    look "{vex} $name .*%ymm" "$name, 256 bits"
    look "[[:space:]]$name .*%zmm" "$name, 512 bits"
done
for name in vdpbf16ps vcvtneps2bf16 vaddph vmulph vdivph vsqrtph vfmadd231ph; do
    look "[[:space:]]$name .*%zmm" "$name"
done
for name in ldtilecfg tileloadd tdpbssd tdpbf16ps tilestored tilerelease; do
    look "[[:space:]]$name([[:space:]]|$)" "$name"
done
for name in "lock cmpxchg16b" "rep movsb" "rep movsq" "rep stos" "repz cmpsb" "repnz scas" clflush; do
    look "[[:space:]]$name[[:space:]]" "$name"
done
exit $missing
