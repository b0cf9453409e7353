#pragma once
// Runs passes over a region: splits it into one slice per thread, passes it once per march element (or fill,
// or verify), and hands what read wrong to the host. All threads end a pass before the next begins.
//
// With several threads the address order of an element holds inside each slice, not between slices: coupling
// between words of different slices is then found only by chance; address faults between slices are still
// found, because of two words that share a cell one is always visited second. One thread gives the full
// guarantee.

#include <common/Workers.h>
#include <memory/Backgrounds.h>
#include <memory/BrokenPages.h>
#include <memory/FaultLog.h>
#include <memory/Kernels.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

namespace krel5::modules::memory {

/// What a pass is called in reports.
struct PassName
{
    std::string_view m_test;    ///< "March C-"
    std::string_view m_step;    ///< "up(r0,w1)"
    std::uint64_t m_background; ///< of a line's first word; or the seed, or the pattern word
    std::size_t m_stripe = 0;   ///< as in Background
};

/// Receives the kept faults of a pass, on the thread that runs the checker.
struct FaultReporter
{
    virtual ~FaultReporter() = default;
    virtual void report(PassName const& pass, WordFault const& fault) = 0;
    /// A page that the hardware gave up during the pass.
    virtual void report(PassName const& pass, BrokenPage const& page) = 0;
};

/// Runs the slices of a pass on threads; see runWorkers.
struct ThreadRunner
{
    bool operator()(TestHost& host, unsigned count, std::uint64_t totalUnits, Work const& work,
                    ProgressSpan span) const
    {
        return runWorkers(host, count, totalUnits, work, span);
    }
};

/// `Memory` as in Kernels.h, cheap to copy, with `kPollWords`, the words between two questions for a stop
/// and a multiple of a line, and `void settle()`: called after at most so many words, so that what was asked of
/// lines that the pass left is done; and `void hold(milliseconds)`: lets so much time go by. Different words may be used from different threads at
/// once. `Runner` is called as ThreadRunner is.
template <typename Memory, typename Runner = ThreadRunner>
class Checker
{
public:
    using Word = typename Memory::Word;

    /// `host`, `reporter` and `brokenPages` outlive the checker. `threads` is at least 1 and no more than
    /// `words`. `brokenPages` grows while workers run: each page is a fault, what is read there is none, and
    /// when it is full the passes end as if stopped.
    Checker(TestHost& host, FaultReporter& reporter, Memory memory, std::size_t words, unsigned threads,
            BrokenPages& brokenPages)
        : m_host(host), m_reporter(reporter), m_memory(memory), m_words(words), m_threads(threads),
          m_brokenPages(brokenPages)
    {}

    /// Word operations of all the passes to come, for the progress.
    void expectWork(std::uint64_t operationsPerWord) { m_expected += operationsPerWord; }
    /// What a pause counts as in that unit, by what memory moves about.
    std::uint64_t workOf(std::chrono::seconds pause) const
    {
        constexpr std::uint64_t kWordsPerSecond = 400'000'000; // one thread, with the write-back
        std::uint64_t const operations = kWordsPerSecond * m_threads / std::max<std::uint64_t>(m_words, 1);
        return static_cast<std::uint64_t>(pause.count()) * std::max<std::uint64_t>(operations, 1);
    }
    /// Words that read wrong, and broken pages.
    std::uint64_t faults() const { return m_log.total() + m_brokenPages.total(); }

    /// One data background of a march test. False when stopped.
    template <MarchTest const& kTest>
    bool march(Background<Word> const& background)
    {
        m_log.beginPass();
        return marchElements<kTest>(background, std::make_index_sequence<kTest.m_count>());
    }

    /// Fills the region with pattern(index), then reads it back. False when stopped.
    template <typename Pattern>
    bool fillAndVerify(std::string_view test, Pattern const& pattern, std::uint64_t background)
    {
        return fillHoldAndVerify(test, pattern, background, std::chrono::seconds(0));
    }

    /// The same with a pause between the two.
    template <typename Pattern>
    bool fillHoldAndVerify(std::string_view test, Pattern const& pattern, std::uint64_t background,
                           std::chrono::seconds pause)
    {
        m_log.beginPass();
        auto const fill = [&](Memory& memory, std::size_t first, std::size_t last, auto&) {
            fillWords(memory, first, last, pattern);
        };
        auto const verify = [&](Memory& memory, std::size_t first, std::size_t last, auto& sink) {
            verifyWords(memory, first, last, pattern, sink);
        };
        return pass({test, "fill", background}, 1, false, fill) &&
               (pause.count() == 0 || hold({test, "hold", background}, pause)) &&
               pass({test, "verify", background}, 1, false, verify);
    }

private:
    /// How often a slice counts its progress, which all threads do in one place.
    static constexpr std::size_t kProgressWords = 4096;

    template <MarchTest const& kTest, std::size_t... kElements>
    bool marchElements(Background<Word> const& background, std::index_sequence<kElements...>)
    {
        return (marchElement<kTest, kElements>(background) && ...);
    }

    template <MarchTest const& kTest, std::size_t kElement>
    bool marchElement(Background<Word> const& background)
    {
        constexpr auto const& kStep = kTest.m_elements[kElement];
        auto const kernel = [&background](Memory& memory, std::size_t first, std::size_t last, auto& sink) {
            marchWords<kTest, kElement>(memory, first, last, background, sink);
        };
        return pass({kTest.m_name, kStep.m_text, background.m_word, background.m_stripe}, kStep.m_count,
                    kStep.m_down, kernel);
    }

    template <typename Kernel>
    bool pass(PassName const& name, std::uint64_t operations, bool down, Kernel const& kernel)
    {
        auto const slice = [&](unsigned worker, WorkerControl& control) {
            runSlice(worker, control, down, kernel);
        };
        bool const finished = Runner()(m_host, m_threads, m_words, slice, span(operations));
        return reportFaults(name) && finished;
    }

    bool hold(PassName const& name, std::chrono::seconds pause)
    {
        std::chrono::milliseconds const all = pause;
        constexpr std::chrono::milliseconds kStep(10);
        auto const wait = [&](unsigned, WorkerControl& control) {
            Memory memory = m_memory;
            for (auto left = all; left.count() > 0 && !control.stopping(); left -= kStep) {
                memory.hold(kStep);
                control.advance(kStep.count());
            }
        };
        bool const finished =
            Runner()(m_host, 1, static_cast<std::uint64_t>(all.count()), wait, span(workOf(pause)));
        return reportFaults(name) && finished;
    }

    /// The part of the progress that the next so many operations on every word are.
    ProgressSpan span(std::uint64_t operations)
    {
        auto const from = percent(m_done);
        m_done += operations;
        return {from, percent(m_done)};
    }

    /// False when there were too many to go on.
    bool reportFaults(PassName const& name)
    {
        auto pages = m_brokenPages.take();
        pages.resize(std::min(pages.size(), FaultLog::kKeptPerPass));
        for (auto const& page : pages)
            m_reporter.report(name, page);
        for (auto const& fault : m_log.take())
            m_reporter.report(name, fault);
        return !m_brokenPages.isFull();
    }

    template <typename Kernel>
    void runSlice(unsigned worker, WorkerControl& control, bool down, Kernel const& kernel)
    {
        Memory memory = m_memory;
        auto sink = [this](std::size_t index, Word expected, Word actual) __attribute__((noinline, cold))
        {
            if (!m_brokenPages.contains(index * sizeof(Word)))
                m_log.record({index, expected, actual});
        };
        std::size_t const begin = sliceStart(worker);
        std::size_t const end = sliceStart(worker + 1);
        std::size_t counted = 0;
        for (std::size_t done = 0; done < end - begin && !control.stopping();) {
            std::size_t const count = std::min(Memory::kPollWords, end - begin - done);
            std::size_t const first = down ? end - done - count : begin + done;
            kernel(memory, first, first + count, sink);
            memory.settle();
            if (m_brokenPages.isFull())
                control.stop();
            done += count;
            if (done - counted >= kProgressWords || done == end - begin) {
                control.advance(done - counted);
                counted = done;
            }
        }
    }

    /// Slices begin with lines, so that no two threads share one.
    std::size_t sliceStart(unsigned worker) const
    {
        if (worker == m_threads)
            return m_words;
        return m_words / m_threads * worker & ~(kWordsPerLine - 1);
    }

    int percent(std::uint64_t done) const
    {
        return m_expected == 0 ? 100
                               : static_cast<int>(std::min<std::uint64_t>(100, done * 100 / m_expected));
    }

    TestHost& m_host;
    FaultReporter& m_reporter;
    Memory m_memory;
    std::size_t m_words;
    unsigned m_threads;
    BrokenPages& m_brokenPages;
    FaultLog m_log;
    std::uint64_t m_expected = 0;
    std::uint64_t m_done = 0;
};

} // namespace krel5::modules::memory
