#pragma once

#include <zel/model/HandleSlot.h>
#include <zel/model/PropertySpecImp.h>
#include <zel/model/ValueImp.h>

#include <memory>
#include <vector>

namespace zel {

/// One property of one device: a value under a specification. Copies share the specification and copy the
/// value.
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

    ValueImp const& value() const noexcept { return m_value; }
    ValueImp& value() noexcept { return m_value; }
    void setValue(ValueImp value) { m_value = std::move(value); }

    /// Guid of the specification as it was at the last update; the specification's own guid changes when its
    /// module's guid is stamped on it.
    String const& specGuid() const noexcept { return m_specGuid; }
    void updateSpecGuid() { m_specGuid = m_spec->guid(); }

    bool isPartOfGroup() const noexcept { return m_partOfGroup; }
    void setPartOfGroup(bool partOfGroup) noexcept { m_partOfGroup = partOfGroup; }
    /// Keys of the properties shown under this one, in order of addition.
    std::vector<String> const& children() const noexcept { return m_children; }
    void addChild(PropertyImp const* child) { m_children.push_back(child->key()); }

    /// The value comes later, from another module.
    bool isDiscoveredLater() const noexcept { return m_discoveredLater; }
    void setDiscoveredLater(bool later) noexcept { m_discoveredLater = later; }

    HandleSlot& handleSlot() const noexcept { return m_handle; }

private:
    std::shared_ptr<PropertySpecImp> m_spec;
    ValueImp m_value;
    String m_specGuid;
    std::vector<String> m_children;
    bool m_partOfGroup = false;
    bool m_discoveredLater = false;
    mutable HandleSlot m_handle;
};

} // namespace zel
