#pragma once

#include <zel/model/module/ModuleFunctionImp.h>

namespace zel {

class DeviceImp;
class StateManager;

/// The record of one indicator: a function that samples a device, or, without a device, looks at the machine.
class ZEL_EXPORT IndicatorImp : public ModuleFunctionImp
{
public:
    IndicatorImp(String key, CapabilityImp capabilities, bool isFree)
        : ModuleFunctionImp("Indicator", std::move(key), std::move(capabilities)), m_isFree(isFree)
    {}

    /// Neither switched off, nor are there settings of it that nobody understands.
    bool mayRun() const noexcept { return !isSwitchedOff() && settingsErrors().empty(); }
    /// Bound to no device.
    bool isFree() const noexcept { return m_isFree; }

    struct Flags
    {
        bool destructive = false;
        bool enumeratesOnlyOnce = false;
        unsigned minShutdownSeconds = kDefaultMinShutdownSeconds;
    };
    Flags& flags() noexcept { return m_flags; }
    Flags const& flags() const noexcept { return m_flags; }

    /// Gives each parameter its value from the settings file and reads the switch "Enable". Returns what the
    /// file says wrongly, the settingsErrors(); such a parameter keeps no value.
    std::vector<SettingsError> const& resolveParameterData(SettingsResource const& settings)
    {
        resolveFromSettings(settings);
        return settingsErrors();
    }

    /// Whether `indicator` applies to `device`: as TestImp::canEnumerateOnDevice, except that an indicator
    /// requires nothing of the machine, and that a free one applies to no device.
    static bool canEnumerateOnDevice(IndicatorImp const& indicator, DeviceImp const& device,
                                     StateManager const& state, DeviceImp** previousDevice);

    bool operator==(IndicatorImp const& other) const noexcept { return guid() == other.guid(); }

private:
    bool m_isFree;
    Flags m_flags;
};

} // namespace zel
