#pragma once
// Data backgrounds. A march test written for single bits finds faults between two bits of one word only when the
// two get both equal and different values: solid, and stripes of width 1, 2, 4 ... half the word, log2(bits) + 1
// in all, give every pair of bits both (A. J. van de Goor, I. B. S. Tlili, "March tests for word-oriented
// memories", DATE 1998). What the memory behind caches takes for a word is a cache line, which is written at once:
// the stripes go on over its words.

#include <cstddef>
#include <limits>

namespace krel5::modules::memory {

constexpr std::size_t kWordsPerLine = 8; ///< 64 bytes of 64-bit words

/// What the words of a region hold for a "0" of a march test; the same in every line.
template <typename Word>
struct Background
{
    Word m_word;              ///< of the first word of a line
    std::size_t m_stripe = 0; ///< words after which it turns into its complement and back: 1, 2, 4; 0: never

    constexpr Word operator()(std::size_t index) const noexcept
    {
        return index & m_stripe ? static_cast<Word>(~m_word) : m_word;
    }
};

template <typename Word>
constexpr std::size_t backgroundCount() noexcept
{
    std::size_t count = 1;
    for (std::size_t width = 1; width < std::numeric_limits<Word>::digits * kWordsPerLine; width *= 2)
        ++count;
    return count;
}

/// Stripes of 2^`index` bits in one word.
template <typename Word>
constexpr Word stripes(std::size_t index) noexcept
{
    Word pattern = 0;
    for (int bit = 0; bit < std::numeric_limits<Word>::digits; ++bit) {
        if ((static_cast<unsigned>(bit) >> index) & 1u)
            pattern = static_cast<Word>(pattern | static_cast<Word>(Word{1} << bit));
    }
    return pattern;
}

/// Background `index`: 0 is solid zero, index k has stripes of 2^(k-1) bits.
template <typename Word>
constexpr Background<Word> background(std::size_t index) noexcept
{
    constexpr std::size_t kBits = std::numeric_limits<Word>::digits;
    if (index == 0)
        return {0};
    std::size_t const width = std::size_t{1} << (index - 1);
    return width < kBits ? Background<Word>{stripes<Word>(index - 1)} : Background<Word>{0, width / kBits};
}

} // namespace krel5::modules::memory
