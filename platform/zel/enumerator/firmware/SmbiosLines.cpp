// What the table says of the board beyond what is a device of its own, as lines for people.
#include <zel/enumerator/firmware/Smbios.h>

#include <zel/enumerator/firmware/SmbiosFields.h>
#include <zel/enumerator/root/Text.h>

#include <array>
#include <cstdio>

namespace zel {

namespace {

constexpr std::uint8_t kConnector = 8, kSlot = 9;

// DSP0134, 7: index is the type.
constexpr std::array<char const*, 46> kTypes{"BIOS",
                                             "System",
                                             "System board",
                                             "Chassis",
                                             "Processor",
                                             "Memory controller",
                                             "Memory module (old form)",
                                             "Cache",
                                             "Connector",
                                             "System slot",
                                             "On-board devices (old form)",
                                             "Texts of the maker",
                                             "Configuration options",
                                             "Languages of the firmware",
                                             "Group",
                                             "System event log",
                                             "Memory array",
                                             "Memory device",
                                             "Memory error (32 bit)",
                                             "Mapped address of a memory array",
                                             "Mapped address of a memory device",
                                             "Pointing device",
                                             "Portable battery",
                                             "Reset",
                                             "Hardware security",
                                             "Power controls",
                                             "Voltage probe",
                                             "Cooling device",
                                             "Temperature probe",
                                             "Electrical current probe",
                                             "Remote access",
                                             "Boot integrity services",
                                             "State of the last start",
                                             "Memory error (64 bit)",
                                             "Management device",
                                             "Part of a management device",
                                             "Thresholds of a management device",
                                             "Memory channel",
                                             "Management controller (IPMI)",
                                             "Power supply",
                                             "Additional information",
                                             "On-board device",
                                             "Host interface of a management controller",
                                             "Trusted platform module",
                                             "Additional information of a processor",
                                             "Inventory of firmware"};

template <typename... Numbers>
std::string printed(char const* form, Numbers... numbers)
{
    std::array<char, 96> text{};
    std::snprintf(text.data(), text.size(), form, numbers...);
    return text.data();
}

std::string lineOf(SmbiosStructure const& structure, bool littleEndianUuid)
{
    unsigned const type = structure.type();
    std::string const name = type < kTypes.size() ? kTypes[type]
                             : type < 128         ? "Structure"
                                                  : "Structure of the maker";
    std::string line = printed("0x%04x ", unsigned{structure.handle()}) + name +
                       printed(" (type %u, %zu bytes)", type, structure.size());
    std::string const fields = smbios::fieldTexts(structure, littleEndianUuid);
    if (!fields.empty())
        line += ": " + fields;
    // Texts that no field known here refers to: the maker's own structures hold them, and newer versions.
    char const* separator = fields.empty() ? ": " : "; texts: ";
    for (std::string_view const string : structure.strings())
        if (std::string_view const text = text::trimmed(string);
            !text.empty() && fields.find(text) == std::string::npos) {
            line += separator + std::string(text);
            separator = ", ";
        }
    return line;
}

} // namespace

std::optional<std::string> smbiosPciAddress(SmbiosStructure const& structure, std::size_t offset)
{
    auto const segment = structure.word(offset);
    auto const bus = structure.byte(offset + 2), function = structure.byte(offset + 3);
    if (!segment || !bus || !function || *segment == 0xFFFF || *bus == 0xFF || *function == 0xFF)
        return std::nullopt;
    return printed("%04x:%02x:%02x.%u", unsigned{*segment}, unsigned{*bus}, unsigned{*function} >> 3,
                   unsigned{*function} & 7);
}

std::optional<std::string> smbiosRelease(SmbiosStructure const& bios, std::size_t offset)
{
    auto const major = bios.byte(offset), minor = bios.byte(offset + 1);
    if (!major || !minor || *major == 0xFF || *minor == 0xFF || (*major == 0 && *minor == 0))
        return std::nullopt;
    return std::to_string(*major) + "." + std::to_string(*minor);
}

std::vector<std::string> smbiosLines(Smbios const& smbios)
{
    std::vector<std::string> lines;
    for (SmbiosStructure const& structure : smbios.structures())
        lines.push_back(lineOf(structure, smbios.isAtLeast(2, 6)));
    return lines;
}

std::vector<std::string> smbiosSlots(Smbios const& smbios)
{
    constexpr unsigned kFree = 3, kUsed = 4, kUnavailable = 5;
    std::vector<std::string> lines;
    for (SmbiosStructure const* const slot : smbios.ofType(kSlot)) {
        auto const name = text::meaningful(slot->text(4));
        unsigned const usage = slot->byte(7).value_or(0);
        if (!name)
            continue;
        auto const address = usage == kUsed ? smbiosPciAddress(*slot, 0x0D) : std::nullopt;
        lines.push_back(*name + (usage == kFree          ? ": free"
                                 : usage == kUnavailable ? ": not available"
                                 : usage != kUsed        ? ""
                                 : address               ? ": in use by " + *address
                                                         : ": in use"));
    }
    return lines;
}

std::vector<std::string> smbiosConnectors(Smbios const& smbios)
{
    std::vector<std::string> lines;
    for (SmbiosStructure const* const connector : smbios.ofType(kConnector)) {
        auto const inside = text::meaningful(connector->text(4));
        auto const outside = text::meaningful(connector->text(6));
        if (outside && inside && *inside != *outside)
            lines.push_back(*outside + " (" + *inside + ")");
        else if (outside || inside)
            lines.push_back(outside ? *outside : *inside);
    }
    return lines;
}

} // namespace zel
