// Processors and memory as the firmware knows them. Numbers in the tables are those of DSP0134.

#include <zel/enumerator/firmware/Smbios.h>

#include <zel/enumerator/firmware/SmbiosNames.h>
#include <zel/enumerator/root/Text.h>

#include <map>
#include <set>

namespace zel {

namespace {

constexpr std::uint8_t kProcessor = 4;
constexpr std::uint8_t kMemoryArray = 16;
constexpr std::uint8_t kMemoryDevice = 17;
constexpr std::uint8_t kSystemMemory = 3; // use of an array; others are for video, flash, caches

using Status = SmbiosProcessor::Status;

Status statusOf(std::optional<std::uint8_t> field)
{
    constexpr unsigned kPopulated = 0x40;
    if (!field) // the field is as old as the structure
        return Status::Unknown;
    if ((*field & kPopulated) == 0)
        return Status::Empty;
    switch (*field & 0x07u) {
    case 1:
        return Status::Enabled;
    case 2:
        return Status::DisabledByUser;
    case 3:
        return Status::DisabledByFirmware;
    case 4:
        return Status::Idle;
    default:
        return Status::Unknown;
    }
}

std::optional<std::uint64_t> megahertz(std::optional<std::uint16_t> field)
{
    return field && *field != 0 && *field != 0xFFFF ? std::optional(*field * std::uint64_t{1'000'000})
                                                    : std::nullopt;
}

/// A count in a byte; 255 and more stand in a wider field.
std::optional<unsigned> countAt(SmbiosStructure const& structure, std::size_t offset, std::size_t wideOffset)
{
    unsigned count = structure.byte(offset).value_or(0);
    if (count == 0xFF)
        count = structure.word(wideOffset).value_or(0xFF);
    return count == 0 || count == 0xFFFF ? std::nullopt : std::optional(count);
}

std::optional<double> volts(std::optional<std::uint8_t> field)
{
    // With the top bit set, tenths of a volt; without, what the socket can supply, which is no voltage.
    unsigned const tenths = field && (*field & 0x80u) ? *field & 0x7Fu : 0;
    return tenths == 0 ? std::nullopt : std::optional(tenths / 10.0);
}

/// Bytes that the array can take. A count of KiB, or, from 2 TiB on, of bytes in a field of its own.
std::optional<std::uint64_t> capacityOf(SmbiosStructure const& array)
{
    constexpr std::uint32_t kExtended = 0x80000000u;
    std::uint32_t const kibibytes = array.doubleWord(0x07).value_or(0);
    if (kibibytes != kExtended)
        return kibibytes == 0 ? std::nullopt : std::optional(std::uint64_t{kibibytes} << 10);
    auto const low = array.doubleWord(0x0F), high = array.doubleWord(0x13);
    return low && high ? std::optional(std::uint64_t{*high} << 32 | *low) : std::nullopt;
}

/// The sum, unless it or a part of it is unknown or does not fit.
void addTo(std::optional<std::uint64_t>& sum, std::optional<std::uint64_t> part)
{
    sum = sum && part && *part <= ~std::uint64_t{0} - *sum ? std::optional(*sum + *part) : std::nullopt;
}

} // namespace

std::optional<SmbiosProcessor> SmbiosProcessor::from(SmbiosStructure const& structure)
{
    constexpr unsigned kFirstCoprocessor = 4, kLastCoprocessor = 6; // mathematics, signals, video
    unsigned const kind = structure.byte(0x05).value_or(0);
    if (kind >= kFirstCoprocessor && kind <= kLastCoprocessor)
        return std::nullopt;
    SmbiosProcessor processor;
    processor.instance = structure.instance();
    processor.status = statusOf(structure.byte(0x18));
    processor.socket = text::meaningful(structure.text(0x04));
    processor.manufacturer = text::meaningful(structure.text(0x07));
    processor.version = text::meaningful(structure.text(0x10));
    processor.volts = zel::volts(structure.byte(0x11));
    processor.socketHertz = megahertz(structure.word(0x14));
    processor.startHertz = megahertz(structure.word(0x16));
    processor.serial = text::meaningful(structure.text(0x20));
    processor.assetTag = text::meaningful(structure.text(0x21));
    processor.part = text::meaningful(structure.text(0x22));
    processor.cores = countAt(structure, 0x23, 0x2A);
    processor.threads = countAt(structure, 0x25, 0x2E);
    return processor;
}

std::optional<std::string> SmbiosProcessor::statusText() const
{
    switch (status) {
    case Status::Empty:
        return "Empty socket";
    case Status::Enabled:
        return "Enabled";
    case Status::DisabledByUser:
        return "Disabled in the firmware's set-up";
    case Status::DisabledByFirmware:
        return "Disabled by firmware (self-test failed)";
    case Status::Idle:
        return "Idle";
    case Status::Unknown:
        break;
    }
    return std::nullopt;
}

std::vector<SmbiosProcessor> smbiosProcessors(Smbios const& smbios)
{
    std::vector<SmbiosProcessor> processors;
    for (SmbiosStructure const* structure : smbios.ofType(kProcessor))
        if (auto processor = SmbiosProcessor::from(*structure))
            processors.push_back(std::move(*processor));
    return processors;
}

namespace {

/// Slots without a module, but those of the arrays that are no system memory.
std::vector<std::string> emptySlots(Smbios const& smbios, std::set<std::uint16_t> const& others)
{
    constexpr std::size_t kArray = 0x04, kSize = 0x0C, kLocator = 0x10, kBank = 0x11;
    std::map<std::optional<std::string>, unsigned> uses; // of a name: each processor may have its "DIMM_A1"
    for (SmbiosStructure const* structure : smbios.ofType(kMemoryDevice))
        ++uses[text::meaningful(structure->text(kLocator))];
    std::vector<std::string> names;
    for (SmbiosStructure const* structure : smbios.ofType(kMemoryDevice)) {
        auto const locator = text::meaningful(structure->text(kLocator));
        if (structure->word(kSize) != 0 || !locator ||
            others.count(structure->word(kArray).value_or(0xFFFF)) != 0)
            continue;
        auto const bank = uses[locator] > 1 ? text::meaningful(structure->text(kBank)) : std::nullopt;
        names.push_back((bank ? *bank + " " : "") + *locator);
    }
    return names;
}

} // namespace

SmbiosMemory smbiosMemory(Smbios const& smbios)
{
    SmbiosMemory memory;
    std::set<std::uint16_t> others; // arrays that hold no system memory
    bool isFirst = true;
    for (SmbiosStructure const* array : smbios.ofType(kMemoryArray)) {
        if (array->byte(0x05) != kSystemMemory) {
            others.insert(array->handle());
            continue;
        }
        if (isFirst) {
            memory.maximum = 0;
            memory.errorCorrection = smbios::nameOf(smbios::kErrorCorrections, array->byte(0x06));
        }
        isFirst = false;
        addTo(memory.maximum, capacityOf(*array));
        if (auto const slots = array->word(0x0D))
            memory.slots = memory.slots.value_or(0) + *slots;
    }
    for (SmbiosStructure const* structure : smbios.ofType(kMemoryDevice)) {
        auto const module = SmbiosMemoryModule::from(*structure);
        if (!module || others.count(module->array) != 0)
            continue;
        if (memory.filledSlots++ == 0)
            memory.installed = 0;
        addTo(memory.installed, module->bytes == 0 ? std::nullopt : std::optional(module->bytes));
    }
    memory.emptySlots = emptySlots(smbios, others);
    // Firmware that was not adapted to larger modules tells less than what is there.
    if (memory.maximum && memory.installed && *memory.maximum < *memory.installed)
        memory.maximum.reset();
    if (memory.slots && *memory.slots < memory.filledSlots)
        memory.slots.reset();
    if (smbios.damage()) { // more arrays and modules may have stood behind it
        memory.installed.reset();
        memory.maximum.reset();
        memory.slots.reset();
    }
    return memory;
}

} // namespace zel
