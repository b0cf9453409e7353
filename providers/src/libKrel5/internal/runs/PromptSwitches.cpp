#include <libKrel5/internal/runs/PromptSwitches.h>

#include <zel/model/settings/SettingsKeys.h>
#include <zel/model/settings/SettingsResource.h>

namespace krel5 {

PromptSwitches PromptSwitches::read(zel::SettingsResource const& settings)
{
    namespace Keys = zel::SettingsKeys;
    PromptSwitches switches;
    switches.promptEnable = settings.flag(Keys::kPromptEnable, switches.promptEnable);
    switches.guiPromptSupported = settings.flag(Keys::kGuiPromptSupported, switches.guiPromptSupported);
    switches.alwaysUseGuiPrompt = settings.flag(Keys::kAlwaysUseGuiPrompt, switches.alwaysUseGuiPrompt);
    return switches;
}

std::optional<zel::MessageBoxImp::Surface> PromptSwitches::surface() const
{
    using enum zel::MessageBoxImp::Surface;
    if (!promptEnable)
        return std::nullopt;
    if (!guiPromptSupported)
        return Text;
    return alwaysUseGuiPrompt ? Window : TextFirst;
}

} // namespace krel5
