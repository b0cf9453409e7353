// Reads, below /sys/devices/system/edac/mc, mc*/{ce_count,ue_count} and mc*/{dimm,rank}*/{dimm_label,
// dimm_location,dimm_mem_type,size,dimm_ce_count,dimm_ue_count}; where neither is there (before Linux 3.6), of
// mc*/csrow*/{ue_count,mem_type} and of each channel ch*_dimm_label, ch*_ce_count
// (Documentation/ABI/testing/sysfs-devices-edac). Sizes are in MiB. Needs no privilege.

#include <zel/enumerator/memory/ErrorCounters.h>

#include <zel/enumerator/records/Describe.h>
#include <zel/enumerator/records/Measures.h>
#include <zel/enumerator/root/Text.h>

#include <algorithm>
#include <map>

namespace zel {

namespace {

constexpr char kControllers[] = "sys/devices/system/edac/mc";

using Count = std::optional<std::uint64_t>;

/// Absent and something is something.
Count sum(Count left, Count right)
{
    if (!left || !right)
        return left ? left : right;
    return *right <= ~std::uint64_t{0} - *left ? Count(*left + *right) : std::nullopt;
}

MemoryErrorCounter readModule(Root const& root, std::string const& controller, std::string const& name)
{
    std::string const folder = std::string(kControllers) + "/" + controller + "/" + name + "/";
    return {controller,
            name,
            text::meaningful(root.text(folder + "dimm_label")),
            text::meaningful(root.text(folder + "dimm_location")),
            text::meaningful(root.text(folder + "dimm_mem_type")),
            counter(root.number(folder + "size")),
            counter(root.number(folder + "dimm_ce_count")),
            counter(root.number(folder + "dimm_ue_count"))};
}

/// Channels of a row; uncorrectable errors are those of the row, so only its one channel can be blamed for them.
std::vector<MemoryErrorCounter> readRow(Root const& root, std::string const& controller,
                                        std::string const& row)
{
    std::string const folder = std::string(kControllers) + "/" + controller + "/" + row + "/";
    std::vector<MemoryErrorCounter> channels;
    for (std::string const& file : root.list(folder)) {
        std::size_t const end = file.find("_ce_count");
        if (end == std::string::npos || !text::indexAfter(file.substr(0, end), "ch"))
            continue;
        std::string const channel = file.substr(0, end);
        MemoryErrorCounter one;
        one.controller = controller;
        one.name = row + "-" + channel;
        one.label = text::meaningful(root.text(folder + channel + "_dimm_label"));
        one.kind = text::meaningful(root.text(folder + "mem_type"));
        one.corrected = counter(root.number(folder + file));
        channels.push_back(std::move(one));
    }
    if (channels.size() == 1)
        channels.front().uncorrected = counter(root.number(folder + "ue_count"));
    return channels;
}

/// The names by which a label may call a module: the slot's, or bank and slot as firmware drivers join them.
std::vector<std::string> namesOf(SmbiosMemoryModule const& module)
{
    std::vector<std::string> names;
    if (module.locator) {
        names.push_back(text::lowered(*module.locator));
        if (module.bank)
            names.push_back(text::lowered(*module.bank + " " + *module.locator));
    }
    return names;
}

} // namespace

CapabilityImp const& memoryErrorCounterType()
{
    static CapabilityImp const s_type(String("MemoryErrorCounter"));
    return s_type;
}

MemoryErrorCounters::MemoryErrorCounters(Root const& root, Smbios const& smbios)
{
    for (std::string const& name : root.list(kControllers))
        if (text::indexAfter(name, "mc"))
            readController(root, name);
    match(smbios);
}

void MemoryErrorCounters::readController(Root const& root, std::string const& name)
{
    std::string const folder = std::string(kControllers) + "/" + name;
    m_corrected = sum(m_corrected, counter(root.number(folder + "/ce_count")));
    m_uncorrected = sum(m_uncorrected, counter(root.number(folder + "/ue_count")));
    std::vector<std::string> const names = root.list(folder);
    std::size_t const before = m_rows.size();
    for (std::string const& part : names)
        if (text::indexAfter(part, "dimm") || text::indexAfter(part, "rank"))
            m_rows.push_back({readModule(root, name, part), std::nullopt});
    if (m_rows.size() != before)
        return; // rows tell of the same modules again
    for (std::string const& part : names)
        if (text::indexAfter(part, "csrow"))
            for (MemoryErrorCounter& channel : readRow(root, name, part))
                m_rows.push_back({std::move(channel), std::nullopt});
}

void MemoryErrorCounters::match(Smbios const& smbios)
{
    constexpr std::uint8_t kMemoryDevice = 17;
    std::map<std::string, std::vector<unsigned>> modules; // by name; one name may stand for several
    for (SmbiosStructure const* structure : smbios.ofType(kMemoryDevice))
        if (auto const module = m_rows.empty() ? std::nullopt : SmbiosMemoryModule::from(*structure))
            for (std::string const& name : namesOf(*module))
                modules[name].push_back(module->instance);
    for (Row& row : m_rows)
        if (row.counter.label)
            if (auto const found = modules.find(text::lowered(*row.counter.label));
                found != modules.end() && found->second.size() == 1)
                row.module = found->second.front();
}

void MemoryErrorCounters::addTo(DeviceDescription& device, SmbiosMemoryModule const& module) const
{
    Count corrected, uncorrected; // a module may be several ranks
    for (Row const& row : m_rows) {
        if (row.module != module.instance)
            continue;
        corrected = sum(corrected, row.counter.corrected);
        uncorrected = sum(uncorrected, row.counter.uncorrected);
    }
    device.add("CorrectedErrors", corrected);
    device.add("UncorrectedErrors", uncorrected);
}

void MemoryErrorCounters::addOthers(DeviceSink& sink) const
{
    for (Row const& row : m_rows) {
        MemoryErrorCounter const& counter = row.counter;
        if (row.module)
            continue;
        DeviceDescription device;
        device.type = memoryErrorCounterType();
        device.capabilities = device.type | CapabilityImp::Hardware();
        device.name =
            String("Memory errors of " + counter.label.value_or(counter.controller + " " + counter.name));
        device.description = "Memory error counter";
        std::string const channel =
            counter.name.substr(0, counter.name.find('-')); // the folder of a row's channel
        device.osLocator = String("/" + std::string(kControllers) + "/" + counter.controller + "/" + channel);
        placeAt(device, "EDAC:" + counter.controller + ":" + counter.name, "EDAC");
        placeBelow(device, CapabilityImp::Memory(), location::memory().text);
        device.add("Locator", counter.label);
        device.add("BankLocator", counter.where);
        device.add("MemoryType", counter.kind);
        device.add("Size", measure::bytes(measure::scaled(counter.mebibytes, 1u << 20)));
        device.add("CorrectedErrors", counter.corrected);
        device.add("UncorrectedErrors", counter.uncorrected);
        sink.add(std::move(device));
    }
}

} // namespace zel
