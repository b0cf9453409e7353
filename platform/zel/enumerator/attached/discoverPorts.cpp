// Serial and parallel ports. Reads sys/class/tty/tty*/{type,port,iomem_base,irq} and
// proc/sys/dev/parport/parport*/{base-addr,irq}. Some of the first need the administrator on old kernels.
#include <zel/enumerator/attached/discover.h>

#include <zel/enumerator/attached/TypecPorts.h>
#include <zel/enumerator/records/Describe.h>
#include <zel/enumerator/records/Measures.h>
#include <zel/enumerator/root/Text.h>

#include <array>
#include <limits>

namespace zel {

namespace {

using C = CapabilityImp;

constexpr unsigned kMaxPort = 4096;

/// Chips of linux/serial_core.h that a PC has.
char const* chipName(std::int64_t type)
{
    static constexpr std::array<char const*, 9> kNames{"", "8250",  "16450",   "16550", "16550A",
                                                       "", "16650", "16650V2", "16750"};
    auto const number = static_cast<std::uint64_t>(type); // what is below zero becomes too large
    return number < kNames.size() ? kNames[number] : "";
}

/// The kernel makes nodes for ports that might be there; a port that is there has a chip, or (where the
/// attribute is absent) a device of its own instead of the driver's placeholder.
bool isReal(std::optional<std::int64_t> type, DevicePath const& place)
{
    return type ? *type > 0 : !place.components.empty() && !place.isVirtual && !place.has("serial8250");
}

std::optional<unsigned> address32(std::optional<std::uint64_t> number)
{
    return number && *number > 0 && *number <= std::numeric_limits<unsigned>::max()
               ? std::optional(static_cast<unsigned>(*number))
               : std::nullopt;
}

/// Of 16 bits on a PC.
void addIoAddress(DeviceDescription& device, std::optional<unsigned> address)
{
    bool const isNarrow = address && *address <= 0xFFFF;
    device.add("IoAddress",
               measure::amount(isNarrow ? UnitType::HEXADECIMAL16() : UnitType::HEXADECIMAL32(), address));
}

void addInterrupt(DeviceDescription& device, std::optional<std::int64_t> number)
{
    if (number && *number > 0)
        device.add("Interrupt", narrow(number));
}

/// The driver of the port; below a chip with several, Linux 6.5 puts a "port" that has no driver worth a
/// name.
std::optional<std::string> driverOf(Root const& root, std::string const& folder)
{
    auto driver = root.linkName(folder + "device/driver");
    return driver == "port" ? root.linkName(folder + "device/../../driver") : driver;
}

DeviceDescription describeSerial(HardwareTree& tree, std::string const& name, DevicePath const& place)
{
    DeviceDescription device;
    device.type = C::SerialPort();
    device.capabilities = C::SerialPort() | C::Port() | C::Hardware();
    device.description = "Serial port";
    device.osLocator = String("/dev/" + name);
    tree.placeBelowController(device, place);
    tree.addBus(device, place);
    if (auto const driver = driverOf(tree.root(), "sys/class/tty/" + name + "/"))
        device.add("Driver", std::optional(String(*driver)));
    return device;
}

/// A port of the PC (ttyS) or of a chip of the platform (ttyAMA).
void addSerial(HardwareTree& tree, DeviceSink& sink, std::string const& name, unsigned index)
{
    Root const& root = tree.root();
    std::string const folder = "sys/class/tty/" + name + "/";
    auto const type = root.number(folder + "type");
    DevicePath const place = DevicePath::parse(root.resolve("sys/class/tty/" + name).value_or(""));
    if (!isReal(type, place))
        return;
    auto const ioAddress = address32(root.hexadecimal(folder + "port"));
    auto const memory = ioAddress ? std::nullopt : address32(root.hexadecimal(folder + "iomem_base"));
    auto const address = ioAddress ? ioAddress : memory;

    DeviceDescription device = describeSerial(tree, name, place);
    String const number = String::number(index + 1);
    bool const isPc = name.starts_with("ttyS");
    device.name = String("Serial port ") + (isPc ? number : String(name.substr(3)));
    auto const platform = busLocation(place);
    if (address && isPc)
        tree.placeAt(device, location::com(static_cast<int>(index + 1), *address).text, "COM");
    else if (isPc || platform.first.empty())
        tree.placeAt(device, String("COM:") + number, "COM");
    else
        tree.placeAt(device, platform.first, platform.second);
    if (char const* const chip = chipName(isPc ? type.value_or(0) : 0); *chip)
        device.add("Chip", std::optional(String(chip)));
    addIoAddress(device, ioAddress);
    device.add("MemoryAddress", measure::amount(UnitType::HEXADECIMAL32(), memory));
    addInterrupt(device, root.number(folder + "irq"));
    sink.add(std::move(device));
}

/// A port of an adapter, modem or board on USB (ttyUSB, ttyACM); those of an adapter with several are its
/// interfaces.
void addUsbSerial(HardwareTree& tree, DeviceSink& sink, std::string const& name, char const* description)
{
    DevicePath const place = DevicePath::parse(tree.root().resolve("sys/class/tty/" + name).value_or(""));
    if (place.components.empty() || place.isVirtual)
        return;
    DeviceDescription device = describeSerial(tree, name, place);
    std::string const carrier = tree.controllerName(place);
    device.name = carrier.empty() ? String(description) : String(carrier);
    device.description = description;
    tree.tellFromController(device, place);
    auto const [location, busClass] = busLocation(place);
    std::uint32_t const interface = place.usbInterface.value_or(0);
    tree.placeAt(device, interface == 0 ? location : location + ":" + String::number(interface), busClass);
    sink.add(std::move(device));
}

void addParallel(HardwareTree& tree, DeviceSink& sink, std::string const& name, unsigned index)
{
    std::string const folder = "proc/sys/dev/parport/" + name + "/";
    // "888\t1912": the standard and the extended registers; 0 when there are none.
    std::string const line = tree.root().text(folder + "base-addr").value_or("");
    auto const ioAddress = address32(text::toUnsigned(line.substr(0, line.find_first_of("\t "))));
    DeviceDescription device;
    device.type = C::ParallelPort();
    device.capabilities = C::ParallelPort() | C::Port() | C::Hardware();
    device.name = String("Parallel port ") + String::number(index + 1);
    device.description = "Parallel port";
    device.osLocator = String("/dev/" + name);
    tree.placeAt(device, location::lpt(static_cast<int>(index + 1), ioAddress.value_or(0)).text, "LPT");
    placeBelowSystem(device);
    addIoAddress(device, ioAddress);
    addInterrupt(device, tree.root().number(folder + "irq"));
    sink.add(std::move(device));
}

} // namespace

void discoverPorts(HardwareTree& tree, DeviceSink& sink)
{
    for (std::string const& name : tree.root().list("sys/class/tty")) {
        for (char const* prefix : {"ttyS", "ttyAMA"})
            if (auto const index = text::indexAfter(name, prefix); index && *index < kMaxPort)
                addSerial(tree, sink, name, *index);
        if (text::indexAfter(name, "ttyUSB"))
            addUsbSerial(tree, sink, name, "USB serial port");
        else if (text::indexAfter(name, "ttyACM"))
            addUsbSerial(tree, sink, name, "USB modem or serial port");
    }
    for (std::string const& name : tree.root().list("proc/sys/dev/parport"))
        if (auto const index = text::indexAfter(name, "parport"); index && *index < kMaxPort)
            addParallel(tree, sink, name, *index);
    addTypecPorts(tree, sink);
}

} // namespace zel
