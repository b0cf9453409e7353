#pragma once

#include <zel/enumerator/records/DeviceSink.h>
#include <zel/enumerator/root/Root.h>

namespace zel {

/// Speed and width of the link of the PCI function in that folder, now and at most. False, and nothing is
/// added, when it has no link: only functions on PCI Express have one.
bool addPciLink(DeviceDescription& device, Root const& root, std::string const& function);

} // namespace zel
