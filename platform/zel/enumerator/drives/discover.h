#pragma once
// Drives, their partitions and arrays of them, as the list of device classes calls for them.

#include <zel/enumerator/buses/HardwareTree.h>
#include <zel/enumerator/records/DeviceSink.h>

namespace zel {

void discoverDrives(HardwareTree& tree, DeviceSink& sink);
void discoverRaidArrays(Root const& root, DeviceSink& sink);

} // namespace zel
