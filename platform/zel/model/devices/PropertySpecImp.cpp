#include <zel/model/devices/PropertySpecImp.h>

#include <zel/model/devices/Guid.h>

namespace zel {

PropertySpecImp::PropertySpecImp(String keyInModule, PropertyCategoryImp category, DataTypeImp type,
                                 CapabilityImp capability)
    : m_keyInModule(std::move(keyInModule)), m_category(category), m_type(type),
      m_capability(std::move(capability))
{
    setModuleGuid(String());
}

void PropertySpecImp::setModuleGuid(String const& guid)
{
    m_moduleGuid = guid;
    m_guid = std::make_shared<String const>(nameBasedGuid({"PropertySpec", m_moduleGuid, m_keyInModule}));
}

} // namespace zel
