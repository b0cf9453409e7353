#pragma once
// Memory as a whole and its modules, as the list of device classes calls for them.

#include <zel/enumerator/records/DeviceSink.h>
#include <zel/enumerator/root/Root.h>

namespace zel {

void discoverMemory(Root const& root, DeviceSink& sink);

} // namespace zel
