#pragma once
// What the fields of each structure of the firmware's table mean, for people.

#include <zel/enumerator/firmware/Smbios.h>

namespace zel::smbios {

/// "Socket: CPU0; Clock at start: 1800 MHz": every field that the structure has and that says something, and of what it says
/// only what stands within it. Empty for a type that nobody described. The order of
/// a UUID's bytes changed with version 2.6 of the table.
std::string fieldTexts(SmbiosStructure const& structure, bool littleEndianUuid);

} // namespace zel::smbios
