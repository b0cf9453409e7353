#include <zel/enumerator/processors/FirmwareProcessors.h>

#include <zel/enumerator/records/Describe.h>
#include <zel/enumerator/records/Measures.h>

#include <algorithm>

namespace zel {

namespace {

constexpr std::uint8_t kProcessor = 4;

bool runs(SmbiosProcessor const& socket) { return socket.isPresent() && !socket.isDisabled(); }

void addProcessor(SmbiosProcessor const& socket, DeviceSink& sink)
{
    DeviceDescription device;
    device.type = CapabilityImp::CPU();
    device.capabilities = CapabilityImp::CPU() | CapabilityImp::Hardware();
    device.name = socket.version ? String(*socket.version)
                                 : joinedName({socket.manufacturer, std::string("processor")}, "");
    device.description = "Processor";
    device.osLocator = String(socket.socket.value_or(""));
    if (socket.isDisabled())
        device.state = DeviceStateImp::DISABLED();
    placeAt(device, location::smbios(kProcessor, socket.instance));
    placeBelowSystem(device);
    device.add("Manufacturer", socket.manufacturer);
    device.add("Model", socket.version);
    FirmwareProcessors::addFacts(socket, device);
    device.add("CoreCount", socket.cores);
    device.add("ThreadCount", socket.threads);
    device.add("StartClock", measure::hertz(socket.startHertz));
    device.add("SocketMaximumClock", measure::hertz(socket.socketHertz));
    sink.add(std::move(device));
}

} // namespace

SmbiosProcessor const* FirmwareProcessors::ofPackage(std::size_t place, std::size_t packages) const
{
    if (static_cast<std::size_t>(std::count_if(m_sockets.begin(), m_sockets.end(), &runs)) != packages)
        return nullptr;
    for (SmbiosProcessor const& socket : m_sockets)
        if (runs(socket) && place-- == 0)
            return &socket;
    return nullptr;
}

void FirmwareProcessors::addFacts(SmbiosProcessor const& socket, DeviceDescription& package)
{
    package.add("Socket", socket.socket);
    package.add("Status", socket.statusText());
    package.add("SerialNumber", socket.serial);
    package.add("PartNumber", socket.part);
    package.add("AssetTag", socket.assetTag);
    package.add("Voltage", measure::reading(UnitType::VOLTS(), socket.volts, 1));
}

void FirmwareProcessors::addOthers(std::size_t packages, DeviceSink& sink) const
{
    for (SmbiosProcessor const& socket : m_sockets)
        if (socket.isDisabled() || (packages == 0 && socket.isPresent()))
            addProcessor(socket, sink);
}

} // namespace zel
