#pragma once
// One algorithm on one region, from the first pass to the verdict.

#include <memory/Algorithms.h>
#include <memory/MemoryReport.h>

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

} // namespace krel5::modules::memory
