#pragma once

#include <zel/enumerator/drives/Drive.h>

namespace zel {

/// How the drive is connected: the driver that runs it (of its controller, or of its USB interface) and the
/// speed of its link, now and at most.
void addConnection(DeviceDescription& device, HardwareTree const& tree, Drive const& drive);

} // namespace zel
