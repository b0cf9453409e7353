#include <zel/model/module/ModuleFunctionImp.h>

#include <zel/model/settings/SettingsKeys.h>

#include <algorithm>

namespace zel {

ModuleFunctionImp::ModuleFunctionImp(char const* kind, String key, CapabilityImp capabilities)
    : m_kind(kind), m_key(std::move(key)), m_guid(String(kind) + "." + m_key),
      m_capabilities(std::move(capabilities))
{}

void ModuleFunctionImp::setModuleGuid(String const& guid)
{
    m_moduleGuid = guid;
    m_guid = (guid.empty() ? guid : guid + ".") + m_kind + "." + m_key;
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

void ModuleFunctionImp::take(std::optional<SettingsError> error, char const* name)
{
    if (!error)
        return;
    error->m_parameter = String(name);
    addSettingsError(std::move(*error));
}

void ModuleFunctionImp::resolveFromSettings(SettingsResource const& settings)
{
    m_settingsErrors.clear();
    for (ParameterImp& parameter : m_parameters)
        if (auto error = parameter.resolve(settings))
            addSettingsError(std::move(*error));
    m_enabled = SettingsResource::Enable::NotSet;
    m_switchedOff = false;
    m_switchedOffBy = String();
    if (settings.isEmpty())
        return;
    String const enable = settingsPrefix() + SettingsKeys::kEnable;
    SettingsResource::Line const line = settings.eitherForm(enable);
    take(settings.flagError(enable), "Enable");
    m_enabled = SettingsResource::enable(line);
    m_switchedOff = !SettingsResource::isEnabled(line);
    if (m_switchedOff)
        m_switchedOffBy = settings.shown(line);
}

} // namespace zel
