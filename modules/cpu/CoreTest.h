#pragma once
// Runs a table of kernels on every core, and reports each wrong answer with the core that gave it.
//
//     CoreTestOptions options;
//     options.m_seconds = 2.0;
//     Outcome outcome = runCoreTest(host, integerKernels(), systemAffinity(), options);
//
// Thread rule: called from one thread; it makes its own threads and has joined them when it returns. The
// calling thread's own binding to processors is not touched.

#include <common/TestHost.h>
#include <cpu/CpuAffinity.h>
#include <cpu/Kernel.h>

namespace krel5::modules::cpu {

struct CoreTestOptions
{
    /// For each core; every core runs the whole table at least once, also with 0.
    double m_seconds = 2.0;
    /// Of the operands. Every repetition of the table adds one to it, on each core alike, so that a run with
    /// the seed that a fault names begins with the operands that showed it.
    std::uint64_t m_seed = 0;
    /// All cores at the same time instead of one after another.
    bool m_allAtOnce = false;
};

/// Runs the kernels whose processor feature is there; the names of those left out are noted. A wrong answer
/// is one fault "CpuWrongAnswer" (Core, Kernel, Expected, Actual, Seed, Count, Source) for each core and
/// kernel, the seed that of the first wrong answer; the note "CpuSeed" names the seed of the run; a core that
/// the process may use but that cannot be pinned is the problem "CpuCoreNotUsable" and CannotRun; cores that it
/// may not use are a warning. Heeds a
/// stop request within one run of one kernel, some ten milliseconds.
Outcome runCoreTest(TestHost& host, KernelTable kernels, CpuAffinity& affinity,
                    CoreTestOptions const& options);

/// The warning "CpuNotAllUsable" (Cores, Online) where the system runs on more cores than the `usable` ones: what
/// passes has then said nothing of the others.
void warnOfUntested(TestHost& host, CpuAffinity& affinity, std::size_t usable);

} // namespace krel5::modules::cpu
