#pragma once
// The real-time clock: does it run, does it know the date, is its battery alive.
//
//     Outcome outcome = runRtcTest(host, machine, systemClocks(machine), std::time(nullptr), RtcSettings{});
//
// Thread rule: as for TestHost.

#include <board/ClockTest.h>

namespace krel5::modules::board {

struct RtcSettings
{
    double seconds = 4;    ///< to watch it
    double mostAside = 60; ///< seconds off the system's time, but for a time zone, before that is a warning
};

/// `systemTime`: seconds since 1970. Reads proc/driver/rtc for the battery. Faults: "BoardRtcStands" (Seconds), "BoardRtcUnread" (Seconds), "BoardRtcJumps" (Steps, Seconds),
/// "BoardRtcLost" (Date), "BoardRtcBattery". Warnings: "BoardRtcAside" (Seconds). Problems: "BoardRtcNone", "BoardClockSlept". Notes: "BoardRtcRuns" (Date, Steps, Seconds).
Outcome runRtcTest(TestHost& host, MachineFolder const& machine, Clocks const& clocks,
                   std::int64_t systemTime, RtcSettings const& settings);

} // namespace krel5::modules::board
