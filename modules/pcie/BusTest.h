#pragma once
// Scans the bus again and again: has a device fallen off since the first scan, or does one no longer answer.
//
//     MachineFolder machine("/");
//     auto const before = functionsOf(machine); // at the beginning of the program
//     Outcome outcome = runBusTest(host, machine, before, 5, systemLoad(machine, ""));
//
// Thread rule: as for TestHost.

#include <common/TestHost.h>
#include <common/evidence/MachineFolder.h>
#include <pcie/LinkTest.h>

#include <string>
#include <vector>

namespace krel5::modules::pcie {

/// The functions of the bus, as the system names them. Those that a card makes up for virtual machines come and go as it is told, and
/// are left out.
std::vector<std::string> functionsOf(MachineFolder const& machine);

/// Faults: "PcieGone" (Function). Problems: "PcieNoBus". Notes: "PcieBus" (Count, New). Of `load` the clock counts only.
Outcome runBusTest(TestHost& host, MachineFolder const& machine, std::vector<std::string> const& before,
                   double seconds, Load const& load);

} // namespace krel5::modules::pcie
