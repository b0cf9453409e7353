#pragma once
// What arithmetic on narrow numbers is compared with, for half precision and for matrices: apart, so that a test holds it to numbers
// calculated by hand on processors that have no such units.
//
// Thread rule: no state.

#include <cpu/kernels/Comparison.h>

namespace krel5::modules::cpu {

inline Number brain(Bytes const& bytes, unsigned lane) noexcept
{
    return decoded<BrainFloat>(laneOf<std::uint16_t>(bytes, lane));
}

// ---- half precision

using Exact = Number (*)(Number const& a, Number const& b, Number const& c, Rounding rounding) noexcept;
inline Number exactSum(Number const& a, Number const& b, Number const&, Rounding rounding) noexcept
{
    return sum(a, b, rounding);
}
inline Number exactProduct(Number const& a, Number const& b, Number const&, Rounding) noexcept
{
    return product(a, b);
}
inline Number exactQuotient(Number const& a, Number const& b, Number const&, Rounding) noexcept
{
    return quotient(a, b);
}
inline Number exactRoot(Number const& a, Number const&, Number const&, Rounding) noexcept { return root(a); }
inline Number exactFused(Number const& a, Number const& b, Number const& c, Rounding rounding) noexcept
{
    return sum(product(a, b), c, rounding);
}

template <Exact kExact>
void softHalves(Operands const& in, Bytes& out) noexcept
{
    auto const half = [](Bytes const& of, unsigned i) { return decoded<Half>(laneOf<std::uint16_t>(of, i)); };
    for (unsigned i = 0; i < 32; ++i)
        setLane(out, i,
                rounded<Half>(kExact(half(in.m_a, i), half(in.m_b, i), half(in.m_c, i), in.m_rounding),
                              in.m_rounding));
}

// ---- matrices: 16 rows of 64 bytes, made of the operands by turning these from row to row

constexpr unsigned kRows = 16;
using Tile = std::array<Bytes, kRows>;

/// Row r begins with the operand's word 3 r: no two rows are alike, and a matrix is another one with rows and columns exchanged.
inline void makeTile(Bytes const& operand, Tile& tile) noexcept
{
    for (unsigned row = 0; row < kRows; ++row)
        for (unsigned i = 0; i < 64; ++i)
            tile[row][i] = operand[(i + 12 * row) % 64];
}

/// Each word of the result counts in one word of what is compared.
inline void fold(Tile const& tile, Bytes& out) noexcept
{
    for (unsigned column = 0; column < 16; ++column) {
        std::uint32_t folded = 0;
        for (unsigned row = 0; row < kRows; ++row)
            folded = std::rotl(folded, 1) + laneOf<std::uint32_t>(tile[row], column);
        setLane(out, column, folded);
    }
}

// A word of a's row meets the word of b's column that has its number; their parts are multiplied and summed.
inline void softTileBytes(Operands const& in, Bytes& out) noexcept
{
    Tile a, b, c;
    makeTile(in.m_a, a);
    makeTile(in.m_b, b);
    makeTile(in.m_c, c);
    for (unsigned row = 0; row < kRows; ++row)
        for (unsigned column = 0; column < 16; ++column) {
            std::int64_t total = laneOf<std::int32_t>(c[row], column);
            for (unsigned word = 0; word < 16; ++word)
                for (unsigned k = 0; k < 4; ++k)
                    total += laneOf<std::int8_t>(a[row], 4 * word + k) *
                             laneOf<std::int8_t>(b[word], 4 * column + k);
            setLane(c[row], column, static_cast<std::uint32_t>(total));
        }
    fold(c, out);
}
inline void softTileBrains(Operands const& in, Bytes& out) noexcept
{
    Tile a, b, c;
    makeTile(in.m_a, a);
    makeTile(in.m_b, b);
    makeTile(in.m_c, c);
    for (unsigned row = 0; row < kRows; ++row)
        for (unsigned column = 0; column < 16; ++column) {
            Number total = decoded<float>(laneOf<std::uint32_t>(c[row], column));
            for (unsigned word = 0; word < 16; ++word)
                for (unsigned k = 0; k < 2; ++k)
                    total = sum(total, product(brain(a[row], 2 * word + k), brain(b[word], 2 * column + k)),
                                Nearest);
            setLane(c[row], column, rounded<float>(total, Nearest));
        }
    fold(c, out);
}

} // namespace krel5::modules::cpu
