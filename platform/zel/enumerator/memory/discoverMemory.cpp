// Memory as a whole, and the modules of which it is made. Reads /proc/meminfo, whose counts are in KiB though
// it says kB, and the firmware's table; where that does not tell, /proc/zoneinfo (PresentMemory.h), then
// /sys/devices/system/memory: a folder for each block of memory, all of one size. NumaNodes.h for who asks for all.

#include <zel/enumerator/memory/discover.h>

#include <zel/enumerator/firmware/SmbiosTables.h>
#include <zel/enumerator/memory/ErrorCounters.h>
#include <zel/enumerator/memory/MemoryModules.h>
#include <zel/enumerator/memory/NumaNodes.h>
#include <zel/enumerator/memory/PresentMemory.h>
#include <zel/enumerator/records/Describe.h>
#include <zel/enumerator/records/Lines.h>
#include <zel/enumerator/records/Measures.h>
#include <zel/enumerator/root/Text.h>

namespace zel {

namespace {

constexpr char kBlocks[] = "sys/devices/system/memory";

using Lines = std::map<std::string, std::string, std::less<>>;

measure::Count amountOf(Lines const& lines, char const* key)
{
    auto const found = lines.find(key);
    if (found == lines.end())
        return std::nullopt;
    constexpr std::string_view kUnit = " kB";
    std::string_view line = found->second;
    if (!line.ends_with(kUnit))
        return std::nullopt;
    line.remove_suffix(kUnit.size());
    return measure::scaled(text::toUnsigned(line), 1024);
}

struct Blocks
{
    unsigned count = 0;
    measure::Count bytes; ///< of all; absent when the size of a block is not told
};

Blocks readBlocks(Root const& root)
{
    Blocks blocks;
    for (std::string const& name : root.list(kBlocks))
        blocks.count += text::indexAfter(name, "memory") ? 1 : 0;
    if (blocks.count != 0) // hexadecimal, without 0x
        if (auto const size = root.hexadecimal(std::string(kBlocks) + "/block_size_bytes"); size && *size > 0)
            blocks.bytes = measure::scaled(size, blocks.count);
    return blocks;
}

/// What is built in. What the kernel can use is less, so a source that tells less than that is wrong; the best
/// source comes first, and the others are not asked when it tells. Nothing when none tells.
measure::Count installed(Root const& root, SmbiosMemory const& firmware, measure::Count usable,
                         Blocks& blocks)
{
    auto const canBeAll = [&usable](measure::Count bytes) { return bytes && *bytes >= usable.value_or(0); };
    if (canBeAll(firmware.installed))
        return firmware.installed;
    if (measure::Count const present = presentMemory(root, usable); canBeAll(present))
        return present;
    blocks = readBlocks(root);
    return canBeAll(blocks.bytes) ? blocks.bytes : std::nullopt;
}

DeviceDescription describe(Lines const& lines, SmbiosMemory const& firmware, measure::Count size,
                           Blocks const& blocks, MemoryErrorCounters const& errors)
{
    DeviceDescription memory;
    memory.type = CapabilityImp::Memory();
    memory.capabilities = CapabilityImp::Memory() | CapabilityImp::Hardware();
    memory.name = "Memory";
    memory.description = "System memory";
    placeAt(memory, location::memory());
    placeBelowSystem(memory);
    auto const usable = amountOf(lines, "MemTotal");
    memory.osLocator = usable ? "/proc/meminfo" : blocks.count != 0 ? "/sys/devices/system/memory" : "";
    memory.add("Size", measure::bytes(size ? size : usable));
    memory.add("UsableMemory", measure::bytes(usable));
    memory.add("AvailableMemory", measure::bytes(amountOf(lines, "MemAvailable")));
    memory.add("SwapSize", measure::bytes(amountOf(lines, "SwapTotal")));
    memory.add("HugePageSize", measure::bytes(amountOf(lines, "Hugepagesize")));
    if (!size && !usable && blocks.count != 0) // all that can be told
        memory.add("MemoryBlocks", std::optional(blocks.count));
    memory.add("MemorySlots", firmware.slots);
    if (firmware.slots)
        memory.add("FilledMemorySlots", std::optional(firmware.filledSlots));
    memory.add("MaximumMemory", measure::bytes(firmware.maximum));
    addLines(memory, "EmptyMemorySlots", firmware.emptySlots);
    memory.add("ErrorCorrection", firmware.errorCorrection);
    memory.add("CorrectedErrors", errors.corrected());
    memory.add("UncorrectedErrors", errors.uncorrected());
    return memory;
}

} // namespace

void discoverMemory(Root const& root, DeviceSink& sink)
{
    auto const content = root.read("proc/meminfo", 1u << 16);
    Lines const lines = text::keyValueLines(content ? *content : std::string_view(), ':');
    Smbios const smbios = readSmbios(root);
    SmbiosMemory const firmware = smbiosMemory(smbios);
    auto const usable = amountOf(lines, "MemTotal");
    MemoryErrorCounters const errors(root, smbios);
    Blocks blocks;
    auto const size = installed(root, firmware, usable, blocks);
    if (usable || size || blocks.count != 0 || firmware.filledSlots > 0) {
        DeviceDescription memory = describe(lines, firmware, size, blocks, errors);
        if (sink.wantsDetail())
            addNumaNodes(root, memory);
        sink.add(std::move(memory));
    }
    addMemoryModules(smbios, errors, sink);
    if (auto const damage = damageOf(smbios))
        sink.tell({String(*damage), CapabilityImp::MemoryChip() | CapabilityImp::Memory(),
                   CapabilityImp::MemoryChip()});
    errors.addOthers(sink);
}

} // namespace zel
