#pragma once

#include <zel/enumerator/DeviceSink.h>
#include <zel/enumerator/Smbios.h>

namespace zel {

/// One MemoryChip device a filled memory slot (SMBIOS structure type 17).
void addMemoryModules(Smbios const& smbios, DeviceSink& sink);

} // namespace zel
