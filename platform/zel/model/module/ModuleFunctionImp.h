#pragma once

#include <zel/model/settings/ParameterImp.h>
#include <zel/model/settings/SettingsResource.h>
#include <zel/model/vocabulary/CapabilityImp.h>

#include <deque>
#include <vector>

namespace zel {

/// What a test and an indicator have in common: a key in their module, the devices they are for, parameters,
/// and a switch in the settings.
class ZEL_EXPORT ModuleFunctionImp
{
public:
    /// Seconds that a function is given to end after a stop request, unless it asks for another time.
    static constexpr unsigned kDefaultMinShutdownSeconds = 5;

    String const& keyInModule() const noexcept { return m_key; }
    String const& guid() const noexcept { return m_guid; }
    String const& moduleGuid() const noexcept { return m_moduleGuid; }
    /// The guid follows from the module's guid and the key; the parameters belong to the same module.
    void setModuleGuid(String const& guid);
    /// Place in the module's order of creation, from 0.
    unsigned index() const noexcept { return m_index; }
    void setIndex(unsigned index) noexcept { m_index = index; }
    /// A device is meant when it has at least one of these.
    CapabilityImp const& deviceCapabilities() const noexcept { return m_capabilities; }

    // Parameters, in order of addition; one cursor each. addParameter stores a copy; false when the key is
    // there.
    bool addParameter(ParameterImp const& parameter);
    ParameterImp* parameter(String const& key);
    ParameterImp* firstParameter();
    ParameterImp* nextParameter();
    std::deque<ParameterImp> const& parameters() const noexcept { return m_parameters; }

    /// "{kind}.{key}.", what each key of the settings begins with that is about the function.
    String settingsPrefix() const;
    /// How the settings file switches the function, as resolveParameterData found it.
    SettingsResource::Enable enabledInSettings() const noexcept { return m_enabled; }
    bool isEnabledInIniFile() const noexcept { return m_enabled == SettingsResource::Enable::Enabled; }
    bool isSwitchedOff() const noexcept { return m_switchedOff; }
    /// The line of the settings that switched the function off, "mymod.w4i:12: Test.memory.Enable.value=off";
    /// empty: it is not.
    String const& switchedOffBy() const noexcept { return m_switchedOffBy; }

    /// What another process found in its settings.
    void restoreSwitch(SettingsResource::Enable enabled, bool isOff, String const& switchedOffBy)
    {
        m_enabled = enabled;
        m_switchedOff = isOff;
        m_switchedOffBy = switchedOffBy;
    }

    /// What the settings say of the function and nobody understands. Such a function does not run: what was
    /// meant may have been to leave it alone.
    std::vector<SettingsError> const& settingsErrors() const noexcept { return m_settingsErrors; }
    void addSettingsError(SettingsError error) { m_settingsErrors.push_back(std::move(error)); }

protected:
    /// `kind` is "Test" or "Indicator": what keys of the settings and texts begin with.
    ModuleFunctionImp(char const* kind, String key, CapabilityImp capabilities);
    ~ModuleFunctionImp() = default;
    ModuleFunctionImp(ModuleFunctionImp const&) = default;
    ModuleFunctionImp& operator=(ModuleFunctionImp const&) = default;

    /// Gives each parameter its value from the settings file and reads the switch "Enable". What the file says
    /// wrongly are the settingsErrors(); such a parameter keeps no value.
    void resolveFromSettings(SettingsResource const& settings);
    /// Takes what is wrong with the setting `name`, if anything, into the settingsErrors().
    void take(std::optional<SettingsError> error, char const* name);

private:
    char const* m_kind;
    String m_key, m_moduleGuid, m_guid;
    unsigned m_index = 0;
    CapabilityImp m_capabilities;
    std::deque<ParameterImp> m_parameters;
    std::size_t m_cursor = 0;
    // Two, since neither follows from the other: the one says what stands in the file, which advice to its author
    // is about (no switch at all, or the old form, are worth a word, though both may mean "on"); the other says
    // what is to be done, where the old form counts with the value that it has.
    SettingsResource::Enable m_enabled = SettingsResource::Enable::NotSet;
    bool m_switchedOff = false;
    String m_switchedOffBy;
    std::vector<SettingsError> m_settingsErrors;
};

} // namespace zel
