#pragma once
// What a discoverer hands over: plain descriptions, in which order it likes.

#include <zel/foundation/String.h>
#include <zel/model/values/ValueImp.h>
#include <zel/model/vocabulary/CapabilityImp.h>
#include <zel/model/vocabulary/DeviceStateImp.h>

#include <string>
#include <utility>
#include <vector>

namespace zel {

/// A device as found. The record's guid is made from type and location, so the pair must be unique on one
/// machine and the same at every scan.
struct DeviceDescription
{
    CapabilityImp type;         ///< the single capability that says what it is
    CapabilityImp capabilities; ///< every capability it has; the type is added if it is missing
    String name;                ///< what a person would call it: "Samsung SSD 970 EVO 1TB"
    String description;         ///< what kind of thing it is: "NVMe solid-state drive"
    String osLocator;           ///< where the operating system knows it: "/dev/nvme0n1", "eth0"
    String hwLocator;           ///< location string; made by zel/model/Location.h: "PCI:0:31:2"
    CapabilityImp busClass;     ///< "PCI", "USB" ... ; empty when the location has no bus class
    DeviceStateImp state = DeviceStateImp::FUNCTIONAL();
    CapabilityImp parentType; ///< with parentLocator: the device below which this one is shown, if any
    String parentLocator;
    std::vector<String> childBusIds; ///< buses that hang below this device: "PCI:2", "USB:1"
    /// Keys are rows of Properties.def; a key that is not there is refused with InvalidArgumentException.
    std::vector<std::pair<char const*, ValueImp>> properties;

    /// Adds a property when there is a value.
    template <typename Value>
    void add(char const* key, Value const& optionalValue)
    {
        if (optionalValue)
            properties.emplace_back(key, ValueImp(*optionalValue));
    }
};

/// A table that only some classes of devices are read from, and that cannot be read to its end. Unlike a RootFailure it says
/// nothing about all other devices: those are as complete as ever.
struct TableDamage
{
    String what; ///< "the firmware's table is damaged at offset 0x01a3: ...; what follows is not shown"
    CapabilityImp concerned; ///< classes of which less may be known
    CapabilityImp missing;   ///< those among them of which devices may be missing
};

class DeviceSink
{
public:
    virtual ~DeviceSink() = default;
    virtual void add(DeviceDescription device) = 0;
    /// Said by each discoverer that reads the table, of its own classes.
    virtual void tell(TableDamage const&) {}
    /// Whether facts are wanted as well that take long to find or that only few ask for. A discoverer need not look:
    /// what it finds anyway may be added.
    virtual bool wantsDetail() const { return false; }
};

} // namespace zel
