#pragma once

#include <zel/enumerator/firmware/Smbios.h>
#include <zel/enumerator/memory/ErrorCounters.h>
#include <zel/enumerator/records/DeviceSink.h>

namespace zel {

/// One MemoryChip device a filled memory slot (SMBIOS structure type 17).
void addMemoryModules(Smbios const& smbios, MemoryErrorCounters const& errors, DeviceSink& sink);

} // namespace zel
