#pragma once
// One run of one algorithm on locked memory of this machine.
//
//     MemorySettings settings;
//     settings.m_mebibytes = 256;
//     Outcome outcome = runMemoryTest(host, Algorithm::Quick, settings);
//
// What it sends through the host: the events of MemoryReport.h.
// Thread rule: `host` is called from the calling thread alone.

#include <common/TestHost.h>
#include <memory/Algorithms.h>
#include <memory/RealMemory.h>

#include <cstdint>
#include <optional>
#include <string>

namespace krel5::modules::memory {

struct MemorySettings
{
    static constexpr unsigned kMaxThreads = 1024;

    std::uint64_t m_mebibytes = 0; ///< 0: see defaultMebibytes
    unsigned m_percent = 0;        ///< of the most that can be taken, instead of so many MiB; 0: not
    unsigned m_cover = 0;          ///< percent of the machine's memory, region after region; 0: one region
    unsigned m_threads = 0;        ///< 0: one for each processor that the process may use; never more
    std::optional<std::uint64_t> m_seed; ///< absent: a new one for each run
    FlushMode m_flush = FlushMode::Pass;
    unsigned m_pauseSeconds = 60;        ///< Algorithm::Fade: how long each value is held
    unsigned m_busSeconds = 60;          ///< runBusTest, runHammerTest: how long they take
    unsigned m_hammerMilliseconds = 200; ///< runHammerTest: for each pair of rows
    bool m_judgesFlips = false;          ///< runHammerTest: a bit that it flips is a fault
    std::string m_root = "/";            ///< where /proc and /sys are read that say how much memory there is
};

/// Reads a number of MiB, "max" or "25%". For anything else: false, after a `problem` that says so.
bool readSize(TestHost& host, std::string const& text, MemorySettings& settings);

/// Reads "none", "pass" or "operation". For anything else, or a mode that this processor does not offer:
/// false, after a `problem` that says so.
bool readFlushMode(TestHost& host, std::string const& text, FlushMode& mode);

/// With m_cover, CannotRun where less than that share could be had, after a `problem` that names what was tested:
/// it is no Pass. Runs until done or stopped; the memory is free again on every way out. A stop takes effect within some
/// tens of milliseconds.
Outcome runMemoryTest(TestHost& host, Algorithm algorithm, MemorySettings const& settings);

/// The same for copies on all processors at once; see BusTest.h.
Outcome runBusTest(TestHost& host, MemorySettings const& settings);

/// Rows that are opened again and again; see HammerTest.h. InsufficientPrivilege where the physical addresses are not
/// told.
Outcome runHammerTest(TestHost& host, MemorySettings const& settings);

} // namespace krel5::modules::memory
