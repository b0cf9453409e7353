#pragma once
// What DSP0134 calls its numbers, where more than one unit needs it. Indexed by the number; null: other, unknown or reserved.

#include <cstddef>
#include <iterator>
#include <optional>
#include <string>

namespace zel::smbios {

inline constexpr char const* kMemoryTypes[] = {
    nullptr,        nullptr,        nullptr, "DRAM",  "EDRAM", "VRAM",   "SRAM",  "RAM",   "ROM",    "Flash",
    "EEPROM",       "FEPROM",       "EPROM", "CDRAM", "3DRAM", "SDRAM",  "SGRAM", "RDRAM", "DDR",    "DDR2",
    "DDR2 FB-DIMM", nullptr,        nullptr, nullptr, "DDR3",  "FBD2",   "DDR4",  "LPDDR", "LPDDR2", "LPDDR3",
    "LPDDR4",       "Non-volatile", "HBM",   "HBM2",  "DDR5",  "LPDDR5", "HBM3",
};
inline constexpr char const* kFormFactors[] = {
    nullptr, nullptr, nullptr,        "SIMM", "SIP",    "Chip",  "DIP",     "ZIP", "Proprietary card",
    "DIMM",  "TSOP",  "Row of chips", "RIMM", "SODIMM", "SRIMM", "FB-DIMM", "Die", "CAMM",
};
inline constexpr char const* kChassisTypes[] = {
    nullptr,
    nullptr,
    nullptr,
    "Desktop",
    "Low Profile Desktop",
    "Pizza Box",
    "Mini Tower",
    "Tower",
    "Portable",
    "Laptop",
    "Notebook",
    "Hand Held",
    "Docking Station",
    "All In One",
    "Sub Notebook",
    "Space-saving",
    "Lunch Box",
    "Main Server Chassis",
    "Expansion Chassis",
    "Sub Chassis",
    "Bus Expansion Chassis",
    "Peripheral Chassis",
    "RAID Chassis",
    "Rack Mount Chassis",
    "Sealed-case PC",
    "Multi-system",
    "CompactPCI",
    "AdvancedTCA",
    "Blade",
    "Blade Enclosing",
    "Tablet",
    "Convertible",
    "Detachable",
    "IoT Gateway",
    "Embedded PC",
    "Mini PC",
    "Stick PC",
};

inline constexpr char const* kErrorCorrections[] = {nullptr,  nullptr,          nullptr,         "None",
                                                    "Parity", "Single-bit ECC", "Multi-bit ECC", "CRC"};

template <std::size_t Size>
std::optional<std::string> nameOf(char const* const (&names)[Size], std::optional<unsigned> number)
{
    if (!number || *number >= Size || !names[*number])
        return std::nullopt;
    return names[*number];
}

} // namespace zel::smbios
