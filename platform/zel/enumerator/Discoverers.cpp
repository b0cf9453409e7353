#include <zel/enumerator/Discoverers.h>

#include <zel/foundation/Logger.h>

namespace zel {

namespace {

using C = CapabilityImp;

// One row a device class, in the order in which a person would describe a machine.
constexpr Discoverer kDiscoverers[] = {
    {"system", &discoverSystem,
     [] {
         return C::System() | C::SystemBoard() | C::BIOS() | C::Firmware() | C::Chassis() | C::MemoryChip();
     }},
    {"processors", &discoverProcessors,
     [] {
         return C::CPU() | C::CPUCore() | C::CPUThread() | C::CPUCache() | C::HT() | C::MultiCore() |
                C::MMX() | C::SSE() | C::SSE2() | C::SSE3() | C::SSSE3() | C::PSE36() | C::AMD3DNOW() |
                C::AMD3DNOWEXT() | C::AMDSSEMMX();
     }},
    {"memory", &discoverMemory, [] { return C::Memory(); }},
    // buses, storage, network, peripherals
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
    for (Discoverer const& discoverer : kDiscoverers) {
        if (!(discoverer.yields() | C::Hardware()).intersects(capabilities))
            continue;
        TraceScope const trace(logger(), discoverer.name, __LINE__);
        discoverer.discover(root, sink);
    }
}

} // namespace zel
