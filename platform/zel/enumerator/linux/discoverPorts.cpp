// Serial and parallel ports. Reads sys/class/tty/ttyS*/{type,port,iomem_base,irq} and
// proc/sys/dev/parport/parport*/{base-addr,irq}. Some of the first need the administrator on old kernels.
#include <zel/enumerator/linux/HardwareTree.h>

#include <zel/enumerator/Describe.h>
#include <zel/enumerator/Measures.h>
#include <zel/enumerator/Text.h>

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
    return type > 0 && static_cast<std::uint64_t>(type) < kNames.size()
               ? kNames[static_cast<std::size_t>(type)]
               : "";
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

void addInterrupt(DeviceDescription& device, std::optional<std::int64_t> number)
{
    if (number && *number > 0)
        device.add("Interrupt", narrow(number));
}

void addSerial(HardwareTree& tree, DeviceSink& sink, std::string const& name, unsigned index)
{
    Root const& root = tree.root();
    std::string const folder = "sys/class/tty/" + name + "/";
    auto const type = root.number(folder + "type");
    if (type && *type <= 0)
        return;
    DevicePath const place = DevicePath::parse(root.resolve("sys/class/tty/" + name).value_or(""));
    if (!isReal(type, place))
        return;
    auto ioAddress = address32(root.hexadecimal(folder + "port"));
    auto const memory = ioAddress ? std::nullopt : address32(root.hexadecimal(folder + "iomem_base"));
    unsigned const address = ioAddress.value_or(memory.value_or(0));

    DeviceDescription device;
    device.type = C::SerialPort();
    device.capabilities = C::SerialPort() | C::Port() | C::Hardware();
    device.name = String("Serial port ") + String::number(index + 1);
    device.description = "Serial port";
    device.osLocator = String("/dev/" + name);
    Location const location = location::com(static_cast<int>(index + 1), address);
    tree.placeAt(device, location.text, "COM");
    tree.placeBelowController(device, place);
    tree.addBus(device, place);
    if (char const* const chip = chipName(type.value_or(0)); *chip)
        device.add("Chip", std::optional(String(chip)));
    device.add("IoAddress", measure::amount(UnitType::HEXADECIMAL32(), ioAddress));
    device.add("MemoryAddress", measure::amount(UnitType::HEXADECIMAL32(), memory));
    addInterrupt(device, root.number(folder + "irq"));
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
    device.add("IoAddress", measure::amount(UnitType::HEXADECIMAL32(), ioAddress));
    addInterrupt(device, tree.root().number(folder + "irq"));
    sink.add(std::move(device));
}

} // namespace

void discoverPorts(HardwareTree& tree, DeviceSink& sink)
{
    for (std::string const& name : tree.root().list("sys/class/tty"))
        if (auto const index = text::indexAfter(name, "ttyS"); index && *index < kMaxPort)
            addSerial(tree, sink, name, *index);
    for (std::string const& name : tree.root().list("proc/sys/dev/parport"))
        if (auto const index = text::indexAfter(name, "parport"); index && *index < kMaxPort)
            addParallel(tree, sink, name, *index);
}

} // namespace zel
