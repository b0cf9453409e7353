#pragma once
// The machine itself, its board, firmware and chassis, as the list of device classes calls for it.

#include <zel/enumerator/records/DeviceSink.h>
#include <zel/enumerator/root/Root.h>

namespace zel {

void discoverSystem(Root const& root, DeviceSink& sink);

} // namespace zel
