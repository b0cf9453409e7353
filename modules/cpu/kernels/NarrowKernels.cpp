// Arithmetic on narrow numbers: sums of products of bytes, of 16-bit integers and of the upper halves of floats, in
// vectors and in matrices, and everything that there is for half precision.

#include <cpu/kernels/NarrowSoftware.h>

#include <limits>

namespace krel5::modules::cpu {
#if defined(__x86_64__)
namespace {

// ---- integers; the third operand is the sum so far, so near its limits that some of the sums end there

void nearLimits(Operands& in) noexcept
{
    for (unsigned i = 0; i < 16; ++i) {
        auto const word = laneOf<std::uint32_t>(in.m_c, i);
        setLane(in.m_c, i, (word & 1) != 0 ? 0x7FFFFFFFu - (word >> 15) : 0x80000000u + (word >> 15));
    }
}

template <typename A, typename B>
std::int64_t sumOfProducts(Bytes const& a, Bytes const& b, unsigned lane) noexcept
{
    std::int64_t sum = 0;
    for (unsigned k = 0; k < 4 / sizeof(A); ++k) {
        auto const at = static_cast<unsigned>(lane * (4 / sizeof(A)) + k);
        sum += std::int64_t(laneOf<A>(a, at)) * laneOf<B>(b, at);
    }
    return sum;
}

template <typename A, typename B, bool kSaturate>
void softSums(Operands const& in, Bytes& out) noexcept
{
    using Limits = std::numeric_limits<std::int32_t>;
    for (unsigned i = 0; i < 16; ++i) {
        std::int64_t sum = sumOfProducts<A, B>(in.m_a, in.m_b, i) + laneOf<std::int32_t>(in.m_c, i);
        if (kSaturate)
            sum = std::clamp<std::int64_t>(sum, Limits::min(), Limits::max());
        setLane(out, i, static_cast<std::uint32_t>(sum));
    }
}

// The same names in two encodings, each with a bit of its own in the list of features.
#define KREL5_SUMS(INSTRUCTION)                                                                              \
    KREL5_Y(INSTRUCTION##Y, "vmovdqa %%ymm2, %%ymm3\n\t%{vex%} " #INSTRUCTION " %%ymm1, %%ymm0, %%ymm3")     \
    KREL5_Z(INSTRUCTION##Z, "vmovdqa64 %%zmm2, %%zmm3\n\t" #INSTRUCTION " %%zmm1, %%zmm0, %%zmm3")
KREL5_SUMS(vpdpbusd)
KREL5_SUMS(vpdpbusds)
KREL5_SUMS(vpdpwssd)
KREL5_SUMS(vpdpwssds)

// ---- upper halves of floats: whole numbers, so that every sum is exact, whatever the order of additions; none of the
// sums so far is zero, so that no sum is but by cancelling, which gives a positive one

std::uint16_t brainInteger(std::int8_t value) noexcept
{
    auto const size = static_cast<unsigned>(value < 0 ? -value : value);
    return rounded<BrainFloat>({value < 0, size, 0}, Nearest);
}

void wholeBrains(Operands& in) noexcept
{
    for (unsigned i = 0; i < 32; ++i) {
        setLane(in.m_a, i, brainInteger(laneOf<std::int8_t>(in.m_a, 2 * i)));
        setLane(in.m_b, i, brainInteger(laneOf<std::int8_t>(in.m_b, 2 * i)));
    }
    for (unsigned i = 0; i < 16; ++i) {
        auto const word = laneOf<std::uint32_t>(in.m_c, i);
        setLane(in.m_c, i, rounded<float>({(word & 1) != 0, word >> 12 | 1, 0}, Nearest));
    }
}

void softBrainSums(Operands const& in, Bytes& out) noexcept
{
    for (unsigned i = 0; i < 16; ++i) {
        Number total = decoded<float>(laneOf<std::uint32_t>(in.m_c, i));
        for (unsigned const k : {2 * i, 2 * i + 1})
            total = sum(total, product(brain(in.m_a, k), brain(in.m_b, k)), Nearest);
        setLane(out, i, rounded<float>(total, Nearest));
    }
}
KREL5_Z(brainSums, "vmovdqa64 %%zmm2, %%zmm3\n\tvdpbf16ps %%zmm1, %%zmm0, %%zmm3")

/// No subnormal numbers, which the instruction takes for zero.
void normalFloats(Operands& in) noexcept
{
    for (unsigned i = 0; i < 16; ++i) {
        auto const bits = laneOf<std::uint32_t>(in.m_a, i);
        std::uint32_t const exponent = 1 + (bits >> 23 & 0xFF) % 253;
        setLane(in.m_a, i, (bits & 0x807FFFFFu) | exponent << 23);
    }
}
void softToBrain(Operands const& in, Bytes& out) noexcept
{
    for (unsigned i = 0; i < 16; ++i)
        setLane(out, i, rounded<BrainFloat>(decoded<float>(laneOf<std::uint32_t>(in.m_a, i)), Nearest));
}
KREL5_Z(toBrain, "vcvtneps2bf16 %%zmm0, %%ymm3")

// ---- half precision

/// All finite numbers, subnormal ones too; roots of none below zero, quotients by none that is zero.
template <bool kPositive>
void finiteHalves(Operands& in) noexcept
{
    auto const finite = [](std::uint16_t bits) {
        auto const kept = static_cast<std::uint16_t>((bits & 0x7C00) == 0x7C00 ? bits & 0xBFFF : bits);
        return static_cast<std::uint16_t>((kept & 0x7FFF) == 0 ? kept | 1 : kept);
    };
    for (unsigned i = 0; i < 32; ++i)
        for (Bytes* const of : {&in.m_a, &in.m_b, &in.m_c}) {
            std::uint16_t const bits = finite(laneOf<std::uint16_t>(*of, i));
            setLane(*of, i, static_cast<std::uint16_t>(kPositive ? bits & 0x7FFF : bits));
        }
}

KREL5_Z(addHalves, "vaddph %%zmm1, %%zmm0, %%zmm3")
KREL5_Z(multiplyHalves, "vmulph %%zmm1, %%zmm0, %%zmm3")
KREL5_Z(divideHalves, "vdivph %%zmm1, %%zmm0, %%zmm3")
KREL5_Z(rootHalves, "vsqrtph %%zmm0, %%zmm3")
KREL5_Z(fuseHalves, "vmovdqa64 %%zmm2, %%zmm3\n\tvfmadd231ph %%zmm1, %%zmm0, %%zmm3")

// ---- matrices: 16 rows of 64 bytes, made of the operands by turning these from row to row

// What makes a tile of an operand stands with the software.
struct alignas(64) TileShapes
{
    std::uint8_t m_palette = 1, m_startRow = 0;
    std::array<std::uint8_t, 14> m_reserved{};
    std::array<std::uint16_t, 16> m_rowBytes{64, 64, 64};
    std::array<std::uint8_t, 16> m_rows{kRows, kRows, kRows};
};
static_assert(sizeof(TileShapes) == 64);

#define KREL5_TILES(NAME, INSTRUCTION)                                                                       \
    void NAME(Operands const& in, Bytes& out) noexcept                                                       \
    {                                                                                                        \
        TileShapes const shapes;                                                                             \
        Tile a, b, c;                                                                                        \
        makeTile(in.m_a, a);                                                                                 \
        makeTile(in.m_b, b);                                                                                 \
        makeTile(in.m_c, c);                                                                                 \
        asm volatile(                                                                                        \
            "ldtilecfg (%[shapes])\n\ttileloadd (%[c],%[stride],1), %%tmm0\n\t"                              \
            "tileloadd (%[a],%[stride],1), %%tmm1\n\ttileloadd (%[b],%[stride],1), %%tmm2\n\t" INSTRUCTION   \
            " %%tmm2, %%tmm1, %%tmm0\n\ttilestored %%tmm0, (%[c],%[stride],1)\n\t"                           \
            "tilerelease"                                                                                    \
            :                                                                                                \
            : [shapes] "r"(&shapes), [a] "r"(&a), [b] "r"(&b), [c] "r"(&c), [stride] "r"(std::uint64_t(64))  \
            : "memory");                                                                                     \
        fold(c, out);                                                                                        \
    }
KREL5_TILES(tileBytes, "tdpbssd")
KREL5_TILES(tileBrains, "tdpbf16ps")

constexpr LaneKernel kKernels[] = {
    compared<vpdpbusdY, softSums<std::uint8_t, std::int8_t, false>, Shape{4, 4, 32}, nearLimits>(
        "avxvpdpbusd", CpuFeature::AvxVnni),
    compared<vpdpbusdsY, softSums<std::uint8_t, std::int8_t, true>, Shape{4, 4, 32}, nearLimits>(
        "avxvpdpbusds", CpuFeature::AvxVnni),
    compared<vpdpwssdY, softSums<std::int16_t, std::int16_t, false>, Shape{4, 4, 32}, nearLimits>(
        "avxvpdpwssd", CpuFeature::AvxVnni),
    compared<vpdpwssdsY, softSums<std::int16_t, std::int16_t, true>, Shape{4, 4, 32}, nearLimits>(
        "avxvpdpwssds", CpuFeature::AvxVnni),
    compared<vpdpbusdZ, softSums<std::uint8_t, std::int8_t, false>, Shape{4, 4, 64}, nearLimits>(
        "avx512vpdpbusd", CpuFeature::Avx512Vnni),
    compared<vpdpbusdsZ, softSums<std::uint8_t, std::int8_t, true>, Shape{4, 4, 64}, nearLimits>(
        "avx512vpdpbusds", CpuFeature::Avx512Vnni),
    compared<vpdpwssdZ, softSums<std::int16_t, std::int16_t, false>, Shape{4, 4, 64}, nearLimits>(
        "avx512vpdpwssd", CpuFeature::Avx512Vnni),
    compared<vpdpwssdsZ, softSums<std::int16_t, std::int16_t, true>, Shape{4, 4, 64}, nearLimits>(
        "avx512vpdpwssds", CpuFeature::Avx512Vnni),
    compared<brainSums, softBrainSums, Shape{4, 4, 64}, wholeBrains>("vdpbf16ps", CpuFeature::Avx512Bf16),
    compared<toBrain, softToBrain, Shape{4, 2, 32}, normalFloats>("vcvtneps2bf16", CpuFeature::Avx512Bf16),
    compared<addHalves, softHalves<exactSum>, Shape{2, 2, 64, true}, finiteHalves<false>>(
        "vaddph", CpuFeature::Avx512Fp16),
    compared<multiplyHalves, softHalves<exactProduct>, Shape{2, 2, 64, true}, finiteHalves<false>>(
        "vmulph", CpuFeature::Avx512Fp16),
    compared<divideHalves, softHalves<exactQuotient>, Shape{2, 2, 64, true}, finiteHalves<false>>(
        "vdivph", CpuFeature::Avx512Fp16),
    compared<rootHalves, softHalves<exactRoot>, Shape{2, 2, 64, true}, finiteHalves<true>>(
        "vsqrtph", CpuFeature::Avx512Fp16),
    compared<fuseHalves, softHalves<exactFused>, Shape{2, 2, 64, true}, finiteHalves<false>>(
        "vfmadd231ph", CpuFeature::Avx512Fp16),
    compared<tileBytes, softTileBytes, Shape{4, 4, 64}>("tdpbssd", CpuFeature::AmxInt8),
    compared<tileBrains, softTileBrains, Shape{4, 4, 64}, wholeBrains>("tdpbf16ps", CpuFeature::AmxBf16),
};

} // namespace

LaneTable narrowKernels() noexcept { return kKernels; }
#else
LaneTable narrowKernels() noexcept { return {}; }
#endif

} // namespace krel5::modules::cpu
