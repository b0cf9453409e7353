// USB hubs and devices. Reads, beyond what the tree holds, sys/bus/usb/devices/*/{version,serial}.
// Needs no privilege. What an interface does (keyboard, drive, network card) is a record of its own below the
// device's.
#include <zel/enumerator/buses/discover.h>

#include <zel/enumerator/records/Describe.h>
#include <zel/enumerator/records/Measures.h>
#include <zel/enumerator/root/Text.h>

namespace zel {

namespace {

void addIdentity(DeviceDescription& device, HardwareTree const& tree, UsbAddress const& address,
                 UsbDevice const& found)
{
    if (found.id) {
        device.add("VendorId", std::optional(String(hexadecimal4(found.id->vendor))));
        device.add("DeviceId", std::optional(String(hexadecimal4(found.id->product))));
    }
    if (found.manufacturer)
        device.add("Manufacturer", std::optional(String(*found.manufacturer)));
    if (found.product)
        device.add("Model", std::optional(String(*found.product)));
    if (address.isRootHub()) // its "serial number" is the controller's address
        return;
    if (auto const serial = text::meaningful(tree.root().text(found.path + "/serial")))
        device.add("SerialNumber", std::optional(String(*serial)));
}

} // namespace

void discoverUsbDevices(HardwareTree& tree, DeviceSink& sink)
{
    for (auto const& [address, found] : tree.usbDevices()) {
        DeviceDescription device;
        device.type = found.kind.type;
        device.capabilities = found.kind.capabilities | CapabilityImp::Hardware();
        device.name = found.name;
        device.description = found.kind.description;
        device.osLocator = found.path.substr(found.path.rfind('/') + 1);
        tree.placeAt(device, usbLocation(address), "USB");
        DevicePath above;
        above.usb = address.hub();
        above.pci = found.controller;
        tree.placeBelowController(device, above);
        if (found.kind.type == CapabilityImp::HUB())
            device.childBusIds.push_back(usbLocation(address));
        addIdentity(device, tree, address, found);
        device.add("DataRate", measure::bitsPerSecond(found.bitsPerSecond));
        if (auto const version = tree.root().text(found.path + "/version"))
            device.add("UsbVersion", std::optional(String(*version)));
        sink.add(std::move(device));
    }
}

} // namespace zel
