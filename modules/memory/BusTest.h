#pragma once
// Traffic: all threads at once copy blocks, inverted half of the time, of words that make as many lines of the memory
// bus switch as possible, past the caches, and compare every word that they read. It finds what no march test
// does: faults of supply, controller and wires that show under full load only.
//
// Of the blocks of a thread one in four is empty. A step copies a full one into an empty one and with that empties
// it, so that what is copied is checked some steps later, when it is copied on.

#include <common/SplitMix.h>
#include <common/Workers.h>
#include <memory/BrokenPages.h>
#include <memory/BusWords.h>
#include <memory/FaultLog.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

namespace krel5::modules::memory {

/// `copy` as copyBlock below: tests put faults in between.
template <typename Copy>
class BusTest
{
public:
    static constexpr std::size_t kBlockWords = 8192;

    /// `words` begins with a line and has at least two blocks; a rest that is less than a block stays out. There
    /// are no more threads than pairs of blocks. `log` receives what reads wrong, but for `brokenPages`. All outlive the test.
    BusTest(std::uint64_t* words, std::size_t wordCount, unsigned threads, std::uint64_t seed, FaultLog& log,
            BrokenPages const& brokenPages, Copy const& copy)
        : m_words(words), m_blocks(wordCount / kBlockWords),
          m_threads(static_cast<unsigned>(std::min<std::size_t>(threads, m_blocks / 2))), m_seed(seed),
          m_log(log), m_brokenPages(brokenPages), m_copy(copy)
    {}

    /// Every block is filled, and read at least once, however short `duration` is. False when stopped, or when
    /// too many pages broke to go on.
    bool run(TestHost& host, std::chrono::milliseconds duration)
    {
        auto const units = static_cast<std::uint64_t>(std::max<std::int64_t>(duration.count(), 1));
        m_end = Clock::now() + duration;
        return runWorkers(host, m_threads, units,
                          [&](unsigned worker, WorkerControl& control) { runSlice(worker, control, units); });
    }

    /// That were copied, each of them read, compared and written.
    std::uint64_t wordsCopied() const { return m_copied * kBlockWords; }

private:
    using Clock = std::chrono::steady_clock;

    struct Block
    {
        std::size_t m_number;
        BusWords m_words;
    };

    void runSlice(unsigned worker, WorkerControl& control, std::uint64_t units)
    {
        std::uint64_t state = m_seed + worker;
        std::vector<Block> full;
        std::vector<std::size_t> empty;
        for (std::size_t block = sliceStart(worker); block < sliceStart(worker + 1) && !control.stopping();
             ++block) {
            if ((block - sliceStart(worker)) % 4 == 0)
                empty.push_back(block);
            else
                full.push_back(filled(block, splitMix(state)));
        }
        std::uint64_t told = 0;
        for (std::uint64_t step = 1; !control.stopping() && Clock::now() < m_end; ++step) {
            copyOne(full[splitMix(state) % full.size()], empty[splitMix(state) % empty.size()],
                    splitMix(state));
            if (step % kStepsForNewWords == 0) {
                auto& block = full[splitMix(state) % full.size()];
                check(block);
                block = filled(block.m_number, splitMix(state));
            }
            if (worker == 0)
                tell(control, told, units);
            if (m_brokenPages.isFull())
                control.stop();
        }
        for (std::size_t i = 0; i < full.size() && !control.stopping(); ++i)
            check(full[i]);
        for (std::size_t i = 0; i < empty.size() && !control.stopping(); ++i) { // some never had a turn
            Block copy = full[i % full.size()];
            copyOne(copy, empty[i], 0);
            check(copy);
        }
    }

    /// `source` is afterwards what it was copied to, and the place where it was is empty.
    void copyOne(Block& source, std::size_t& target, std::uint64_t random)
    {
        std::uint64_t const flip = random & 1 ? ~std::uint64_t{0} : 0;
        move(source, m_words + target * kBlockWords, flip);
        std::swap(source.m_number, target);
        source.m_words.invert(flip);
        m_copied.fetch_add(1, std::memory_order_relaxed);
    }

    void check(Block const& block) { move(block, nullptr, 0); }

    void move(Block const& source, std::uint64_t* target, std::uint64_t flip)
    {
        std::size_t const first = source.m_number * kBlockWords;
        m_copy(m_words + first, target, kBlockWords, source.m_words, flip,
               [&](std::size_t index, std::uint64_t expected, std::uint64_t actual) {
                   if (!m_brokenPages.contains((first + index) * sizeof(std::uint64_t)))
                       m_log.record({first + index, expected, actual});
               });
    }

    Block filled(std::size_t number, std::uint64_t random)
    {
        Block const block{number, BusWords(random)};
        std::uint64_t* const words = m_words + number * kBlockWords;
        for (std::size_t i = 0; i < kBlockWords; ++i)
            words[i] = block.m_words[i];
        return block;
    }

    void tell(WorkerControl& control, std::uint64_t& told, std::uint64_t units) const
    {
        auto const left = std::chrono::duration_cast<std::chrono::milliseconds>(m_end - Clock::now()).count();
        std::uint64_t const done =
            units - std::min(units, static_cast<std::uint64_t>(std::max<std::int64_t>(left, 0)));
        control.advance(done - told);
        told = done;
    }

    std::size_t sliceStart(unsigned worker) const { return m_blocks * worker / m_threads; }

    static constexpr std::uint64_t kStepsForNewWords = 64;

    std::uint64_t* m_words;
    std::size_t m_blocks;
    unsigned m_threads;
    std::uint64_t m_seed;
    FaultLog& m_log;
    BrokenPages const& m_brokenPages;
    Copy m_copy;
    Clock::time_point m_end;
    std::atomic<std::uint64_t> m_copied{0};
};

} // namespace krel5::modules::memory
