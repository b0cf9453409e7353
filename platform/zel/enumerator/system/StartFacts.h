#pragma once

#include <zel/enumerator/records/DeviceSink.h>
#include <zel/enumerator/root/Root.h>

namespace zel {

/// Which kind of firmware started the machine, whether it checked what it started, and the chip that keeps the
/// measurements of it.
void addStartFacts(DeviceDescription& system, Root const& root);

} // namespace zel
