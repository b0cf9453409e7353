#include <cpu/kernels/Comparison.h>

#include <limits>

namespace krel5::modules::cpu {
#if defined(__x86_64__)
namespace {

/// Rounded to an integer; the "integer indefinite" of the architecture for what does not fit.
template <typename I>
I integer(Number const& number, Rounding rounding) noexcept
{
    constexpr auto kIndefinite = std::numeric_limits<I>::min();
    Uint128 whole = 0;
    if (number.m_exp >= 0) {
        if (number.m_sig != 0 && (number.m_exp > 63 || bitLength(number.m_sig) + number.m_exp > 64))
            return kIndefinite;
        whole = number.m_sig == 0 ? 0 : number.m_sig << number.m_exp;
    } else {
        int const shift = -number.m_exp;
        bool const half = shift <= 127 && (number.m_sig >> (shift - 1) & 1) != 0;
        bool const more =
            shift > 127 ? number.m_sig != 0 : (number.m_sig & ((Uint128(1) << (shift - 1)) - 1)) != 0;
        whole = shift > 127 ? 0 : number.m_sig >> shift;
        whole += roundsUp(rounding, number.m_negative, (whole & 1) != 0, half, more) ? 1 : 0;
    }
    Uint128 const limit = Uint128(static_cast<std::uint64_t>(std::numeric_limits<I>::max()));
    if (whole > limit + (number.m_negative ? 1 : 0))
        return kIndefinite;
    auto const bits = static_cast<std::uint64_t>(whole);
    return static_cast<I>(number.m_negative ? 0 - bits : bits);
}

/// Any exponent but that of infinity; three in four near those of the integers.
template <typename F>
void finite(Operands& in) noexcept
{
    using Bits = typename Format<F>::Bits;
    constexpr int kFraction = Format<F>::kPrecision - 1;
    for (unsigned i = 0; i < 64 / sizeof(Bits); ++i) {
        auto const bits = laneOf<Bits>(in.m_a, i), choice = laneOf<Bits>(in.m_b, i);
        Bits const exponent = (choice & 3) != 0
                                  ? static_cast<Bits>(1 - Format<F>::kMinExponent - 3 + (choice >> 2) % 37)
                                  : static_cast<Bits>((bits & Format<F>::kInfinity) >> kFraction);
        Bits const most = Format<F>::kInfinity >> kFraction;
        Bits const kept = exponent >= most ? Bits(most - 1) : exponent;
        setLane(in.m_a, i, static_cast<Bits>((bits & ~Format<F>::kInfinity) | kept << kFraction));
    }
}

/// Integers of all lengths, so that some are exact and some are rounded.
template <typename I>
void ofAllLengths(Operands& in) noexcept
{
    for (unsigned i = 0; i < 64 / sizeof(I); ++i)
        setLane(in.m_a, i,
                static_cast<I>(laneOf<I>(in.m_a, i) >> (laneOf<std::uint8_t>(in.m_b, i) % (4 * sizeof(I)))));
}

template <typename I, typename F, unsigned kLanes>
void softFromInteger(Operands const& in, Bytes& out) noexcept
{
    for (unsigned i = 0; i < kLanes; ++i) {
        auto const value = static_cast<std::int64_t>(laneOf<I>(in.m_a, i));
        auto const bits = static_cast<std::uint64_t>(value);
        setLane(out, i, rounded<F>({value < 0, value < 0 ? 0 - bits : bits, 0}, in.m_rounding));
    }
}
template <typename F, typename I, unsigned kLanes, bool kTruncate>
void softToInteger(Operands const& in, Bytes& out) noexcept
{
    for (unsigned i = 0; i < kLanes; ++i)
        setLane(out, i,
                integer<I>(decoded<F>(laneOf<typename Format<F>::Bits>(in.m_a, i)),
                           kTruncate ? Truncate : in.m_rounding));
}
template <typename F, typename G, unsigned kLanes>
void softToPrecision(Operands const& in, Bytes& out) noexcept
{
    for (unsigned i = 0; i < kLanes; ++i)
        setLane(out, i, rounded<G>(decoded<F>(laneOf<typename Format<F>::Bits>(in.m_a, i)), in.m_rounding));
}

// Same width in and out, then into and out of half the width.
#define KREL5_CONVERT(INSTRUCTION)                                                                           \
    KREL5_X(INSTRUCTION##X, #INSTRUCTION " %%xmm0, %%xmm3")                                                  \
    KREL5_Y(INSTRUCTION##Y, "v" #INSTRUCTION " %%ymm0, %%ymm3")                                              \
    KREL5_Z(INSTRUCTION##Z, "v" #INSTRUCTION " %%zmm0, %%zmm3")
#define KREL5_WIDEN(INSTRUCTION)                                                                             \
    KREL5_X(INSTRUCTION##X, #INSTRUCTION " %%xmm0, %%xmm3")                                                  \
    KREL5_Y(INSTRUCTION##Y, "v" #INSTRUCTION " %%xmm0, %%ymm3")                                              \
    KREL5_Z(INSTRUCTION##Z, "v" #INSTRUCTION " %%ymm0, %%zmm3")
#define KREL5_NARROW(INSTRUCTION)                                                                            \
    KREL5_X(INSTRUCTION##X, #INSTRUCTION " %%xmm0, %%xmm3")                                                  \
    KREL5_Y(INSTRUCTION##Y, "v" #INSTRUCTION " %%ymm0, %%xmm3")                                              \
    KREL5_Z(INSTRUCTION##Z, "v" #INSTRUCTION " %%zmm0, %%ymm3")
KREL5_CONVERT(cvtdq2ps)
KREL5_CONVERT(cvtps2dq)
KREL5_CONVERT(cvttps2dq)
KREL5_WIDEN(cvtdq2pd)
KREL5_WIDEN(cvtps2pd)
KREL5_NARROW(cvtpd2ps)
KREL5_NARROW(cvtpd2dq)
KREL5_NARROW(cvttpd2dq)
KREL5_Z(vcvtqq2pdZ, "vcvtqq2pd %%zmm0, %%zmm3")
KREL5_Z(vcvtpd2qqZ, "vcvtpd2qq %%zmm0, %%zmm3")
// The rounding of the control register, said by the 4.
KREL5_Y(vcvtps2phY, "vcvtps2ph $4, %%ymm0, %%xmm3")
KREL5_Y(vcvtph2psY, "vcvtph2ps %%xmm0, %%ymm3")

template <typename From, typename To, unsigned kLanes, bool kRounds, Step kUnit, Step kSoftware,
          Prepare kPrepare>
constexpr LaneKernel entry(char const* name, CpuFeature feature) noexcept
{
    return compared<kUnit, kSoftware, Shape{sizeof(From), sizeof(To), sizeof(To) * kLanes, kRounds},
                    kPrepare>(name, feature);
}

using I32 = std::int32_t;
using I64 = std::int64_t;
using HalfBits = Format<Half>::Bits;

#define KREL5_ENTRIES(PREFIX, V, BYTES, FEATURE)                                                             \
    entry<I32, float, BYTES / 4, true, cvtdq2ps##V, softFromInteger<I32, float, BYTES / 4>,                  \
          ofAllLengths<I32>>(PREFIX "cvtdq2ps", FEATURE),                                                    \
        entry<float, I32, BYTES / 4, true, cvtps2dq##V, softToInteger<float, I32, BYTES / 4, false>,         \
              finite<float>>(PREFIX "cvtps2dq", FEATURE),                                                    \
        entry<float, I32, BYTES / 4, false, cvttps2dq##V, softToInteger<float, I32, BYTES / 4, true>,        \
              finite<float>>(PREFIX "cvttps2dq", FEATURE),                                                   \
        entry<I32, double, BYTES / 8, false, cvtdq2pd##V, softFromInteger<I32, double, BYTES / 8>,           \
              ofAllLengths<I32>>(PREFIX "cvtdq2pd", FEATURE),                                                \
        entry<float, double, BYTES / 8, false, cvtps2pd##V, softToPrecision<float, double, BYTES / 8>,       \
              finite<float>>(PREFIX "cvtps2pd", FEATURE),                                                    \
        entry<double, float, BYTES / 8, true, cvtpd2ps##V, softToPrecision<double, float, BYTES / 8>,        \
              finite<double>>(PREFIX "cvtpd2ps", FEATURE),                                                   \
        entry<double, I32, BYTES / 8, true, cvtpd2dq##V, softToInteger<double, I32, BYTES / 8, false>,       \
              finite<double>>(PREFIX "cvtpd2dq", FEATURE),                                                   \
        entry<double, I32, BYTES / 8, false, cvttpd2dq##V, softToInteger<double, I32, BYTES / 8, true>,      \
              finite<double>>(PREFIX "cvttpd2dq", FEATURE)

constexpr LaneKernel kKernels[] = {
    KREL5_ENTRIES("vector128", X, 16, CpuFeature::None),
    KREL5_ENTRIES("avx2", Y, 32, CpuFeature::Avx2Fma),
    KREL5_ENTRIES("avx512", Z, 64, CpuFeature::Avx512),
    entry<I64, double, 8, true, vcvtqq2pdZ, softFromInteger<I64, double, 8>, ofAllLengths<I64>>(
        "avx512cvtqq2pd", CpuFeature::Avx512Dq),
    entry<double, I64, 8, true, vcvtpd2qqZ, softToInteger<double, I64, 8, false>, finite<double>>(
        "avx512cvtpd2qq", CpuFeature::Avx512Dq),
    entry<float, HalfBits, 8, true, vcvtps2phY, softToPrecision<float, Half, 8>, finite<float>>(
        "cvtps2ph", CpuFeature::F16c),
    entry<HalfBits, float, 8, false, vcvtph2psY, softToPrecision<Half, float, 8>, finite<Half>>(
        "cvtph2ps", CpuFeature::F16c),
};

} // namespace

LaneTable conversionKernels() noexcept { return kKernels; }
#else
LaneTable conversionKernels() noexcept { return {}; }
#endif

} // namespace krel5::modules::cpu
