#include <zel/model/module/TestImp.h>

#include <zel/foundation/Exception.h>
#include <zel/model/settings/SettingsKeys.h>
#include <zel/model/settings/SettingsResource.h>
#include <zel/model/values/ValidRange.h>

#include <algorithm>

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

std::vector<SettingsError> const& TestImp::resolveParameterData(SettingsResource const& settings)
{
    resolveFromSettings(settings);
    m_forcingLines.clear();
    m_forceAllEvents = false;
    if (settings.isEmpty())
        return settingsErrors();
    String const prefix = settingsPrefix(), forced = prefix + SettingsKeys::kForce;
    if (std::none_of(settings.keys().begin(), settings.keys().end(),
                     [&](String const& key) { return key.startsWith(forced); }))
        return settingsErrors();
    String const resultKey = prefix + SettingsKeys::kForceResult,
                 eventKey = prefix + SettingsKeys::kForceEvent,
                 allKey = prefix + SettingsKeys::kForceAllEvents;
    if (auto const* const entry = settings.find(resultKey)) {
        auto const result = TestResultImp::getConstantByString(entry->m_text);
        if (result.toString() == entry->m_text)
            m_forcedResult = result;
        else
            take(settings.error({resultKey, entry}, "no test result has the text \"" + entry->m_text +
                                                        "\", as \"PASS\" or \"FAIL\""),
                 "ForceResult");
        m_forcingLines.push_back(settings.shown({resultKey, entry}));
    }
    if (auto const* const entry = settings.find(eventKey)) {
        m_forcedEvent = entry->m_text;
        m_forcingLines.push_back(settings.shown({eventKey, entry}));
    }
    take(settings.flagError(allKey), "ForceAllEvents");
    m_forceAllEvents = settings.flag(allKey, false);
    if (m_forceAllEvents)
        m_forcingLines.push_back(settings.shown(settings.eitherForm(allKey)));
    return settingsErrors();
}

} // namespace zel
