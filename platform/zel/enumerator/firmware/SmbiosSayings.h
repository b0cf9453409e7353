#pragma once
// How the bytes of a field of the firmware's table are said: a function takes the structure and the field's offset, and gives an empty text for
// what is unknown, not there or cut off. Only for SmbiosFields.cpp, which says which field is said how.

#include <zel/enumerator/firmware/Smbios.h>
#include <zel/enumerator/firmware/SmbiosFieldNames.h>
#include <zel/enumerator/firmware/SmbiosNames.h>
#include <zel/enumerator/root/Text.h>
#include <zel/model/values/DiscreteMeasurement.h>

#include <array>
#include <cstdio>
#include <string>

namespace zel::smbios {

using Structure = SmbiosStructure;
using Say = std::string (*)(Structure const&, std::size_t offset);

template <typename... Numbers>
std::string printed(char const* form, Numbers... numbers)
{
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), form, numbers...);
    return text.data();
}

inline std::optional<std::uint64_t> quadWord(Structure const& structure, std::size_t offset)
{
    auto const low = structure.doubleWord(offset), high = structure.doubleWord(offset + 4);
    return low && high ? std::optional(std::uint64_t{*high} << 32 | *low) : std::nullopt;
}

/// Little-endian, of 1, 2, 4 or 8 bytes.
template <unsigned Bytes>
std::optional<std::uint64_t> numberAt(Structure const& structure, std::size_t offset)
{
    if constexpr (Bytes == 1)
        return structure.byte(offset);
    else if constexpr (Bytes == 2)
        return structure.word(offset);
    else if constexpr (Bytes == 4)
        return structure.doubleWord(offset);
    else
        return quadWord(structure, offset);
}

inline void join(std::string& list, std::string const& text)
{
    if (!text.empty())
        list += (list.empty() ? "" : ", ") + text;
}

/// Noise of a damaged table, which has no end, is not said by each field that points at it.
inline std::string asText(Structure const& structure, std::size_t offset)
{
    constexpr std::size_t kMost = 1024;
    auto const text = structure.text(offset);
    return text && text->size() <= kMost ? std::string(text::trimmed(*text)) : std::string();
}

/// A number with what stands behind it. `Unset` says that nobody told one.
template <unsigned Bytes, std::uint64_t Unset, auto const& Unit>
std::string asNumber(Structure const& structure, std::size_t offset)
{
    auto const number = numberAt<Bytes>(structure, offset);
    return number && *number != Unset ? std::to_string(*number) + Unit : std::string();
}
inline constexpr char kPlain[] = "", kMegahertz[] = " MHz", kMillivolts[] = " mV", kMilliamps[] = " mA",
                      kWatts[] = " W", kRpm[] = " rpm", kBits[] = " bit", kMilliwattHours[] = " mWh",
                      kPercent[] = " %", kNanoseconds[] = " ns", kMinutes[] = " min", kHeightUnits[] = " U",
                      kMegatransfers[] = " MT/s";
inline constexpr std::uint64_t kNever = ~std::uint64_t{0}; // no number says that it is none

inline constexpr Say asByte = asNumber<1, kNever, kPlain>;
inline constexpr Say asCount = asNumber<1, 0, kPlain>;
inline constexpr Say asWord = asNumber<2, kNever, kPlain>;

template <unsigned Bytes>
std::string asHexadecimal(Structure const& structure, std::size_t offset)
{
    auto const number = numberAt<Bytes>(structure, offset);
    return number ? printed("0x%0*llx", int{Bytes} * 2, static_cast<unsigned long long>(*number))
                  : std::string();
}
inline constexpr Say asAddress = asHexadecimal<8>;

/// Of another structure; 0xFFFE: not provided, 0xFFFF: none.
inline std::string asHandle(Structure const& structure, std::size_t offset)
{
    auto const handle = structure.word(offset);
    return handle && *handle < 0xFFFE ? printed("0x%04x", unsigned{*handle}) : std::string();
}

/// The word for the bits in `Mask`, moved down by `Shift`; their number where there is no word.
template <auto const& Names, unsigned Bytes = 1, unsigned Mask = 0xFF, unsigned Shift = 0>
std::string asName(Structure const& structure, std::size_t offset)
{
    auto const number = numberAt<Bytes>(structure, offset);
    std::size_t const index = static_cast<std::size_t>(number.value_or(0) & Mask) >> Shift;
    if (number && index < std::size(Names) && Names[index])
        return Names[index];
    return index <= 2 || index == Mask >> Shift ? std::string()
                                                : printed("number %zu", index); // other, unknown
}

/// The words for the bits that are set; the words begin with bit 0.
template <auto const& Names, unsigned Bytes>
std::string asFlags(Structure const& structure, std::size_t offset)
{
    std::uint64_t const bits = numberAt<Bytes>(structure, offset).value_or(0);
    std::string list;
    for (std::size_t i = 0; i < std::size(Names); ++i)
        if ((bits >> i & 1) != 0 && Names[i])
            join(list, Names[i]);
    return list;
}

template <std::uint64_t Mask, unsigned Bytes = 1>
std::string asTruth(Structure const& structure, std::size_t offset)
{
    auto const bits = numberAt<Bytes>(structure, offset);
    return !bits ? std::string() : (*bits & Mask) != 0 ? "yes" : "no";
}

inline std::string bytesText(std::uint64_t count)
{
    return DiscreteMeasurement(UnitType::BYTES(), count).toString().toUtf8();
}

/// A signed word in units of 1/`Parts`; 0x8000 is not known.
template <int Parts, auto const& Unit>
std::string asSigned(Structure const& structure, std::size_t offset)
{
    auto const word = structure.word(offset);
    if (!word || *word == 0x8000)
        return {};
    auto const number = static_cast<std::int16_t>(*word);
    return (Parts == 1 ? std::to_string(number)
                       : printed("%.*f", Parts == 10 ? 1 : 3, number / double{Parts})) +
           Unit;
}
inline constexpr char kDegrees[] = " \u00B0C";
inline constexpr Say asMillivolts = asSigned<1, kMillivolts>;
inline constexpr Say asMilliamps = asSigned<1, kMilliamps>;
inline constexpr Say asTenthDegrees = asSigned<10, kDegrees>;
inline constexpr Say asWatts = asNumber<2, 0x8000, kWatts>;
inline constexpr Say asMegahertz = asNumber<2, 0, kMegahertz>;
inline constexpr Say asWidth = asNumber<2, 0xFFFF, kBits>;
inline constexpr Say asModuleVolts = asNumber<2, 0, kMillivolts>;

// Fields that follow a rule of their own.

inline std::string romSize(Structure const& bios, std::size_t)
{
    auto const size = smbiosRomSize(bios);
    return size ? bytesText(*size) : std::string();
}
inline std::string release(Structure const& bios, std::size_t offset)
{
    return smbiosRelease(bios, offset).value_or("");
}
inline std::string biosCharacteristics(Structure const& bios, std::size_t offset)
{
    constexpr std::uint32_t kNotTold = 1u << 3;
    return (bios.doubleWord(offset).value_or(kNotTold) & kNotTold) != 0
               ? std::string()
               : asFlags<kBiosCharacteristics, 4>(bios, offset);
}
inline std::string chassisType(Structure const& chassis, std::size_t offset)
{
    auto const number = chassis.byte(offset);
    return number ? smbiosChassisType(*number).value_or("") : std::string();
}
/// Behind a list of elements whose number and length stand before it.
inline std::string chassisSku(Structure const& chassis, std::size_t offset)
{
    auto const count = chassis.byte(offset - 2), length = chassis.byte(offset - 1);
    return count && length ? asText(chassis, offset + std::size_t{*count} * *length) : std::string();
}
inline std::string processorVolts(Structure const& processor, std::size_t offset)
{
    unsigned const byte = processor.byte(offset).value_or(0);
    if ((byte & 0x80) != 0)
        return printed("%u.%u V", (byte & 0x7F) / 10, (byte & 0x7F) % 10);
    return asFlags<kSocketVoltages, 1>(processor, offset);
}
inline std::string processorStatus(Structure const& processor, std::size_t)
{
    auto const known = SmbiosProcessor::from(processor);
    return known ? known->statusText().value_or("") : std::string();
}
/// A byte, or where that is full the word behind.
template <std::size_t WideOffset>
std::string count(Structure const& structure, std::size_t offset)
{
    unsigned const narrow = structure.byte(offset).value_or(0);
    unsigned const number = narrow == 0xFF ? structure.word(WideOffset).value_or(narrow) : narrow;
    return number == 0 ? std::string() : std::to_string(number);
}
/// In KiB or, with the top bit, in units of 64 KiB; where the word is full, in the double word behind.
template <std::size_t WideOffset>
std::string cacheSize(Structure const& cache, std::size_t offset)
{
    auto const narrow = cache.word(offset);
    if (!narrow)
        return {};
    std::uint64_t units = *narrow & 0x7FFF;
    bool isCoarse = (*narrow & 0x8000) != 0;
    if (auto const wide = cache.doubleWord(WideOffset); *narrow == 0xFFFF && wide) {
        units = *wide & 0x7FFFFFFF;
        isCoarse = (*wide & 0x80000000) != 0;
    }
    return bytesText(units << (isCoarse ? 16 : 10));
}
inline std::string cacheLevel(Structure const& cache, std::size_t offset)
{
    auto const bits = cache.word(offset);
    return bits ? std::to_string((*bits & 7) + 1) : std::string();
}
/// Segment, bus, device and function; all ones where nothing sits there.
inline std::string pciAddress(Structure const& structure, std::size_t offset)
{
    return smbiosPciAddress(structure, offset).value_or("");
}
inline std::string oldDevices(Structure const& structure, std::size_t offset)
{
    std::string list;
    for (std::size_t at = offset; at + 1 < structure.size(); at += 2) {
        std::string const kind = asName<kBoardDevices, 1, 0x7F>(structure, at);
        std::string const text = asText(structure, at + 1);
        std::string const enabled = asTruth<0x80>(structure, at) == "yes" ? "enabled" : "disabled";
        join(list, text + (kind.empty() ? " (" : " (" + kind + ", ") + enabled + ")");
    }
    return list;
}
inline std::string groupMembers(Structure const& group, std::size_t offset)
{
    std::string list;
    for (std::size_t at = offset; at + 2 < group.size(); at += 3) // type, handle
        join(list, asHandle(group, at + 1));
    return list;
}
/// In KiB, or where that is full in bytes behind.
inline std::string arrayCapacity(Structure const& array, std::size_t offset)
{
    std::uint32_t const kibibytes = array.doubleWord(offset).value_or(0);
    auto const bytes =
        kibibytes == 0x80000000u ? quadWord(array, 0x0F) : std::optional(std::uint64_t{kibibytes} << 10);
    return bytes && *bytes != 0 ? bytesText(*bytes) : std::string();
}
inline std::string moduleSize(Structure const& module, std::size_t offset)
{
    if (module.word(offset) == 0)
        return "no module installed";
    auto const known = SmbiosMemoryModule::from(module);
    return known && known->bytes != 0 ? bytesText(known->bytes) : std::string();
}
inline std::string byteCount(Structure const& structure, std::size_t offset)
{
    auto const bytes = quadWord(structure, offset);
    return bytes && *bytes != 0 && *bytes != kNever ? bytesText(*bytes) : std::string();
}
/// First or last KiB, or where that is full the byte itself.
template <std::size_t WideOffset, bool IsLast>
std::string mappedAddress(Structure const& mapping, std::size_t offset)
{
    auto const kibibytes = mapping.doubleWord(offset);
    auto const bytes =
        kibibytes == 0xFFFFFFFFu
            ? quadWord(mapping, WideOffset)
            : (kibibytes ? std::optional((std::uint64_t{*kibibytes} << 10) + (IsLast ? 0x3FF : 0))
                         : std::nullopt);
    return bytes ? printed("0x%011llx", static_cast<unsigned long long>(*bytes)) : std::string();
}
inline std::string batteryEnergy(Structure const& battery, std::size_t offset)
{
    unsigned const factor = battery.byte(0x15).value_or(1); // not told: the structure is older than the field
    auto const energy = battery.word(offset);
    return energy && *energy != 0
               ? std::to_string(std::uint64_t{*energy} * (factor == 0 ? 1 : factor)) + kMilliwattHours
               : std::string();
}
/// Year from 1980, month and day in one word.
inline std::string packedDate(Structure const& structure, std::size_t offset)
{
    unsigned const date = structure.word(offset).value_or(0);
    return date == 0 ? std::string()
                     : printed("%04u-%02u-%02u", 1980 + (date >> 9), date >> 5 & 15, date & 31);
}
inline std::string decimalRevision(Structure const& controller, std::size_t offset) // a digit in each half
{
    auto const byte = controller.byte(offset);
    return byte ? printed("%u.%u", unsigned{*byte} >> 4, unsigned{*byte} & 15) : std::string();
}
inline std::string controllerAddress(Structure const& controller, std::size_t offset)
{
    constexpr unsigned kSystemInterface = 4; // over SMBus: an address as on that bus
    auto const address = quadWord(controller, offset);
    if (!address)
        return {};
    auto const number = static_cast<unsigned long long>(*address);
    if (controller.byte(0x04) == kSystemInterface)
        return printed("0x%02llx (SMBus)", number >> 1 & 0x7F);
    return printed("0x%016llx (%s)", number & ~1ull, (number & 1) != 0 ? "input and output" : "memory");
}
/// Of four visible characters.
inline std::string tpmVendor(Structure const& tpm, std::size_t offset)
{
    std::string vendor;
    for (char const character : tpm.bytes(offset, 4))
        vendor += character >= ' ' && character <= '~' ? std::string(1, character) : std::string();
    return std::string(text::trimmed(vendor));
}
inline std::string tpmVersion(Structure const& tpm, std::size_t offset)
{
    auto const major = tpm.byte(offset), minor = tpm.byte(offset + 1);
    return major && minor ? printed("%u.%u", unsigned{*major}, unsigned{*minor}) : std::string();
}
/// In a word, or where that is full in the double word behind.
template <std::size_t WideOffset>
std::string speed(Structure const& module, std::size_t offset)
{
    return module.word(offset) == 0xFFFF ? asNumber<4, 0, kMegatransfers>(module, WideOffset)
                                         : asNumber<2, 0, kMegatransfers>(module, offset);
}
inline std::string ranks(Structure const& module, std::size_t offset)
{
    unsigned const number = module.byte(offset).value_or(0) & 0x0F;
    return number == 0 ? std::string() : std::to_string(number);
}
inline std::string slotType(Structure const& slot, std::size_t offset)
{
    std::size_t const type = slot.byte(offset).value_or(0);
    bool const isHigh = type >= kFirstHighSlotType && type - kFirstHighSlotType < std::size(kHighSlotTypes);
    char const* const word = isHigh ? kHighSlotTypes[type - kFirstHighSlotType] : nullptr;
    return word ? word : asName<kSlotTypes>(slot, offset);
}

} // namespace zel::smbios
