#include <inventory/Declarations.h>

#include <krel5/DataType.h>
#include <krel5/DeviceCapability.h>
#include <krel5/PropertyCategory.h>
#include <krel5/SysInfoModule.h>

#include <zel/enumerator/records/Properties.h>

#include <vector>

namespace krel5::modules::inventory {

Declarations::Declarations()
{
    std::vector<DeviceProperty*> groups;
    for (zel::PropertyGroupRow const& row : zel::propertyGroups())
        groups.push_back(SysInfoModule::createDevicePropertyGroup(static_cast<char const*>(row.key),
                                                                  DeviceCapability::ALL()));
    for (zel::PropertyRow const& row : zel::propertyRows()) {
        DeviceProperty* const property = SysInfoModule::createDeviceProperty(
            static_cast<char const*>(row.key), PropertyCategory(row.category()), DataType(row.type()),
            DeviceCapability::ALL());
        property->setGroup(groups[static_cast<std::size_t>(row.group)]);
        m_all.emplace(zel::String(row.key),
                      Declaration{property, row.isDetail(), static_cast<unsigned>(row.group)});
    }
}

Declaration const* Declarations::find(zel::String const& key) const
{
    auto const found = m_all.find(key);
    return found == m_all.end() ? nullptr : &found->second;
}

} // namespace krel5::modules::inventory
