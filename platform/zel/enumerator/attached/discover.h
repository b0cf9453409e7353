#pragma once
// What hangs on the buses and is no drive, as the list of device classes calls for it.

#include <zel/enumerator/buses/HardwareTree.h>
#include <zel/enumerator/records/DeviceSink.h>

namespace zel {

void discoverNetworkCards(HardwareTree& tree, DeviceSink& sink);
void discoverMonitors(HardwareTree& tree, DeviceSink& sink);
void discoverSoundCards(HardwareTree& tree, DeviceSink& sink);
void discoverInputDevices(HardwareTree& tree, DeviceSink& sink);
void discoverPorts(HardwareTree& tree, DeviceSink& sink);

} // namespace zel
