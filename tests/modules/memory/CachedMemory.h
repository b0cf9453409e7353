#pragma once
// A processor's cache before simulated memory. The memory's word is a whole line, which is read and written at once;
// a line that has to go is picked at random, and what was written is written back only then, or when it is flushed.
// Scaled down: words of 8 bits, a line of 64.

#include <memory/RealMemory.h>
#include <modules/memory/FaultyMemory.h>

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace krel5::modules::memory::test {

class Cache
{
public:
    using Line = std::uint64_t;
    using Word = std::uint8_t;

    Cache(FaultyMemory<Line>& memory, std::size_t lines) : m_memory(memory), m_size(lines) {}

    Word read(std::size_t index) { return static_cast<Word>(line(index).m_data >> shift(index)); }

    void write(std::size_t index, Word word)
    {
        Held& held = line(index);
        held.m_data &= ~(Line{0xFF} << shift(index));
        held.m_data |= Line{word} << shift(index);
        held.m_dirty = true;
    }

    void flush(std::size_t index)
    {
        auto const held = std::ranges::find(m_held, index / kWordsPerLine, &Held::m_number);
        if (held != m_held.end())
            drop(static_cast<std::size_t>(held - m_held.begin()));
    }

private:
    struct Held
    {
        std::size_t m_number;
        Line m_data;
        bool m_dirty;
    };

    static unsigned shift(std::size_t index) { return static_cast<unsigned>(index % kWordsPerLine * 8); }

    /// What is written fetches its line, too.
    Held& line(std::size_t index)
    {
        std::size_t const number = index / kWordsPerLine;
        auto const held = std::ranges::find(m_held, number, &Held::m_number);
        if (held != m_held.end())
            return *held;
        if (m_held.size() == m_size)
            drop((m_random = m_random * 6364136223846793005u + 1442695040888963407u) >> 33);
        return m_held.emplace_back(Held{number, m_memory.read(number), false});
    }

    void drop(std::size_t at)
    {
        at %= m_held.size();
        if (m_held[at].m_dirty)
            m_memory.write(m_held[at].m_number, m_held[at].m_data);
        m_held[at] = m_held.back();
        m_held.pop_back();
    }

    FaultyMemory<Line>& m_memory;
    std::size_t m_size;
    std::vector<Held> m_held;
    std::uint64_t m_random = 1;
};

/// What the checker copies; see RealMemory and UncachedMemory for the modes.
struct CachedMemory
{
    using Word = Cache::Word;
    static constexpr std::size_t kPollWords = 16; // as SimulatedMemory

    Cache* m_cache;
    FlushMode m_mode;

    Word read(std::size_t index)
    {
        Word const word = m_cache->read(index);
        if (m_mode == FlushMode::Operation)
            m_cache->flush(index);
        return word;
    }
    void write(std::size_t index, Word word)
    {
        m_cache->write(index, word);
        if (m_mode == FlushMode::Operation)
            m_cache->flush(index);
    }
    void leaveLine(std::size_t index)
    {
        if (m_mode == FlushMode::Pass)
            m_cache->flush(index);
    }
    void settle() {}
    void hold(std::chrono::milliseconds) {}
};

} // namespace krel5::modules::memory::test
