#pragma once
// The inner loops: what one thread does to a span of words in one pass. Each is a template over the memory
// and is compiled for one fixed list of operations, so that on real memory nothing but loads, stores and
// compares is left.
//
// Memory: `Word` (an unsigned integer type), `Word read(std::size_t) const`, `void write(std::size_t, Word)`, and
// `void leaveLine(std::size_t)`: the loop is done with the line of that word.
// Sink: called as sink(index, expected, actual) for each word that read wrong; rare, may be slow.

#include <memory/Backgrounds.h>
#include <memory/MarchTest.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <utility>

namespace krel5::modules::memory {
namespace detail {

template <MarchOperation kOperation, typename Memory, typename Sink>
[[gnu::always_inline]] inline void operate(Memory& memory, std::size_t index, typename Memory::Word zero,
                                           typename Memory::Word one, Sink& sink)
{
    if constexpr (kOperation == MarchOperation::Write0) {
        memory.write(index, zero);
    } else if constexpr (kOperation == MarchOperation::Write1) {
        memory.write(index, one);
    } else {
        auto const expected = kOperation == MarchOperation::Read0 ? zero : one;
        auto const actual = memory.read(index);
        if (actual != expected) [[unlikely]]
            sink(index, expected, actual);
    }
}

template <MarchTest const& kTest, std::size_t kElement, typename Memory, typename Sink, std::size_t... kOps>
[[gnu::always_inline]] inline void visit(Memory& memory, std::size_t index, typename Memory::Word zero,
                                         Sink& sink, std::index_sequence<kOps...>)
{
    auto const one = static_cast<typename Memory::Word>(~zero);
    (operate<kTest.m_elements[kElement].m_operations[kOps]>(memory, index, zero, one, sink), ...);
}

/// Calls visitWord(index) for each of the words of [first, last), line by line; a line may be cut at either end.
template <bool kDown, typename Memory, typename VisitWord>
[[gnu::always_inline]] inline void visitLines(Memory& memory, std::size_t first, std::size_t last,
                                              VisitWord const& visitWord)
{
    while (first < last) {
        std::size_t const begin = kDown ? std::max(first, (last - 1) / kWordsPerLine * kWordsPerLine) : first;
        std::size_t const end = kDown ? last : std::min(last, (first / kWordsPerLine + 1) * kWordsPerLine);
        for (std::size_t i = 0; i < end - begin; ++i)
            visitWord(kDown ? end - 1 - i : begin + i);
        memory.leaveLine(begin);
        (kDown ? last : first) = kDown ? begin : end;
    }
}

} // namespace detail

/// Element `kElement` of `kTest` over [first, last) with that data background.
template <MarchTest const& kTest, std::size_t kElement, typename Memory, typename Sink>
void marchWords(Memory& memory, std::size_t first, std::size_t last,
                Background<typename Memory::Word> const& background, Sink& sink)
{
    constexpr auto kOps = std::make_index_sequence<kTest.m_elements[kElement].m_count>();
    std::array<typename Memory::Word, kWordsPerLine> zeros;
    for (std::size_t i = 0; i < kWordsPerLine; ++i)
        zeros[i] = background(i);
    detail::visitLines<kTest.m_elements[kElement].m_down>(
        memory, first, last, [&](std::size_t index) __attribute__((always_inline)) {
            detail::visit<kTest, kElement>(memory, index, zeros[index % kWordsPerLine], sink, kOps);
        });
}

/// Writes pattern(index) to each word of [first, last).
template <typename Memory, typename Pattern>
void fillWords(Memory& memory, std::size_t first, std::size_t last, Pattern const& pattern)
{
    detail::visitLines<false>(memory, first, last,
                              [&](std::size_t index) { memory.write(index, pattern(index)); });
}

/// Reads each word of [first, last) and expects pattern(index).
template <typename Memory, typename Pattern, typename Sink>
void verifyWords(Memory& memory, std::size_t first, std::size_t last, Pattern const& pattern, Sink& sink)
{
    detail::visitLines<false>(memory, first, last, [&](std::size_t index) {
        auto const expected = pattern(index);
        auto const actual = memory.read(index);
        if (actual != expected) [[unlikely]]
            sink(index, expected, actual);
    });
}

/// The same word everywhere.
template <typename Word>
struct Solid
{
    Word m_word;
    constexpr Word operator()(std::size_t) const noexcept { return m_word; }
};

/// Neighbouring words complement each other, as neighbouring bits of `m_word` do.
template <typename Word>
struct Checkerboard
{
    Word m_word;
    constexpr Word operator()(std::size_t index) const noexcept
    {
        return (index & 1u) ? static_cast<Word>(~m_word) : m_word;
    }
};

/// Each word holds its own index, or the complement of it.
template <typename Word>
struct OwnAddress
{
    Word m_mask; ///< 0 or all ones
    constexpr Word operator()(std::size_t index) const noexcept { return static_cast<Word>(index) ^ m_mask; }
};

/// Random words that depend on seed and index alone, so that any thread can check what another wrote:
/// SplitMix64 (G. L. Steele, D. Lea, C. H. Flood, "Fast splittable pseudorandom number generators", OOPSLA
/// 2014).
template <typename Word>
struct RandomData
{
    std::uint64_t m_seed;
    Word m_mask; ///< 0 or all ones
    constexpr Word operator()(std::size_t index) const noexcept
    {
        std::uint64_t z = m_seed + (index + 1) * 0x9E3779B97F4A7C15u;
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9u;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBu;
        return static_cast<Word>(z ^ (z >> 31)) ^ m_mask;
    }
};

} // namespace krel5::modules::memory
