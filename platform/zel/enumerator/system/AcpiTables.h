#pragma once

#include <zel/enumerator/root/Root.h>

#include <string>
#include <vector>

namespace zel {

/// The tables by which the firmware describes the board to the kernel, one line each: "FACP: 276 bytes, LENOVO TP-79";
/// only the name where the table may not be read.
std::vector<std::string> acpiTables(Root const& root);

} // namespace zel
