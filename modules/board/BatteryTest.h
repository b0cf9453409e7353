#pragma once
// A battery of the machine: how much it holds of what it held when it was new, and what its own electronics say of it
// (Documentation/ABI/testing/sysfs-class-power).
//
//     Outcome outcome = runBatteryTest(host, machine, "BAT0", BatterySettings{});
//
// Thread rule: as for TestHost.

#include <common/TestHost.h>
#include <common/evidence/MachineFolder.h>

#include <string>

namespace krel5::modules::board {

struct BatterySettings
{
    double mostWear = 40; ///< percent of what it held when it was new that may be gone
};

/// `name`: in sys/class/power_supply, or a path that ends with it. Faults: "BoardBatteryWorn" (Battery, Wear, Most), "BoardBatteryBad" (Battery, Health). Warnings:
/// "BoardBatteryNow" (Battery, Health) for a state that passes. Problems: "BoardBatteryNone" (Battery), "BoardBatteryUnknown" (Battery) where it does not
/// say what it holds, or that it holds far more than it can. Notes: "BoardBattery" (Battery, Wear, Cycles, Health).
Outcome runBatteryTest(TestHost& host, MachineFolder const& machine, std::string const& name,
                       BatterySettings const& settings);

} // namespace krel5::modules::board
