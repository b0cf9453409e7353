// Half precision and matrices, calculated by hand: what they are compared with must be right on processors that nobody here has.

#include <cpu/kernels/NarrowSoftware.h>

#include <gtest/gtest.h>

namespace krel5::modules::cpu {
namespace {

template <Exact kExact>
unsigned half(unsigned a, unsigned b, unsigned c, Rounding rounding = Nearest)
{
    Operands in{};
    for (unsigned i = 0; i < 32; ++i) {
        setLane(in.m_a, i, static_cast<std::uint16_t>(a));
        setLane(in.m_b, i, static_cast<std::uint16_t>(b));
        setLane(in.m_c, i, static_cast<std::uint16_t>(c));
    }
    in.m_rounding = rounding;
    Bytes out{};
    softHalves<kExact>(in, out);
    for (unsigned i = 1; i < 32; ++i)
        EXPECT_EQ(laneOf<std::uint16_t>(out, 0), laneOf<std::uint16_t>(out, i));
    return laneOf<std::uint16_t>(out, 0);
}

TEST(HalfPrecision, isWhatOneCalculatesByHand)
{
    constexpr unsigned kOne = 0x3C00, kTwo = 0x4000, kThree = 0x4200, kFour = 0x4400, kMinusOne = 0xBC00;
    constexpr unsigned kOneAndALittle = 0x3C01;                   // 1 + 2^-10
    EXPECT_EQ(0x4500u, half<exactSum>(kTwo, kThree, kFour));      // 5
    EXPECT_EQ(0x4600u, half<exactProduct>(kTwo, kThree, kFour));  // 6
    EXPECT_EQ(0x3955u, half<exactQuotient>(kTwo, kThree, kFour)); // 0.10101010101|01... binary
    EXPECT_EQ(0x3956u, half<exactQuotient>(kTwo, kThree, kFour, Up));
    EXPECT_EQ(0x3DA8u, half<exactRoot>(kTwo, kThree, kFour)); // 1.0110101000|0010...
    EXPECT_EQ(0x3DA9u, half<exactRoot>(kTwo, kThree, kFour, Up));
    EXPECT_EQ(0x4900u, half<exactFused>(kTwo, kThree, kFour)); // 2 * 3 + 4
    // (1 + 2^-10)^2 - 1 = 2^-9 + 2^-20, which a product rounded by itself has lost.
    EXPECT_EQ(0x1800u, half<exactFused>(kOneAndALittle, kOneAndALittle, kMinusOne));
    EXPECT_EQ(0x1801u, half<exactFused>(kOneAndALittle, kOneAndALittle, kMinusOne, Up));
    EXPECT_EQ(0x8000u, half<exactFused>(kOne, kOne, kMinusOne, Down)); // what cancels is -0 downwards only
    EXPECT_EQ(0x0000u, half<exactFused>(kOne, kOne, kMinusOne, Up));
    EXPECT_EQ(0x7BFFu, half<exactProduct>(0x7BFF, kTwo, kOne, Truncate)); // the largest, doubled
    EXPECT_EQ(0x7C00u, half<exactProduct>(0x7BFF, kTwo, kOne, Up));
    EXPECT_EQ(0x0002u, half<exactSum>(0x0001, 0x0001, kOne)); // subnormal numbers are kept
}

// One word for each row: a's row r has it in column -3 r, and it meets that row of b, whose column n holds word n - 9 r (modulo 16).
TEST(Matrices, meetRowByColumn)
{
    Operands in{};
    Tile right{};
    in.m_a[0] = 0xFF; // -1
    in.m_a[3] = 2;
    for (unsigned i = 0; i < 16; ++i) {
        in.m_b[4 * i] = static_cast<std::uint8_t>(i + 1);
        in.m_b[4 * i + 3] = 0x80; // -128
        setLane(in.m_c, i, 1000 * i);
    }
    for (unsigned row = 0; row < 16; ++row)
        for (unsigned column = 0; column < 16; ++column)
            setLane(right[row], column,
                    1000 * ((column + 3 * row) % 16) - ((column + 7 * row) % 16 + 1) - 256);
    Bytes expected{}, out{};
    fold(right, expected);
    softTileBytes(in, out);
    EXPECT_EQ(expected, out);

    auto const floatBits = [](float value) { return std::bit_cast<std::uint32_t>(value); };
    auto const brainBits = [&](float value) { return static_cast<std::uint16_t>(floatBits(value) >> 16); };
    in = {};
    setLane(in.m_a, 0, brainBits(-1));
    setLane(in.m_a, 1, brainBits(2));
    for (unsigned i = 0; i < 16; ++i) {
        setLane(in.m_b, 2 * i, brainBits(static_cast<float>(i + 1)));
        setLane(in.m_b, 2 * i + 1, brainBits(-128));
        setLane(in.m_c, i, floatBits(static_cast<float>(1000 * i)));
    }
    for (unsigned row = 0; row < 16; ++row)
        for (unsigned column = 0; column < 16; ++column)
            setLane(right[row], column,
                    floatBits(static_cast<float>(static_cast<int>(1000 * ((column + 3 * row) % 16)) -
                                                 static_cast<int>((column + 7 * row) % 16 + 1) - 256)));
    fold(right, expected);
    out = {};
    softTileBrains(in, out);
    EXPECT_EQ(expected, out);
}

} // namespace
} // namespace krel5::modules::cpu
