#pragma once
// The properties that a module declared, kept for the life of the process in the order of their creation, and
// the rules by which they are made.

#include <libKrel5/basics/ObjectList.h>

#include <krel5/DeviceProperty.h>

#include <zel/model/devices/PropertySpecImp.h>

namespace krel5 {

/// One property declared by this module: its specification and the handle that the author holds.
struct DeclaredProperty
{
    std::shared_ptr<zel::PropertySpecImp> spec;
    std::unique_ptr<DeviceProperty> property;
};

/// Each factory gives back the property of that key as it is, with a warning in the log, where there is one
/// already.
/// Thread rule: main thread.
class DeclaredProperties
{
public:
    /// `group`: under which it is shown; null: top level.
    static DeviceProperty* create(KrelString const& key, PropertyCategory const& category,
                                  DataType const& type, DeviceCapability const& capability,
                                  DeviceProperty const* group = nullptr);
    /// `alias` is a second identity beside the key, kept in the specification.
    static DeviceProperty* createFake(KrelString const& key, PropertyCategory const& category,
                                      DataType const& type, DeviceCapability const& capability,
                                      KrelString const& alias);
    static DeviceProperty* createGroup(KrelString const& key, PropertyCategory const& category,
                                       DataType const& type, DeviceCapability const& capability);
    /// Category SysInfo, type STRING, unless given.
    static DeviceProperty* createGroup(KrelString const& key, PropertyCategory const& category,
                                       DeviceCapability const& capability);
    static DeviceProperty* createGroup(KrelString const& key, DataType const& type,
                                       DeviceCapability const& capability);
    static DeviceProperty* createGroup(KrelString const& key, DeviceCapability const& capability);
    static DeviceProperty* createLink(KrelString const& key, PropertyCategory const& category,
                                      DeviceCapability const& capability);

    static ObjectList<DeclaredProperty>& all();

private:
    static DeviceProperty* declare(char const* function, KrelString const& key,
                                   PropertyCategory const& category, DataType const& type,
                                   DeviceCapability const& capability, KrelString const& alias,
                                   DeviceProperty const* group = nullptr);
};

} // namespace krel5
