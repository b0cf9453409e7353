#pragma once
// The device that a test works on, read-only.
//
//     KrelString const& name = device.name();
//     bool optical = device.hasCapability(DeviceCapability::Optical());
//     DeviceProperty const* size = device.property("Size"); // null: it has none
//     int file = open(device.osLocator().getUTF8Buffer(), O_RDONLY);
//
// Thread rule: every operation takes the library's one mutex. A returned reference stays valid as long as the
// device, whatever becomes of the handle, and its text never changes: a device that is renamed keeps its
// earlier names beside the new one. Such a text may be read from several threads at once.

#include <krel5/DataHolder.h>
#include <krel5/Export.h>

namespace zel {
class DeviceImp;
} // namespace zel

namespace krel5 {

class DeviceCapability;
class DeviceProperty;
class DeviceState;
class KrelString;
class Test;
struct DeviceInternalData;

/// Handle on one device record. Copying copies the handle, not the device.
class KREL5_EXPORT DiagDevice
{
public:
    /// For the library's own use.
    explicit DiagDevice(zel::DeviceImp* device);
    DiagDevice(DiagDevice const& other);
    DiagDevice& operator=(DiagDevice const& other);
    virtual ~DiagDevice();

    KrelString const& name() const;        ///< "Samsung SSD 970 EVO 1TB"
    KrelString const& description() const; ///< "NVMe solid-state drive"
    KrelString const& osLocator() const;   ///< where the operating system knows it: "/dev/nvme0n1"
    KrelString const& hwLocator() const;   ///< location string: "PCI:1:0:0"
    /// The single capability that says what the device is.
    DeviceCapability deviceType() const;
    /// Every capability of the device.
    DeviceCapability deviceCapabilities() const;
    DeviceState deviceState() const;
    /// Whether the device has every capability of the argument.
    bool hasCapability(DeviceCapability const& capability) const;
    /// Whether it has at least one of them.
    bool intersectCapability(DeviceCapability const& capability) const;

    /// Null, and a warning in the log, when the device has no property of that key. The handle belongs to the
    /// device; every request for one property returns the same one.
    DeviceProperty const* property(KrelString const& key) const;
    unsigned int propertyCount() const;
    /// In order of addition. Throws IndexOutOfBoundsException(0, count - 1, index).
    DeviceProperty const& getProperty(unsigned int index) const;

    /// Says that the test applies to this device; for the enumerate-tests callback. A null test is a
    /// programming error (internal error). Throws AlreadyAddedException when the test is there already.
    void addTest(Test* test);

    /// The record behind the handle. For the library's own use.
    zel::DeviceImp& imp();
    zel::DeviceImp const& imp() const;

private:
    DeviceInternalData& data();
    DeviceInternalData const& data() const;

    DataHolder<DeviceInternalData> m_holder;
};

} // namespace krel5
