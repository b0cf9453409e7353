#include <zel/enumerator/Discoverers.h>

#include <zel/enumerator/attached/discover.h>
#include <zel/enumerator/buses/PciClass.h>
#include <zel/enumerator/buses/UsbClass.h>
#include <zel/enumerator/buses/discover.h>
#include <zel/enumerator/drives/discover.h>
#include <zel/enumerator/memory/ErrorCounters.h>
#include <zel/enumerator/memory/discover.h>
#include <zel/enumerator/processors/discover.h>
#include <zel/enumerator/root/ReadOnceRoot.h>
#include <zel/enumerator/sensors/SensorTypes.h>
#include <zel/enumerator/sensors/discover.h>
#include <zel/enumerator/system/discover.h>
#include <zel/foundation/Logger.h>

#include <optional>

namespace zel {

namespace {

using C = CapabilityImp;

/// What HardwareTree::addBus gives.
C anyBus() { return C::PCI() | C::USB() | C::USB2(); }

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
    {"memory", &discoverMemory, [] { return C::Memory() | C::MemoryChip() | memoryErrorCounterType(); }},
    {"PCI functions", &discoverPciFunctions, [] { return pciCapabilities() | C::PCIExpress(); }},
    {"USB devices", &discoverUsbDevices, [] { return usbCapabilities() | C::USB2(); }},
    {"drives", &discoverDrives,
     [] {
         return C::HardDrive() | C::DrivePartition() | C::FloppyDrive() | C::SystemDrive() |
                C::RemovableStorage() | C::Optical() | C::CDROM() | C::CDDA() | C::CDR() | C::CDRW() |
                C::DVD() | C::DVDRAM() | C::DVDMINUSR() | C::ATA() | C::SATA() | C::IDE() | C::SCSI() |
                C::SAS() | C::RAID() | C::USBMassStorage() | anyBus();
     }},
    {"RAID arrays", &discoverRaidArrays, [] { return C::RAID(); }},
    {"network cards", &discoverNetworkCards,
     [] { return C::NetworkCard() | C::Ethernet() | C::Wireless() | anyBus(); }},
    {"monitors", &discoverMonitors, [] { return C::Monitor(); }},
    {"sound cards", &discoverSoundCards, [] { return C::SoundCard() | anyBus(); }},
    {"input devices", &discoverInputDevices,
     [] {
         return C::Keyboard() | C::Mouse() | C::TouchScreen() | C::Digitizer() | C::Joystick() | C::HID() |
                C::USB() | C::PS2Bus() | C::BluetoothDevice() | C::WiKeyboard() | C::WiMouse();
     }},
    {"ports", &discoverPorts, [] { return C::SerialPort() | C::ParallelPort() | C::Port() | anyBus(); }},
    {"thermal zones", &discoverThermalZones, [] { return C::ThermalZone(); }},
    {"sensors", &discoverSensors,
     [] {
         return C::TempSensor() | C::VoltSensor() | C::Fan() | sensor::currentSensor() |
                sensor::powerSensor() | sensor::energySensor() | sensor::humiditySensor();
     }},
    {"power", &discoverPower, [] { return C::Battery() | C::PowerSupply(); }},
    {"switches", &discoverSwitches, [] { return C::LidSensor(); }},
};

Logger& logger() { return LogFactory::getLogger("zel.Enumerator"); }

/// One pass over the machine.
class Scan
{
public:
    Scan(Root const& root, HardwareNames const& names) : m_root(root), m_names(names) {}

    void run(Discoverer const& discoverer, DeviceSink& sink)
    {
        TraceScope const trace(logger(), discoverer.name, __LINE__);
        std::visit([this, &sink](auto discover) { call(discover, sink); }, discoverer.discover);
    }

private:
    void call(DiscoverOnRoot discover, DeviceSink& sink) { discover(m_root, sink); }
    void call(DiscoverOnBuses discover, DeviceSink& sink)
    {
        if (!m_tree)
            m_tree.emplace(m_root, m_names);
        discover(*m_tree, sink);
    }

    ReadOnceRoot const m_root;
    HardwareNames const& m_names;
    std::optional<HardwareTree> m_tree; ///< once it was needed
};

} // namespace

std::span<Discoverer const> discoverers() noexcept { return kDiscoverers; }

void discover(Root const& root, CapabilityImp const& capabilities, DeviceSink& sink,
              HardwareNames const& names)
{
    Scan scan(root, names);
    for (Discoverer const& discoverer : kDiscoverers)
        if ((discoverer.yields() | C::Hardware()).intersects(capabilities))
            scan.run(discoverer, sink);
}

} // namespace zel
