#pragma once
// Fans and supply voltages, by the chips that watch them (sys/class/hwmon; names and units of the files: the kernel's
// Documentation/hwmon/sysfs-interface.rst).
//
//     Outcome outcome = runFanTest(host, machine, pace, FanSettings{});
//
// A header without a fan reads as a fan that stands, and a chip's limits may be what it was switched on with. So a fan that stands fails only
// where something more is known: it turned before, none turns at all where all have to, its driver calls it broken. One reading is never enough.
//
// Thread rule: as for TestHost.

#include <common/TestHost.h>
#include <common/evidence/MachineFolder.h>

#include <chrono>
#include <functional>

namespace krel5::modules::board {

struct Pace
{
    std::function<double()> now; ///< seconds, on a clock that never goes back
    std::function<void(std::chrono::milliseconds)> wait;
};
Pace systemPace();

struct FanSettings
{
    double seconds = 10;
    double hot = 60;            ///< degrees Celsius from which on a fan that turned has to go on
    bool isLimitStrict = false; ///< a chip's own limits, which may be nobody's, fail as well
};

/// Faults: "BoardFanStopped" (Fan, Before, Temperature), "BoardFansStand" (Count, Temperature), "BoardFanSlow" (Fan, Speed, Least), "BoardFanAlarm" (Fan, Speed).
/// Warnings: "BoardFanMaybe" (Fan, Temperature), "BoardFanBelow" (Fan, Speed, Least). Problems: "BoardFanNone". Notes: "BoardFan" (Fan, Speed).
Outcome runFanTest(TestHost& host, MachineFolder const& machine, Pace const& pace,
                   FanSettings const& settings);

struct VoltageSettings
{
    double seconds = 5;
    bool isLimitStrict = false; ///< a chip's own limits, which may be nobody's, fail as well
};

/// Faults: "BoardVoltageBad" (Input, Volts, Low, High): outside what the chip calls critical, or a rail that is called after its
/// voltage off by more than 5 % (ATX12VO and ATX12V design guides: 12, 5 and 3.3 V). Warnings: "BoardVoltageAside" (Input, Volts, Low, High): outside other
/// limits; "BoardVoltageOnce" (the same): at one reading only. Problems: "BoardVoltageNone". Notes: "BoardVoltage" (Input, Volts, Low, High).
Outcome runVoltageTest(TestHost& host, MachineFolder const& machine, Pace const& pace,
                       VoltageSettings const& settings);

} // namespace krel5::modules::board
