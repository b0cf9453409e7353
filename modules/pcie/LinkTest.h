#pragma once
// Looks at the PCI Express link of a device while the device works, as far as it can be made to: is the device still there, is the
// link as wide and as fast as both of its ends can.
//
//     MachineFolder machine("/");
//     Outcome outcome = runLinkTest(host, machine, "0000:03:00.0", LinkSettings{}, systemLoad(machine, "0000:03:00.0"));
//
// Thread rule: as for TestHost.

#include <common/TestHost.h>
#include <common/evidence/MachineFolder.h>

#include <chrono>
#include <functional>
#include <string>

namespace krel5::modules::pcie {

struct LinkSettings
{
    double seconds = 5;           ///< to watch for
    bool isSpeedRequired = false; ///< what may save power fails also where nothing could be put to work
};

/// What makes the device work, and the clock.
struct Load
{
    std::string what;           ///< for a person, such as "nvme0n1"; empty: there is nothing
    std::function<bool()> once; ///< a piece of work of some milliseconds; false: it could not be done
    std::function<void(std::chrono::milliseconds)> wait;
    std::function<double()> now; ///< seconds, on a clock that never goes back
};

/// Reads from a drive of the running machine that stands on the function; nothing but the clock where that is empty.
Load systemLoad(MachineFolder const& machine, std::string const& function);

/// Of a function's folder, with a slash behind: whether a card makes it up for virtual machines.
bool isVirtual(MachineFolder const& machine, std::string const& folder);
/// A device that no longer answers gives ones to every question. One that sleeps is not asked, and a virtual one does so rightly.
bool isAnswering(MachineFolder const& machine, std::string const& folder);
/// Whether its files are gone, or it does not answer for longer than its driver would take to reset it.
bool hasFallenOff(TestHost& host, MachineFolder const& machine, std::string const& folder, Load const& load);

/// `function`: as the system names it, "0000:03:00.0". Faults: "PcieGone", "PcieNarrow" (Width, Common), "PcieSlow" (Speed, Common),
/// "PcieChanged" (Before, After) for a width that changed while it was watched. Warnings, where nothing could be put to
/// work: "PcieMaybeSlow" (Speed, Common), "PcieMaybeNarrow" (Width, Common) of a graphics card; and "PcieEarlierErrors" (Count, Kind). Problems: "PcieNoLink", "PcieNotThere". Notes: "PcieLink" (Width, Speed,
/// CommonWidth, CommonSpeed, Load). All with Function.
Outcome runLinkTest(TestHost& host, MachineFolder const& machine, std::string const& function,
                    LinkSettings const& settings, Load const& load);

} // namespace krel5::modules::pcie
