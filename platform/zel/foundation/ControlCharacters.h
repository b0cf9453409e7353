#pragma once
// Characters that are no part of what a text says: a terminal obeys them, or they show other lines or another order
// than are there. One list for all places that show texts from devices, files or peers. Pure functions.

#include <zel/foundation/Export.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace zel {

/// C0, DEL and C1; marks, embeddings, overrides and isolates of writing direction; separators of lines and of
/// paragraphs. Joiners and variation selectors, without which some scripts cannot be written, are not.
constexpr bool isControlCharacter(std::uint32_t code) noexcept
{
    return code < 0x20 || (code >= 0x7F && code < 0xA0) || code == 0x061C || code == 0x200E ||
           code == 0x200F || (code >= 0x2028 && code <= 0x202E) || (code >= 0x2066 && code <= 0x2069);
}

struct ControlAt
{
    std::uint32_t code = 0;
    unsigned length = 0; ///< bytes; 0: no control character begins here
};
/// REQUIRES: at < utf8.size().
ZEL_EXPORT ControlAt controlAt(std::string_view utf8, std::size_t at) noexcept;

/// `\x1b`, and `\u202e` for what does not fit two digits.
ZEL_EXPORT std::string readableEscape(std::uint32_t code);
/// `\u202e`, as JSON has it.
ZEL_EXPORT std::string jsonEscape(std::uint32_t code);
/// `&#x202e;`. XML 1.0 has no such form for C0, except tab and line ends.
ZEL_EXPORT std::string xmlEscape(std::uint32_t code);

} // namespace zel
