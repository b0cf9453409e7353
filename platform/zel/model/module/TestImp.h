#pragma once

#include <zel/model/module/DeviceRequirement.h>
#include <zel/model/module/ModuleFunctionImp.h>
#include <zel/model/vocabulary/TestResultImp.h>

#include <optional>
#include <vector>

namespace zel {

class DeviceImp;
class StateManager;

/// The record of one test: what it tests, how it behaves, what it needs.
class ZEL_EXPORT TestImp : public ModuleFunctionImp
{
public:
    TestImp(String key, CapabilityImp capabilities)
        : ModuleFunctionImp("Test", std::move(key), std::move(capabilities))
    {}

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
    /// What the existence, absence and optional-device requirements ask the machine for, all in one: devices that
    /// somebody has to look for although the test does not test them.
    CapabilityImp neededBesideTested() const;
    std::vector<DeviceRequirement> const& propertyRequirements() const noexcept { return m_properties; }
    /// Throws InvalidArgumentException when the valid range cannot be read.
    void addPropertyRequirement(DeviceRequirement requirement);

    /// Gives each parameter its value from the settings file, else from its default, and reads the switches
    /// of this test ("Enable", "ForceResult", "ForceEvent", "ForceAllEvents"). Returns what the file says
    /// wrongly, the settingsErrors(); such a parameter keeps no value.
    std::vector<SettingsError> const& resolveParameterData(SettingsResource const& settings);

    std::optional<TestResultImp> const& forcedResult() const noexcept { return m_forcedResult; }
    void setForcedResult(std::optional<TestResultImp> const& result) { m_forcedResult = result; }
    /// Key of the event that a run sends although the test did not.
    std::optional<String> const& forcedEvent() const noexcept { return m_forcedEvent; }
    void setForcedEvent(std::optional<String> const& key) { m_forcedEvent = key; }
    bool getForceAllEvents() const noexcept { return m_forceAllEvents; }
    /// The lines of the settings that force something, "mymod.w4i:3: Test.memory.ForceResult.value=PASS": that
    /// of the result first.
    std::vector<String> const& forcingLines() const noexcept { return m_forcingLines; }
    void addForcingLine(String const& line) { m_forcingLines.push_back(line); }
    void setForceAllEvents(bool force) noexcept { m_forceAllEvents = force; }

    /// Whether `test` applies to `device`, by docs/enumeration-rules.md: the test is not switched off, the
    /// device has one of its capabilities and is not disabled, and every existence, absence and property
    /// requirement holds among the devices of `state`. A test that enumerates only once goes to the device of
    /// greatest rank, the earlier one on a tie: when `device` ranks above the one that has the test now, that
    /// one is handed back in `previousDevice`.
    static bool canEnumerateOnDevice(TestImp const& test, DeviceImp const& device, StateManager const& state,
                                     DeviceImp** previousDevice);

    /// One thing that the rules ask, in words.
    struct Condition
    {
        String text; ///< "the device is a HardDrive"
        bool holds = false;
        String reason = String(); ///< why it does not hold; empty when it does
    };
    /// All that canEnumerateOnDevice asks of this device and this machine, in the order of the rules, whether it holds
    /// or not; but for the choice of the one device of a test that enumerates only once.
    static std::vector<Condition> conditions(TestImp const& test, DeviceImp const& device,
                                             StateManager const& state);

    bool operator==(TestImp const& other) const noexcept { return guid() == other.guid(); }

private:
    CapabilityImp m_optionalCapabilities;
    Flags m_flags;
    std::vector<CapabilityImp> m_existence, m_absence;
    std::vector<DeviceRequirement> m_properties;
    std::optional<TestResultImp> m_forcedResult;
    std::optional<String> m_forcedEvent;
    bool m_forceAllEvents = false;
    std::vector<String> m_forcingLines;
};

} // namespace zel
