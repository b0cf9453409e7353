#pragma once

#include <zel/enumerator/records/DeviceSink.h>
#include <zel/enumerator/root/Root.h>

#include <string>

namespace zel {

/// What people and programs know a partition, or the file system on it, by. `path`: of the block device below the root.
void addLabels(DeviceDescription& device, Root const& root, std::string const& path);

} // namespace zel
