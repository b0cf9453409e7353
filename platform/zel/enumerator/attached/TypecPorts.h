#pragma once

#include <zel/enumerator/buses/HardwareTree.h>

namespace zel {

/// One device of type Port for each USB-C connector whose controller the system knows.
void addTypecPorts(HardwareTree& tree, DeviceSink& sink);

} // namespace zel
