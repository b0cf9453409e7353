#pragma once
// What stands on the buses itself, as the list of device classes calls for it.

#include <zel/enumerator/buses/HardwareTree.h>
#include <zel/enumerator/records/DeviceSink.h>

namespace zel {

void discoverPciFunctions(HardwareTree& tree, DeviceSink& sink);
void discoverUsbDevices(HardwareTree& tree, DeviceSink& sink);

} // namespace zel
