#include <krel5/DiagDevice.h>

#include <libKrel5/basics/Arguments.h>
#include <libKrel5/basics/DataHolderDefinition.h>
#include <libKrel5/basics/LibraryMutex.h>
#include <libKrel5/devices/DeviceInternalData.h>

#include <krel5/DeviceCapability.h>
#include <krel5/DeviceState.h>

#include <zel/foundation/Logger.h>

namespace krel5 {

namespace {

zel::Logger& logger()
{
    static zel::Logger& s_logger = zel::LogFactory::getLogger("krel5.DiagDevice");
    return s_logger;
}

} // namespace

DiagDevice::DiagDevice(zel::DeviceImp* device)
{
    requireArgument(device != nullptr, "device != nullptr", "DiagDevice::DiagDevice(...)");
    data().device = device;
}

DiagDevice::DiagDevice(DiagDevice const& other) = default;
DiagDevice& DiagDevice::operator=(DiagDevice const& other) = default;
DiagDevice::~DiagDevice() = default;

DeviceInternalData& DiagDevice::data() { return m_holder.data(); }
DeviceInternalData const& DiagDevice::data() const { return m_holder.data(); }
zel::DeviceImp& DiagDevice::imp() { return *data().device; }
zel::DeviceImp const& DiagDevice::imp() const { return *data().device; }

KrelString const& DiagDevice::name() const { return data().name(); }
KrelString const& DiagDevice::description() const { return data().description(); }
KrelString const& DiagDevice::osLocator() const { return data().osLocator(); }
KrelString const& DiagDevice::hwLocator() const { return data().hwLocator(); }
DeviceCapability DiagDevice::deviceType() const { return data().deviceType(); }
DeviceCapability DiagDevice::deviceCapabilities() const { return data().deviceCapabilities(); }
DeviceState DiagDevice::deviceState() const { return data().deviceState(); }

bool DiagDevice::hasCapability(DeviceCapability const& capability) const
{
    return data().hasCapability(capability);
}
bool DiagDevice::intersectCapability(DeviceCapability const& capability) const
{
    return data().intersectCapability(capability);
}

DeviceProperty const* DiagDevice::property(KrelString const& key) const
{
    return data().property(key, logger());
}

unsigned int DiagDevice::propertyCount() const
{
    zel::AutoMutex const guard(libraryMutex());
    return static_cast<unsigned>(imp().propertyCount());
}

DeviceProperty const& DiagDevice::getProperty(unsigned int index) const
{
    zel::AutoMutex const guard(libraryMutex());
    requireIndex(index, imp().propertyCount());
    return handleOf(*data().device, data().device->getProperty(index));
}

} // namespace krel5
