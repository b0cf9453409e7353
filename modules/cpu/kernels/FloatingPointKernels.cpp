#include <cpu/Kernel.h>

#include <bit>
#include <cfenv>
#include <cmath>
#include <cstddef>

namespace krel5::modules::cpu {
namespace {

enum class Operation { Add, Multiply, Divide, SquareRoot, FusedMultiplyAdd };

/// One operation on bit patterns and the one bit pattern that IEEE 754, round to nearest even, allows.
template <typename Bits>
struct Rounded
{
    Operation m_operation;
    Bits m_a, m_b, m_c, m_expected;
};

// Every row is worked out by hand; u is the unit in the last place of 1, 2^-52.
constexpr Rounded<std::uint64_t> kDoubleRows[] = {
    // 1 + u/2 is a tie, to the even 1; (1+u) + u/2 is a tie, up to the even 1+2u; just above the tie rounds
    // up.
    {Operation::Add, 0x3FF0000000000000, 0x3CA0000000000000, 0, 0x3FF0000000000000},
    {Operation::Add, 0x3FF0000000000001, 0x3CA0000000000000, 0, 0x3FF0000000000002},
    {Operation::Add, 0x3FF0000000000000, 0x3CA0000000000001, 0, 0x3FF0000000000001},
    // 0.1 + 0.2 is the double after 0.3.
    {Operation::Add, 0x3FB999999999999A, 0x3FC999999999999A, 0, 0x3FD3333333333334},
    // 1 - 2^-54 is a tie between 1-u/2 and 1; cancellation (1+u) - 1 is exact.
    {Operation::Add, 0x3FF0000000000000, 0xBC90000000000000, 0, 0x3FF0000000000000},
    {Operation::Add, 0x3FF0000000000001, 0xBFF0000000000000, 0, 0x3CB0000000000000},
    // Largest finite + half its last place overflows, + a quarter does not; infinity; the sign of zero.
    {Operation::Add, 0x7FEFFFFFFFFFFFFF, 0x7C90000000000000, 0, 0x7FF0000000000000},
    {Operation::Add, 0x7FEFFFFFFFFFFFFF, 0x7C80000000000000, 0, 0x7FEFFFFFFFFFFFFF},
    {Operation::Add, 0x7FF0000000000000, 0xC000000000000000, 0, 0x7FF0000000000000},
    {Operation::Add, 0x8000000000000000, 0x8000000000000000, 0, 0x8000000000000000},
    {Operation::Add, 0x0000000000000000, 0x8000000000000000, 0, 0x0000000000000000},
    // (1+u)² = 1 + 2u + u²; halves and ties among the subnormals; the largest number doubled.
    {Operation::Multiply, 0x3FF0000000000001, 0x3FF0000000000001, 0, 0x3FF0000000000002},
    {Operation::Multiply, 0x0010000000000000, 0x3FE0000000000000, 0, 0x0008000000000000},
    {Operation::Multiply, 0x0000000000000001, 0x3FE0000000000000, 0, 0x0000000000000000},
    {Operation::Multiply, 0x0000000000000003, 0x3FE0000000000000, 0, 0x0000000000000002},
    {Operation::Multiply, 0x7FEFFFFFFFFFFFFF, 0x4000000000000000, 0, 0x7FF0000000000000},
    {Operation::Multiply, 0x0000000000000000, 0xBFF0000000000000, 0, 0x8000000000000000},
    // 1/3, 2/3, 1/10, 1/7 cut after 53 bits of their periods; 1/-0.
    {Operation::Divide, 0x3FF0000000000000, 0x4008000000000000, 0, 0x3FD5555555555555},
    {Operation::Divide, 0x4000000000000000, 0x4008000000000000, 0, 0x3FE5555555555555},
    {Operation::Divide, 0x3FF0000000000000, 0x4024000000000000, 0, 0x3FB999999999999A},
    {Operation::Divide, 0x3FF0000000000000, 0x401C000000000000, 0, 0x3FC2492492492492},
    {Operation::Divide, 0x3FF0000000000000, 0x8000000000000000, 0, 0xFFF0000000000000},
    // √2 = 1.6A09E667F3BCC908…₁₆, √3 = 1.BB67AE8584CAA73B…₁₆; √(1-u/2) lies below the tie; the least
    // subnormal is
    // 2^-1074 with the root 2^-537; √-0 = -0.
    {Operation::SquareRoot, 0x4000000000000000, 0, 0, 0x3FF6A09E667F3BCD},
    {Operation::SquareRoot, 0x4008000000000000, 0, 0, 0x3FFBB67AE8584CAA},
    {Operation::SquareRoot, 0x3FEFFFFFFFFFFFFF, 0, 0, 0x3FEFFFFFFFFFFFFF},
    {Operation::SquareRoot, 0x0000000000000001, 0, 0, 0x1E60000000000000},
    {Operation::SquareRoot, 0x8000000000000000, 0, 0, 0x8000000000000000},
    // (1+u)² - (1+2u) = u² = 2^-104, which a product rounded before the sum loses; 10·double(0.1) - 1 =
    // 2^-54.
    {Operation::FusedMultiplyAdd, 0x3FF0000000000001, 0x3FF0000000000001, 0xBFF0000000000002,
     0x3970000000000000},
    {Operation::FusedMultiplyAdd, 0x3FB999999999999A, 0x4024000000000000, 0xBFF0000000000000,
     0x3C90000000000000},
};

// The same for 24 bits; u = 2^-23.
constexpr Rounded<std::uint32_t> kFloatRows[] = {
    {Operation::Add, 0x3F800000, 0x33800000, 0, 0x3F800000},
    {Operation::Add, 0x3F800001, 0x33800000, 0, 0x3F800002},
    // 2^24 + 1 is a tie to 2^24; 2^24 + 3 is a tie to 2^24 + 4.
    {Operation::Add, 0x4B800000, 0x3F800000, 0, 0x4B800000},
    {Operation::Add, 0x4B800000, 0x40400000, 0, 0x4B800002},
    {Operation::Multiply, 0x3F800001, 0x3F800001, 0, 0x3F800002},
    {Operation::Multiply, 0x00000003, 0x3F000000, 0, 0x00000002},
    {Operation::Multiply, 0x7F7FFFFF, 0x40000000, 0, 0x7F800000},
    {Operation::Divide, 0x3F800000, 0x40400000, 0, 0x3EAAAAAB},
    {Operation::Divide, 0x3F800000, 0x41200000, 0, 0x3DCCCCCD},
    {Operation::SquareRoot, 0x40000000, 0, 0, 0x3FB504F3},
    {Operation::SquareRoot, 0x40400000, 0, 0, 0x3FDDB3D7},
    {Operation::FusedMultiplyAdd, 0x3F800001, 0x3F800001, 0xBF800002, 0x28800000},
};

template <typename Real>
Real compute(Operation operation, Real givenA, Real givenB, Real givenC) noexcept
{
    Real const a = opaque(givenA), b = opaque(givenB), c = opaque(givenC);
    switch (operation) {
    case Operation::Add:
        return a + b;
    case Operation::Multiply:
        return a * b;
    case Operation::Divide:
        return a / b;
    case Operation::SquareRoot:
        return std::sqrt(a);
    case Operation::FusedMultiplyAdd:
        return std::fma(a, b, c);
    }
    return a;
}

/// Rows that are right; then the number and the bits of the first one that is not, counted from 1.
template <typename Real, typename Bits, std::size_t N>
Answer checkRows(Rounded<Bits> const (&rows)[N]) noexcept
{
    Answer answer;
    for (std::size_t i = 0; i < N; ++i) {
        auto const& row = rows[i];
        Bits const got = std::bit_cast<Bits>(
            computed(compute<Real>(row.m_operation, std::bit_cast<Real>(row.m_a),
                                   std::bit_cast<Real>(row.m_b), std::bit_cast<Real>(row.m_c))));
        if (got == row.m_expected)
            ++answer.m_words[0];
        else if (answer.m_words[1] == 0)
            answer.m_words = {answer.m_words[0], i + 1, got, row.m_expected};
    }
    return answer;
}

Answer doubleRows() noexcept { return checkRows<double>(kDoubleRows); }
Answer floatRows() noexcept { return checkRows<float>(kFloatRows); }

template <typename Real>
struct Format;
template <>
struct Format<double>
{
    using Bits = std::uint64_t;
    static constexpr int kPrecision = 53;
    static constexpr int kBias = 1075; // of a number written as integer significand times a power of two
};
template <>
struct Format<float>
{
    using Bits = std::uint32_t;
    static constexpr int kPrecision = 24;
    static constexpr int kBias = 150;
};

/// significand·2^exponent, for a significand that fills the precision.
template <typename Real>
Real assemble(std::uint64_t significand, int exponent) noexcept
{
    using F = Format<Real>;
    std::uint64_t const fraction = significand & ((std::uint64_t(1) << (F::kPrecision - 1)) - 1);
    return std::bit_cast<Real>(static_cast<typename F::Bits>(
        static_cast<std::uint64_t>(exponent + F::kBias) << (F::kPrecision - 1) | fraction));
}

/// Rounds n·2^exponent to nearest even with integer arithmetic alone; `sticky` says that the true number is a
/// little more than n. n is at least as wide as the precision.
template <typename Real>
Real roundExactly(Uint128 n, bool sticky, int exponent) noexcept
{
    int width = 0;
    for (Uint128 rest = n; rest != 0; rest >>= 1)
        ++width;
    int const drop = width - Format<Real>::kPrecision;
    if (drop <= 0)
        return assemble<Real>(static_cast<std::uint64_t>(n << -drop), exponent + drop);
    auto kept = static_cast<std::uint64_t>(n >> drop);
    Uint128 const half = Uint128(1) << (drop - 1);
    Uint128 const rest = n & ((Uint128(1) << drop) - 1);
    bool const up = rest > half || (rest == half && (sticky || (kept & 1u)));
    kept += up ? 1 : 0;
    if (kept >> Format<Real>::kPrecision)
        return assemble<Real>(kept >> 1, exponent + drop + 1);
    return assemble<Real>(kept, exponent + drop);
}

Uint128 integerRoot(Uint128 n) noexcept
{
    Uint128 root = 0;
    for (int bit = 63; bit >= 0; --bit) {
        Uint128 const trial = root | Uint128(1) << bit;
        if (trial <= n / trial)
            root = trial;
    }
    return root;
}

/// Of 100 random operand sets, how many sums, differences, products, quotients, roots and fused products are
/// those that integer arithmetic rounds to.
template <typename Real>
Answer againstIntegers(std::uint64_t seed) noexcept
{
    constexpr int kPrecision = Format<Real>::kPrecision;
    OperandSequence operands(seed ^ 0x1EEE);
    auto const significand = [&] {
        return operands.next() >> (64 - kPrecision) | std::uint64_t(1) << (kPrecision - 1);
    };
    Answer answer;
    for (int i = 0; i < 100; ++i) {
        std::uint64_t const a = significand(), b = significand(), c = significand();
        int const shift = 1 + i % (kPrecision + 4);
        Real const x = opaque(assemble<Real>(a, 0)), y = opaque(assemble<Real>(b, 0));
        Real const wide = opaque(assemble<Real>(a, shift)), z = opaque(assemble<Real>(c, shift));
        Uint128 const quotient = (Uint128(a) << 66) / b;
        Uint128 const square = Uint128(a) << 74;
        Uint128 const root = integerRoot(square);
        answer.m_words[0] += wide + y == roundExactly<Real>((Uint128(a) << shift) + b, false, 0) ? 1 : 0;
        answer.m_words[0] += wide - y == roundExactly<Real>((Uint128(a) << shift) - b, false, 0) ? 1 : 0;
        answer.m_words[1] += computed(x * y) == roundExactly<Real>(Uint128(a) * b, false, 0) ? 1 : 0;
        answer.m_words[2] +=
            x / y == roundExactly<Real>(quotient, quotient * b != Uint128(a) << 66, -66) ? 1 : 0;
        answer.m_words[2] += std::sqrt(x) == roundExactly<Real>(root, root * root != square, -37) ? 1 : 0;
        answer.m_words[3] +=
            std::fma(x, y, z) == roundExactly<Real>(Uint128(a) * b + (Uint128(c) << shift), false, 0) ? 1 : 0;
    }
    return answer;
}

/// 1/3 and -1/3 in each rounding direction.
Answer roundingDirections() noexcept
{
    int const before = std::fegetround();
    Answer answer;
    int const directions[] = {FE_TONEAREST, FE_DOWNWARD, FE_UPWARD, FE_TOWARDZERO};
    for (unsigned i = 0; i < 4; ++i) {
        std::fesetround(directions[i]);
        double volatile one = opaque(1.0), three = 3.0, minusOne = -1.0;
        double volatile third = computed(one / three);
        double volatile minusThird = minusOne / three;
        std::uint64_t const low = std::bit_cast<std::uint64_t>(double(third)) & 0xFFFF;
        std::uint64_t const minusLow = std::bit_cast<std::uint64_t>(double(minusThird)) & 0xFFFF;
        answer.m_words[i] = low << 16 | minusLow;
    }
    std::fesetround(before);
    return answer;
}

/// 1² + 2² + … + n² and the sum of the square roots of the squares; every step is exact.
Answer exactSums() noexcept
{
    double squares = opaque(0.0), roots = opaque(0.0), halves = opaque(0.0);
    for (int i = 1; i <= 100000; ++i) {
        double const k = opaque(double(i));
        squares += computed(k * k);
        roots += std::sqrt(k * k);
        halves += (k / 2.0 + k) / 1.5;
    }
    return {{static_cast<std::uint64_t>(squares), static_cast<std::uint64_t>(roots),
             static_cast<std::uint64_t>(halves)}};
}

/// Pascal's triangle as a matrix times the same with alternating signs is the unit matrix: every product and
/// sum stays below 3^31 and is exact. Ones on the diagonal; entries that are neither on it nor zero.
Answer pascalMatrix() noexcept
{
    constexpr std::size_t kOrder = 32;
    double pascal[kOrder][kOrder] = {};
    for (std::size_t row = 0; row < kOrder; ++row) {
        pascal[row][0] = opaque(1.0);
        for (std::size_t column = 1; column <= row; ++column)
            pascal[row][column] = pascal[row - 1][column - 1] + pascal[row - 1][column];
    }
    Answer answer;
    for (std::size_t row = 0; row < kOrder; ++row) {
        for (std::size_t column = 0; column < kOrder; ++column) {
            double sum = 0;
            for (std::size_t k = 0; k < kOrder; ++k)
                sum += pascal[row][k] * pascal[k][column] * ((k + column) % 2 == 0 ? 1.0 : -1.0);
            sum = computed(sum);
            answer.m_words[0] += row == column && sum == 1.0 ? 1 : 0;
            answer.m_words[1] += row != column && sum != 0.0 ? 1 : 0;
        }
    }
    return answer;
}

#if defined(__x86_64__)
std::uint64_t extendedSignificand(long double value) noexcept
{
    std::uint64_t significand;
    __builtin_memcpy(&significand, &value, sizeof significand);
    return significand;
}

/// The 64-bit significands of 1/3, √2 and 1/10 in the x87 unit, and of 1 + 2^-64, a tie to 1.
Answer extendedPrecision() noexcept
{
    long double const one = opaque(1.0L), two = opaque(2.0L), three = opaque(3.0L), ten = opaque(10.0L);
    return {{extendedSignificand(computed(one / three)), extendedSignificand(std::sqrt(two)),
             extendedSignificand(one / ten), extendedSignificand(one + opaque(0x1p-64L))}};
}
#endif

constexpr Kernel kKernels[] = {
    {"ieee754double",
     "IEEE 754-2008, 4.3.1, worked out by hand; rows right",
     CpuFeature::None,
     fixedOperands<doubleRows>,
     {{std::size(kDoubleRows)}}},
    {"ieee754float",
     "IEEE 754-2008, 4.3.1, worked out by hand; rows right",
     CpuFeature::None,
     fixedOperands<floatRows>,
     {{std::size(kFloatRows)}}},
    {"doubleinteger",
     "sums, products, quotients with roots, fused products rounded by integer arithmetic",
     CpuFeature::None,
     againstIntegers<double>,
     {{200, 100, 200, 100}}},
    {"floatinteger",
     "sums, products, quotients with roots, fused products rounded by integer arithmetic",
     CpuFeature::None,
     againstIntegers<float>,
     {{200, 100, 200, 100}}},
    // 1/3 = 0.0101…: the double below it ends in 5555, the one above it in 5556; the nearest is the one
    // below.
    {"rounding",
     "IEEE 754-2008, 4.3, 1/3 and -1/3 to nearest, down, up, to zero",
     CpuFeature::None,
     fixedOperands<roundingDirections>,
     {{0x55555555, 0x55555556, 0x55565555, 0x55555555}}},
    {"exactsums",
     "n(n+1)(2n+1)/6 and n(n+1)/2 for n = 100000",
     CpuFeature::None,
     fixedOperands<exactSums>,
     {{333338333350000, 5000050000, 5000050000}}},
    {"pascal",
     "the signed Pascal matrix is the inverse of the Pascal matrix",
     CpuFeature::None,
     fixedOperands<pascalMatrix>,
     {{32}}},
#if defined(__x86_64__)
    {"x87",
     "1/3, sqrt 2, 1/10 and 1+2^-64 to 64 bits, worked out by hand",
     CpuFeature::None,
     fixedOperands<extendedPrecision>,
     {{0xAAAAAAAAAAAAAAAB, 0xB504F333F9DE6484, 0xCCCCCCCCCCCCCCCD, 0x8000000000000000}}},
#endif
};

} // namespace

KernelTable floatingPointKernels() noexcept { return kKernels; }

} // namespace krel5::modules::cpu
