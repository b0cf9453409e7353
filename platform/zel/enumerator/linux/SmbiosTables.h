#pragma once

#include <zel/enumerator/Root.h>
#include <zel/enumerator/Smbios.h>

namespace zel {

/// The firmware's table; empty where there is none, or only the administrator may read it.
Smbios readSmbios(Root const& root);

} // namespace zel
