#pragma once
// Questions to the person: whether one may be asked at all, and how a console asks.

namespace zel {
class MessageBoxImp;
class SettingsResource;
} // namespace zel

namespace krel5 {

/// The switches of the settings file (zel::SettingsKeys), read when a run begins.
struct PromptSwitches
{
    bool promptEnable = true;        ///< false: nobody is asked, the default answer is taken
    bool guiPromptSupported = false; ///< windows may be shown; the console runner has none
    bool alwaysUseGuiPrompt = false; ///< a window even where a console could ask

    static PromptSwitches read(zel::SettingsResource const& settings);
};

/// Asks on the terminal; takes the default answer, and logs it, when prompting is off or nobody is there. A
/// stop request ends the wait with the cancel answer.
void presentOnConsole(zel::MessageBoxImp& box);

} // namespace krel5
