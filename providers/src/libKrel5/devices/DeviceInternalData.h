#pragma once
// The record of the two device handles, and what both read from it.

#include <krel5/DeviceCapability.h>
#include <krel5/DeviceProperty.h>
#include <krel5/DeviceState.h>
#include <krel5/KrelString.h>

#include <zel/foundation/Logger.h>
#include <zel/model/devices/DeviceImp.h>

namespace krel5 {

class SysInfoDevice;

/// Each operation takes the library mutex and reads the record of the device. The texts belong to that
/// record, not to a handle: they stay valid and unchanged as long as the device, and any thread may read
/// them.
struct DeviceInternalData
{
    KrelString const& name() const;
    KrelString const& description() const;
    KrelString const& osLocator() const;
    KrelString const& hwLocator() const;
    DeviceCapability deviceType() const;
    DeviceCapability deviceCapabilities() const;
    DeviceState deviceState() const;
    /// All of the capabilities, and at least one.
    bool hasCapability(DeviceCapability const& capability) const;
    bool intersectCapability(DeviceCapability const& capability) const;
    /// The property's handle; null, with a warning on `logger`, when the device has no property of that key.
    DeviceProperty* property(KrelString const& key, zel::Logger& logger) const;

    zel::DeviceImp* device = nullptr; // not owned
};

/// The one handle of a property record of `device`, made on first request and kept in the record. It knows
/// the handle of its group. Under the library mutex.
DeviceProperty& handleOf(zel::DeviceImp& device, zel::PropertyImp& property);
/// The one handle of a device's record that is given to system-information modules, likewise.
SysInfoDevice& sysInfoHandleOf(zel::DeviceImp& device);

} // namespace krel5
