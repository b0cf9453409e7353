#pragma once

#include <zel/model/CapabilityImp.h>
#include <zel/model/ParameterImp.h>
#include <zel/model/SettingsResource.h>

#include <deque>
#include <vector>

namespace zel {

/// The record of one indicator: a function that samples a device, or, without a device, looks at the machine.
class ZEL_EXPORT IndicatorImp
{
public:
    IndicatorImp(String key, CapabilityImp capabilities, bool isFree);

    String const& keyInModule() const noexcept { return m_key; }
    String const& guid() const noexcept { return m_guid; }
    String const& moduleGuid() const noexcept { return m_moduleGuid; }
    void setModuleGuid(String const& guid);
    unsigned index() const noexcept { return m_index; }
    void setIndex(unsigned index) noexcept { m_index = index; }
    CapabilityImp const& deviceCapabilities() const noexcept { return m_capabilities; }
    /// Bound to no device.
    bool isFree() const noexcept { return m_isFree; }

    struct Flags
    {
        bool destructive = false;
        bool enumeratesOnlyOnce = false;
        unsigned minShutdownSeconds = 5;
    };
    Flags& flags() noexcept { return m_flags; }
    Flags const& flags() const noexcept { return m_flags; }

    /// Stores a copy; false when the key is there.
    bool addParameter(ParameterImp const& parameter);
    std::deque<ParameterImp> const& parameters() const noexcept { return m_parameters; }

    /// Gives each parameter its value from the settings file and reads the switch "Enable". Returns what the
    /// file says wrongly; such a parameter keeps no value.
    std::vector<SettingsError> resolveParameterData(SettingsResource const& settings);
    /// How the settings file switches the indicator, as resolveParameterData found it.
    bool isEnabledInIniFile() const noexcept { return m_enabled == SettingsResource::Enable::Enabled; }
    bool isSwitchedOff() const noexcept { return m_switchedOff; }

    bool operator==(IndicatorImp const& other) const noexcept { return m_guid == other.m_guid; }

private:
    String m_key, m_moduleGuid, m_guid;
    unsigned m_index = 0;
    CapabilityImp m_capabilities;
    bool m_isFree;
    Flags m_flags;
    std::deque<ParameterImp> m_parameters;
    SettingsResource::Enable m_enabled = SettingsResource::Enable::NotSet;
    bool m_switchedOff = false;
};

} // namespace zel
