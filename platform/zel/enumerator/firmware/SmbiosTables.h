#pragma once

#include <zel/enumerator/firmware/Smbios.h>
#include <zel/enumerator/root/Root.h>

#include <optional>
#include <string>

namespace zel {

/// The firmware's table; empty where there is none, or only the administrator may read it.
Smbios readSmbios(Root const& root);
/// What a listing says of a damaged table: where, and that what follows is not shown. Absent for a sound one, or none.
std::optional<std::string> damageOf(Smbios const& smbios);

} // namespace zel
