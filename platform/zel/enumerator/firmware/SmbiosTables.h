#pragma once

#include <zel/enumerator/firmware/Smbios.h>
#include <zel/enumerator/root/Root.h>

namespace zel {

/// The firmware's table; empty where there is none, or only the administrator may read it.
Smbios readSmbios(Root const& root);

} // namespace zel
