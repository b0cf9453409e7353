#pragma once
// A property that a module declares once and adds to many devices, also from several threads.
//
//     static SyncDeviceProperty s_serial("SerialNumber",
//                                        PropertyCategory::SysInfo() | PropertyCategory::SecurityInfo(),
//                                        DataType::STRING(), DeviceCapability::HardDrive());
//     drive->addPropertyValue(s_serial, Value("S3X9NX0M"));
//
// Thread rule: the object has a mutex of its own; SysInfoDevice::addPropertyValue takes it, after the
// library's, so that setting the value and copying it to the device are one step.

#include <krel5/DeviceProperty.h>

namespace krel5 {

struct SyncDevicePropertyMutex;

class KREL5_EXPORT SyncDeviceProperty
{
public:
    /// Declares the property. Before start() or inside the module-init callback, else InvalidInitException;
    /// InvalidKeyException for a key that is empty or has a blank. Where the module has declared a property
    /// of the key already, this object stands for that one as it is; category, type, capability and group
    /// given here have no effect then, which the log says.
    SyncDeviceProperty(char const* key, PropertyCategory const& category, DataType const& type,
                       DeviceCapability const& capability);
    /// The same, shown under `group`.
    SyncDeviceProperty(char const* key, PropertyCategory const& category, DataType const& type,
                       DeviceCapability const& capability, SyncDeviceProperty const& group);
    ~SyncDeviceProperty();
    SyncDeviceProperty(SyncDeviceProperty const&) = delete;
    SyncDeviceProperty& operator=(SyncDeviceProperty const&) = delete;

    /// The declared property; owned by the library, lives as long as the process.
    DeviceProperty& property() const;

private:
    friend class SysInfoDevice;
    DeviceProperty* m_property;
    SyncDevicePropertyMutex* m_mutex;
};

} // namespace krel5
