#pragma once
// Drives and their partitions, as the list of device classes calls for them.

#include <zel/enumerator/buses/HardwareTree.h>
#include <zel/enumerator/records/DeviceSink.h>

namespace zel {

void discoverDrives(HardwareTree& tree, DeviceSink& sink);

} // namespace zel
