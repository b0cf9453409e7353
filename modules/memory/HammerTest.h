#pragma once
// Row hammer: opening two rows of a memory chip again and again may flip bits of the row between them (Y. Kim et al.,
// "Flipping bits in memory without accessing them", ISCA 2014).
//
// Rows of one bank are found by time: two words are read in turn past the caches, which takes longer where each read
// has to close the other one's row (P. Pessl et al., "DRAMA", USENIX Security 2016). Of those that conflict with the
// same word, in the order of their physical addresses, every second two are taken to have one row between them. Where
// the times tell no rows apart, two words at equal distances to both sides of a third are taken.
//
// Thread rule: one thread.

#include <common/SplitMix.h>
#include <common/TestHost.h>
#include <memory/BrokenPages.h>
#include <memory/FaultLog.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

namespace krel5::modules::memory {

struct HammerPair
{
    std::size_t m_first, m_second; ///< words of the region
    bool m_isTimed;                ///< found by time, not by distance
};

struct HammerReporter
{
    virtual ~HammerReporter() = default;
    /// A word that differs after hammering the pair.
    virtual void flipped(HammerPair const& pair, WordFault const& flip) = 0;
    /// A word that differed before: a fault of another kind.
    virtual void broken(WordFault const& fault) = 0;
};

struct HammerCounts
{
    std::uint64_t m_pairs = 0, m_timedPairs = 0;
    std::uint64_t m_activations = 0; ///< of each row of a pair, in all
    std::uint64_t m_flips = 0;       ///< words
    std::uint64_t m_broken = 0;      ///< words that were wrong before, and pages that the hardware gave up
};

/// Of a run that is over, or was stopped. Flips are faults only where that was asked for.
inline Outcome hammerOutcome(HammerCounts const& counts, bool judgesFlips, bool finished)
{
    if (counts.m_broken != 0 || (judgesFlips && counts.m_flips != 0))
        return Outcome::Fail;
    return finished ? Outcome::Pass : Outcome::Stopped;
}

/// `Memory`: `read(index)`, `write(index, word)`, `drop(first, last)`: out of the caches; `alternate(a, b, rounds)`: so
/// many reads of both in turn that reach the memory, with their time as any number that grows with it;
/// `now()`: a steady clock's time.
template <typename Memory>
class HammerTest
{
public:
    static constexpr std::size_t kBlockWords = (std::size_t{2} << 20) / sizeof(std::uint64_t);
    static constexpr std::size_t kRowWords = 8192 / sizeof(std::uint64_t); ///< of a module, in most of them
    static constexpr unsigned kRoundsAtOnce = 2000;                        ///< less than two milliseconds

    /// `blocks`: first words of those that lie together in physical memory; not empty. All outlive the test.
    HammerTest(TestHost& host, Memory& memory, std::vector<std::size_t> const& blocks, std::uint64_t seed,
               BrokenPages const& brokenPages, HammerReporter& reporter)
        : m_host(host), m_memory(memory), m_blocks(blocks), m_random(seed), m_brokenPages(brokenPages),
          m_reporter(reporter)
    {}

    /// Pair after pair, each for so long, until `duration` is over, or a word is wrong that was not hammered: what
    /// differs later says nothing then. False when stopped.
    bool run(std::chrono::milliseconds duration, std::chrono::milliseconds eachPair)
    {
        m_begin = m_memory.now();
        m_duration = std::max(duration, std::chrono::milliseconds(1));
        do {
            std::size_t const block = m_blocks[splitMix(m_random) % m_blocks.size()];
            for (HammerPair const& pair : pairsIn(block)) {
                if (!hammer(block, pair, eachPair))
                    return false;
                if (isOver())
                    break;
            }
        } while (!m_host.stopRequested() && !isOver());
        return isOver();
    }

    HammerCounts const& counts() const { return m_counts; }

private:
    bool isOver() const
    {
        return m_memory.now() - m_begin >= m_duration || m_brokenPages.isFull() || m_counts.m_broken != 0;
    }

    std::vector<HammerPair> pairsIn(std::size_t block)
    {
        std::vector<std::size_t> const rows = rowsThatConflict(block);
        std::vector<HammerPair> pairs;
        // What is outside of the block is not ours: of many rows the first and the last are not hammered.
        std::size_t const edge = rows.size() > 4 ? 1 : 0;
        for (std::size_t i = edge; i + 2 + edge < rows.size(); ++i)
            pairs.push_back({rows[i], rows[i + 2], true});
        if (pairs.empty())
            pairs.push_back(pairByDistance(block));
        return pairs;
    }

    /// In the order of their addresses; none where the times do not tell.
    std::vector<std::size_t> rowsThatConflict(std::size_t block)
    {
        constexpr std::size_t kRows = kBlockWords / kRowWords;
        constexpr unsigned kRounds = 64, kRepeats = 3;
        std::size_t const chosen = splitMix(m_random) % kRows;
        std::array<std::uint64_t, kRows> times{};
        for (std::size_t row = 0; row < kRows && !m_host.stopRequested(); ++row) {
            times[row] = UINT64_MAX; // the least of some: an interrupt only adds
            for (unsigned i = 0; i < kRepeats && row != chosen; ++i)
                times[row] = std::min(times[row], m_memory.alternate(block + chosen * kRowWords,
                                                                     block + row * kRowWords, kRounds));
        }
        times[chosen] = 0;
        auto sorted = times;
        std::ranges::sort(sorted);
        std::uint64_t const usual = sorted[kRows / 2];
        std::vector<std::size_t> slow;
        for (std::size_t row = 0; row < kRows; ++row)
            if (row == chosen || times[row] > usual + usual / 5)
                slow.push_back(block + row * kRowWords);
        // A module has at least four banks: where so many seem to be of one, something else took the time.
        return slow.size() < 3 || slow.size() > kRows / 4 ? std::vector<std::size_t>{} : slow;
    }

    HammerPair pairByDistance(std::size_t block)
    {
        // Banks times channels times 8 KiB, as most controllers have them.
        constexpr std::array<std::size_t, 4> kDistances{8, 16, 32, 64};
        std::size_t const distance = kDistances[splitMix(m_random) % kDistances.size()] * kRowWords;
        std::size_t const edge = 4 * distance < kBlockWords ? distance : 0; // as in pairsIn
        std::size_t const places = (kBlockWords - 2 * distance - 2 * edge) / kRowWords;
        std::size_t const first = block + edge + splitMix(m_random) % places * kRowWords;
        return {first, first + 2 * distance, false};
    }

    /// False when stopped.
    bool hammer(std::size_t block, HammerPair const& pair, std::chrono::milliseconds time)
    {
        // Cells lose more readily what they hold when the rows beside them hold the opposite; which value is the
        // charged one differs from cell to cell.
        m_word = ~m_word;
        fill(block, pair);
        verify(block, pair, [this](WordFault const& fault) {
            ++m_counts.m_broken;
            m_reporter.broken(fault);
        });
        if (m_counts.m_broken != 0)
            return true;
        fill(block, pair);
        auto const begin = m_memory.now();
        do {
            if (m_host.stopRequested())
                return false;
            (void)m_memory.alternate(pair.m_first, pair.m_second, kRoundsAtOnce);
            m_counts.m_activations += kRoundsAtOnce;
            tellProgress();
        } while (m_memory.now() - begin < time && !isOver());
        ++m_counts.m_pairs;
        m_counts.m_timedPairs += pair.m_isTimed ? 1 : 0;
        verify(block, pair, [&](WordFault const& flip) {
            ++m_counts.m_flips;
            m_reporter.flipped(pair, flip);
        });
        return true;
    }

    std::uint64_t expected(std::size_t index, HammerPair const& pair) const
    {
        bool const isAggressor = index - pair.m_first < kRowWords || index - pair.m_second < kRowWords;
        return isAggressor ? ~m_word : m_word;
    }

    void fill(std::size_t block, HammerPair const& pair)
    {
        for (std::size_t i = block; i < block + kBlockWords; ++i)
            m_memory.write(i, expected(i, pair));
        m_memory.drop(block, block + kBlockWords);
    }

    template <typename Found>
    void verify(std::size_t block, HammerPair const& pair, Found const& found)
    {
        for (std::size_t i = block; i < block + kBlockWords; ++i) {
            std::uint64_t const word = m_memory.read(i);
            if (word != expected(i, pair) && !m_brokenPages.contains(i * sizeof word))
                found(WordFault{i, expected(i, pair), word});
        }
    }

    void tellProgress()
    {
        auto const done = 100 * (m_memory.now() - m_begin) / m_duration;
        m_host.progress(static_cast<int>(std::clamp<std::int64_t>(done, 0, 100)));
    }

    TestHost& m_host;
    Memory& m_memory;
    std::vector<std::size_t> const& m_blocks;
    std::uint64_t m_random;
    BrokenPages const& m_brokenPages;
    HammerReporter& m_reporter;
    HammerCounts m_counts;
    std::uint64_t m_word = 0;
    std::chrono::steady_clock::time_point m_begin{};
    std::chrono::milliseconds m_duration{1};
};

} // namespace krel5::modules::memory
