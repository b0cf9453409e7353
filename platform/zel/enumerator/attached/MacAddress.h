#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>

namespace zel {

using MacAddress = std::array<unsigned, 6>;

/// "00:1a:2b:3c:4d:5e"; nothing for another form, and for what identifies no card: all zeros, all ones, a
/// group's.
std::optional<MacAddress> parseMac(std::string_view text) noexcept;
/// In lower case, as people read it off a label.
std::string macText(MacAddress const& address);
/// An InfiniBand card's address of 20 octets, in the form of the shorter one; nothing for another form and for
/// all zeros.
std::optional<std::string> infinibandAddress(std::string_view text);

} // namespace zel
