#pragma once
// One algorithm on one region, from the first pass to the verdict.

#include <memory/Algorithms.h>
#include <memory/MemoryReport.h>

namespace krel5::modules::memory {

/// `words` is where the region begins, for the addresses in reports alone: the reads and writes go through
/// `memory`. Fail when any word read wrong, Stopped when the run did not come to its end.
template <typename Memory>
Outcome checkRegion(TestHost& host, Algorithm algorithm, Memory memory, std::uint64_t const* words,
                    std::size_t wordCount, unsigned threads, std::uint64_t seed)
{
    MemoryReport report(host, words);
    Checker<Memory> checker(host, report, memory, wordCount, threads);
    bool const finished = runAlgorithm(algorithm, checker, seed);
    report.summarize(checker.faults());
    if (!finished)
        return Outcome::Stopped;
    return checker.faults() == 0 ? Outcome::Pass : Outcome::Fail;
}

} // namespace krel5::modules::memory
