#pragma once
// PCI functions and USB devices of one machine, read once for all discoverers of what hangs on them: a
// network card's record names its controller as parent, and a controller's record the buses below it.

#include <zel/enumerator/buses/DevicePath.h>
#include <zel/enumerator/buses/HardwareNames.h>
#include <zel/enumerator/buses/PciClass.h>
#include <zel/enumerator/buses/UsbClass.h>
#include <zel/enumerator/records/DeviceSink.h>
#include <zel/enumerator/root/Root.h>

#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace zel {

struct PciFunction
{
    std::string path;        ///< of its directory, free of links
    std::optional<PciId> id; ///< absent when the function does not tell vendor and device
    std::optional<std::uint32_t> classCode;
    std::optional<std::string> driver;
    std::optional<PciAddress> bridge; ///< the function above it
    PciKind kind;
    HardwareName known; ///< what the database says
    std::string name;   ///< what to call it
};

struct UsbDevice
{
    std::string path;
    std::optional<UsbId> id;
    std::optional<PciAddress> controller;
    std::optional<std::string> manufacturer, product;
    std::optional<std::uint64_t> bitsPerSecond;
    UsbKind kind;
    std::string name;
};

class HardwareTree
{
public:
    HardwareTree(Root const& root, HardwareNames const& names);

    Root const& root() const noexcept { return m_root; }
    std::map<PciAddress, PciFunction> const& pciFunctions() const noexcept { return m_pciFunctions; }
    std::map<UsbAddress, UsbDevice> const& usbDevices() const noexcept { return m_usbDevices; }
    PciFunction const* pci(std::optional<PciAddress> const& address) const;
    UsbDevice const* usb(std::optional<UsbAddress> const& address) const;

    /// tellFrom() with the controller's name.
    void tellFromController(DeviceDescription& device, DevicePath const& path) const;
    /// Puts the device below the nearest USB device or PCI function on its path that has a record, else below
    /// the system.
    void placeBelowController(DeviceDescription& device, DevicePath const& path) const;
    /// Capabilities PCI or USB and the address as property, for a device that hangs on such a bus.
    void addBus(DeviceDescription& device, DevicePath const& path) const;
    /// What the controller of that path is called; empty when it has none.
    std::string controllerName(DevicePath const& path) const;

    /// Gives the device its location. Where another device of that type stands there already, ":2" and so on
    /// is added, so that a machine which does not tell its devices apart still gets a record for each.
    void placeAt(DeviceDescription& device, String const& location, char const* busClass);

private:
    void readPci();
    PciFunction readFunction(std::string const& name) const;
    void readUsb();
    UsbDevice readDevice(std::string const& name, std::vector<std::string> const& interfaces) const;

    Root const& m_root;
    HardwareNames const& m_names;
    std::map<PciAddress, PciFunction> m_pciFunctions;
    std::map<UsbAddress, UsbDevice> m_usbDevices;
    std::set<std::pair<String, String>> m_places;
};

/// Of a `speed` file ("480", "1.5": megabits per second), in bits per second.
std::optional<std::uint64_t> usbSpeed(std::string_view text);
/// "PCI:0:31:2"; the bus number of another domain than 0 has the domain above its eight bits.
String pciLocation(PciAddress const& address);
/// "USB:1:2:3"
String usbLocation(UsbAddress const& address);
/// What the device on that path is known by on its bus: PCI or USB location, else the platform's own name for
/// it.
std::pair<String, char const*> busLocation(DevicePath const& path);

} // namespace zel
