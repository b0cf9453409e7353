#pragma once

#include <zel/model/vocabulary/CapabilityImp.h>

#include <unordered_set>

namespace zel {

/// Answers which devices and properties an inventory reports. Without rules everything is included. One per
/// process. Thread rule: rules are set before devices are made; questions may come from any thread.
class ZEL_EXPORT SystemInformationFilter
{
public:
    static SystemInformationFilter& instance();

    bool includeDeviceType(CapabilityImp const& type) const;
    bool includeDeviceProperty(CapabilityImp const& deviceCapabilities, String const& propertyKey) const;

    void excludeDeviceType(CapabilityImp const& type) { m_excludedTypes |= type; }
    void excludeProperty(String const& propertyKey) { m_excludedProperties.insert(propertyKey); }
    void clear();

private:
    CapabilityImp m_excludedTypes;
    std::unordered_set<String> m_excludedProperties;
};

} // namespace zel
