#include <zel/model/module/ModuleFunctionImp.h>

#include <algorithm>

namespace zel {

ModuleFunctionImp::ModuleFunctionImp(char const* kind, String key, CapabilityImp capabilities)
    : m_kind(kind), m_key(std::move(key)), m_guid(String(kind) + "." + m_key),
      m_capabilities(std::move(capabilities))
{}

void ModuleFunctionImp::setModuleGuid(String const& guid)
{
    m_moduleGuid = guid;
    m_guid = guid + "." + m_kind + "." + m_key;
    for (ParameterImp& parameter : m_parameters)
        parameter.setModuleGuid(guid);
}

bool ModuleFunctionImp::addParameter(ParameterImp const& parameter)
{
    if (this->parameter(parameter.key()))
        return false;
    m_parameters.push_back(parameter);
    m_parameters.back().setParent(m_kind, m_key);
    if (!m_moduleGuid.empty())
        m_parameters.back().setModuleGuid(m_moduleGuid);
    return true;
}

ParameterImp* ModuleFunctionImp::parameter(String const& key)
{
    auto const found = std::find_if(m_parameters.begin(), m_parameters.end(),
                                    [&](ParameterImp const& one) { return one.key() == key; });
    return found == m_parameters.end() ? nullptr : &*found;
}

ParameterImp* ModuleFunctionImp::firstParameter()
{
    m_cursor = 0;
    return nextParameter();
}

ParameterImp* ModuleFunctionImp::nextParameter()
{
    return m_cursor < m_parameters.size() ? &m_parameters[m_cursor++] : nullptr;
}

String ModuleFunctionImp::settingsPrefix() const { return String(m_kind) + "." + m_key + "."; }

std::vector<SettingsError> ModuleFunctionImp::resolveFromSettings(SettingsResource const& settings)
{
    std::vector<SettingsError> errors;
    for (ParameterImp& parameter : m_parameters)
        if (auto error = parameter.resolve(settings))
            errors.push_back(std::move(*error));
    m_enabled = settings.enable(m_kind, m_key);
    m_switchedOff = !settings.isEnabled(m_kind, m_key);
    return errors;
}

} // namespace zel
