#pragma once
// What a PCI function can do, from its configuration space (PCI Local Bus 3.0, 6.7; PCI Express Base 7.9.1).

#include <string>
#include <string_view>
#include <vector>

namespace zel {

/// "0x40 Power management": offset and name of each capability, in the order of the function's two lists. Of a space
/// that is cut off, or whose list does not end, what can be read.
std::vector<std::string> pciCapabilitiesIn(std::string_view space);

} // namespace zel
