#pragma once
// Processors with their cores, threads and caches, as the list of device classes calls for them.

#include <zel/enumerator/records/DeviceSink.h>
#include <zel/enumerator/root/Root.h>

namespace zel {

void discoverProcessors(Root const& root, DeviceSink& sink);

} // namespace zel
