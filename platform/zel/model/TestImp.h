#pragma once

#include <zel/model/CapabilityImp.h>
#include <zel/model/DeviceRequirement.h>
#include <zel/model/ParameterImp.h>
#include <zel/model/SettingsResource.h>
#include <zel/model/TestResultImp.h>

#include <deque>
#include <optional>
#include <vector>

namespace zel {

class DeviceImp;
class StateManager;

/// The record of one test: what it tests, how it behaves, what it needs, its parameters.
class ZEL_EXPORT TestImp
{
public:
    /// Seconds that a test is given to end after a stop request, unless it asks for another time.
    static constexpr unsigned kDefaultMinShutdownSeconds = 5;

    TestImp(String key, CapabilityImp capabilities);

    String const& keyInModule() const noexcept { return m_key; }
    String const& guid() const noexcept { return m_guid; }
    String const& moduleGuid() const noexcept { return m_moduleGuid; }
    /// The guid follows from the module's guid and the key; the parameters belong to the same module.
    void setModuleGuid(String const& guid);
    /// Place in the module's order of creation, from 0.
    unsigned index() const noexcept { return m_index; }
    void setIndex(unsigned index) noexcept { m_index = index; }

    /// A device is testable when it has at least one of these.
    CapabilityImp const& deviceCapabilities() const noexcept { return m_capabilities; }
    CapabilityImp const& optionalDeviceCapabilities() const noexcept { return m_optionalCapabilities; }
    void addOptionalDeviceCapabilities(CapabilityImp const& c) { m_optionalCapabilities |= c; }

    struct Flags
    {
        bool interactive = false;
        bool createsOwnGui = false;
        bool destructive = false;
        bool supportsParallelTesting = false;
        bool enumeratesOnlyOnce = false;
        bool usesNoGlobalParameters = false;
        unsigned minShutdownSeconds = kDefaultMinShutdownSeconds;
    };
    Flags& flags() noexcept { return m_flags; }
    Flags const& flags() const noexcept { return m_flags; }
    bool usesNoGlobalParameters() const noexcept { return m_flags.usesNoGlobalParameters; }

    std::vector<CapabilityImp> const& existenceRequirements() const noexcept { return m_existence; }
    void addExistenceRequirement(CapabilityImp const& capability) { m_existence.push_back(capability); }
    std::vector<CapabilityImp> const& absenceRequirements() const noexcept { return m_absence; }
    void addAbsenceRequirement(CapabilityImp const& capability) { m_absence.push_back(capability); }
    std::vector<DeviceRequirement> const& propertyRequirements() const noexcept { return m_properties; }
    /// Throws InvalidArgumentException when the valid range cannot be read.
    void addPropertyRequirement(DeviceRequirement requirement);

    // Parameters, in order of addition; one cursor a test. addParameter stores a copy; false when the key is
    // there.
    bool addParameter(ParameterImp const& parameter);
    ParameterImp* parameter(String const& key);
    ParameterImp* firstParameter();
    ParameterImp* nextParameter();
    std::deque<ParameterImp> const& parameters() const noexcept { return m_parameters; }

    /// Gives each parameter its value from the settings file, else from its default, and reads the switches
    /// of this test ("Enable", "ForceResult", "ForceEvent", "ForceAllEvents"). Returns what the file says
    /// wrongly; such a parameter keeps no value.
    std::vector<SettingsError> resolveParameterData(SettingsResource const& settings);

    /// How the settings file switches the test, as resolveParameterData found it.
    SettingsResource::Enable enabledInSettings() const noexcept { return m_enabled; }
    bool isEnabledInIniFile() const noexcept { return m_enabled == SettingsResource::Enable::Enabled; }
    bool isSwitchedOff() const noexcept { return m_switchedOff; }

    std::optional<TestResultImp> const& forcedResult() const noexcept { return m_forcedResult; }
    void setForcedResult(std::optional<TestResultImp> const& result) { m_forcedResult = result; }
    /// Key of the event that a run sends although the test did not.
    std::optional<String> const& forcedEvent() const noexcept { return m_forcedEvent; }
    void setForcedEvent(std::optional<String> const& key) { m_forcedEvent = key; }
    bool getForceAllEvents() const noexcept { return m_forceAllEvents; }
    void setForceAllEvents(bool force) noexcept { m_forceAllEvents = force; }

    /// Whether `test` applies to `device`, by docs/enumeration-rules.md: the test is not switched off, the
    /// device has one of its capabilities and is not disabled, and every existence, absence and property
    /// requirement holds among the devices of `state`. A test that enumerates only once goes to the device of
    /// greatest rank, the earlier one on a tie: when `device` ranks above the one that has the test now, that
    /// one is handed back in `previousDevice`.
    static bool canEnumerateOnDevice(TestImp const& test, DeviceImp const& device, StateManager const& state,
                                     DeviceImp** previousDevice);

    bool operator==(TestImp const& other) const noexcept { return m_guid == other.m_guid; }

private:
    String m_key, m_moduleGuid, m_guid;
    unsigned m_index = 0;
    CapabilityImp m_capabilities, m_optionalCapabilities;
    Flags m_flags;
    std::vector<CapabilityImp> m_existence, m_absence;
    std::vector<DeviceRequirement> m_properties;
    std::deque<ParameterImp> m_parameters;
    std::size_t m_cursor = 0;
    SettingsResource::Enable m_enabled = SettingsResource::Enable::NotSet;
    bool m_switchedOff = false;
    std::optional<TestResultImp> m_forcedResult;
    std::optional<String> m_forcedEvent;
    bool m_forceAllEvents = false;
};

} // namespace zel
