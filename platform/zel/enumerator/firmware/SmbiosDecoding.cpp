// Meaning of single structures. Numbers in the tables are those of DSP0134.

#include <zel/enumerator/firmware/Smbios.h>
#include <zel/enumerator/firmware/SmbiosNames.h>
#include <zel/enumerator/root/Text.h>

#include <algorithm>
#include <iterator>

namespace zel {

namespace {

using namespace smbios;

/// Bytes of the module; 0 when unknown, absent when the slot is empty.
std::optional<std::uint64_t> moduleSize(SmbiosStructure const& structure)
{
    constexpr std::uint16_t kUnknown = 0xFFFF;
    constexpr std::uint16_t kExtended = 0x7FFF; // 32 GB less 1 MB and more: in a field of its own
    std::uint16_t const size = structure.word(0x0C).value_or(0);
    if (size == 0)
        return std::nullopt;
    if (size == kUnknown)
        return 0;
    if (size == kExtended)
        return std::uint64_t{structure.doubleWord(0x1C).value_or(0) & 0x7FFFFFFFu} << 20;
    std::uint64_t const count = size & 0x7FFFu;
    return size & 0x8000u ? count << 10 : count << 20;
}

std::optional<unsigned> width(std::optional<std::uint16_t> field)
{
    return field && *field != 0 && *field != 0xFFFF ? std::optional<unsigned>(*field) : std::nullopt;
}

/// Transfers a second, from a count of millions; counts beyond 65534 stand in a wider field.
std::optional<std::uint64_t> speedOf(SmbiosStructure const& structure, std::size_t offset,
                                     std::size_t wideOffset)
{
    unsigned millions = structure.word(offset).value_or(0);
    if (millions == 0xFFFF)
        millions = structure.doubleWord(wideOffset).value_or(0) & 0x7FFFFFFFu;
    return millions == 0 ? std::nullopt : std::optional(millions * std::uint64_t{1'000'000});
}

} // namespace

std::optional<SmbiosMemoryModule> SmbiosMemoryModule::from(SmbiosStructure const& structure)
{
    auto const size = moduleSize(structure);
    if (!size)
        return std::nullopt;
    SmbiosMemoryModule module;
    module.instance = structure.instance();
    module.bytes = *size;
    module.array = structure.word(0x04).value_or(0xFFFF);
    module.totalWidth = width(structure.word(0x08));
    module.dataWidth = width(structure.word(0x0A));
    module.formFactor = nameOf(kFormFactors, structure.byte(0x0E));
    module.locator = text::meaningful(structure.text(0x10));
    module.bank = text::meaningful(structure.text(0x11));
    module.type = nameOf(kMemoryTypes, structure.byte(0x12));
    module.speed = speedOf(structure, 0x15, 0x54);
    module.manufacturer = text::meaningful(structure.text(0x17));
    module.serial = text::meaningful(structure.text(0x18));
    module.assetTag = text::meaningful(structure.text(0x19));
    module.part = text::meaningful(structure.text(0x1A));
    if (unsigned const ranks = structure.byte(0x1B).value_or(0) & 0x0Fu; ranks != 0)
        module.ranks = ranks;
    module.configuredSpeed = speedOf(structure, 0x20, 0x58);
    if (unsigned const millivolts = structure.word(0x26).value_or(0); millivolts != 0)
        module.volts = millivolts / 1000.0;
    return module;
}

std::optional<std::string> smbiosChassisType(unsigned number)
{
    return nameOf(kChassisTypes, number & 0x7Fu); // the top bit tells of a lock
}

std::optional<std::string> smbiosUuid(SmbiosStructure const& system, bool littleEndian)
{
    std::string_view const bytes = system.bytes(0x08, 16);
    if (bytes.empty() || bytes == std::string(16, '\0') || bytes == std::string(16, '\xFF'))
        return std::nullopt;
    // Since 2.6 the first three fields stand in the byte order of the processor.
    static constexpr unsigned char kSwapped[] = {3, 2, 1, 0, 5, 4, 7, 6, 8, 9, 10, 11, 12, 13, 14, 15};
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string uuid;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10)
            uuid += '-';
        auto const byte = static_cast<unsigned char>(bytes[littleEndian ? kSwapped[i] : i]);
        uuid += kDigits[byte >> 4];
        uuid += kDigits[byte & 0x0F];
    }
    return uuid;
}

std::optional<std::uint64_t> smbiosRomSize(SmbiosStructure const& bios)
{
    auto const size = bios.byte(0x09);
    if (!size)
        return std::nullopt;
    if (*size != 0xFF)
        return (std::uint64_t{*size} + 1) << 16;
    auto const extended = bios.word(0x18); // 16 MB and more
    if (!extended || (*extended & 0x3FFFu) == 0 || (*extended >> 14) > 1)
        return std::nullopt;
    return std::uint64_t{*extended & 0x3FFFu} << (*extended >> 14 == 0 ? 20 : 30);
}

} // namespace zel
