#include <zel/model/devices/SystemInformationFilter.h>

namespace zel {

SystemInformationFilter& SystemInformationFilter::instance()
{
    static SystemInformationFilter* const s_instance = new SystemInformationFilter();
    return *s_instance;
}

bool SystemInformationFilter::includeDeviceType(CapabilityImp const& type) const
{
    return !m_excludedTypes.intersects(type);
}

bool SystemInformationFilter::includeDeviceProperty(CapabilityImp const&, String const& propertyKey) const
{
    return !m_excludedProperties.contains(propertyKey);
}

void SystemInformationFilter::clear()
{
    m_excludedTypes = CapabilityImp();
    m_excludedProperties.clear();
}

} // namespace zel
