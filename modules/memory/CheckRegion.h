#pragma once
// One algorithm on one region, from the first pass to the verdict.

#include <memory/Algorithms.h>
#include <memory/MemoryReport.h>

namespace krel5::modules::memory {

/// `words` is where the region begins, for the addresses in reports alone: the reads and writes go through
/// `memory`. Fail when any word read wrong, also when a stop ended the run early; Stopped when
/// it ended early and none had.
template <typename Memory>
Outcome checkRegion(TestHost& host, Algorithm algorithm, Memory memory, std::uint64_t const* words,
                    std::size_t wordCount, unsigned threads, std::uint64_t seed)
{
    MemoryReport report(host, words);
    Checker<Memory> checker(host, report, memory, wordCount, threads);
    bool const finished = runAlgorithm(algorithm, checker, seed);
    report.summarize(checker.faults());
    if (checker.faults() != 0)
        return Outcome::Fail;
    return finished ? Outcome::Pass : Outcome::Stopped;
}

} // namespace krel5::modules::memory
