#pragma once
// One named value of a device: a serial number, a size, a temperature.
//
//     DeviceProperty const* serial = device.property("SerialNumber"); // null: it has none
//     if (serial != nullptr)
//         std::puts(serial->value().toString().getUTF8Buffer());
//
// A property that a device holds is reached through the device; a property that the module declared is the
// pattern from which devices take copies. SyncDeviceProperty declares one, the factories of SysInfoModule all
// kinds. Thread rule: what is returned by value or as a text may be asked for from several threads, and a
// returned text stays valid and unchanged as long as the handle; one object is not changed in one thread while
// another uses it, nor is the value of valueRef(). See SyncDeviceProperty for filling many devices from several
// threads.

#include <krel5/DataHolder.h>
#include <krel5/Export.h>

namespace zel {
class PropertyImp;
class PropertySpecImp;
} // namespace zel

namespace krel5 {

class DataType;
class DeviceCapability;
class KrelString;
class PropertyCategory;
class Value;
struct DevicePropertyData;

/// Handle on one property record. Copying copies the handle, not the property.
class KREL5_EXPORT DeviceProperty
{
public:
    /// Wraps a property that belongs to a device. For the library's own use.
    explicit DeviceProperty(zel::PropertyImp* property);
    /// A property of its own, made from a declared specification. For the library's own use; the factories of
    /// the module facades are the way to get one.
    explicit DeviceProperty(zel::PropertySpecImp* specification);
    DeviceProperty(DeviceProperty const& other);
    DeviceProperty& operator=(DeviceProperty const& other);
    virtual ~DeviceProperty();

    /// Unique within its device; valid as long as this handle.
    KrelString const& key() const;
    /// Texts "Property.{key}.Name" and ".Description" in the current language; the name that the
    /// specification carries, else the key, where no text exists.
    KrelString const& localizedName() const;
    KrelString const& localizedDescription() const;
    /// Type of the value that the property has now: as declared, unless it was given one of another type.
    DataType type() const;
    PropertyCategory const& category() const;

    /// The value, by copy.
    Value value() const;
    /// The value in place; changing it changes the property. Nobody looks at the type then.
    Value& valueRef();
    /// Stores a copy of the value. One of another type than declared is stored as it is, with a warning in
    /// the log: the module's metadata says something else of it. Returns this.
    DeviceProperty* setValue(Value const& value);

    /// The group property under which this one is shown; null: top level. The group must outlive this
    /// property; one whose category is not Group is taken, with a warning in the log. Returns this.
    DeviceProperty* setGroup(DeviceProperty const* group);
    DeviceProperty const* group() const;

    /// Marks the value as one that another module fills later. Returns this.
    DeviceProperty* setWillBeDiscoveredLater();

    /// Makes this property show a property of another device: its value becomes the string array (`device`,
    /// `propertyKey`, key of the local parent group or ""). `device` names the other one by its location, "SATA:0:0:1:0": what
    /// DiagDevice::hwLocator gives and listings show. The library only carries the link: whoever shows it follows it.
    /// Throws KrelException outside the enumeration of devices and when this property's category does not
    /// hold LinkInFromDevice and Group; CannotAddPropertyLinkToNonGroupProperty when the parent is no group.
    /// Nothing has changed then. Returns this.
    DeviceProperty* linkInFromDevice(KrelString const& device, KrelString const& propertyKey,
                                     DeviceProperty* localParentGroup);

    /// The record behind the handle. For the library's own use.
    zel::PropertyImp& imp();
    zel::PropertyImp const& imp() const;

private:
    friend class SysInfoDevice;
    DeviceCapability deviceCapability() const;
    DevicePropertyData& data();
    DevicePropertyData const& data() const;

    DataHolder<DevicePropertyData> m_holder;
};

} // namespace krel5
