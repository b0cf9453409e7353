#pragma once
// Vital product data pages of drives (SPC-4, 7.8), as the kernel hands them out in vpd_pg80 and vpd_pg83.

#include <optional>
#include <string>
#include <string_view>

namespace zel {

/// Serial number, from page 0x80.
std::optional<std::string> vpdSerialNumber(std::string_view page);

struct AtaIdentity
{
    std::string model; ///< whole, where the drive's `model` file holds only its first 16 characters
    std::string serial;
};

/// What an ATA drive says about itself in page 0x83 (SAT-3, 10.4.3): in the T10 designator of vendor "ATA".
std::optional<AtaIdentity> vpdAtaIdentity(std::string_view page);

/// What page 0xB1 (SBC-4, 6.6.2) says of the medium.
struct MediumFacts
{
    std::optional<unsigned>
        revolutions; ///< a minute; absent where nothing rotates, or the drive does not say
    std::optional<std::string> formFactor; ///< "3.5 inch"
};
MediumFacts vpdMediumFacts(std::string_view page);

} // namespace zel
