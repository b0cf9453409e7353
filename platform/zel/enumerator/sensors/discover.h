#pragma once
// What measures, feeds and switches, as the list of device classes calls for it.

#include <zel/enumerator/buses/HardwareTree.h>
#include <zel/enumerator/records/DeviceSink.h>
#include <zel/enumerator/root/Root.h>

namespace zel {

void discoverThermalZones(Root const& root, DeviceSink& sink);
void discoverSensors(HardwareTree& tree, DeviceSink& sink);
void discoverPower(Root const& root, DeviceSink& sink);
void discoverSwitches(Root const& root, DeviceSink& sink);

} // namespace zel
