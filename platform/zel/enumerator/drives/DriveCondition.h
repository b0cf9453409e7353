#pragma once

#include <zel/enumerator/drives/Drive.h>

namespace zel {

/// World-wide identifier, whether the drive answers, counts of failed commands since it was found, write cache.
void addCondition(DeviceDescription& device, Root const& root, Drive const& drive);

} // namespace zel
