#pragma once
// The record of the two device handles, and what both read from it.

#include <krel5/DeviceProperty.h>
#include <krel5/KrelString.h>

#include <zel/foundation/Exception.h>
#include <zel/foundation/Logger.h>
#include <zel/model/devices/DeviceImp.h>

namespace krel5 {

struct DeviceInternalData
{
    zel::DeviceImp* device = nullptr; // not owned
    KrelString name, description;     // as last read
    KrelString osLocator, hwLocator;
};

/// The one handle of a property record of `device`, made on first request and kept in the record. It knows
/// the handle of its group.
inline DeviceProperty& handleOf(zel::DeviceImp& device, zel::PropertyImp& property)
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

/// The text of a record through a handle's cache.
inline KrelString const& cached(KrelString const& cache, zel::String const& text)
{
    auto& writable = const_cast<KrelString&>(cache);
    if (writable.zelString() != text)
        writable = KrelString(text);
    return writable;
}

/// The property's handle; null, with a warning on `logger`, when the device has no property of that key.
inline DeviceProperty* propertyOf(zel::DeviceImp& device, KrelString const& key, zel::Logger& logger)
{
    if (zel::PropertyImp* const found = device.property(key.zelString()))
        return &handleOf(device, *found);
    ZEL_LOG(logger, zel::LogLevel::Warning)
        << "There is no property " << key.zelString() << " for device " << device.name();
    return nullptr;
}

} // namespace krel5
