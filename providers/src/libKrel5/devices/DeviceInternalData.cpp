#include <libKrel5/devices/DeviceInternalData.h>

#include <libKrel5/basics/DataHolderDefinition.h>
#include <libKrel5/basics/LibraryMutex.h>
#include <libKrel5/basics/SharedText.h>

#include <krel5/SysInfoDevice.h>

#include <memory>

namespace krel5 {

template class DataHolder<DeviceInternalData>;

namespace {

/// What was given out of one device. Kept in the device's record.
struct DeviceHandles
{
    SharedText name, description, osLocator, hwLocator;
    std::unique_ptr<SysInfoDevice> sysInfo; // null until it is asked for
};

DeviceHandles& handlesOf(zel::DeviceImp const& device)
{
    return device.handleSlot().get<DeviceHandles>([] { return new DeviceHandles(); });
}

} // namespace

KrelString const& DeviceInternalData::name() const
{
    zel::AutoMutex const guard(libraryMutex());
    return handlesOf(*device).name.give(device->name());
}

KrelString const& DeviceInternalData::description() const
{
    zel::AutoMutex const guard(libraryMutex());
    return handlesOf(*device).description.give(device->description());
}

KrelString const& DeviceInternalData::osLocator() const
{
    zel::AutoMutex const guard(libraryMutex());
    return handlesOf(*device).osLocator.give(device->osLocator());
}

KrelString const& DeviceInternalData::hwLocator() const
{
    zel::AutoMutex const guard(libraryMutex());
    return handlesOf(*device).hwLocator.give(device->hwLocator());
}

DeviceCapability DeviceInternalData::deviceType() const
{
    zel::AutoMutex const guard(libraryMutex());
    return DeviceCapability(device->deviceType());
}

DeviceCapability DeviceInternalData::deviceCapabilities() const
{
    zel::AutoMutex const guard(libraryMutex());
    return DeviceCapability(device->deviceCapabilities());
}

DeviceState DeviceInternalData::deviceState() const
{
    zel::AutoMutex const guard(libraryMutex());
    return DeviceState(device->state());
}

bool DeviceInternalData::hasCapability(DeviceCapability const& capability) const
{
    zel::AutoMutex const guard(libraryMutex());
    return device->deviceCapabilities().isCapable(capability.imp());
}

bool DeviceInternalData::intersectCapability(DeviceCapability const& capability) const
{
    zel::AutoMutex const guard(libraryMutex());
    return device->deviceCapabilities().intersects(capability.imp());
}

DeviceProperty* DeviceInternalData::property(KrelString const& key, zel::Logger& logger) const
{
    zel::AutoMutex const guard(libraryMutex());
    if (zel::PropertyImp* const found = device->property(key.zelString()))
        return &handleOf(*device, *found);
    ZEL_LOG(logger, zel::LogLevel::Warning)
        << "There is no property " << key.zelString() << " for device " << device->name();
    return nullptr;
}

DeviceProperty& handleOf(zel::DeviceImp& device, zel::PropertyImp& property)
{
    bool isNew = false;
    DeviceProperty& handle = property.handleSlot().get<DeviceProperty>([&] {
        isNew = true;
        return new DeviceProperty(&property);
    });
    if (zel::PropertyImp* const group = isNew ? device.groupOf(property) : nullptr)
        handle.setGroup(&handleOf(device, *group));
    return handle;
}

SysInfoDevice& sysInfoHandleOf(zel::DeviceImp& device)
{
    auto& handle = handlesOf(device).sysInfo;
    if (!handle)
        handle = std::make_unique<SysInfoDevice>(&device);
    return *handle;
}

} // namespace krel5
