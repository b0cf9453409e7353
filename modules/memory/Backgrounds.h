#pragma once
// Data backgrounds for word-oriented memory. A march test written for single bits finds faults between two
// bits of one word only when the two get both equal and different values: solid, and stripes of width 1, 2, 4
// ... half the word, log2(bits) + 1 in all, give every pair of bits both (A. J. van de Goor, I. B. S. Tlili,
// "March tests for word-oriented memories", DATE 1998).

#include <cstddef>
#include <limits>

namespace krel5::modules::memory {

template <typename Word>
constexpr std::size_t backgroundCount() noexcept
{
    std::size_t count = 1;
    for (int width = 1; width < std::numeric_limits<Word>::digits; width *= 2)
        ++count;
    return count;
}

/// Background `index`: 0 is solid zero, index k has stripes of 2^(k-1) bits.
template <typename Word>
constexpr Word background(std::size_t index) noexcept
{
    if (index == 0)
        return 0;
    Word pattern = 0;
    for (int bit = 0; bit < std::numeric_limits<Word>::digits; ++bit) {
        if ((static_cast<unsigned>(bit) >> (index - 1)) & 1u)
            pattern = static_cast<Word>(pattern | static_cast<Word>(Word{1} << bit));
    }
    return pattern;
}

} // namespace krel5::modules::memory
