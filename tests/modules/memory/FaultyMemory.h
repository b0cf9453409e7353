#pragma once
// A bit-level simulator of memory with functional faults, for the kernels of modules/memory/Kernels.h.
//
// A fault primitive is written as in the literature: <S/F/R> for one cell, <Sa;Sv/F/R> for an aggressor and a
// victim. S is a state (0, 1) followed by the operations that sensitise the fault (w0, w1, r); F is the
// victim's state afterwards, R what a read of the victim answers ("-" when it is not read). "<0w1/0/->" is a
// cell that cannot rise, "<1;0r/1/0>" a cell that a read flips behind the reader's back while its aggressor
// holds 1. At most two operations, of which the second directly follows the first, a write. A primitive
// without operations holds always.
//
// A word is written as a whole, then the coupling acts: it overrules what the same write put into the victim.

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <vector>

namespace krel5::modules::memory::test {

struct Cell
{
    std::size_t m_word = 0;
    int m_bit = 0;
};

/// The sensitising part and the effect, not yet placed on cells.
struct Primitive
{
    bool m_coupled = false;     ///< has an aggressor
    bool m_onAggressor = false; ///< the operations are done on the aggressor
    int m_aggressorState = 0;   ///< before the operations
    int m_victimState = 0;
    int m_write = -1;       ///< value of the write operation, -1 for none
    int m_secondWrite = -1; ///< of the one directly after it
    bool m_read = false;
    int m_final = 0;
    int m_output = -1; ///< -1: what the cell held
};

inline Primitive parsePrimitive(std::string_view text)
{
    Primitive result;
    auto const take = [&text](char until) {
        auto const end = text.find(until);
        if (end == text.npos)
            throw std::invalid_argument("fault primitive");
        auto const part = text.substr(0, end);
        text.remove_prefix(end + 1);
        return part;
    };
    auto const sensitise = [&result](std::string_view part, int& state, bool aggressor) {
        state = part.at(0) - '0';
        for (std::size_t at = 1; at < part.size(); ++at) {
            result.m_onAggressor = aggressor;
            if (part[at] == 'w')
                (result.m_write < 0 ? result.m_write : result.m_secondWrite) = part.at(++at) - '0';
            else
                result.m_read = true;
        }
    };
    take('<');
    if (text.find(';') != text.npos) {
        result.m_coupled = true;
        sensitise(take(';'), result.m_aggressorState, true);
    }
    sensitise(take('/'), result.m_victimState, false);
    result.m_final = take('/').at(0) - '0';
    auto const output = take('>');
    result.m_output = output == "-" ? -1 : output.at(0) - '0';
    return result;
}

struct PlacedPrimitive
{
    Primitive m_primitive;
    Cell m_victim;
    Cell m_aggressor;
};

enum class WiredRead {
    And, ///< several cells on one address read as the AND of them, none as all ones
    Or   ///< the OR; none as all zeros
};

/// Starts with arbitrary contents, as memory does.
template <typename WordType>
class FaultyMemory
{
public:
    using Word = WordType;

    explicit FaultyMemory(std::size_t words) : m_cells(words)
    {
        std::uint64_t state = words;
        for (auto& cell : m_cells)
            cell = static_cast<Word>((state = state * 6364136223846793005u + 1442695040888963407u) >> 29);
    }

    void inject(PlacedPrimitive const& fault)
    {
        m_faults.push_back(fault);
        holdStates();
    }

    /// From now on nothing reaches the cell: a read of it answers what the last read of its column did.
    void open(Cell cell) { m_open = cell; }

    /// From now on `address` selects exactly the words of `selected`.
    void remap(std::size_t address, std::vector<std::size_t> selected, WiredRead wired)
    {
        if (m_map.empty()) {
            for (std::size_t i = 0; i < m_cells.size(); ++i)
                m_map.push_back({i});
        }
        m_map.at(address) = std::move(selected);
        m_wired = wired;
    }

    void write(std::size_t address, Word word)
    {
        if (m_map.empty())
            return writeCells(address, word);
        for (auto const selected : m_map[address])
            writeCells(selected, word);
    }

    Word read(std::size_t address)
    {
        if (m_map.empty())
            return readCells(address);
        bool const conjunction = m_wired == WiredRead::And;
        Word value = conjunction ? static_cast<Word>(~Word{0}) : Word{0};
        for (auto const selected : m_map[address]) {
            Word const cells = readCells(selected);
            value = static_cast<Word>(conjunction ? value & cells : value | cells);
        }
        return value;
    }

private:
    struct LastOperation
    {
        std::size_t m_word = std::numeric_limits<std::size_t>::max();
        bool m_wrote = false;
        Word m_before = 0;
        Word m_written = 0;
    };

    /// The primitives that one operation sensitises; which ones is settled before the first of them acts.
    struct Due
    {
        void add(PlacedPrimitive const& fault) { m_faults.at(m_count++) = &fault; }
        void act(std::vector<Word>& cells) const
        {
            for (std::size_t i = 0; i < m_count; ++i) {
                auto const& victim = m_faults[i]->m_victim;
                setBit(cells[victim.m_word], victim.m_bit, m_faults[i]->m_primitive.m_final);
            }
        }
        void answer(Word& value) const
        {
            for (std::size_t i = 0; i < m_count; ++i) {
                auto const& p = m_faults[i]->m_primitive;
                if (!p.m_onAggressor && p.m_output >= 0)
                    setBit(value, m_faults[i]->m_victim.m_bit, p.m_output);
            }
        }

        std::array<PlacedPrimitive const*, 4> m_faults;
        std::size_t m_count = 0;
    };

    static int bitOf(Word word, int bit) { return static_cast<int>((word >> bit) & 1u); }
    static void setBit(Word& word, int bit, int value)
    {
        auto const mask = static_cast<Word>(Word{1} << bit);
        word = static_cast<Word>(value ? word | mask : word & static_cast<Word>(~mask));
    }

    void writeCells(std::size_t index, Word word)
    {
        Word const before = m_cells.at(index);
        m_cells[index] = word;
        Due due;
        for (auto const& fault : m_faults) {
            if (sensitisedByWrite(fault, index, before, word))
                due.add(fault);
        }
        due.act(m_cells);
        m_last = {index, true, before, word};
        holdStates();
    }

    Word readCells(std::size_t index)
    {
        Word value = m_cells.at(index);
        Due due;
        for (auto const& fault : m_faults) {
            if (sensitisedByRead(fault, index))
                due.add(fault);
        }
        due.act(m_cells);
        due.answer(value);
        if (m_open && m_open->m_word == index)
            setBit(value, m_open->m_bit, bitOf(m_answered, m_open->m_bit));
        m_answered = value;
        m_last = {index, false, 0, 0};
        holdStates();
        return value;
    }

    bool sensitisedByWrite(PlacedPrimitive const& fault, std::size_t index, Word before, Word word) const
    {
        auto const& p = fault.m_primitive;
        auto const& on = p.m_onAggressor ? fault.m_aggressor : fault.m_victim;
        if (p.m_write < 0 || p.m_read || on.m_word != index || !otherHolds(fault))
            return false;
        if (p.m_secondWrite < 0)
            return bitOf(word, on.m_bit) == p.m_write && bitOf(before, on.m_bit) == operatedState(p);
        return bitOf(word, on.m_bit) == p.m_secondWrite && directlyAfterWrite(fault, index) &&
               bitOf(before, on.m_bit) == p.m_write;
    }

    /// The operation before this one was the primitive's first, which is a write.
    bool directlyAfterWrite(PlacedPrimitive const& fault, std::size_t index) const
    {
        auto const& p = fault.m_primitive;
        auto const& on = p.m_onAggressor ? fault.m_aggressor : fault.m_victim;
        return m_last.m_wrote && m_last.m_word == index &&
               bitOf(m_last.m_before, on.m_bit) == operatedState(p) &&
               bitOf(m_last.m_written, on.m_bit) == p.m_write;
    }

    bool sensitisedByRead(PlacedPrimitive const& fault, std::size_t index) const
    {
        auto const& p = fault.m_primitive;
        auto const& on = p.m_onAggressor ? fault.m_aggressor : fault.m_victim;
        if (!p.m_read || on.m_word != index || !otherHolds(fault))
            return false;
        if (p.m_write < 0)
            return bitOf(m_cells[index], on.m_bit) == operatedState(p);
        return directlyAfterWrite(fault, index) && bitOf(m_cells[index], on.m_bit) == p.m_write;
    }

    static int operatedState(Primitive const& p)
    {
        return p.m_onAggressor ? p.m_aggressorState : p.m_victimState;
    }

    /// The cell that is not operated on has the state that the primitive asks for.
    bool otherHolds(PlacedPrimitive const& fault) const
    {
        auto const& p = fault.m_primitive;
        if (!p.m_coupled)
            return true;
        auto const& other = p.m_onAggressor ? fault.m_victim : fault.m_aggressor;
        return bitOf(m_cells[other.m_word], other.m_bit) ==
               (p.m_onAggressor ? p.m_victimState : p.m_aggressorState);
    }

    /// Primitives without operations: the victim cannot keep its state while the aggressor has its own.
    void holdStates()
    {
        for (auto const& fault : m_faults) {
            auto const& p = fault.m_primitive;
            if (p.m_write >= 0 || p.m_read)
                continue;
            auto const& aggressor = fault.m_aggressor;
            if (p.m_coupled && bitOf(m_cells[aggressor.m_word], aggressor.m_bit) != p.m_aggressorState)
                continue;
            if (bitOf(m_cells[fault.m_victim.m_word], fault.m_victim.m_bit) == p.m_victimState)
                setBit(m_cells[fault.m_victim.m_word], fault.m_victim.m_bit, p.m_final);
        }
    }

    std::vector<Word> m_cells;
    std::vector<PlacedPrimitive> m_faults;
    std::vector<std::vector<std::size_t>> m_map; // empty: every address selects its own word
    WiredRead m_wired = WiredRead::And;
    LastOperation m_last;
    std::optional<Cell> m_open;
    Word m_answered = 0;
};

/// What the checker copies: all copies are the same memory.
template <typename WordType>
struct SimulatedMemory
{
    using Word = WordType;
    static constexpr std::size_t kPollWords = 16; // so that a pass has more parts than one, in their order

    FaultyMemory<Word>* m_memory;

    Word read(std::size_t index) { return m_memory->read(index); }
    void write(std::size_t index, Word word) { m_memory->write(index, word); }
    void leaveLine(std::size_t) {}
    void settle() {}
    void hold(std::chrono::milliseconds) {}
};

} // namespace krel5::modules::memory::test
