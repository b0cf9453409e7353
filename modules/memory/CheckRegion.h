#pragma once
// One algorithm on one region, or copies, from the first pass to the verdict.

#include <memory/Algorithms.h>
#include <memory/BusTest.h>
#include <memory/Events.h>
#include <memory/MemoryReport.h>
#include <memory/Texts.h>

namespace krel5::modules::memory {

/// `words` is where the region begins, for the addresses in reports alone: the reads and writes go through
/// `memory`, and `brokenPages` are those that broke while it ran. Fail when any word read wrong or any page broke, also when a stop ended the run early; Stopped when
/// it ended early and none had.
template <typename Memory>
Outcome checkRegion(TestHost& host, Algorithm algorithm, Memory memory, std::uint64_t const* words,
                    std::size_t wordCount, unsigned threads, std::uint64_t seed, BrokenPages& brokenPages,
                    std::chrono::seconds pause = std::chrono::seconds(0))
{
    MemoryReport report(host, words, brokenPages.pageBytes());
    Checker<Memory> checker(host, report, memory, wordCount, threads, brokenPages);
    bool const finished = runAlgorithm(algorithm, checker, seed, pause);
    report.summarize(checker.faults());
    if (brokenPages.isFull())
        report.endedEarly(brokenPages.total());
    if (checker.faults() != 0)
        return Outcome::Fail;
    return finished ? Outcome::Pass : Outcome::Stopped;
}

/// The same for copies by `copy`; see BusTest.h.
template <typename Copy>
Outcome checkBus(TestHost& host, std::uint64_t* words, std::size_t wordCount, unsigned threads,
                 std::uint64_t seed, BrokenPages& brokenPages, std::chrono::milliseconds duration,
                 Copy const& copy)
{
    MemoryReport report(host, words, brokenPages.pageBytes());
    FaultLog log;
    BusTest<Copy> bus(words, wordCount, threads, seed, log, brokenPages, copy);
    bool const finished = bus.run(host, duration);
    PassName const name{kTextBus.m_english, kTextCopy.m_english, seed};
    auto pages = brokenPages.take();
    pages.resize(std::min(pages.size(), FaultLog::kKeptPerPass));
    for (auto const& page : pages)
        report.report(name, page);
    for (auto const& fault : log.take())
        report.report(name, fault);
    std::uint64_t const faults = log.total() + brokenPages.total();
    report.summarize(faults);
    if (brokenPages.isFull())
        report.endedEarly(brokenPages.total());
    constexpr std::uint64_t kWordsInMebibyte = (std::uint64_t{1} << 20) / sizeof(std::uint64_t);
    host.note(Report(kEventCopied, {{"MiB", std::to_string(bus.wordsCopied() / kWordsInMebibyte)}}));
    if (faults != 0)
        return Outcome::Fail;
    return finished ? Outcome::Pass : Outcome::Stopped;
}

} // namespace krel5::modules::memory
