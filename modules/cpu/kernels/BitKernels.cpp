#include <cpu/kernels/Comparison.h>

namespace krel5::modules::cpu {
#if defined(__x86_64__)
namespace {

using Word = std::uint64_t;

bool bitOf(Word word, Word bit) noexcept { return (word >> bit & 1) != 0; }
Word lowMask(Word bits) noexcept { return bits >= 64 ? ~Word(0) : (Word(1) << bits) - 1; }
Word swappedBytes(Word a) noexcept
{
    Word out = 0;
    for (unsigned i = 0; i < 8; ++i)
        out = out << 8 | (a >> (8 * i) & 0xFF);
    return out;
}
Word turnedRight(Word a, Word by) noexcept
{
    return (by & 63) == 0 ? a : a >> (by & 63) | a << (64 - (by & 63));
}

KREL5_SCALAR(andNot, "andn %[b], %[a], %[out]")
Word softAndNot(Word a, Word b, Word) noexcept { return ~a & b; }

// Start and length are the low two bytes; lengths beyond the end included.
KREL5_SCALAR(extractField, "bextr %[b], %[a], %[out]")
Word softExtractField(Word a, Word b, Word) noexcept
{
    Word const start = b & 0xFF, length = b >> 8 & 0xFF;
    return start >= 64 ? 0 : a >> start & lowMask(length);
}

KREL5_SCALAR(lowestBits, "blsr %[a], %%rax\n\tblsi %[b], %%rcx\n\tblsmsk %[c], %%rdx\n\t"
                         "lea (%%rax,%%rcx), %[out]\n\trol $7, %[out]\n\txor %%rdx, %[out]")
Word softLowestBits(Word a, Word b, Word c) noexcept
{
    auto const lowest = [](Word of) {
        Word bit = 0;
        while (bit < 63 && !bitOf(of, bit))
            ++bit;
        return of == 0 ? 64 : bit;
    };
    Word const withoutLowest = lowest(a) == 64 ? 0 : a ^ Word(1) << lowest(a);
    Word const isolated = lowest(b) == 64 ? 0 : Word(1) << lowest(b);
    return turnedRight(withoutLowest + isolated, 57) ^ lowMask(lowest(c) + 1);
}

KREL5_SCALAR(zeroHigh, "bzhi %[b], %[a], %[out]")
Word softZeroHigh(Word a, Word b, Word) noexcept { return a & lowMask(b & 0xFF); }

KREL5_SCALAR(deposit, "pdep %[b], %[a], %[out]")
Word softDeposit(Word a, Word mask, Word) noexcept
{
    Word out = 0;
    for (unsigned bit = 0, from = 0; bit < 64; ++bit)
        if (bitOf(mask, bit))
            out |= Word(bitOf(a, from++)) << bit;
    return out;
}

KREL5_SCALAR(extract, "pext %[b], %[a], %[out]")
Word softExtract(Word a, Word mask, Word) noexcept
{
    Word out = 0;
    for (unsigned bit = 0, to = 0; bit < 64; ++bit)
        if (bitOf(mask, bit))
            out |= Word(bitOf(a, bit)) << to++;
    return out;
}

// Both halves of the product, neither of which hides the other; the software multiplies by additions.
KREL5_SCALAR(widen, "mov %[a], %%rdx\n\tmulx %[b], %%rax, %[out]\n\trol $1, %[out]\n\tadd %%rax, %[out]")
KREL5_SCALAR(widenOld,
             "mov %[a], %%rax\n\tmul %[b]\n\tmov %%rdx, %[out]\n\trol $1, %[out]\n\tadd %%rax, %[out]")
Word softWiden(Word a, Word b, Word) noexcept
{
    Uint128 product = 0;
    for (unsigned bit = 0; bit < 64; ++bit)
        product += bitOf(b, bit) ? Uint128(a) << bit : 0;
    return turnedRight(static_cast<Word>(product >> 64), 63) + static_cast<Word>(product);
}

KREL5_SCALAR(turns, "rorx $13, %[a], %[out]\n\tmov %[b], %%rcx\n\tror %%cl, %[out]")
Word softTurns(Word a, Word b, Word) noexcept { return turnedRight(turnedRight(a, 13), b); }

KREL5_SCALAR(shifts, "shlx %[b], %[a], %[out]\n\tshrx %[b], %[c], %%rax\n\tsarx %[c], %[a], %%rcx\n\t"
                     "xor %%rax, %[out]\n\txor %%rcx, %[out]")
Word softShifts(Word a, Word b, Word c) noexcept
{
    Word const by = c & 63, sign = bitOf(a, 63) ? ~lowMask(64 - by) : 0;
    return a << (b & 63) ^ c >> (b & 63) ^ (a >> by | sign);
}

KREL5_SCALAR(doubleShifts, "mov %[c], %%rcx\n\tmov %[a], %[out]\n\tshld %%cl, %[b], %[out]\n\t"
                           "mov %[b], %%rax\n\tshrd %%cl, %[a], %%rax\n\tadd %%rax, %[out]")
Word softDoubleShifts(Word a, Word b, Word c) noexcept
{
    Word const by = c & 63;
    return by == 0 ? a + b : (a << by | b >> (64 - by)) + (b >> by | a << (64 - by));
}

// Zero bits at both ends that the operand would hardly have by chance, zero itself included.
KREL5_SCALAR(zeroCounts, "mov %[b], %%rcx\n\tmov %[a], %%rax\n\tshr %%cl, %%rax\n\tlzcnt %%rax, %[out]\n\t"
                         "mov %[a], %%rax\n\tshl %%cl, %%rax\n\ttzcnt %%rax, %%rdx\n\tshl $32, %%rdx\n\t"
                         "or %%rdx, %[out]\n\trol $1, %[out]\n\txor %[a], %[out]")
Word softZeroCounts(Word a, Word b, Word) noexcept
{
    Word const down = a >> (b & 63), up = a << (b & 63);
    Word leading = 0, trailing = 0;
    while (leading < 64 && !bitOf(down, 63 - leading))
        ++leading;
    while (trailing < 64 && !bitOf(up, trailing))
        ++trailing;
    return (trailing << 32 | leading) << 1 ^ a;
}

KREL5_SCALAR(scans, "bsf %[a], %%rax\n\tbsr %[a], %%rcx\n\tshl $8, %%rcx\n\tlea (%%rax,%%rcx), %[out]\n\t"
                    "bswap %[out]\n\txor %[a], %[out]")
Word softScans(Word a, Word, Word) noexcept
{
    Word low = 0, high = 63;
    while (low < 63 && !bitOf(a, low))
        ++low;
    while (high > 0 && !bitOf(a, high))
        --high;
    return swappedBytes(high << 8 | low) ^ a;
}

KREL5_SCALAR(countOnes, "popcnt %[a], %[out]\n\tpopcnt %[b], %%rax\n\tshl $8, %%rax\n\tor %%rax, %[out]")
Word softCountOnes(Word a, Word b, Word) noexcept
{
    Word first = 0, second = 0;
    for (unsigned bit = 0; bit < 64; ++bit) {
        first += a >> bit & 1;
        second += b >> bit & 1;
    }
    return second << 8 | first;
}

KREL5_SCALAR(bitTests, "mov %[a], %[out]\n\tbts %[b], %[out]\n\tsbb %%rax, %%rax\n\tbtr %[c], %[out]\n\t"
                       "sbb %%rcx, %%rcx\n\txor %[b], %%rcx\n\tbtc %%rcx, %[out]\n\tadd %%rax, %[out]")
Word softBitTests(Word a, Word b, Word c) noexcept
{
    Word const before = bitOf(a, b & 63) ? ~Word(0) : 0;
    Word out = a | Word(1) << (b & 63);
    Word const second = bitOf(out, c & 63) ? ~b : b;
    out = (out & ~(Word(1) << (c & 63))) ^ Word(1) << (second & 63);
    return out + before;
}

KREL5_SCALAR(swapBytes, "mov %[a], %[out]\n\tbswap %[out]")
Word softSwapBytes(Word a, Word, Word) noexcept { return swappedBytes(a); }

// Two additions of 128 bits at once, a carry in each flag: c:a + a:b, and b:c + c:a.
KREL5_SCALAR(twoCarries, "mov %[a], %%rax\n\tmov %[c], %%rcx\n\tmov %[c], %%rdx\n\tmov %[b], %[out]\n\t"
                         "xor %%r8d, %%r8d\n\tadcx %[b], %%rax\n\tadox %[a], %%rdx\n\tadcx %[a], %%rcx\n\t"
                         "adox %[c], %[out]\n\trol $9, %%rcx\n\trol $21, %%rdx\n\t"
                         "xor %%rax, %[out]\n\txor %%rcx, %[out]\n\txor %%rdx, %[out]")
Word softTwoCarries(Word a, Word b, Word c) noexcept
{
    Uint128 const first = (Uint128(c) << 64 | a) + (Uint128(a) << 64 | b);
    Uint128 const second = (Uint128(b) << 64 | c) + (Uint128(c) << 64 | a);
    return static_cast<Word>(second >> 64) ^ static_cast<Word>(first) ^
           turnedRight(static_cast<Word>(first >> 64), 64 - 9) ^
           turnedRight(static_cast<Word>(second), 64 - 21);
}

constexpr LaneKernel kKernels[] = {
    comparedScalar<andNot, softAndNot>("andn", CpuFeature::Bmi),
    comparedScalar<extractField, softExtractField>("bextr", CpuFeature::Bmi),
    comparedScalar<lowestBits, softLowestBits>("blsr", CpuFeature::Bmi),
    comparedScalar<zeroHigh, softZeroHigh>("bzhi", CpuFeature::Bmi),
    comparedScalar<deposit, softDeposit>("pdep", CpuFeature::Bmi),
    comparedScalar<extract, softExtract>("pext", CpuFeature::Bmi),
    comparedScalar<widen, softWiden>("mulx", CpuFeature::Bmi),
    comparedScalar<widenOld, softWiden>("mul", CpuFeature::None),
    comparedScalar<turns, softTurns>("rorx", CpuFeature::Bmi),
    comparedScalar<shifts, softShifts>("shlx", CpuFeature::Bmi),
    comparedScalar<doubleShifts, softDoubleShifts>("shld", CpuFeature::None),
    comparedScalar<zeroCounts, softZeroCounts>("lzcnt", CpuFeature::Bmi),
    comparedScalar<scans, softScans>("bsf", CpuFeature::None),
    comparedScalar<countOnes, softCountOnes>("popcnt", CpuFeature::Popcnt),
    comparedScalar<bitTests, softBitTests>("bts", CpuFeature::None),
    comparedScalar<swapBytes, softSwapBytes>("bswap", CpuFeature::None),
    comparedScalar<twoCarries, softTwoCarries>("adcx", CpuFeature::Adx),
};

} // namespace

LaneTable bitKernels() noexcept { return kKernels; }
#else
LaneTable bitKernels() noexcept { return {}; }
#endif

} // namespace krel5::modules::cpu
