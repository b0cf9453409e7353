#include <libKrel5/internal/backends/Prompt.h>

#include <libKrel5/internal/module/ErrorReporting.h>

#include <krel5/DiagModule.h>

#include <zel/foundation/Console.h>
#include <zel/foundation/Logger.h>
#include <zel/foundation/OStream.h>
#include <zel/model/runs/MessageBoxImp.h>
#include <zel/model/settings/SettingsKeys.h>
#include <zel/model/settings/SettingsResource.h>

namespace krel5 {
namespace {

zel::Logger& logger()
{
    static zel::Logger& s_logger = zel::LogFactory::getLogger("krel5.Comm.StandAlone");
    return s_logger;
}

} // namespace

PromptSwitches PromptSwitches::read(zel::SettingsResource const& settings)
{
    namespace Keys = zel::SettingsKeys;
    PromptSwitches switches;
    switches.promptEnable = settings.flag(Keys::kPromptEnable, switches.promptEnable);
    switches.guiPromptSupported = settings.flag(Keys::kGuiPromptSupported, switches.guiPromptSupported);
    switches.alwaysUseGuiPrompt = settings.flag(Keys::kAlwaysUseGuiPrompt, switches.alwaysUseGuiPrompt);
    return switches;
}

void presentOnConsole(zel::MessageBoxImp& box)
{
    if (DiagModule::checkForStop()) // who wants out is not asked first
        return box.cutShort();
    if (DiagModule::promptEnabled() && zel::Console::canAsk()) {
        box.present(zel::OStream::out(), [](zel::String& line) {
            if (!zel::Console::readLine(line, [] { return DiagModule::checkForStop(); }))
                return false;
            if (!zel::Console::echoes()) // a terminal shows what is typed
                zel::OStream::out() << line.withoutControls(false) << zel::endl;
            return true;
        });
        return;
    }
    box.setAnswer(box.defaultCode());
    zel::String const text = "Question \"" + box.title() + "\": nobody can be asked; the default answer \"" +
                             box.textOf(box.defaultCode()) + "\" is taken";
    ZEL_LOG(logger(), zel::LogLevel::Warning) << text;
    ErrorReporting::tell(text);
}

} // namespace krel5
