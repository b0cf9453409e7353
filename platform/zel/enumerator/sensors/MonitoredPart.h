#pragma once
// Which part of the machine a hardware monitoring chip measures, and what people call it.

#include <zel/enumerator/buses/HardwareTree.h>

#include <optional>
#include <string>

namespace zel {

struct MonitoredPart
{
    std::string title; ///< "Processor", "KINGSTON SKC1000240G"
    /// Of the record below which the sensors stand.
    CapabilityImp type;
    String location;
};

struct MonitoringChip
{
    std::string name;                  ///< "k10temp"
    std::string number;                ///< "hwmon3"
    std::optional<std::string> device; ///< name of what the chip belongs to: "0000:00:18.3"
    std::size_t namesakes = 1;         ///< chips of that name on the machine, itself among them
};

/// The processor, drive, card or memory; the bus's device that the chip hangs on; else the system.
MonitoredPart monitoredPart(HardwareTree const& tree, MonitoringChip const& chip);

/// Whether all that the chip tells stands on another record already: the kernel makes a chip of every battery and
/// supply, and of thermal zones.
bool isShownElsewhere(Root const& root, MonitoringChip const& chip);

} // namespace zel
