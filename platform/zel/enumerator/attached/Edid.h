#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace zel {

/// What a monitor says of itself in its first block of 128 octets (VESA E-EDID 1.4).
struct Edid
{
    std::optional<std::string> manufacturer; ///< three letters: "DEL"
    std::uint16_t product = 0;
    std::optional<std::string> name, serial;
    std::optional<unsigned> year;              ///< of manufacture, or of the model
    std::optional<unsigned> widthMm, heightMm; ///< of the picture
    std::optional<std::string> preferredMode;  ///< "2560x1440, 60 Hz"

    /// Nothing when the block is too short, does not begin as one, or its sum is wrong.
    static std::optional<Edid> parse(std::string_view content);
};

} // namespace zel
