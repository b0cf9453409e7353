#pragma once
// The memory of this machine, for Kernels.h: volatile 64-bit accesses at base[index].
//
// Between the processor and the memory stand caches. A region larger than the last-level cache leaves it
// between two passes by itself; a smaller one is flushed after each pass (FlushMode::Pass). Several
// operations on one word within one march element still meet in the cache: only the first read and the last
// write of them reach the memory. FlushMode::Operation flushes after every operation; that is some hundred
// times slower and meant for small regions, where faults that need two operations in a row on the memory
// itself are looked for.

#include <cstddef>
#include <cstdint>

#if defined(__x86_64__)
#include <emmintrin.h>
#endif

namespace krel5::modules::memory {

enum class FlushMode { None, Pass, Operation };

/// False where the processor offers no flush to a program: Operation is then refused, Pass flushes nothing.
#if defined(__x86_64__)
constexpr bool kCanFlush = true;
#else
constexpr bool kCanFlush = false;
#endif

/// Whether a region of so many bytes is flushed after each pass. Four times the largest cache: caches of several
/// sockets or clusters add up, and replacement is not in strict order.
constexpr bool isFlushedAfterPass(FlushMode mode, std::uint64_t bytes, std::uint64_t largestCache) noexcept
{
    return mode == FlushMode::Pass && bytes < 4 * largestCache;
}

/// Writes back and drops the cache line that holds `address`.
inline void flushLine([[maybe_unused]] void const* address) noexcept
{
#if defined(__x86_64__)
    _mm_clflush(address);
#endif
}

inline void flushFence() noexcept
{
#if defined(__x86_64__)
    _mm_mfence();
#endif
}

class RealMemory
{
public:
    using Word = std::uint64_t;
    /// Ten operations on each and the flush take a tenth of a millisecond.
    static constexpr std::size_t kPollWords = 4096;

    RealMemory(Word* base, bool flushAfterPass) : m_base(base), m_flush(flushAfterPass) {}

    Word read(std::size_t index) const noexcept { return m_base[index]; }
    void write(std::size_t index, Word word) noexcept { m_base[index] = word; }

    void settle(std::size_t first, std::size_t last) const noexcept
    {
        constexpr std::size_t kWordsPerLine = 8;
        if (!m_flush)
            return;
        for (std::size_t index = first; index < last; index += kWordsPerLine)
            flushLine(const_cast<Word*>(m_base + index));
        flushFence();
    }

private:
    Word volatile* m_base;
    bool m_flush;
};

class UncachedMemory
{
public:
    using Word = std::uint64_t;
    /// As RealMemory's, for operations that take some hundred nanoseconds each.
    static constexpr std::size_t kPollWords = 64;

    explicit UncachedMemory(Word* base) : m_base(base) {}

    Word read(std::size_t index) const noexcept
    {
        Word const word = m_base[index];
        drop(index);
        return word;
    }
    void write(std::size_t index, Word word) noexcept
    {
        m_base[index] = word;
        drop(index);
    }
    void settle(std::size_t, std::size_t) const noexcept {}

private:
    void drop(std::size_t index) const noexcept
    {
        flushLine(const_cast<Word*>(m_base + index));
        flushFence();
    }

    Word volatile* m_base;
};

} // namespace krel5::modules::memory
