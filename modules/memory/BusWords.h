#pragma once
// Words that are hard on a memory bus, and how they are copied. A word is what a 64-bit channel moves in one beat, a
// line of eight words one burst: what makes lines disturb each other, and the supply dip, is how neighbouring words
// differ.

#include <common/SplitMix.h>
#include <memory/Backgrounds.h>

#include <array>
#include <cstddef>
#include <cstdint>

#if defined(__x86_64__)
#include <emmintrin.h>
#endif

namespace krel5::modules::memory {

/// The words of a block: a period of eight lines, over and over, maybe inverted.
class BusWords
{
public:
    static constexpr std::size_t kPeriod = 8 * kWordsPerLine;
    static constexpr unsigned kKinds = 10;

    /// Kind and bits depend on `random` alone.
    explicit BusWords(std::uint64_t random)
    {
        for (std::size_t i = 0; i < kPeriod; ++i)
            m_words[i] = word(random % kKinds, i, random / kKinds);
    }

    std::uint64_t operator[](std::size_t index) const noexcept { return m_words[index % kPeriod]; }
    std::uint64_t const* data() const noexcept { return m_words.data(); }
    void invert(std::uint64_t mask) noexcept
    {
        for (auto& word : m_words)
            word ^= mask;
    }

private:
    static std::uint64_t word(std::uint64_t kind, std::size_t i, std::uint64_t random) noexcept
    {
        constexpr std::uint64_t kOnes = ~std::uint64_t{0};
        std::uint64_t const all = i & 1 ? kOnes : 0;
        std::uint64_t const one = std::uint64_t{1} << random % 64;
        switch (kind) {
        case 0: // every line switches with every beat
            return all;
        case 1: // with every second, fourth beat, with every burst
            return i & 2 ? kOnes : 0;
        case 2:
            return i & 4 ? kOnes : 0;
        case 3:
            return i & 8 ? kOnes : 0;
        case 4: // neighbouring wires switch against each other
            return stripes<std::uint64_t>(0) ^ all;
        case 5: // one wire switches, all others rest
            return std::uint64_t{1} << i % 64;
        case 6: // one rests at zero among all that switch
            return all & ~one;
        case 7: // one switches against all others
            return all ^ one;
        case 8: // each byte's wires against those of the next
            return 0xFF00FF00FF00FF00u ^ all;
        default:
            random += i;
            return splitMix(random);
        }
    }

    alignas(64) std::array<std::uint64_t, kPeriod> m_words;
};

namespace detail {

using Vector = std::uint64_t __attribute__((vector_size(16), may_alias));

[[gnu::always_inline]] inline void storePastCaches(Vector* target, Vector const& vector) noexcept
{
#if defined(__x86_64__)
    _mm_stream_si128(reinterpret_cast<__m128i*>(target), reinterpret_cast<__m128i const&>(vector));
#else
    *target = vector;
#endif
}

} // namespace detail

/// Compares `count` words from `source` on, whole lines, with `expected`, and writes each ^ `flip` to `target`, if
/// there is one, past the caches. What is wrong goes to sink(index, expected, actual), and what it should be to
/// the target.
template <typename Sink>
void copyBlock(std::uint64_t const* source, std::uint64_t* target, std::size_t count,
               BusWords const& expected, std::uint64_t flip, Sink const& sink)
{
    using detail::Vector;
    constexpr std::size_t kVectors = kWordsPerLine / 2;
    Vector const flips{flip, flip};
    for (std::size_t line = 0; line < count; line += kWordsPerLine) {
        auto const* const from = reinterpret_cast<Vector const*>(source + line);
        auto const* const right = reinterpret_cast<Vector const*>(expected.data() + line % BusWords::kPeriod);
        Vector words[kVectors];
        Vector wrong{0, 0};
        for (std::size_t i = 0; i < kVectors; ++i) {
            words[i] = from[i];
            wrong |= words[i] ^ right[i];
        }
        if ((wrong[0] | wrong[1]) != 0) [[unlikely]] {
            for (std::size_t i = 0; i < kWordsPerLine; ++i) {
                if (words[i / 2][i % 2] != expected[line + i])
                    sink(line + i, expected[line + i], words[i / 2][i % 2]);
            }
            for (std::size_t i = 0; i < kVectors; ++i)
                words[i] = right[i];
        }
        for (std::size_t i = 0; target && i < kVectors; ++i)
            detail::storePastCaches(reinterpret_cast<Vector*>(target + line) + i, words[i] ^ flips);
    }
#if defined(__x86_64__)
    _mm_sfence();
#endif
}

/// For BusTest.
struct CopyPastCaches
{
    template <typename Sink>
    void operator()(std::uint64_t const* source, std::uint64_t* target, std::size_t count,
                    BusWords const& expected, std::uint64_t flip, Sink const& sink) const
    {
        copyBlock(source, target, count, expected, flip, sink);
    }
};

} // namespace krel5::modules::memory
