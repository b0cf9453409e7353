// The numbers that results are compared with, against their definition: of all numbers of a format, the one that the
// rounding asks for. Sums and products of 16-bit numbers are exact in double precision, which no rounding touches.

#include <cpu/kernels/ExactNumber.h>

#include <gtest/gtest.h>

#include <cmath>

namespace krel5::modules::cpu {
namespace {

/// The sign of zero is lost; one step beyond the largest number stands for infinity.
template <typename F>
double valueOf(unsigned bits)
{
    constexpr int kFraction = Format<F>::kPrecision - 1;
    unsigned const exponent = (bits & 0x7FFF) >> kFraction, fraction = bits & ((1u << kFraction) - 1);
    double const significand = exponent == 0 ? fraction : fraction | 1u << kFraction;
    double const size = std::ldexp(significand, Format<F>::kMinExponent - kFraction +
                                                    (exponent == 0 ? 0 : static_cast<int>(exponent) - 1));
    return (bits & 0x8000) != 0 ? -size : size;
}

/// Whether `bits` is what `exact` is rounded to, by looking at the numbers beside it.
template <typename F>
bool isRounded(double exact, unsigned bits, Rounding rounding)
{
    unsigned const size = bits & 0x7FFF;
    bool const negative = (bits & 0x8000) != 0;
    if (size > Format<F>::kInfinity || (exact != 0 && std::signbit(exact) != negative))
        return false;
    double const target = std::fabs(exact), found = valueOf<F>(size);
    double const above = valueOf<F>(size + 1), below = size == 0 ? -above : valueOf<F>(size - 1);
    bool const odd = (size & 1) != 0, last = size == Format<F>::kInfinity;
    bool const away = rounding == (negative ? Down : Up);
    if (rounding == Nearest) {
        double const low = (below + found) / 2, high = (found + above) / 2;
        return (odd ? target > low : target >= low) && (last || (odd ? target < high : target <= high));
    }
    bool const largest = size == Format<F>::kInfinity - 1u;
    return away ? target > below && (last || target <= found)
                : !last && target >= found && (largest || target < above);
}

template <typename F>
class ExactNumbers : public testing::Test
{};
using Formats = testing::Types<Half, BrainFloat>;
TYPED_TEST_SUITE(ExactNumbers, Formats);

TYPED_TEST(ExactNumbers, areDecodedAndRoundedBack)
{
    for (unsigned bits = 0; bits < 0x10000; ++bits) {
        if ((bits & 0x7FFF) >= Format<TypeParam>::kInfinity)
            continue;
        auto const given = static_cast<std::uint16_t>(bits);
        for (Rounding const rounding : {Nearest, Down, Up, Truncate})
            ASSERT_EQ(rounded<TypeParam>(decoded<TypeParam>(given), rounding), given) << bits;
    }
}

TYPED_TEST(ExactNumbers, areRoundedToTheNumberThatTheRoundingAsksFor)
{
    OperandSequence random(20);
    for (unsigned i = 0; i < 200000; ++i) {
        std::uint64_t const word = random.next();
        // Exponents near each other, or the sum has more bits than a double; at both ends of the range, too.
        unsigned const middle = Format<TypeParam>::kInfinity / 2u, near = Format<TypeParam>::kInfinity / 8u;
        unsigned const base = word % 3 == 0   ? 0
                              : word % 3 == 1 ? middle
                                              : Format<TypeParam>::kInfinity - near;
        auto const a = static_cast<std::uint16_t>((base + (word >> 8) % near) | (word >> 32 & 0x8000));
        auto const b = static_cast<std::uint16_t>((base + (word >> 24) % near) | (word >> 33 & 0x8000));
        auto const rounding = static_cast<Rounding>(word >> 60 & 3);
        double const x = valueOf<TypeParam>(a), y = valueOf<TypeParam>(b);
        Number const numberA = decoded<TypeParam>(a), numberB = decoded<TypeParam>(b);
        ASSERT_TRUE(isRounded<TypeParam>(x + y, rounded<TypeParam>(sum(numberA, numberB, rounding), rounding),
                                         rounding))
            << a << " + " << b << " " << rounding;
        ASSERT_TRUE(
            isRounded<TypeParam>(x * y, rounded<TypeParam>(product(numberA, numberB), rounding), rounding))
            << a << " * " << b << " " << rounding;
    }
}

} // namespace
} // namespace krel5::modules::cpu
