#include <zel/model/module/TestImp.h>

#include <zel/foundation/Exception.h>
#include <zel/model/settings/SettingsKeys.h>
#include <zel/model/settings/SettingsResource.h>
#include <zel/model/values/ValidRange.h>

namespace zel {

CapabilityImp TestImp::neededBesideTested() const
{
    CapabilityImp needed = m_optionalCapabilities;
    for (CapabilityImp const& capability : m_existence)
        needed |= capability;
    for (CapabilityImp const& capability : m_absence)
        needed |= capability;
    return needed;
}

void TestImp::addPropertyRequirement(DeviceRequirement requirement)
{
    String reason;
    if (!ValidRange::parse(requirement.validRange, reason))
        throw InvalidArgumentException(String("Valid range \"") + requirement.validRange +
                                       "\" of property \"" + requirement.propertyKey + "\": " + reason);
    m_properties.push_back(std::move(requirement));
}

std::vector<SettingsError> TestImp::resolveParameterData(SettingsResource const& settings)
{
    std::vector<SettingsError> errors = resolveFromSettings(settings);
    String const prefix = settingsPrefix();
    String const resultKey = prefix + SettingsKeys::kForceResult;
    if (auto const* entry = settings.find(resultKey)) {
        auto const result = TestResultImp::getConstantByString(entry->m_text);
        if (result.toString() == entry->m_text)
            m_forcedResult = result;
        else {
            errors.push_back(settings.error(resultKey, *entry,
                                            "no test result has the text \"" + entry->m_text +
                                                "\", as \"PASS\" or \"FAIL\""));
            errors.back().m_parameter = "ForceResult";
        }
    }
    if (auto const eventKey = settings.text(prefix + SettingsKeys::kForceEvent))
        m_forcedEvent = *eventKey;
    m_forceAllEvents = settings.flag(prefix + SettingsKeys::kForceAllEvents, false);
    return errors;
}

} // namespace zel
