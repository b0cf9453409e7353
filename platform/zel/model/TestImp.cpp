#include <zel/model/TestImp.h>

#include <zel/foundation/Exception.h>
#include <zel/model/SettingsKeys.h>
#include <zel/model/SettingsResource.h>
#include <zel/model/ValidRange.h>

#include <algorithm>

namespace zel {

TestImp::TestImp(String key, CapabilityImp capabilities)
    : m_key(std::move(key)), m_guid(String("Test.") + m_key), m_capabilities(std::move(capabilities))
{}

void TestImp::setModuleGuid(String const& guid)
{
    m_moduleGuid = guid;
    m_guid = guid + ".Test." + m_key;
    for (ParameterImp& parameter : m_parameters)
        parameter.setModuleGuid(guid);
}

void TestImp::addPropertyRequirement(DeviceRequirement requirement)
{
    String reason;
    if (!ValidRange::parse(requirement.validRange, reason))
        throw InvalidArgumentException(String("Valid range \"") + requirement.validRange +
                                       "\" of property \"" + requirement.propertyKey + "\": " + reason);
    m_properties.push_back(std::move(requirement));
}

bool TestImp::addParameter(ParameterImp const& parameter)
{
    if (this->parameter(parameter.key()))
        return false;
    m_parameters.push_back(parameter);
    m_parameters.back().setParent("Test", m_key);
    if (!m_moduleGuid.empty())
        m_parameters.back().setModuleGuid(m_moduleGuid);
    return true;
}

ParameterImp* TestImp::parameter(String const& key)
{
    auto const found = std::find_if(m_parameters.begin(), m_parameters.end(),
                                    [&](ParameterImp const& one) { return one.key() == key; });
    return found == m_parameters.end() ? nullptr : &*found;
}

ParameterImp* TestImp::firstParameter()
{
    m_cursor = 0;
    return nextParameter();
}

ParameterImp* TestImp::nextParameter()
{
    return m_cursor < m_parameters.size() ? &m_parameters[m_cursor++] : nullptr;
}

std::vector<SettingsError> TestImp::resolveParameterData(SettingsResource const& settings)
{
    std::vector<SettingsError> errors;
    for (ParameterImp& parameter : m_parameters)
        if (auto error = parameter.resolve(settings))
            errors.push_back(std::move(*error));

    m_enabled = settings.enable("Test", m_key);
    m_switchedOff = !settings.isEnabled("Test", m_key);

    String const prefix = String("Test.") + m_key + ".";
    String const resultKey = prefix + SettingsKeys::kForceResult;
    if (auto const* entry = settings.find(resultKey)) {
        auto const result = TestResultImp::getConstantByString(entry->m_text);
        if (result.toString() == entry->m_text)
            m_forcedResult = result;
        else {
            errors.push_back(settings.error(resultKey, *entry, "no test result has this text"));
            errors.back().m_parameter = "ForceResult";
        }
    }
    if (auto const eventKey = settings.text(prefix + SettingsKeys::kForceEvent))
        m_forcedEvent = *eventKey;
    m_forceAllEvents = settings.flag(prefix + SettingsKeys::kForceAllEvents, false);
    return errors;
}

} // namespace zel
