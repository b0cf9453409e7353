#pragma once
// Names of processors whose kernel tells numbers only.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace zel::cpunames {

using Text = std::optional<std::string>;

/// Of the two fields of an ARM processor's main ID register.
Text armImplementer(std::int64_t implementer);
Text armPart(std::int64_t implementer, std::int64_t part);
/// "2964" -> "IBM z13"
Text s390Machine(std::string_view machine);
/// "sifive,u74-mc" -> "SiFive U74-MC"
Text riscvDesign(std::string_view design);
/// Of the number that the register mvendorid holds (a JEDEC code).
Text riscvVendor(std::int64_t vendor);

} // namespace zel::cpunames
