#include <zel/model/devices/Location.h>

#include <cstdio>

namespace zel::location {
namespace {

template <typename... Numbers>
String print(char const* format, Numbers... numbers)
{
    char text[96];
    std::snprintf(text, sizeof text, format, numbers...);
    return String(text);
}

char letter(int port) { return static_cast<char>(port + 64); }

} // namespace

Location bus(int number, String const& prefix) { return {prefix + print("BUS:%i", number), "BUS"}; }
Location floppy(int drive) { return {print("FD:%i", drive), "FD"}; }

Location scsi(int adapter, int bus, int target, int logicalUnit)
{
    return {print("SCSI:%i:%i:%i:%i", adapter, bus, target, logicalUnit), "SCSI"};
}

Location sata(int adapter, int bus, int target, int logicalUnit)
{
    return {print("SATA:%i:%i:%i:%i", adapter, bus, target, logicalUnit), "SATA"};
}

Location ide(int channel, int position) { return {print("IDE:%i:%i", channel, position), "IDE"}; }

Location usb(std::span<std::uint32_t const> numbers)
{
    if (numbers.empty())
        return {"USB:", "USB"};
    String const first = print("USB:%u", numbers[0]);
    return {numbered(first, numbers.subspan(1)), "USB"};
}

Location ieee1394(int first, int second, int third)
{
    return {print("IEEE1394:%i:%i:%i", first, second, third), "IEEE1394"};
}

Location net(std::array<unsigned, 6> const& o)
{
    return {print("NET:%i:%i:%i:%i:%i:%i", o[0], o[1], o[2], o[3], o[4], o[5]), "NET"};
}

Location com(int port, unsigned ioAddress) { return {print("COM:%i:0x%X", port, ioAddress), "COM"}; }

Location letteredCom(int port, unsigned ioAddress)
{
    return {print("COM%c:0x%X", letter(port), ioAddress), "COM"};
}

Location lpt(int port, unsigned ioAddress)
{
    return {ioAddress ? print("LPT:%i:0x%X", port, ioAddress) : print("LPT:%i", port), "LPT"};
}

Location letteredLpt(int port, unsigned ioAddress)
{
    return {ioAddress ? print("LPT:%c:0x%X", letter(port), ioAddress) : print("LPT:%c", letter(port)), "LPT"};
}

Location cpu(int number) { return {print("CPU:%i", number), "CPU"}; }
Location system() { return {"System", "SYSTEM"}; }
Location memory() { return {"Memory", "MEM"}; }

Location pci(int bus, int device, int function)
{
    return {print("PCI:%i:%i:%i", bus, device, function), "PCI"};
}

Location agp(int bus, int device, int function)
{
    return {print("AGP:%i:%i:%i", bus, device, function), "AGP"};
}

Location isa(int number) { return {print("ISA:%i", number), "ISA"}; }
Location ps2() { return {"PS/2", "PS/2"}; }
Location monitor(int number) { return {print("Monitor:%i", number), "MONITOR"}; }
Location printer(int number) { return {print("Printer:%i", number), "PRINTER"}; }

Location smbios(std::uint16_t structureType, std::uint32_t instance)
{
    return {instance ? print("SMBIOS:%u:%u", structureType, instance) : print("SMBIOS:%u", structureType),
            "SMBIOS"};
}

String numbered(String const& prefix, std::span<std::uint32_t const> numbers)
{
    String text = prefix;
    for (std::uint32_t const number : numbers) {
        if (number == kNullIndex)
            break;
        text += print(":%u", number);
    }
    return text;
}

} // namespace zel::location
