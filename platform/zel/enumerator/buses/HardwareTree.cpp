// Reads sys/bus/pci/devices/*/{uevent} and sys/bus/usb/devices/*/{uevent,speed,manufacturer,product}; where
// `uevent` lacks what it has on most kernels (or was not captured), the single attributes. Needs no
// privilege.
#include <zel/enumerator/buses/HardwareTree.h>

#include <zel/enumerator/records/Describe.h>
#include <zel/enumerator/root/Text.h>

#include <limits>

namespace zel {

namespace {

constexpr char const* kPciDevices = "sys/bus/pci/devices";
constexpr char const* kUsbDevices = "sys/bus/usb/devices";
constexpr std::uint64_t kMegabit = 1'000'000;
constexpr std::uint64_t kHighSpeed = 480 * kMegabit; // what USB 2.0 added
using Uevent = std::map<std::string, std::string, std::less<>>;

Uevent readUevent(Root const& root, std::string const& folder)
{
    return text::keyValueLines(root.read(folder + "/uevent", 1u << 16).value_or(""));
}

std::optional<std::string> valueOf(Uevent const& uevent, std::string_view key)
{
    auto const found = uevent.find(key);
    return found == uevent.end() ? std::nullopt : std::optional(found->second);
}

std::optional<std::uint16_t> narrow16(std::optional<std::uint64_t> number)
{
    return number && *number <= 0xFFFF ? std::optional(static_cast<std::uint16_t>(*number)) : std::nullopt;
}

using Pair = std::pair<std::optional<std::uint16_t>, std::optional<std::uint16_t>>;

/// "8086:27D0" or "1050/120/512": the first two numbers.
Pair twoIds(std::optional<std::string> const& text, char separator)
{
    auto const parts = text::split(text ? *text : std::string_view(), separator);
    if (parts.size() < 2)
        return {};
    return {narrow16(text::toHexadecimal(parts[0])), narrow16(text::toHexadecimal(parts[1]))};
}

Pair readIds(Root const& root, std::string const& folder, Pair fromUevent, char const* first,
             char const* second)
{
    if (!fromUevent.first || !fromUevent.second)
        return {narrow16(root.hexadecimal(folder + first)), narrow16(root.hexadecimal(folder + second))};
    return fromUevent;
}

/// Class codes of a USB device (TYPE=9/0/0, INTERFACE=3/1/2: decimal), else from the files with that prefix.
UsbClass readUsbClass(Root const& root, std::string const& folder, std::optional<std::string> const& line,
                      std::string const& prefix)
{
    auto const byte = [](std::optional<std::uint64_t> number) {
        return number && *number <= 0xFF ? static_cast<std::uint8_t>(*number) : std::uint8_t{0};
    };
    std::string const codes = line.value_or("");
    auto const parts = text::split(codes, '/');
    if (parts.size() == 3)
        return {byte(text::toUnsigned(parts[0])), byte(text::toUnsigned(parts[1])),
                byte(text::toUnsigned(parts[2]))};
    return {byte(root.hexadecimal(folder + prefix + "Class")),
            byte(root.hexadecimal(folder + prefix + "SubClass")),
            byte(root.hexadecimal(folder + prefix + "Protocol"))};
}

std::string rootHubName(UsbId const& id)
{
    switch (id.product) { // how the kernel numbers its root hubs, vendor 1d6b
    case 1:
        return "USB 1.1 root hub";
    case 2:
        return "USB 2.0 root hub";
    case 3:
        return "USB 3 root hub";
    default:
        return "USB root hub";
    }
}

} // namespace

HardwareTree::HardwareTree(Root const& root, HardwareNames const& names) : m_root(root), m_names(names)
{
    readPci();
    readUsb();
}

void HardwareTree::readPci()
{
    for (std::string const& name : m_root.list(kPciDevices))
        if (auto const address = PciAddress::parse(name))
            m_pciFunctions.emplace(*address, readFunction(name));
}

PciFunction HardwareTree::readFunction(std::string const& name) const
{
    PciFunction function;
    std::string const link = std::string(kPciDevices) + "/" + name;
    function.path = m_root.resolve(link).value_or(link);
    // The directory of a function stands in that of the bridge above it.
    std::size_t const slash = function.path.rfind('/');
    function.bridge = DevicePath::parse(std::string_view(function.path).substr(0, slash)).pci;

    std::string const folder = function.path + "/";
    Uevent const uevent = readUevent(m_root, function.path);
    auto const [vendor, device] =
        readIds(m_root, folder, twoIds(valueOf(uevent, "PCI_ID"), ':'), "vendor", "device");
    auto const [subVendor, subDevice] = readIds(m_root, folder, twoIds(valueOf(uevent, "PCI_SUBSYS_ID"), ':'),
                                                "subsystem_vendor", "subsystem_device");
    if (vendor && device)
        function.id = PciId{*vendor, *device, subVendor.value_or(0), subDevice.value_or(0)};
    auto code = text::toHexadecimal(valueOf(uevent, "PCI_CLASS").value_or(""));
    if (!code)
        code = m_root.hexadecimal(folder + "class");
    if (code && *code <= 0xFFFFFF)
        function.classCode = static_cast<std::uint32_t>(*code);
    function.driver = valueOf(uevent, "DRIVER");
    if (uevent.empty()) // else there is no driver: it would stand there
        function.driver = m_root.linkName(folder + "driver");
    function.kind = pciKind(function.classCode.value_or(0xFF0000));
    if (function.id) {
        function.known = m_names.pci(*function.id);
        function.name = nameOf(function.known, *function.id);
    } else {
        function.name = function.kind.description;
    }
    return function;
}

void HardwareTree::readUsb()
{
    std::map<std::string, std::vector<std::string>> interfaces;
    std::vector<std::string> devices;
    for (std::string const& name : m_root.list(kUsbDevices)) {
        std::size_t const colon = name.find(':'); // "1-2:1.0" is an interface of "1-2"
        if (colon == std::string::npos)
            devices.push_back(name);
        else
            interfaces[name.substr(0, colon)].push_back(name);
    }
    for (std::string const& name : devices)
        if (auto const address = UsbAddress::parse(name)) {
            // The interface of the root hub of bus 1 is "1-0:1.0".
            std::string const owner = address->isRootHub() ? std::to_string(address->bus) + "-0" : name;
            m_usbDevices.emplace(*address, readDevice(name, interfaces[owner]));
        }
}

UsbDevice HardwareTree::readDevice(std::string const& name, std::vector<std::string> const& interfaces) const
{
    UsbDevice device;
    std::string const link = std::string(kUsbDevices) + "/" + name;
    device.path = m_root.resolve(link).value_or(link);
    device.controller = DevicePath::parse(device.path).pci;

    std::string const folder = device.path + "/";
    Uevent const uevent = readUevent(m_root, device.path);
    auto const [vendor, product] =
        readIds(m_root, folder, twoIds(valueOf(uevent, "PRODUCT"), '/'), "idVendor", "idProduct");
    if (vendor && product)
        device.id = UsbId{*vendor, *product};
    UsbClass const own = readUsbClass(m_root, folder, valueOf(uevent, "TYPE"), "bDevice");
    std::vector<UsbClass> classes;
    for (std::string const& interface : interfaces) {
        std::string const path = std::string(kUsbDevices) + "/" + interface;
        classes.push_back(
            readUsbClass(m_root, path + "/", valueOf(readUevent(m_root, path), "INTERFACE"), "bInterface"));
    }
    device.kind = usbKind(own, classes);
    device.bitsPerSecond = usbSpeed(m_root.text(folder + "speed").value_or(""));
    if (device.bitsPerSecond.value_or(0) >= kHighSpeed)
        device.kind.capabilities |= CapabilityImp::USB2();
    if (UsbAddress::parse(name)->isRootHub()) {
        device.kind.description = "USB root hub";
        device.name = rootHubName(device.id.value_or(UsbId{}));
        return device;
    }
    device.manufacturer = text::meaningful(m_root.text(folder + "manufacturer"));
    device.product = text::meaningful(m_root.text(folder + "product"));
    HardwareName name_{device.manufacturer, device.product};
    if (device.id && (!name_.vendor || !name_.product)) {
        HardwareName const known = m_names.usb(*device.id);
        name_.vendor = name_.vendor ? name_.vendor : known.vendor;
        name_.product = name_.product ? name_.product : known.product;
    }
    device.name = device.id ? nameOf(name_, *device.id) : joinName(name_.vendor, name_.product);
    if (device.name.empty())
        device.name = device.kind.description;
    return device;
}

PciFunction const* HardwareTree::pci(std::optional<PciAddress> const& address) const
{
    auto const found = address ? m_pciFunctions.find(*address) : m_pciFunctions.end();
    return found == m_pciFunctions.end() ? nullptr : &found->second;
}

UsbDevice const* HardwareTree::usb(std::optional<UsbAddress> const& address) const
{
    auto const found = address ? m_usbDevices.find(*address) : m_usbDevices.end();
    return found == m_usbDevices.end() ? nullptr : &found->second;
}

void HardwareTree::placeBelowController(DeviceDescription& device, DevicePath const& path) const
{
    if (UsbDevice const* const usbDevice = usb(path.usb))
        placeBelow(device, usbDevice->kind.type, usbLocation(*path.usb));
    else if (PciFunction const* const function = pci(path.pci))
        placeBelow(device, function->kind.type, pciLocation(*path.pci));
    else
        placeBelowSystem(device);
}

void HardwareTree::tellFromController(DeviceDescription& device, DevicePath const& path) const
{
    tellFrom(device, String(controllerName(path)));
}

void HardwareTree::addBus(DeviceDescription& device, DevicePath const& path) const
{
    if (path.usb) {
        UsbDevice const* const carrier = usb(path.usb);
        device.capabilities |= CapabilityImp::USB();
        if (carrier && carrier->kind.capabilities.isCapable(CapabilityImp::USB2()))
            device.capabilities |= CapabilityImp::USB2();
    } else if (path.pci) {
        device.capabilities |= CapabilityImp::PCI();
        device.add("PciAddress", std::optional(String(path.pci->toString())));
    }
}

std::string HardwareTree::controllerName(DevicePath const& path) const
{
    if (UsbDevice const* const usbDevice = usb(path.usb))
        return usbDevice->name;
    PciFunction const* const function = pci(path.pci);
    return function ? function->name : std::string();
}

void HardwareTree::placeAt(DeviceDescription& device, String const& location, char const* busClass)
{
    String const type = device.type.toString();
    String place = location;
    for (unsigned number = 2; !m_places.emplace(type, place).second; ++number)
        place = location + ":" + String::number(number);
    device.hwLocator = place;
    device.busClass = CapabilityImp(String(busClass));
}

std::optional<std::uint64_t> usbSpeed(std::string_view text)
{
    std::size_t const dot = text.find('.');
    auto const whole = text::toUnsigned(text.substr(0, dot));
    auto const tenths = dot == std::string_view::npos ? std::optional<std::uint64_t>(0)
                                                      : text::toUnsigned(text.substr(dot + 1));
    if (!whole || !tenths || *tenths > 9 || *whole > 1'000'000)
        return std::nullopt;
    return *whole * kMegabit + *tenths * (kMegabit / 10);
}

String pciLocation(PciAddress const& address)
{
    return String("PCI:") + String::number(address.busNumber()) + ":" +
           String::number(unsigned{address.device}) + ":" + String::number(unsigned{address.function});
}

String usbLocation(UsbAddress const& address)
{
    std::vector<std::uint32_t> numbers{address.bus};
    numbers.insert(numbers.end(), address.ports.begin(), address.ports.end());
    return location::usb(numbers).text;
}

std::pair<String, char const*> busLocation(DevicePath const& path)
{
    if (path.usb)
        return {usbLocation(*path.usb), "USB"};
    if (path.pci)
        return {pciLocation(*path.pci), "PCI"};
    return {String(path.platformName()), ""};
}

} // namespace zel
