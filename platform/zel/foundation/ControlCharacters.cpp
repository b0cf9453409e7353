#include <zel/foundation/ControlCharacters.h>

namespace zel {
namespace {

std::string hex(std::uint32_t code, int digits)
{
    std::string text;
    for (int shift = 4 * (digits - 1); shift >= 0; shift -= 4)
        text += "0123456789abcdef"[(code >> shift) & 0xF];
    return text;
}

} // namespace

ControlAt controlAt(std::string_view utf8, std::size_t at) noexcept
{
    auto const byte = [&](std::size_t i) -> std::uint32_t {
        return at + i < utf8.size() ? static_cast<unsigned char>(utf8[at + i]) : 0;
    };
    auto const continues = [&](std::size_t i) { return (byte(i) & 0xC0) == 0x80; };
    ControlAt found;
    if (byte(0) < 0x80)
        found = {byte(0), 1};
    else if ((byte(0) & 0xE0) == 0xC0 && continues(1))
        found = {(byte(0) & 0x1F) << 6 | (byte(1) & 0x3F), 2};
    else if ((byte(0) & 0xF0) == 0xE0 && continues(1) && continues(2))
        found = {(byte(0) & 0xF) << 12 | (byte(1) & 0x3F) << 6 | (byte(2) & 0x3F), 3};
    return isControlCharacter(found.code) ? found : ControlAt();
}

std::string readableEscape(std::uint32_t code)
{
    return code < 0x100 ? "\\x" + hex(code, 2) : "\\u" + hex(code, 4);
}

std::string jsonEscape(std::uint32_t code) { return "\\u" + hex(code, 4); }

std::string xmlEscape(std::uint32_t code) { return "&#x" + hex(code, code < 0x100 ? 2 : 4) + ";"; }

} // namespace zel
