#include <krel5/SyncDeviceProperty.h>

#include <libKrel5/devices/DeclaredProperties.h>
#include <libKrel5/devices/SyncDevicePropertyMutex.h>

#include <krel5/KrelString.h>

#include <memory>

namespace krel5 {

SyncDeviceProperty::SyncDeviceProperty(char const* key, PropertyCategory const& category,
                                       DataType const& type, DeviceCapability const& capability)
    : m_property(DeclaredProperties::create(key, category, type, capability)),
      m_mutex(new SyncDevicePropertyMutex())
{}

SyncDeviceProperty::SyncDeviceProperty(char const* key, PropertyCategory const& category,
                                       DataType const& type, DeviceCapability const& capability,
                                       SyncDeviceProperty const& group)
    : m_property(DeclaredProperties::create(key, category, type, capability, group.m_property)),
      m_mutex(new SyncDevicePropertyMutex())
{}

SyncDeviceProperty::~SyncDeviceProperty() { delete m_mutex; }

DeviceProperty& SyncDeviceProperty::property() const { return *m_property; }

} // namespace krel5
