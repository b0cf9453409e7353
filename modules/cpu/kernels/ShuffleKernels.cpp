#include <cpu/kernels/Comparison.h>

namespace krel5::modules::cpu {
#if defined(__x86_64__)
namespace {

using Word = std::uint32_t;

// Bytes chosen within each 16, zero where the index is negative.
KREL5_X(shuffleX, "movdqa %%xmm0, %%xmm3\n\tpshufb %%xmm1, %%xmm3")
KREL5_Y(shuffleY, "vpshufb %%ymm1, %%ymm0, %%ymm3")
KREL5_Z(shuffleZ, "vpshufb %%zmm1, %%zmm0, %%zmm3")
void softShuffle(Operands const& in, Bytes& out) noexcept
{
    for (unsigned i = 0; i < 64; ++i)
        out[i] = in.m_b[i] >= 0x80 ? std::uint8_t(0) : in.m_a[i / 16 * 16 + in.m_b[i] % 16];
}

// Within each 16 bytes in a fixed order: interleaved and turned around, joined, cut; one upon the other.
KREL5_X(fixedX, "movdqa %%xmm0, %%xmm3\n\tpunpcklwd %%xmm1, %%xmm3\n\tpshufd $0x1B, %%xmm3, %%xmm3\n\t"
                "movdqa %%xmm1, %%xmm4\n\tshufps $0x4E, %%xmm0, %%xmm4\n\tpxor %%xmm4, %%xmm3\n\t"
                "palignr $5, %%xmm0, %%xmm4\n\tpxor %%xmm4, %%xmm3")
KREL5_Y(fixedY, "vpunpcklwd %%ymm1, %%ymm0, %%ymm3\n\tvpshufd $0x1B, %%ymm3, %%ymm3\n\t"
                "vshufps $0x4E, %%ymm0, %%ymm1, %%ymm4\n\tvpxor %%ymm4, %%ymm3, %%ymm3\n\t"
                "vpalignr $5, %%ymm0, %%ymm4, %%ymm4\n\tvpxor %%ymm4, %%ymm3, %%ymm3")
KREL5_Z(fixedZ, "vpunpcklwd %%zmm1, %%zmm0, %%zmm3\n\tvpshufd $0x1B, %%zmm3, %%zmm3\n\t"
                "vshufps $0x4E, %%zmm0, %%zmm1, %%zmm4\n\tvpxorq %%zmm4, %%zmm3, %%zmm3\n\t"
                "vpalignr $5, %%zmm0, %%zmm4, %%zmm4\n\tvpxorq %%zmm4, %%zmm3, %%zmm3")
void softFixed(Operands const& in, Bytes& out) noexcept
{
    for (unsigned base = 0; base < 64; base += 16) {
        auto const *const a = in.m_a.data() + base, *const b = in.m_b.data() + base;
        std::array<std::uint8_t, 16> mixed{}, joined{};
        for (unsigned i = 0; i < 16; ++i) {
            unsigned const from = i / 4 * 2 + i % 2;
            mixed[i] = i % 4 < 2 ? a[from] : b[from];
            joined[i] = i < 8 ? b[8 + i] : a[i - 8];
        }
        for (unsigned i = 0; i < 16; ++i) {
            std::uint8_t const cut = i + 5 < 16 ? a[i + 5] : joined[i + 5 - 16];
            out[base + i] = static_cast<std::uint8_t>(mixed[(3 - i / 4) * 4 + i % 4] ^ joined[i] ^ cut);
        }
    }
}

// Any lane to any place, over the whole vector.
KREL5_Y(permuteIntegersY, "vpermd %%ymm0, %%ymm1, %%ymm3")
KREL5_Y(permuteFloatsY, "vpermps %%ymm0, %%ymm1, %%ymm3")
KREL5_Z(permuteIntegersZ, "vpermd %%zmm0, %%zmm1, %%zmm3")
KREL5_Z(permuteBytesZ, "vpermb %%zmm0, %%zmm1, %%zmm3")
KREL5_Z(permuteShortsZ, "vpermw %%zmm0, %%zmm1, %%zmm3")
template <typename T, unsigned kBytes>
void softPermute(Operands const& in, Bytes& out) noexcept
{
    constexpr unsigned kLanes = kBytes / sizeof(T);
    for (unsigned i = 0; i < kLanes; ++i)
        setLane(out, i, laneOf<T>(in.m_a, static_cast<unsigned>(laneOf<T>(in.m_b, i) % kLanes)));
}

// From two vectors, the index one of which is overwritten or not.
KREL5_Z(permuteTwoIntegers, "vmovdqa64 %%zmm0, %%zmm3\n\tvpermt2d %%zmm2, %%zmm1, %%zmm3")
KREL5_Z(permuteTwoFloats, "vmovdqa64 %%zmm0, %%zmm3\n\tvpermt2ps %%zmm2, %%zmm1, %%zmm3")
KREL5_Z(permuteTwoDoubles, "vmovdqa64 %%zmm1, %%zmm3\n\tvpermi2pd %%zmm2, %%zmm0, %%zmm3")
KREL5_Z(permuteTwoShorts, "vmovdqa64 %%zmm1, %%zmm3\n\tvpermi2w %%zmm2, %%zmm0, %%zmm3")
template <typename T>
void softPermuteTwo(Operands const& in, Bytes& out) noexcept
{
    constexpr unsigned kLanes = 64 / sizeof(T);
    for (unsigned i = 0; i < kLanes; ++i) {
        auto const index = static_cast<unsigned>(laneOf<T>(in.m_b, i) % (2 * kLanes));
        setLane(out, i, laneOf<T>(index < kLanes ? in.m_a : in.m_c, index % kLanes));
    }
}

KREL5_Y(blendY, "vpblendvb %%ymm2, %%ymm1, %%ymm0, %%ymm3")
void softBlend(Operands const& in, Bytes& out) noexcept
{
    for (unsigned i = 0; i < 32; ++i)
        out[i] = (in.m_c[i] >= 0x80 ? in.m_b : in.m_a)[i];
}

// Indexes into the 16 words of operand a, where the mask in c is negative; the others keep what b holds.
KREL5_Y(gatherY,
        "vpcmpeqd %%ymm5, %%ymm5, %%ymm5\n\tvpsrld $28, %%ymm5, %%ymm4\n\tvpand %%ymm1, %%ymm4, %%ymm4\n\t"
        "vmovdqa %%ymm1, %%ymm3\n\tvpgatherdd %%ymm2, (%[a],%%ymm4,4), %%ymm3")
KREL5_Y(gatherDoublesY,
        "vpcmpeqd %%ymm5, %%ymm5, %%ymm5\n\tvpsrld $29, %%xmm5, %%xmm4\n\tvpand %%xmm1, %%xmm4, %%xmm4\n\t"
        "vmovdqa %%ymm1, %%ymm3\n\tvgatherdpd %%ymm2, (%[a],%%xmm4,8), %%ymm3")
KREL5_Z(gatherZ, "vpternlogd $0xFF, %%zmm5, %%zmm5, %%zmm5\n\tvpsrld $28, %%zmm5, %%zmm4\n\t"
                 "vpandd %%zmm1, %%zmm4, %%zmm4\n\tvpxor %%xmm5, %%xmm5, %%xmm5\n\t"
                 "vpcmpgtd %%zmm2, %%zmm5, %%k1\n\tvmovdqa64 %%zmm1, %%zmm3\n\t"
                 "vpgatherdd (%[a],%%zmm4,4), %%zmm3%{%%k1%}")
template <typename T, unsigned kBytes>
void softGather(Operands const& in, Bytes& out) noexcept
{
    for (unsigned i = 0; i < kBytes / sizeof(T); ++i) {
        bool const chosen = laneOf<T>(in.m_c, i) >> (8 * sizeof(T) - 1) != 0;
        unsigned const index = laneOf<Word>(in.m_b, i) % (64 / sizeof(T));
        setLane(out, i, chosen ? laneOf<T>(in.m_a, index) : laneOf<T>(in.m_b, i));
    }
}

// Of lanes with the same index the last one stays.
KREL5_UNIT(
    scatterZ,
    KREL5_LOAD(
        "vmovdqu64",
        "zmm") "vmovdqu64 %%zmm2, (%[out])\n\t"
               "vpternlogd $0xFF, %%zmm5, %%zmm5, %%zmm5\n\tvpsrld $28, %%zmm5, %%zmm4\n\t"
               "vpandd %%zmm1, %%zmm4, %%zmm4\n\tvpxor %%xmm5, %%xmm5, %%xmm5\n\t"
               "vpcmpgtd %%zmm1, %%zmm5, %%k1\n\tvpscatterdd %%zmm0, (%[out],%%zmm4,4)%{%%k1%}\n\tvzeroupper")
void softScatter(Operands const& in, Bytes& out) noexcept
{
    out = in.m_c;
    for (unsigned i = 0; i < 16; ++i)
        if (Word const index = laneOf<Word>(in.m_b, i); index >> 31 != 0)
            setLane(out, index % 16, laneOf<Word>(in.m_a, i));
}

// Zero where the mask is not negative; stored with the mask turned around, over the rest.
KREL5_UNIT(maskY,
           KREL5_LOAD("vmovdqu", "ymm") "vpmaskmovd (%[a]), %%ymm2, %%ymm3\n\tvmovdqu %%ymm3, (%[out])\n\t"
                                        "vpcmpeqd %%ymm4, %%ymm4, %%ymm4\n\tvpxor %%ymm2, %%ymm4, %%ymm4\n\t"
                                        "vpmaskmovd %%ymm1, %%ymm4, (%[out])\n\tvzeroupper")
void softMask(Operands const& in, Bytes& out) noexcept
{
    for (unsigned i = 0; i < 8; ++i)
        setLane(out, i, laneOf<Word>(laneOf<Word>(in.m_c, i) >> 31 != 0 ? in.m_a : in.m_b, i));
}

// Two masks by comparison, joined in three ways; the sum where set, zero elsewhere, b where the other is set.
KREL5_Z(masksZ, "vpcmpud $1, %%zmm1, %%zmm0, %%k1\n\tvpcmpd $6, %%zmm2, %%zmm1, %%k2\n\t"
                "kandw %%k1, %%k2, %%k3\n\tkxorw %%k1, %%k2, %%k4\n\tkshiftlw $3, %%k4, %%k5\n\t"
                "korw %%k3, %%k5, %%k5\n\tknotw %%k5, %%k6\n\tvpaddd %%zmm0, %%zmm1, %%zmm3%{%%k5%}%{z%}\n\t"
                "vpsubd %%zmm2, %%zmm0, %%zmm3%{%%k6%}\n\tvpblendmd %%zmm2, %%zmm3, %%zmm3%{%%k3%}\n\t"
                "vpxord %%zmm0, %%zmm3, %%zmm3")
void softMasks(Operands const& in, Bytes& out) noexcept
{
    unsigned first = 0, second = 0;
    for (unsigned i = 0; i < 16; ++i) {
        first |= unsigned(laneOf<Word>(in.m_a, i) < laneOf<Word>(in.m_b, i)) << i;
        second |= unsigned(laneOf<std::int32_t>(in.m_b, i) > laneOf<std::int32_t>(in.m_c, i)) << i;
    }
    unsigned const both = first & second, sums = ((first ^ second) << 3 & 0xFFFF) | both;
    for (unsigned i = 0; i < 16; ++i) {
        Word const a = laneOf<Word>(in.m_a, i), b = laneOf<Word>(in.m_b, i), c = laneOf<Word>(in.m_c, i);
        Word const value = (both >> i & 1) != 0 ? c : (sums >> i & 1) != 0 ? a + b : a - c;
        setLane(out, i, value ^ a);
    }
}

// The chosen words moved together, what is left filled from the operand b spread out by the same mask.
KREL5_Z(compressZ, "vpxor %%xmm5, %%xmm5, %%xmm5\n\tvpcmpgtd %%zmm2, %%zmm5, %%k1\n\t"
                   "vpexpandd %%zmm1, %%zmm3%{%%k1%}%{z%}\n\tvpcompressd %%zmm0, %%zmm4%{%%k1%}%{z%}\n\t"
                   "vpaddd %%zmm4, %%zmm3, %%zmm3")
void softCompress(Operands const& in, Bytes& out) noexcept
{
    std::array<Word, 16> spread{}, together{};
    for (unsigned i = 0, chosen = 0; i < 16; ++i)
        if (laneOf<Word>(in.m_c, i) >> 31 != 0) {
            spread[i] = laneOf<Word>(in.m_b, chosen);
            together[chosen++] = laneOf<Word>(in.m_a, i);
        }
    for (unsigned i = 0; i < 16; ++i)
        setLane(out, i, spread[i] + together[i]);
}

template <Step kUnit, Step kSoftware, unsigned kLane, unsigned kBytes>
constexpr LaneKernel entry(char const* name, CpuFeature feature) noexcept
{
    return compared<kUnit, kSoftware, Shape{kLane, kLane, kBytes}>(name, feature);
}

constexpr LaneKernel kKernels[] = {
    entry<shuffleX, softShuffle, 1, 16>("pshufb", CpuFeature::Ssse3),
    entry<shuffleY, softShuffle, 1, 32>("avx2pshufb", CpuFeature::Avx2Fma),
    entry<shuffleZ, softShuffle, 1, 64>("avx512pshufb", CpuFeature::Avx512Bw),
    entry<fixedX, softFixed, 1, 16>("fixedshuffles", CpuFeature::Ssse3),
    entry<fixedY, softFixed, 1, 32>("avx2fixedshuffles", CpuFeature::Avx2Fma),
    entry<fixedZ, softFixed, 1, 64>("avx512fixedshuffles", CpuFeature::Avx512Bw),
    entry<permuteIntegersY, softPermute<Word, 32>, 4, 32>("avx2vpermd", CpuFeature::Avx2Fma),
    entry<permuteFloatsY, softPermute<Word, 32>, 4, 32>("avx2vpermps", CpuFeature::Avx2Fma),
    entry<permuteIntegersZ, softPermute<Word, 64>, 4, 64>("avx512vpermd", CpuFeature::Avx512),
    entry<permuteShortsZ, softPermute<std::uint16_t, 64>, 2, 64>("avx512vpermw", CpuFeature::Avx512Bw),
    entry<permuteBytesZ, softPermute<std::uint8_t, 64>, 1, 64>("avx512vpermb", CpuFeature::Avx512Vbmi),
    entry<permuteTwoIntegers, softPermuteTwo<Word>, 4, 64>("avx512vpermt2d", CpuFeature::Avx512),
    entry<permuteTwoFloats, softPermuteTwo<Word>, 4, 64>("avx512vpermt2ps", CpuFeature::Avx512),
    entry<permuteTwoDoubles, softPermuteTwo<std::uint64_t>, 8, 64>("avx512vpermi2pd", CpuFeature::Avx512),
    entry<permuteTwoShorts, softPermuteTwo<std::uint16_t>, 2, 64>("avx512vpermi2w", CpuFeature::Avx512Bw),
    entry<blendY, softBlend, 1, 32>("avx2vpblendvb", CpuFeature::Avx2Fma),
    entry<gatherY, softGather<Word, 32>, 4, 32>("avx2gather", CpuFeature::Avx2Fma),
    entry<gatherDoublesY, softGather<std::uint64_t, 32>, 8, 32>("avx2gatherpd", CpuFeature::Avx2Fma),
    entry<gatherZ, softGather<Word, 64>, 4, 64>("avx512gather", CpuFeature::Avx512),
    entry<scatterZ, softScatter, 4, 64>("avx512scatter", CpuFeature::Avx512),
    entry<maskY, softMask, 4, 32>("avx2maskmove", CpuFeature::Avx2Fma),
    entry<masksZ, softMasks, 4, 64>("avx512masks", CpuFeature::Avx512),
    entry<compressZ, softCompress, 4, 64>("avx512compress", CpuFeature::Avx512),
};

} // namespace

LaneTable shuffleKernels() noexcept { return kKernels; }
#else
LaneTable shuffleKernels() noexcept { return {}; }
#endif

} // namespace krel5::modules::cpu
