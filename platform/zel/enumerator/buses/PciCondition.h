#pragma once

#include <zel/enumerator/buses/DevicePath.h>
#include <zel/enumerator/records/DeviceSink.h>
#include <zel/enumerator/root/Root.h>

#include <map>
#include <string>

namespace zel {

/// Names of the slots on the board, as its firmware numbers them, by the place of what sits in them.
class PciSlots
{
public:
    explicit PciSlots(Root const& root);
    /// Absent for what is soldered on, and where no driver of slots runs.
    std::optional<std::string> nameOf(PciAddress const& address) const;

private:
    std::map<std::string, std::string> m_names; ///< by address without function: "0000:05:00"
};

/// Counts of bus errors, which a function has from its start on, and the memory node that it is nearest to.
void addPciCondition(DeviceDescription& device, Root const& root, std::string const& function);

} // namespace zel
