#pragma once
// The fixed parts of the keys of a settings file. docs/settings-file.md says what each means.

#include <zel/foundation/String.h>

namespace zel::SettingsKeys {

// Of a module with tests as a whole: times in seconds, and switches.
inline constexpr char kTimeOut[] = "TimeOut.value";
inline constexpr char kMinTimePerTest[] = "MinTimePerTest.value";
inline constexpr char kPromptEnable[] = "PromptEnable.value";
inline constexpr char kGuiPromptSupported[] = "GUIPromptSupported.value";
inline constexpr char kAlwaysUseGuiPrompt[] = "AlwaysUseGUIPrompt.value";
inline constexpr char const* kTimes[] = {kTimeOut, kMinTimePerTest};
inline constexpr char const* kSwitches[] = {kPromptEnable, kGuiPromptSupported, kAlwaysUseGuiPrompt};

// Of a module that reports devices: the switch of all overrides, and the two parts around a property's key of
// the lines that say its value and the type of that.
inline constexpr char kPropertyOverrides[] = "PropertyOverrides.value";
inline constexpr char kPropertyOverride[] = "PropertyOverride.";
inline constexpr char kOverrideValue[] = ".value";
inline constexpr char kOverrideType[] = ".type";

// Of a test, after "Test.{test}."; the first also of an indicator, after "Indicator.{indicator}.".
inline constexpr char kEnable[] = "Enable.value";
inline constexpr char kForce[] = "Force"; // begins each of the three below
inline constexpr char kForceResult[] = "ForceResult.value";
inline constexpr char kForceEvent[] = "ForceEvent.value";
inline constexpr char kForceAllEvents[] = "ForceAllEvents.value";

/// Switches and times were written without the ending once, and are still read so: "PromptEnable" for
/// "PromptEnable.value".
inline String oldForm(String const& key)
{
    constexpr std::size_t kEnding = sizeof ".value" - 1;
    return key.substr(0, key.size() - kEnding);
}

} // namespace zel::SettingsKeys
