// The factories: each prints its location string, all else is the same.
#include <krel5/SysInfoDevice.h>

#include <libKrel5/basics/Arguments.h>
#include <libKrel5/basics/LibraryMutex.h>

#include <krel5/DeviceCapability.h>
#include <krel5/KrelString.h>

#include <zel/foundation/Exception.h>
#include <zel/foundation/Logger.h>
#include <zel/model/devices/DeviceImp.h>
#include <zel/model/devices/Location.h>

#include <array>
#include <deque>
#include <memory>

namespace krel5 {
namespace {

namespace location = zel::location;

zel::Logger& logger()
{
    static zel::Logger& s_logger = zel::LogFactory::getLogger("krel.SysInfoDevice");
    return s_logger;
}

// A device with its handle; kept for the life of the process, since nobody else owns it. Guarded by the
// library mutex.
struct Made
{
    std::unique_ptr<zel::DeviceImp> device;
    std::unique_ptr<SysInfoDevice> handle;
};

std::deque<Made>& madeDevices()
{
    static auto* const s_made = new std::deque<Made>();
    return *s_made;
}

struct Common
{
    DeviceCapability const& type;
    DeviceCapability const& capabilities;
    KrelString const& name;
    KrelString const& description;
    KrelString const& osLocator;
};

// The model takes the operating-system locator before the description.
SysInfoDevice* make(Common const& common, zel::Location const& where, bool isComplete = true)
{
    zel::AutoMutex const guard(libraryMutex());
    ZEL_LOG(logger(), zel::LogLevel::Debug)
        << where.busClass << " " << common.type.toString().zelString() << " " << where.text;
    Made made;
    made.device = zel::DeviceImp::createGeneric(
        common.type.imp(), common.capabilities.imp(), common.name.zelString(), common.osLocator.zelString(),
        common.description.zelString(), where.text, zel::CapabilityImp(where.busClass));
    made.device->setDeviceID(0);
    made.device->setComplete(isComplete);
    try {
        made.handle = std::make_unique<SysInfoDevice>(made.device.get());
    } catch (std::bad_alloc const&) {
        return nullptr;
    }
    madeDevices().push_back(std::move(made));
    return madeDevices().back().handle.get();
}

zel::Location whole(KrelString const& text) { return {text.zelString(), zel::String()}; }

std::array<unsigned, 6> six(unsigned int const* octets)
{
    requireArgument(octets != nullptr, "octets != nullptr", "SysInfoDevice::createNet(...)");
    return {octets[0], octets[1], octets[2], octets[3], octets[4], octets[5]};
}

} // namespace

SysInfoDevice* SysInfoDevice::createBus(Capability deviceType, Capability capabilities, Text name,
                                        Text description, Text osLocator, int bus)
{
    return make({deviceType, capabilities, name, description, osLocator}, location::bus(bus));
}

SysInfoDevice* SysInfoDevice::createBus(Capability deviceType, Capability capabilities, Text name,
                                        Text description, Text osLocator, int bus, Text prefix)
{
    return make({deviceType, capabilities, name, description, osLocator},
                location::bus(bus, prefix.zelString()));
}

SysInfoDevice* SysInfoDevice::createFD(Capability deviceType, Capability capabilities, Text name,
                                       Text description, Text osLocator, int drive)
{
    return make({deviceType, capabilities, name, description, osLocator}, location::floppy(drive));
}

SysInfoDevice* SysInfoDevice::createSCSI(Capability deviceType, Capability capabilities, Text name,
                                         Text description, Text osLocator, int adapter, int bus, int target,
                                         int logicalUnit)
{
    return make({deviceType, capabilities, name, description, osLocator},
                location::scsi(adapter, bus, target, logicalUnit));
}

SysInfoDevice* SysInfoDevice::createSATA(Capability deviceType, Capability capabilities, Text name,
                                         Text description, Text osLocator, int adapter, int bus, int target,
                                         int logicalUnit)
{
    return make({deviceType, capabilities, name, description, osLocator},
                location::sata(adapter, bus, target, logicalUnit));
}

SysInfoDevice* SysInfoDevice::createIDE(Capability deviceType, Capability capabilities, Text name,
                                        Text description, Text osLocator, int channel, int position)
{
    return make({deviceType, capabilities, name, description, osLocator}, location::ide(channel, position));
}

SysInfoDevice* SysInfoDevice::createUSB(Capability deviceType, Capability capabilities, Text name,
                                        Text description, Text osLocator, unsigned int first,
                                        unsigned int second, unsigned int third, unsigned int fourth,
                                        unsigned int fifth)
{
    return make({deviceType, capabilities, name, description, osLocator},
                location::usb(std::array<std::uint32_t, 5>{first, second, third, fourth, fifth}));
}

SysInfoDevice* SysInfoDevice::create1394(Capability deviceType, Capability capabilities, Text name,
                                         Text description, Text osLocator, int first, int second, int third)
{
    return make({deviceType, capabilities, name, description, osLocator},
                location::ieee1394(first, second, third));
}

SysInfoDevice* SysInfoDevice::createNet(Capability deviceType, Capability capabilities, Text name,
                                        Text description, Text osLocator, unsigned int const* octets)
{
    return make({deviceType, capabilities, name, description, osLocator}, location::net(six(octets)));
}

SysInfoDevice* SysInfoDevice::createCOM(Capability deviceType, Capability capabilities, Text name,
                                        Text description, Text osLocator, int port, unsigned int ioAddress)
{
    return make({deviceType, capabilities, name, description, osLocator}, location::com(port, ioAddress));
}

SysInfoDevice* SysInfoDevice::createLetteredCOM(Capability deviceType, Capability capabilities, Text name,
                                                Text description, Text osLocator, int port,
                                                unsigned int ioAddress)
{
    return make({deviceType, capabilities, name, description, osLocator},
                location::letteredCom(port, ioAddress));
}

SysInfoDevice* SysInfoDevice::createLPT(Capability deviceType, Capability capabilities, Text name,
                                        Text description, Text osLocator, int port, unsigned int ioAddress)
{
    return make({deviceType, capabilities, name, description, osLocator}, location::lpt(port, ioAddress));
}

SysInfoDevice* SysInfoDevice::createLetteredLPT(Capability deviceType, Capability capabilities, Text name,
                                                Text description, Text osLocator, int port,
                                                unsigned int ioAddress)
{
    return make({deviceType, capabilities, name, description, osLocator},
                location::letteredLpt(port, ioAddress));
}

SysInfoDevice* SysInfoDevice::createCPU(Capability deviceType, Capability capabilities, Text name,
                                        Text description, Text osLocator, int processor)
{
    return make({deviceType, capabilities, name, description, osLocator}, location::cpu(processor));
}

SysInfoDevice* SysInfoDevice::createSys(Capability deviceType, Capability capabilities, Text name,
                                        Text description, Text osLocator)
{
    return make({deviceType, capabilities, name, description, osLocator}, location::system());
}

SysInfoDevice* SysInfoDevice::createMemory(Capability deviceType, Capability capabilities, Text name,
                                           Text description, Text osLocator)
{
    return make({deviceType, capabilities, name, description, osLocator}, location::memory());
}

SysInfoDevice* SysInfoDevice::createPCI(Capability deviceType, Capability capabilities, Text name,
                                        Text description, Text osLocator, int bus, int device, int function)
{
    return make({deviceType, capabilities, name, description, osLocator},
                location::pci(bus, device, function));
}

SysInfoDevice* SysInfoDevice::createAGP(Capability deviceType, Capability capabilities, Text name,
                                        Text description, Text osLocator, int bus, int device, int function)
{
    return make({deviceType, capabilities, name, description, osLocator},
                location::agp(bus, device, function));
}

SysInfoDevice* SysInfoDevice::createISA(Capability deviceType, Capability capabilities, Text name,
                                        Text description, Text osLocator, int number)
{
    return make({deviceType, capabilities, name, description, osLocator}, location::isa(number));
}

SysInfoDevice* SysInfoDevice::createPS2(Capability deviceType, Capability capabilities, Text name,
                                        Text description, Text osLocator)
{
    return make({deviceType, capabilities, name, description, osLocator}, location::ps2());
}

SysInfoDevice* SysInfoDevice::createMonitor(Capability deviceType, Capability capabilities, Text name,
                                            Text description, Text osLocator, int monitor)
{
    return make({deviceType, capabilities, name, description, osLocator}, location::monitor(monitor));
}

SysInfoDevice* SysInfoDevice::createPrinter(Capability deviceType, Capability capabilities, Text name,
                                            Text description, Text osLocator, int printer)
{
    return make({deviceType, capabilities, name, description, osLocator}, location::printer(printer));
}

SysInfoDevice* SysInfoDevice::createSMBIOS2(Capability deviceType, Capability capabilities, Text name,
                                            Text description, Text osLocator, unsigned short structureType,
                                            unsigned int instance)
{
    return make({deviceType, capabilities, name, description, osLocator},
                location::smbios(structureType, instance));
}

SysInfoDevice* SysInfoDevice::createGeneric(Capability deviceType, Capability capabilities, Text name,
                                            Text description, Text osLocator, Text location)
{
    return make({deviceType, capabilities, name, description, osLocator}, whole(location));
}

SysInfoDevice* SysInfoDevice::createUnknown(Capability deviceType, Capability capabilities, Text name,
                                            Text description, Text osLocator, Text location)
{
    return make({deviceType, capabilities, name, description, osLocator}, whole(location), false);
}

SysInfoDevice* SysInfoDevice::createSMBusSlave(Capability deviceType, Capability capabilities, Text name,
                                               Text description, Text osLocator, Text location)
{
    return make({deviceType, capabilities, name, description, osLocator}, whole(location));
}

SysInfoDevice* SysInfoDevice::createSMBusController(Text name, Text location, bool isEnabled)
{
    SysInfoDevice* const device = make({DeviceCapability::SMBusController(), DeviceCapability::PCI(), name,
                                        "SMBus controller", KrelString()},
                                       {location.zelString(), "PCI"});
    if (!isEnabled)
        device->imp().setState(zel::DeviceStateImp::DISABLED());
    return device;
}

} // namespace krel5
