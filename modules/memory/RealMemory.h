#pragma once
// The memory of this machine, for Kernels.h: volatile 64-bit accesses at base[index].
//
// Between the processor and the memory stand caches. With FlushMode::Pass each line is written back and dropped as
// soon as a march element is done with it, so that the memory sees the element's order, line by line, and the next
// element reads from memory, whichever direction it goes and however small the region is. Several operations on one
// word within one march element still meet in the cache: only the first read and the last write of them reach the
// memory. FlushMode::Operation flushes after every operation; that is some hundred times slower and meant for small
// regions, where faults that need two operations in a row on the memory itself are looked for.

#include <memory/Backgrounds.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <thread>

#if defined(__x86_64__)
#include <cpuid.h>
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

/// How a line gets out of the caches. The instruction that would write it back and keep it (CLWB) is of no use here:
/// the next read would not reach the memory.
enum class LineFlush {
    None,
    Ordered,  ///< CLFLUSH: one line after the other, ten times as slow
    Unordered ///< CLFLUSHOPT: many at once; a fence waits for them
};

/// The fastest that this processor has.
inline LineFlush bestLineFlush() noexcept
{
#if defined(__x86_64__)
    constexpr unsigned kClflushopt = 1u << 23; // leaf 7, EBX
    unsigned a = 0, b = 0, c = 0, d = 0;
    return __get_cpuid_count(7, 0, &a, &b, &c, &d) && (b & kClflushopt) ? LineFlush::Unordered
                                                                        : LineFlush::Ordered;
#else
    return LineFlush::None;
#endif
}

/// Writes back and drops the cache line that holds `address`. `how` is one that the processor has.
[[gnu::always_inline]] inline void flushLine([[maybe_unused]] void const* address,
                                             [[maybe_unused]] LineFlush how) noexcept
{
#if defined(__x86_64__)
    // As text, since the build does not ask for processors that have it.
    if (how == LineFlush::Unordered)
        asm volatile(".byte 0x66; clflush %0" : : "m"(*static_cast<char const*>(address)) : "memory");
    else if (how == LineFlush::Ordered)
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

    /// `flush` is done with each line that a pass leaves.
    RealMemory(Word* base, LineFlush flush) : m_base(base), m_flush(flush) {}

    Word read(std::size_t index) const noexcept { return m_base[index]; }
    void write(std::size_t index, Word word) noexcept { m_base[index] = word; }
    void leaveLine(std::size_t index) const noexcept
    {
        flushLine(const_cast<Word*>(m_base + index), m_flush);
    }
    static void hold(std::chrono::milliseconds time) { std::this_thread::sleep_for(time); }
    void settle() const noexcept
    {
        if (m_flush != LineFlush::None)
            flushFence();
    }

private:
    Word volatile* m_base;
    LineFlush m_flush;
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
    void leaveLine(std::size_t) const noexcept {}
    void settle() const noexcept {}
    static void hold(std::chrono::milliseconds time) { std::this_thread::sleep_for(time); }

private:
    void drop(std::size_t index) const noexcept
    {
        flushLine(const_cast<Word*>(m_base + index), m_flush);
        flushFence();
    }

    Word volatile* m_base;
    LineFlush m_flush = bestLineFlush();
};

} // namespace krel5::modules::memory
