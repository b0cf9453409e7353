#pragma once
// Do two cores agree on what is in memory? For each pair of cores three checks on shared cache lines:
// - "pingpong": a line with a sequence number and a payload that depends on it goes to and fro;
// - "increments": both cores count up in one word, and each in its own word of one line; nothing may be lost;
// - "storebuffer": each core stores to its own word, then loads the other's, both in one total order; both
//   seeing the old value is forbidden (the litmus test SB with fences; Owens, Sarkar, Sewell, "A better x86
//   memory model: x86-TSO", 2009).
// Only a value that was read wrong is a fault. A partner that no longer answers says nothing about the memory:
// that is told with the check it was awaited in, or "meeting", and the test cannot run.
//
//     CoherenceOptions options;
//     options.m_maxPairs = 128;
//     Outcome outcome = runCoherenceTest(host, systemAffinity(), options);
//
// Thread rule: as for runCoreTest.

#include <common/TestHost.h>
#include <cpu/CpuAffinity.h>
#include <cpu/Patience.h>
#include <cpu/ThreadTime.h>

#include <cstdint>
#include <utility>

namespace krel5::modules::cpu {

/// Stands between a load from shared memory and its check, so that a test can play a core that reads wrongly.
using LoadTap = std::uint64_t (*)(unsigned core, std::uint64_t loaded) noexcept;

struct CoherenceOptions
{
    /// Pairs at most; half as many as there are cores, rounded up, put every core into one. 0: at least that
    /// many, and at least 64 where there are so many.
    unsigned m_maxPairs = 0;
    /// Rounds of each check for each pair.
    unsigned m_rounds = 100000;
    /// Processor time that a thread spends asking before its partner counts as one that does not answer.
    double m_patienceSeconds = 10.0;
    ThreadClock m_clock = threadTime;
    LoadTap m_tap = nullptr;
};

/// One fault "CpuIncoherent" (CoreA, CoreB, Check, Round, Expected, Actual) for each pair and check that went
/// wrong. CannotRun, with the problem "CpuNoAnswer" (Core, Waiting, Check, Round, Seconds), where a partner did
/// not answer and nothing had gone wrong before. NotApplicable, with the problem "CpuSingleCore", where the process may use one core only.
Outcome runCoherenceTest(TestHost& host, CpuAffinity& affinity, CoherenceOptions const& options);

/// At most `most` pairs of the cores in order of their distance in a ring, each pair once; the first ones
/// share no core.
std::vector<std::pair<unsigned, unsigned>> corePairs(std::vector<unsigned> const& cores, unsigned most);

} // namespace krel5::modules::cpu
