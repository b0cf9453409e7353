#pragma once
// Clock against clock: the real-time clock has a crystal of its own, the processor's time stamp counter and the system's raw
// monotonic clock mostly share another one. None may stand, go back, or run at another rate than it did a second before.
//
//     Outcome outcome = runClockTest(host, systemClocks(machine), ClockSettings{});
//
// Thread rule: as for TestHost.

#include <common/TestHost.h>
#include <common/evidence/MachineFolder.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

namespace krel5::modules::board {

/// What is compared. A clock that this machine does not have gives nothing.
struct Clocks
{
    std::function<double()> raw; ///< seconds, never adjusted by the network's time
    std::function<std::optional<std::uint64_t>()>
        stamp; ///< ticks of the processor; only where they are to be even
    bool hasRealTime = false;
    std::function<std::optional<std::int64_t>()>
        realTime; ///< whole seconds of the real-time clock; nothing where it cannot be read
    std::function<double()>
        slept; ///< seconds that the machine has slept since its start, in which clocks part rightly
    std::function<void(std::chrono::milliseconds)> wait;
    /// As long as it lives, this thread stays on one processor: two may have counters that begin apart, which systems put up with.
    std::shared_ptr<void> stay = nullptr;
    /// Whether this process could not look, for want of descriptors or memory: what cannot be read is no clock's fault then.
    std::function<bool()> isShort = [] { return false; };
};

struct ClockSettings
{
    double seconds = 30;  ///< to compare for
    double mostPpm = 500; ///< by which two clocks may differ, in millionths
};

/// Those of the running machine; `machine` must outlive them.
Clocks systemClocks(MachineFolder const& machine);

/// Whether the machine slept since `slept` was asked and said `before`.
bool hasSlept(Clocks const& clocks, double before);

/// Faults: "BoardClockBack" (Clock, Amount), "BoardClockStands" (Clock, Seconds), "BoardClockSilent" (Clock, Seconds) for one that cannot be read, "BoardClockUneven" (Clock, Ppm, Most) for one whose rate
/// changes, "BoardClockDrift" (Ppm, Uncertain, Most) for the real-time clock. A real-time clock that jumps or drifts is watched once more, since a
/// system sets it now and then; warning "BoardClockSet" where it is sound then. Problems: "BoardClockNone"; "BoardClockSlept"; "BoardClockShort" when no
/// clock could be compared in the time. Notes: "BoardClockRate" (Clock, Rate, Ppm, Uncertain).
Outcome runClockTest(TestHost& host, Clocks const& clocks, ClockSettings const& settings);

} // namespace krel5::modules::board
