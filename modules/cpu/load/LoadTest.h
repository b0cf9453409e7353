#pragma once
// All cores multiply matrices at once, as hot as a processor gets with useful work, and every result is checked. Meanwhile temperatures,
// frequencies and fans are read.
//
//     Outcome outcome = runLoadTest(host, systemAffinity(), machine, LoadOptions{});
//
// Thread rule: called from one thread; it makes its own threads and has joined them when it returns.

#include <common/TestHost.h>
#include <common/evidence/MachineFolder.h>
#include <cpu/CpuAffinity.h>
#include <cpu/load/MatrixKernel.h>

#include <cstdint>
#include <functional>

namespace krel5::modules::cpu {

struct LoadOptions
{
    double m_seconds = 60;
    double m_peakSeconds = 0.3; ///< for which all cores show what they can do at most
    std::uint64_t m_seed = 0;   ///< each core has operands of its own, which follow from it
    /// What that core multiplies with.
    std::function<MatrixKernel(unsigned core)> m_kernelOf = [](unsigned) { return bestMatrixKernel(); };
};

/// Faults: "CpuLoadWrong" (Core, Row, Column, Expected, Actual, Seed, Count) once for each core, the first. Warnings: "CpuNotAllUsable". Problems: "CpuCoreNotUsable",
/// "CpuNothingToRun". Notes: "CpuSeed", "CpuLoadRate" (Rate, Peak, Share, Kind, Products), and of what was read, "CpuLoadSeen" (What,
/// First, Least, Most, Last, Unit). A stop is heeded within some milliseconds.
Outcome runLoadTest(TestHost& host, CpuAffinity& affinity, MachineFolder const& machine,
                    LoadOptions const& options);

} // namespace krel5::modules::cpu
