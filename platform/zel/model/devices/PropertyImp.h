#pragma once

#include <zel/model/devices/HandleSlot.h>
#include <zel/model/devices/PropertySpecImp.h>
#include <zel/model/values/ValueImp.h>

#include <memory>
#include <vector>

namespace zel {

/// A value that somebody holds by reference outside the record: the record then reads and writes it there.
class LiveValue
{
public:
    virtual ~LiveValue() = default;
    virtual ValueImp const& read() const = 0;
    virtual void write(ValueImp const& value) = 0;
};

/// One property of one device: a value under a specification. Copies share the specification and copy the
/// value. A machine has thousands of them, so that what few need stands outside the record.
class ZEL_EXPORT PropertyImp
{
public:
    explicit PropertyImp(std::shared_ptr<PropertySpecImp> spec);
    PropertyImp(std::shared_ptr<PropertySpecImp> spec, ValueImp value);

    String const& key() const noexcept { return m_spec->keyInModule(); }
    DataTypeImp const& type() const noexcept { return m_spec->type(); }
    PropertyCategoryImp const& category() const noexcept { return m_spec->category(); }
    CapabilityImp const& deviceCapability() const noexcept { return m_spec->deviceCapability(); }
    std::shared_ptr<PropertySpecImp> const& spec() const noexcept { return m_spec; }

    PropertyImp(PropertyImp const& other);
    PropertyImp& operator=(PropertyImp const&) = delete;

    ValueImp const& value() const { return isLive() ? m_rare->live->read() : m_value; }
    void setValue(ValueImp value);
    /// From now on the value is the one that `live` holds. A copy of the record takes the value, not the
    /// link.
    void setLiveValue(std::shared_ptr<LiveValue> live) { rare().live = std::move(live); }

    /// Guid of the specification as it was at the last update; the specification's own guid changes when its
    /// module's guid is stamped on it.
    String const& specGuid() const noexcept { return *m_specGuid; }
    void updateSpecGuid() { m_specGuid = m_spec->sharedGuid(); }
    /// Of a property that was made elsewhere.
    void restoreSpecGuid(String const& guid) { m_specGuid = std::make_shared<String const>(guid); }

    bool isPartOfGroup() const noexcept { return m_partOfGroup; }
    void setPartOfGroup(bool partOfGroup) noexcept { m_partOfGroup = partOfGroup; }
    /// Keys of the properties shown under this one, in order of addition.
    std::vector<String> const& children() const noexcept;
    /// A key that is there already is not added again.
    void addChild(PropertyImp const* child);
    /// REQUIRES: its key is not there. Does not look for it, which costs time in a large group.
    void appendChild(PropertyImp const& child) { rare().children.push_back(child.key()); }
    /// All at once. REQUIRES: no key twice.
    void setChildren(std::vector<String> keys) { rare().children = std::move(keys); }
    void removeChild(String const& key);
    /// Forgets what a copy brought along from the device of its original.
    void leaveGroups();

    /// The value comes later, from another module.
    bool isDiscoveredLater() const noexcept { return m_discoveredLater; }
    void setDiscoveredLater(bool later) noexcept { m_discoveredLater = later; }

    HandleSlot& handleSlot() const noexcept { return m_handle; }

private:
    struct Rare
    {
        std::shared_ptr<LiveValue> live; // null: the value is m_value
        std::vector<String> children;
    };
    bool isLive() const noexcept { return m_rare && m_rare->live; }
    Rare& rare();

    std::shared_ptr<PropertySpecImp> m_spec;
    ValueImp m_value;
    std::shared_ptr<String const> m_specGuid;
    std::unique_ptr<Rare> m_rare; // made when first needed
    bool m_partOfGroup = false;
    bool m_discoveredLater = false;
    mutable HandleSlot m_handle;
};

} // namespace zel
