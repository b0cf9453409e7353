#pragma once

#include <zel/foundation/String.h>
#include <zel/model/vocabulary/CapabilityImp.h>
#include <zel/model/vocabulary/DataTypeImp.h>
#include <zel/model/vocabulary/PropertyCategoryImp.h>

#include <memory>

namespace zel {

/// What a module declares about a property before any device carries it: key, category, type and the devices
/// that may carry it. One specification serves the properties of all devices.
class ZEL_EXPORT PropertySpecImp : public std::enable_shared_from_this<PropertySpecImp>
{
public:
    PropertySpecImp(String keyInModule, PropertyCategoryImp category, DataTypeImp type,
                    CapabilityImp capability);

    String const& keyInModule() const noexcept { return m_keyInModule; }
    PropertyCategoryImp const& category() const noexcept { return m_category; }
    DataTypeImp const& type() const noexcept { return m_type; }
    CapabilityImp const& deviceCapability() const noexcept { return m_capability; }

    String const& moduleGuid() const noexcept { return m_moduleGuid; }
    /// The guid follows from the module's guid and the key.
    void setModuleGuid(String const& guid);
    String const& guid() const noexcept { return *m_guid; }
    /// The same for whoever keeps it: the text stays as it is when the specification's guid changes.
    std::shared_ptr<String const> const& sharedGuid() const noexcept { return m_guid; }

    /// Name and description in the author's own words, shown where no localized text exists; may be empty.
    String const& defaultName() const noexcept { return m_defaultName; }
    void setDefaultName(String const& name) { m_defaultName = name; }

    /// A second identity that a stand-in property carries beside its key; empty for an ordinary one.
    String const& alias() const noexcept { return m_alias; }
    void setAlias(String const& alias) { m_alias = alias; }

    /// The group property under which properties of this specification are shown; null: top level.
    std::shared_ptr<PropertySpecImp> const& group() const noexcept { return m_group; }
    void setGroup(std::shared_ptr<PropertySpecImp> group) { m_group = std::move(group); }

private:
    String m_keyInModule;
    PropertyCategoryImp m_category;
    DataTypeImp m_type;
    CapabilityImp m_capability;
    String m_moduleGuid, m_defaultName, m_alias;
    std::shared_ptr<String const> m_guid; // never null
    std::shared_ptr<PropertySpecImp> m_group;
};

} // namespace zel
