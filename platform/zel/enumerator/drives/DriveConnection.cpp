// Reads, of the port of a SATA drive, ata*/link*/ata_link/link*/{sata_spd,hw_sata_spd_limit} (Linux 2.6.37),
// of a SAS drive port-*/phy-*/sas_phy/phy-*/{negotiated_linkrate,maximum_linkrate}, the links of NVMe
// controllers as PciLink does, and the name behind `driver`.
#include <zel/enumerator/drives/DriveConnection.h>

#include <zel/enumerator/buses/PciLink.h>
#include <zel/enumerator/records/Measures.h>
#include <zel/enumerator/root/Text.h>

#include <algorithm>

namespace zel {

namespace {

/// "6.0 Gbps", "6.0 Gbit"; nothing for "<unknown>", "Unknown", "Phy disabled".
measure::Reading linkRate(std::optional<std::string> const& line)
{
    return measure::link(UnitType::BITSPERSECOND(), text::amountBefore(line.value_or(std::string()), " Gb"));
}

void addRates(DeviceDescription& device, Root const& root, std::string const& folder, char const* now,
              char const* most)
{
    device.add("MaximumLinkSpeed", linkRate(root.text(folder + most)));
    device.add("LinkSpeed", linkRate(root.text(folder + now)));
}

/// First component with the prefix that is followed by a number; "" when there is none.
std::string component(DevicePath const& place, std::string_view prefix)
{
    auto const found = std::find_if(place.components.begin(), place.components.end(),
                                    [prefix](std::string const& name) { return name.starts_with(prefix); });
    return found == place.components.end() ? std::string() : *found;
}

void addAtaLink(DeviceDescription& device, Root const& root, DevicePath const& place)
{
    if (!place.ata)
        return;
    std::string const port = place.upTo("ata" + std::to_string(*place.ata));
    std::string const link = "link" + std::to_string(*place.ata);
    addRates(device, root, port + "/" + link + "/ata_link/" + link + "/", "sata_spd", "hw_sata_spd_limit");
}

void addSasLink(DeviceDescription& device, Root const& root, DevicePath const& place)
{
    std::string const port = component(place, "port-");
    if (port.empty() || component(place, "expander-") != "") // whose phys are those of the expander
        return;
    std::string const folder = place.upTo(port);
    for (std::string const& name : root.list(folder))
        if (name.starts_with("phy-")) {
            addRates(device, root, folder + "/" + name + "/sas_phy/" + name + "/", "negotiated_linkrate",
                     "maximum_linkrate");
            return;
        }
}

/// The USB interface ("1-2:1.0") that the drive is behind.
std::string usbInterfaceFolder(DevicePath const& place)
{
    for (std::string const& name : place.components)
        if (std::size_t const colon = name.find(':');
            colon != std::string::npos && place.usb &&
            UsbAddress::parse(std::string_view(name).substr(0, colon)) == place.usb)
            return place.upTo(name);
    return std::string();
}

std::optional<std::string> driverOf(HardwareTree const& tree, Drive const& drive)
{
    PciFunction const* const controller = tree.pci(drive.place.pci);
    switch (drive.bus) {
    case DriveBus::Ata:
    case DriveBus::Scsi:
    case DriveBus::Nvme: // "sd" is the same for all of them
        if (controller && controller->driver)
            return controller->driver;
        break;
    case DriveBus::Usb:
        if (std::string const folder = usbInterfaceFolder(drive.place); !folder.empty())
            if (auto const driver = tree.root().linkName(folder + "/driver"))
                return driver;
        break;
    case DriveBus::Virtio:
    case DriveBus::MemoryCard:
    case DriveBus::Other:
        break;
    }
    return tree.root().linkName(drive.deviceFolder + "/driver");
}

} // namespace

void addConnection(DeviceDescription& device, HardwareTree const& tree, Drive const& drive)
{
    if (auto const driver = driverOf(tree, drive))
        device.add("Driver", std::optional(String(*driver)));
    Root const& root = tree.root();
    switch (drive.bus) {
    case DriveBus::Ata:
        addAtaLink(device, root, drive.place);
        break;
    case DriveBus::Scsi:
        addSasLink(device, root, drive.place);
        break;
    case DriveBus::Nvme:
        if (PciFunction const* const controller = tree.pci(drive.place.pci))
            addPciLink(device, root, controller->path);
        break;
    case DriveBus::Usb:
        if (UsbDevice const* const carrier = tree.usb(drive.place.usb))
            device.add("DataRate", measure::bitsPerSecond(carrier->bitsPerSecond));
        break;
    case DriveBus::Virtio:
    case DriveBus::MemoryCard:
    case DriveBus::Other:
        break;
    }
}

} // namespace zel
