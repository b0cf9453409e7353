#include <zel/enumerator/attached/InputClass.h>

#include <zel/enumerator/root/Text.h>

#include <algorithm>
#include <set>
#include <string_view>

namespace zel {

namespace {

using C = CapabilityImp;
using Uevent = std::map<std::string, std::string, std::less<>>;

// Codes of linux/input-event-codes.h.
constexpr std::uint64_t kEventRelative = 2, kEventAbsolute = 3;
constexpr std::uint64_t kButtonLeft = 0x110, kButtonJoystick = 0x120, kButtonGamepad = 0x130;
constexpr std::uint64_t kToolPen = 0x140, kToolFinger = 0x145, kTouch = 0x14A;
constexpr std::uint64_t kPropertyDirect = 1;
constexpr std::uint64_t kLetterKeys = 0xFFFFFFFE; // escape to S: every full keyboard has them all

/// The last word of a bitmap: bits 0 to 31 whatever the word size of the kernel that wrote it. Kernels
/// before 2.6.29 wrote "KEY==..." (seen on 2.6.27).
std::uint64_t lowWord(Uevent const& uevent, std::string_view key)
{
    auto const found = uevent.find(key);
    if (found == uevent.end())
        return 0;
    std::string_view bits = text::trimmed(found->second);
    while (bits.starts_with('='))
        bits.remove_prefix(1);
    std::size_t const blank = bits.rfind(' ');
    return text::toHexadecimal(blank == std::string_view::npos ? bits : bits.substr(blank + 1)).value_or(0);
}

/// Codes that the module alias lists after a letter: "input:b0011v...-e0,1,2,k110,111,112,r0,1,amlsfw" has
/// 110, 111, 112 (hexadecimal) after 'k'. Unlike the bitmaps it does not depend on the word size, but it
/// leaves out keys below 0x71.
std::set<std::uint64_t> aliasCodes(Uevent const& uevent, char letter)
{
    std::set<std::uint64_t> codes;
    auto const alias = uevent.find("MODALIAS");
    if (alias == uevent.end())
        return codes;
    std::string_view const text = alias->second;
    std::size_t const dash = text.find('-');
    if (dash == std::string_view::npos)
        return codes;
    char current = 0;
    for (std::string_view part : text::split(text.substr(dash + 1), ',')) {
        // A part is a code, or the letters of sections (the empty ones among them) and then a code. Codes
        // have upper-case digits, so a lower-case letter always begins a section.
        while (!part.empty() && part.front() >= 'a' && part.front() <= 'z') {
            current = part.front();
            part.remove_prefix(1);
        }
        if (auto const code = text::toHexadecimal(part); code && current == letter)
            codes.insert(*code);
    }
    return codes;
}

} // namespace

std::optional<InputKind> inputKind(Uevent const& uevent)
{
    std::set<std::uint64_t> const keys = aliasCodes(uevent, 'k');
    std::uint64_t const events = lowWord(uevent, "EV");
    bool const relative = (events >> kEventRelative) & 1, absolute = (events >> kEventAbsolute) & 1;
    bool const direct = (lowWord(uevent, "PROP") >> kPropertyDirect) & 1;
    bool const pen = keys.contains(kToolPen), finger = keys.contains(kToolFinger);

    if ((lowWord(uevent, "KEY") & kLetterKeys) == kLetterKeys)
        return InputKind{C::Keyboard(), C::Keyboard(), "Keyboard"};
    if (absolute && pen)
        return InputKind{C::Digitizer(), C::Digitizer(), "Pen tablet"};
    if (absolute && keys.contains(kTouch) && (direct || !finger))
        return InputKind{C::TouchScreen(), C::TouchScreen(), "Touch screen"};
    if (absolute && finger)
        return InputKind{C::Mouse(), C::Mouse(), "Touchpad"};
    if (absolute && (keys.contains(kButtonJoystick) || keys.contains(kButtonGamepad)))
        return InputKind{C::Joystick(), C::Joystick(), "Game controller"};
    if ((relative || absolute) && keys.contains(kButtonLeft))
        return InputKind{C::Mouse(), C::Mouse(), relative ? "Mouse" : "Pointing device"};
    return std::nullopt;
}

std::string inputName(std::string const& name)
{
    // "05f3:0007": vendor and product, four digits each.
    auto const isIds = [](std::string_view word) {
        return word.size() == 9 && word[4] == ':' && text::toHexadecimal(word.substr(0, 4)) &&
               text::toHexadecimal(word.substr(5));
    };
    auto const words = text::split(name, ' ');
    auto const ids = std::find_if(words.begin(), words.end(), isIds);
    if (ids == words.end() || ids - words.begin() > 1)
        return name;
    std::string rest;
    for (auto word = ids + 1; word != words.end(); ++word)
        rest += (rest.empty() ? "" : " ") + std::string(*word);
    return rest;
}

} // namespace zel
