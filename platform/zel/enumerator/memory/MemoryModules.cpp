#include <zel/enumerator/memory/MemoryModules.h>

#include <zel/enumerator/records/Describe.h>
#include <zel/enumerator/records/Measures.h>

namespace zel {

namespace {

constexpr std::uint8_t kMemoryDevice = 17;

void addModule(SmbiosMemoryModule const& module, MemoryErrorCounters const& errors, DeviceSink& sink)
{
    DeviceDescription device;
    device.type = CapabilityImp::MemoryChip();
    device.capabilities = CapabilityImp::MemoryChip() | CapabilityImp::Hardware();
    placeAt(device, location::smbios(kMemoryDevice, module.instance));
    placeBelow(device, CapabilityImp::Memory(), location::memory().text);
    std::optional<std::string> size;
    auto const bytes = measure::bytes(module.bytes != 0 ? measure::Count(module.bytes) : std::nullopt);
    if (bytes)
        size = bytes->toString().toUtf8();
    device.name =
        joinedName({module.manufacturer, module.part, size, module.type, module.formFactor}, "Memory module");
    device.description = "Memory module";
    device.osLocator = String(module.locator.value_or(""));
    device.add("Size", bytes);
    device.add("Locator", module.locator);
    device.add("BankLocator", module.bank);
    device.add("Manufacturer", module.manufacturer);
    device.add("PartNumber", module.part);
    device.add("SerialNumber", module.serial);
    device.add("AssetTag", module.assetTag);
    device.add("MemoryType", module.type);
    device.add("FormFactor", module.formFactor);
    device.add("Speed", measure::transfersPerSecond(module.speed));
    device.add("ConfiguredSpeed", measure::transfersPerSecond(module.configuredSpeed));
    device.add("DataWidth", measure::bits(module.dataWidth));
    device.add("TotalWidth", measure::bits(module.totalWidth));
    device.add("RankCount", module.ranks);
    device.add("Voltage", measure::reading(UnitType::VOLTS(), module.volts, 3));
    errors.addTo(device, module);
    sink.add(std::move(device));
}

} // namespace

void addMemoryModules(Smbios const& smbios, MemoryErrorCounters const& errors, DeviceSink& sink)
{
    for (SmbiosStructure const* structure : smbios.ofType(kMemoryDevice))
        if (auto const module = SmbiosMemoryModule::from(*structure))
            addModule(*module, errors, sink);
}

} // namespace zel
