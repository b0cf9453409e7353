#include <zel/enumerator/Discoverers.h>

#include <zel/enumerator/root/ReadOnceRoot.h>
#include <zel/foundation/Logger.h>

namespace zel {

namespace {

using C = CapabilityImp;

// One row a device class, in the order in which a person would describe a machine.
constexpr Discoverer kDiscoverers[] = {
    {"system", &discoverSystem,
     [] { return C::System() | C::SystemBoard() | C::BIOS() | C::Firmware() | C::Chassis(); }},
    {"processors", &discoverProcessors,
     [] {
         return C::CPU() | C::CPUCore() | C::CPUThread() | C::CPUCache() | C::HT() | C::MultiCore() |
                C::MMX() | C::SSE() | C::SSE2() | C::SSE3() | C::SSSE3() | C::PSE36() | C::AMD3DNOW() |
                C::AMD3DNOWEXT() | C::AMDSSEMMX();
     }},
    {"memory", &discoverMemory, [] { return C::Memory() | C::MemoryChip(); }},
    {"buses and what hangs on them", &discoverHardware,
     [] {
         return C::PCI() | C::PCIBridge() | C::PCIHostBridge() | C::PCIISABridge() | C::PCIEISABridge() |
                C::PCIPCIBridge() | C::PCIPCMCIABridge() | C::PCICardBusBridge() | C::USB() | C::HUB() |
                C::USBController() | C::USBMassStorage() | C::MassStorageController() |
                C::MemoryController() | C::CommunicationsController() | C::IEEE1394Controller() |
                C::SMBusController() | C::EncryptionController() | C::HDAudioController() | C::VideoCard() |
                C::VideoCapture() | C::CardReader() | C::DockingStation() | C::Modem() | C::BlueTooth() |
                C::HID() | C::Printer() | C::Camera() | C::HardDrive() | C::DrivePartition() |
                C::FloppyDrive() | C::CDROM() | C::CDR() | C::CDRW() | C::DVD() | C::DVDRAM() |
                C::DVDMINUSR() | C::NetworkCard() | C::SoundCard() | C::Keyboard() | C::Mouse() |
                C::TouchScreen() | C::Digitizer() | C::Joystick() | C::SerialPort() | C::ParallelPort() |
                C::SystemDrive() | C::RemovableStorage() | C::Optical() | C::CDDA() | C::ATA() | C::SATA() |
                C::IDE() | C::SCSI() | C::SAS() | C::RAID() | C::USB2() | C::UHCI() | C::OHCI() | C::EHCI() |
                C::USB_UFI() | C::USBComposite() | C::PCIExpress() | C::SMBus() | C::RTC() | C::IEEE1394() |
                C::PcmciaController() | C::Ethernet() | C::Wireless() | C::Port() | C::BluetoothDevice() |
                C::WiKeyboard() | C::WiMouse() | C::PS2Bus() | C::Security();
     }},
    {"thermal zones", &discoverThermalZones, [] { return C::ThermalZone(); }},
    {"sensors", &discoverSensors, [] { return C::TempSensor() | C::VoltSensor() | C::Fan(); }},
    {"power", &discoverPower, [] { return C::Battery() | C::PowerSupply(); }},
    {"switches", &discoverSwitches, [] { return C::LidSensor(); }},
};

Logger& logger() { return LogFactory::getLogger("zel.Enumerator"); }

} // namespace

std::span<Discoverer const> discoverers() noexcept { return kDiscoverers; }

void discover(Root const& root, CapabilityImp const& capabilities, DeviceSink& sink)
{
    ReadOnceRoot const once(root);
    for (Discoverer const& discoverer : kDiscoverers) {
        if (!(discoverer.yields() | C::Hardware()).intersects(capabilities))
            continue;
        TraceScope const trace(logger(), discoverer.name, __LINE__);
        discoverer.discover(once, sink);
    }
}

} // namespace zel
