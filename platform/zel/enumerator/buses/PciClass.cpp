#include <zel/enumerator/buses/PciClass.h>

#include <zel/foundation/FixedText.h>

#include <array>

namespace zel {

namespace {

using C = CapabilityImp;
using Code = CapabilityImp::Code;

struct Row
{
    std::uint32_t value,
        mask; ///< a class code belongs to the row when its bits under the mask equal the value
    Code type;
    FixedText<36> description;
    std::array<Code, 2> extra{Code::NIL, Code::NIL};
};

constexpr std::uint32_t kBase = 0xFF0000, kSubclass = 0xFFFF00, kInterface = 0xFFFFFF;

// The first row that fits counts.
// A network card, a sound card or a serial port is the record of its interface, card or port, found below the
// function; so the functions themselves have the more general types.
constexpr Row kRows[] = {
    {0x000100, kSubclass, Code::VideoCard, "VGA-compatible device"},
    {0x010000, kSubclass, Code::MassStorageController, "SCSI controller", {Code::SCSI}},
    {0x010100, kSubclass, Code::MassStorageController, "IDE controller", {Code::IDE, Code::ATA}},
    {0x010200, kSubclass, Code::MassStorageController, "Floppy disk controller"},
    {0x010400, kSubclass, Code::MassStorageController, "RAID controller", {Code::RAID}},
    {0x010500, kSubclass, Code::MassStorageController, "ATA controller", {Code::ATA}},
    {0x010600, kSubclass, Code::MassStorageController, "SATA controller", {Code::ATA, Code::SATA}},
    {0x010700, kSubclass, Code::MassStorageController, "SAS controller", {Code::SCSI, Code::SAS}},
    {0x010802, kInterface, Code::MassStorageController, "NVMe controller"},
    {0x010800, kSubclass, Code::MassStorageController, "Non-volatile memory controller"},
    {0x010000, kBase, Code::MassStorageController, "Mass storage controller"},
    {0x020000, kSubclass, Code::CommunicationsController, "Ethernet controller", {Code::Ethernet}},
    {0x020100, kSubclass, Code::CommunicationsController, "Token ring controller"},
    {0x020300, kSubclass, Code::CommunicationsController, "ATM controller"},
    {0x020700, kSubclass, Code::CommunicationsController, "InfiniBand controller"},
    {0x020000, kBase, Code::CommunicationsController, "Network controller"},
    {0x030000, kSubclass, Code::VideoCard, "Graphics card"},
    {0x030000, kBase, Code::VideoCard, "Display controller"},
    {0x040000, kSubclass, Code::VideoCapture, "Video device"},
    {0x040100, kSubclass, Code::PCI, "Audio controller"},
    {0x040300, kSubclass, Code::HDAudioController, "High-definition audio controller"},
    {0x040000, kBase, Code::PCI, "Multimedia controller"},
    {0x050000, kBase, Code::MemoryController, "Memory controller"},
    {0x060000, kSubclass, Code::PCIHostBridge, "Host bridge"},
    {0x060100, kSubclass, Code::PCIISABridge, "ISA bridge", {Code::PCIBridge}},
    {0x060200, kSubclass, Code::PCIEISABridge, "EISA bridge", {Code::PCIBridge}},
    {0x060400, kSubclass, Code::PCIPCIBridge, "PCI bridge", {Code::PCIBridge}},
    {0x060500, kSubclass, Code::PCIPCMCIABridge, "PCMCIA bridge", {Code::PCIBridge, Code::PcmciaController}},
    {0x060700,
     kSubclass,
     Code::PCICardBusBridge,
     "CardBus bridge",
     {Code::PCIBridge, Code::PcmciaController}},
    {0x060900, kSubclass, Code::PCIPCIBridge, "PCI bridge", {Code::PCIBridge}},
    {0x060000, kBase, Code::PCIBridge, "Bridge"},
    {0x070000, kSubclass, Code::CommunicationsController, "Serial controller"},
    {0x070100, kSubclass, Code::CommunicationsController, "Parallel controller"},
    {0x070300, kSubclass, Code::Modem, "Modem"},
    {0x070000, kBase, Code::CommunicationsController, "Communication controller"},
    {0x080300, kSubclass, Code::PCI, "Real-time clock controller", {Code::RTC}},
    {0x080500, kSubclass, Code::CardReader, "SD host controller"},
    {0x080600, kSubclass, Code::PCI, "IOMMU"},
    {0x080000, kBase, Code::PCI, "System peripheral"},
    {0x090000, kBase, Code::HID, "Input device controller"},
    {0x0A0000, kBase, Code::DockingStation, "Docking station"},
    {0x0B0000, kBase, Code::PCI, "Processor"},
    {0x0C0000, kSubclass, Code::IEEE1394Controller, "FireWire controller", {Code::IEEE1394}},
    {0x0C0300, kInterface, Code::USBController, "USB controller (UHCI)", {Code::USB, Code::UHCI}},
    {0x0C0310, kInterface, Code::USBController, "USB controller (OHCI)", {Code::USB, Code::OHCI}},
    {0x0C0320, kInterface, Code::USBController, "USB 2.0 controller (EHCI)", {Code::USB2, Code::EHCI}},
    {0x0C0330, kInterface, Code::USBController, "USB 3 controller (xHCI)", {Code::USB2}},
    {0x0C0340, kInterface, Code::USBController, "USB4 controller", {Code::USB2}},
    {0x0C0300, kSubclass, Code::USBController, "USB controller", {Code::USB}},
    {0x0C0500, kSubclass, Code::SMBusController, "SMBus controller", {Code::SMBus}},
    {0x0C0000, kBase, Code::PCI, "Serial bus controller"},
    {0x0D1100, kSubclass, Code::BlueTooth, "Bluetooth controller"},
    {0x0D0000, kBase, Code::CommunicationsController, "Wireless controller", {Code::Wireless}},
    {0x0F0000, kBase, Code::CommunicationsController, "Satellite controller"},
    {0x100000, kBase, Code::EncryptionController, "Encryption controller"},
    {0x110000, kBase, Code::PCI, "Signal processing controller"},
    {0x120000, kBase, Code::PCI, "Processing accelerator"},
    {0x130000, kBase, Code::PCI, "Instrumentation function"},
};

} // namespace

PciKind pciKind(std::uint32_t classCode)
{
    PciKind kind{C::PCI(), C::PCI(), "PCI device"};
    for (Row const& row : kRows) {
        if ((classCode & row.mask) != row.value)
            continue;
        kind.type = C(row.type);
        kind.capabilities |= kind.type;
        kind.description = row.description;
        for (Code const extra : row.extra)
            kind.capabilities |= C(extra);
        break;
    }
    if (kind.capabilities.isCapable(C::USB2()))
        kind.capabilities |= C::USB();
    return kind;
}

CapabilityImp pciCapabilities()
{
    C all = C::PCI() | C::USB();
    for (Row const& row : kRows) {
        all |= C(row.type);
        for (Code const extra : row.extra)
            all |= C(extra);
    }
    return all;
}

} // namespace zel
