#include <zel/model/IndicatorImp.h>

#include <algorithm>

namespace zel {

IndicatorImp::IndicatorImp(String key, CapabilityImp capabilities, bool isFree)
    : m_key(std::move(key)), m_guid(String("Indicator.") + m_key), m_capabilities(std::move(capabilities)),
      m_isFree(isFree)
{}

void IndicatorImp::setModuleGuid(String const& guid)
{
    m_moduleGuid = guid;
    m_guid = guid + ".Indicator." + m_key;
    for (ParameterImp& parameter : m_parameters)
        parameter.setModuleGuid(guid);
}

bool IndicatorImp::addParameter(ParameterImp const& parameter)
{
    bool const known = std::any_of(m_parameters.begin(), m_parameters.end(),
                                   [&](auto const& one) { return one.key() == parameter.key(); });
    if (known)
        return false;
    m_parameters.push_back(parameter);
    m_parameters.back().setParent("Indicator", m_key);
    if (!m_moduleGuid.empty())
        m_parameters.back().setModuleGuid(m_moduleGuid);
    return true;
}

std::vector<SettingsError> IndicatorImp::resolveParameterData(SettingsResource const& settings)
{
    std::vector<SettingsError> errors;
    for (ParameterImp& parameter : m_parameters)
        if (auto error = parameter.resolve(settings))
            errors.push_back(std::move(*error));
    m_enabled = settings.enable("Indicator", m_key);
    m_switchedOff = !settings.isEnabled("Indicator", m_key);
    return errors;
}

} // namespace zel
