#pragma once

#include <zel/model/devices/PropertyImp.h>
#include <zel/model/vocabulary/CapabilityImp.h>
#include <zel/model/vocabulary/DeviceStateImp.h>

#include <memory>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace zel {

/// One device: what it is, where it is, and its properties. Property records have stable addresses.
/// Thread rule: none of its own; the public library guards devices with its one mutex.
class ZEL_EXPORT DeviceImp
{
public:
    /// The guid is name-based on type and location (operating-system locator where there is no location), so
    /// the same device found twice is the same device.
    static std::unique_ptr<DeviceImp> createGeneric(CapabilityImp const& type,
                                                    CapabilityImp const& capabilities, String const& name,
                                                    String const& osLocator, String const& description,
                                                    String const& location, CapabilityImp const& busClass);
    /// A device as it was found elsewhere, under the guid that it has there. Throws StateException for an empty guid.
    struct Identity
    {
        String guid, name, description, osLocator, hwLocator;
        CapabilityImp type, capabilities, busClass;
    };
    static std::unique_ptr<DeviceImp> restored(Identity identity);
    DeviceImp(DeviceImp const& other);
    DeviceImp& operator=(DeviceImp const&) = delete;

    String const& guid() const noexcept { return m_guid; }
    String const& name() const noexcept { return m_name; }
    void setName(String const& name) { m_name = name; }
    String const& description() const noexcept { return m_description; }
    String const& osLocator() const noexcept { return m_osLocator; }
    String const& hwLocator() const noexcept { return m_hwLocator; }
    CapabilityImp const& busClass() const noexcept { return m_busClass; }
    CapabilityImp const& deviceType() const noexcept { return m_type; }
    CapabilityImp const& deviceCapabilities() const noexcept { return m_capabilities; }
    void addCapability(CapabilityImp const& capability) { m_capabilities |= capability; }
    DeviceStateImp const& state() const noexcept { return m_state; }
    void setState(DeviceStateImp const& state) { m_state = state; }
    unsigned deviceID() const noexcept { return m_deviceId; }
    void setDeviceID(unsigned id) noexcept { m_deviceId = id; }
    /// False for a device about which too little is known to work with it.
    bool isComplete() const noexcept { return m_complete; }
    void setComplete(bool complete) noexcept { m_complete = complete; }
    std::vector<String> const& childBusIds() const noexcept { return m_childBusIds; }
    /// An identifier that is there already is not added again.
    void addChildBusId(String const& id);

    /// Stores a copy and returns it. Throws StateException when the key is there already.
    PropertyImp& addProperty(PropertyImp const* property);
    /// Takes over records for a device that has no property yet. REQUIRES: no two of one key.
    void adoptProperties(std::vector<std::unique_ptr<PropertyImp>> properties);
    /// Removes it; false when there is none. Its children stay, at top level.
    bool removeProperty(String const& key);
    std::size_t propertyCount() const noexcept { return m_properties.size(); }
    /// In order of addition. Throws IndexOutOfBoundsException.
    PropertyImp& getProperty(std::size_t index);
    PropertyImp const& getProperty(std::size_t index) const;
    /// Null when absent.
    PropertyImp* property(String const& key);
    PropertyImp const* property(String const& key) const;
    /// The group under which the property is shown; null at top level.
    PropertyImp* groupOf(PropertyImp const& property) const;
    /// One cursor a device: the first call restarts it; null at the end.
    PropertyImp* firstProperty();
    PropertyImp* nextProperty();

    /// Takes over what `other` knows about the same device: texts that are empty here, capabilities, child
    /// buses, state, every property, whose newer value wins, and its group. Returns whether anything changed.
    bool mergeFrom(DeviceImp const& other) { return take(other, true); }
    /// The same, but what is known here stays.
    bool completeFrom(DeviceImp const& other) { return take(other, false); }

    /// Text of a device: level 0 is one line with the name; level 1 adds guid, locators, type, capabilities
    /// and state; level 2 adds the properties, group members indented below their group.
    String toString(int level) const;

    HandleSlot& handleSlot() const noexcept { return m_handle; }

private:
    static constexpr std::size_t kNone = static_cast<std::size_t>(-1);

    DeviceImp() = default;
    void indexProperties();
    std::size_t indexOf(String const& key) const;
    PropertyImp* propertyLike(PropertyImp const& theirs, std::size_t guess);
    bool take(DeviceImp const& other, bool newerWins);
    class Groups;
    bool mergeChildren(PropertyImp const& theirs, Groups& groups);
    void printProperty(PropertyImp const& property, String const& indent, String& out, int depth,
                       std::unordered_set<PropertyImp const*>& printed) const;

    String m_guid, m_name, m_description, m_osLocator, m_hwLocator;
    CapabilityImp m_type, m_capabilities, m_busClass;
    DeviceStateImp m_state = DeviceStateImp::FUNCTIONAL();
    unsigned m_deviceId = 0;
    bool m_complete = true;
    std::vector<String> m_childBusIds;
    std::vector<std::unique_ptr<PropertyImp>> m_properties;
    std::unordered_map<String, std::size_t> m_propertyIndex; // key -> index; empty as long as few
    std::size_t m_cursor = 0;
    mutable HandleSlot m_handle;
};

} // namespace zel
