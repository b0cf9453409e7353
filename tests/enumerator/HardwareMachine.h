#pragma once
// Machines in memory with PCI functions, USB devices and what hangs on them.

#include "MemoryRoot.h"

#include <zel/enumerator/Discoverers.h>

namespace zel::test {

inline constexpr char const* kBridge = "sys/devices/pci0000:00/0000:00:1c.0";
inline constexpr char const* kNic = "sys/devices/pci0000:00/0000:00:1c.0/0000:02:00.0";
inline constexpr char const* kAhci = "sys/devices/pci0000:00/0000:00:1f.2";
inline constexpr char const* kXhci = "sys/devices/pci0000:00/0000:00:14.0";

/// A directory with its link in a class or bus folder.
MemoryRoot& node(MemoryRoot& root, std::string const& folder, std::string const& path,
                 std::vector<std::pair<std::string, std::string>> const& files);
/// A function with the class code and the identity ("8086:10D3") as `uevent` has them.
void pci(MemoryRoot& root, std::string const& path, char const* code, char const* ids);
/// A drive without partitions.
void disk(MemoryRoot& root, std::string const& path, char const* sectors);

/// A bridge with a network card, an AHCI controller with two disks, an xHCI controller with hub, keyboard and
/// stick.
MemoryRoot machine();
/// Devices of every class in the list, and of each class enough to show every capability that it can have.
MemoryRoot completeMachine();

/// Runs one row of the list.
void run(Discoverer const& discoverer, HardwareTree& tree, DeviceSink& sink);
/// What the rows find that need the tree of PCI and USB.
RecordingSink scan(Root const& root, bool detail = false);

/// Null when there is none.
DeviceDescription const* known(RecordingSink const& sink, std::string const& osLocator);
/// "HardDrive SATA:250:1:0:0 below PCI:0:31:2"; "none" for a device that is not there.
std::string placeOf(RecordingSink const& sink, std::string const& osLocator);
/// Every place once, every parent there or the system: what makes records of descriptions depends on it.
void expectWhole(RecordingSink const& sink);
/// Fails when a device of that class has a capability that the row in the list does not say: who asks for it would
/// not get the device. Returns all that were found.
CapabilityImp expectCapabilitiesListed(Discoverer const& discoverer, HardwareTree& tree);

} // namespace zel::test
