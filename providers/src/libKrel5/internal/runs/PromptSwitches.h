#pragma once
// Whether a person may be asked, and where.

#include <zel/model/runs/MessageBoxImp.h>

#include <optional>

namespace zel {
class SettingsResource;
}

namespace krel5 {

/// The switches of the settings file (zel::SettingsKeys), read when a run begins.
struct PromptSwitches
{
    bool promptEnable = true;        ///< false: nobody is asked, the default answer is taken
    bool guiPromptSupported = false; ///< windows may be shown
    bool alwaysUseGuiPrompt =
        false; ///< a window even where a console could ask; only where windows may be shown

    static PromptSwitches read(zel::SettingsResource const& settings);

    /// Where a question is shown; absent when nobody may be asked, by whatever backend.
    std::optional<zel::MessageBoxImp::Surface> surface() const;
};

} // namespace krel5
