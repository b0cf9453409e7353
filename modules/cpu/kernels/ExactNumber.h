#pragma once
// Floating-point numbers of any size, rounded once with integer instructions: what a result must be is never
// asked of the unit under test. IEEE 754-2008, 4.3 and 7.
//
//     std::uint32_t const bits = rounded<float>({false, 3, -1}, Nearest); // 1.5
//
// Thread rule: no state.

#include <cpu/Kernel.h>

#include <bit>

namespace krel5::modules::cpu {

/// As the control register of the vector unit numbers them.
enum Rounding : unsigned { Nearest, Down, Up, Truncate, kRoundings };

template <typename F>
struct Format;
template <>
struct Format<double>
{
    using Bits = std::uint64_t;
    static constexpr int kPrecision = 53, kMinExponent = -1022;
    static constexpr Bits kInfinity = 0x7FF0000000000000;
};
template <>
struct Format<float>
{
    using Bits = std::uint32_t;
    static constexpr int kPrecision = 24, kMinExponent = -126;
    static constexpr Bits kInfinity = 0x7F800000;
};

/// Of 16 bits; the type has no values, for the compilers know none everywhere.
struct Half
{};
template <>
struct Format<Half>
{
    using Bits = std::uint16_t;
    static constexpr int kPrecision = 11, kMinExponent = -14;
    static constexpr Bits kInfinity = 0x7C00;
};

/// The upper half of a float.
struct BrainFloat
{};
template <>
struct Format<BrainFloat>
{
    using Bits = std::uint16_t;
    static constexpr int kPrecision = 8, kMinExponent = -126;
    static constexpr Bits kInfinity = 0x7F80;
};

/// sig * 2^exp.
struct Number
{
    bool m_negative;
    Uint128 m_sig;
    int m_exp;
};

inline int bitLength(Uint128 value) noexcept
{
    auto const high = static_cast<std::uint64_t>(value >> 64);
    return high != 0 ? 64 + static_cast<int>(std::bit_width(high))
                     : static_cast<int>(std::bit_width(static_cast<std::uint64_t>(value)));
}

/// Whether the magnitude grows: of what is cut off, `half` is the first bit, and `more` whether others are set.
inline bool roundsUp(Rounding rounding, bool negative, bool odd, bool half, bool more) noexcept
{
    switch (rounding) {
    case Nearest:
        return half && (more || odd);
    case Down:
        return negative && (half || more);
    case Up:
        return !negative && (half || more);
    case Truncate:
    case kRoundings:
        break;
    }
    return false;
}

/// The number rounded once, subnormal and overflowing results included.
template <typename F>
typename Format<F>::Bits rounded(Number const& number, Rounding rounding) noexcept
{
    using Bits = typename Format<F>::Bits;
    constexpr int kFraction = Format<F>::kPrecision - 1;
    constexpr int kLowest = Format<F>::kMinExponent - kFraction;
    auto const sign = static_cast<Bits>(number.m_negative ? Bits(1) << (sizeof(Bits) * 8 - 1) : 0);
    if (number.m_sig == 0)
        return sign;
    int last = number.m_exp + bitLength(number.m_sig) - 1 - kFraction;
    if (last < kLowest)
        last = kLowest;
    int const shift = last - number.m_exp;
    Uint128 quotient = 0;
    bool half = false, more = false;
    if (shift <= 0) {
        quotient = number.m_sig << -shift;
    } else if (shift > 127) {
        more = true;
    } else {
        quotient = number.m_sig >> shift;
        half = (number.m_sig >> (shift - 1) & 1) != 0;
        more = (number.m_sig & ((Uint128(1) << (shift - 1)) - 1)) != 0;
    }
    bool const up = roundsUp(rounding, number.m_negative, (quotient & 1) != 0, half, more);
    // A carry out of the fraction goes into the exponent, which is what the encoding wants.
    Uint128 const bits =
        (Uint128(static_cast<unsigned>(last - kLowest)) << kFraction) + quotient + (up ? 1 : 0);
    if (bits < Format<F>::kInfinity)
        return static_cast<Bits>(sign | bits);
    bool const infinite = rounding == Nearest || rounding == (number.m_negative ? Down : Up);
    return static_cast<Bits>(sign | (Format<F>::kInfinity - (infinite ? 0 : 1)));
}

/// The finite number that the bits stand for.
template <typename F>
Number decoded(typename Format<F>::Bits bits) noexcept
{
    using Bits = typename Format<F>::Bits;
    constexpr int kFraction = Format<F>::kPrecision - 1;
    bool const negative = bits >> (8 * sizeof(Bits) - 1) != 0;
    auto const exponent = static_cast<int>((bits & Format<F>::kInfinity) >> kFraction);
    Uint128 const fraction = bits & ((std::uint64_t(1) << kFraction) - 1);
    Uint128 const hidden = exponent == 0 ? 0 : Uint128(1) << kFraction;
    if ((fraction | hidden) == 0)
        return {negative, 0, 0}; // an exponent that no sum has to be aligned to
    return {negative, fraction | hidden,
            Format<F>::kMinExponent - kFraction + (exponent == 0 ? 0 : exponent - 1)};
}

inline Number product(Number const& a, Number const& b) noexcept
{
    return {a.m_negative != b.m_negative, a.m_sig * b.m_sig, a.m_exp + b.m_exp};
}

/// Exact; both have room for the bits that the other one reaches further down.
inline Number sum(Number a, Number b, Rounding rounding) noexcept
{
    if (a.m_sig == 0 || b.m_sig == 0) { // whose exponent says nothing
        if (a.m_sig != b.m_sig)
            return a.m_sig == 0 ? b : a;
        return {a.m_negative == b.m_negative ? a.m_negative : rounding == Down, 0, 0};
    }
    int const low = a.m_exp < b.m_exp ? a.m_exp : b.m_exp;
    a.m_sig <<= a.m_exp - low;
    b.m_sig <<= b.m_exp - low;
    if (a.m_negative == b.m_negative)
        return {a.m_negative, a.m_sig + b.m_sig, low};
    if (a.m_sig == b.m_sig)
        return {rounding == Down, 0, 0};
    return a.m_sig > b.m_sig ? Number{a.m_negative, a.m_sig - b.m_sig, low}
                             : Number{b.m_negative, b.m_sig - a.m_sig, low};
}

/// Two bits more than a double has, and one that says whether there was a rest.
inline Number quotient(Number a, Number const& b) noexcept
{
    int const shift = 124 - bitLength(a.m_sig);
    a.m_sig <<= shift;
    Uint128 const whole = a.m_sig / b.m_sig;
    return {a.m_negative != b.m_negative, whole << 1 | (whole * b.m_sig != a.m_sig ? 1u : 0u),
            a.m_exp - shift - b.m_exp - 1};
}

inline Number root(Number a) noexcept
{
    int shift = 124 - bitLength(a.m_sig);
    shift -= (a.m_exp - shift) & 1;
    Uint128 rest = a.m_sig << shift, whole = 0;
    for (Uint128 bit = Uint128(1) << 124; bit != 0; bit >>= 2) {
        bool const fits = rest >= whole + bit;
        rest -= fits ? whole + bit : 0;
        whole = (whole >> 1) + (fits ? bit : 0);
    }
    return {false, whole << 1 | (rest != 0 ? 1u : 0u), (a.m_exp - shift) / 2 - 1};
}

} // namespace krel5::modules::cpu
