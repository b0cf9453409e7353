#include <libKrel5/internal/settings/SettingsRefusal.h>

#include <libKrel5/internal/module/ErrorReporting.h>

#include <krel5/ParameterNotValidException.h>

#include <zel/foundation/Logger.h>
#include <zel/model/module/TestImp.h>
#include <zel/model/settings/SettingsKeys.h>

namespace krel5 {
namespace {

namespace Keys = zel::SettingsKeys;

void report(zel::String const& text)
{
    ZEL_LOG(zel::LogFactory::getLogger("krel5.DiagModule"), zel::LogLevel::Error) << text;
    ErrorReporting::tell(text);
}

} // namespace

std::vector<zel::SettingsError> moduleWideErrors(zel::SettingsResource const& settings,
                                                 std::vector<UnreadSetting> const& unread)
{
    std::vector<zel::SettingsError> errors;
    for (char const* key : Keys::kTimes)
        if (auto error = settings.secondsError(key))
            errors.push_back(std::move(*error));
    for (char const* key : Keys::kSwitches)
        if (auto error = settings.flagError(key))
            errors.push_back(std::move(*error));
    for (UnreadSetting const& one : unread)
        if (one.concernsEveryRun)
            errors.push_back(one.error);
    return errors;
}

bool refusesEveryRun(zel::SettingsResource const& settings)
{
    zel::String reason = settings.unknown();
    if (reason.empty())
        if (auto const errors = moduleWideErrors(settings, unreadSettings(settings)); !errors.empty())
            reason = errors.front().toString();
    if (reason.empty())
        return false;
    report("No test runs: " + reason);
    return true;
}

bool refusesRunsOf(zel::TestImp const& test)
{
    for (zel::SettingsError const& error : test.settingsErrors()) {
        ParameterNotValidException const refusal{KrelString(test.keyInModule()),
                                                 KrelString(error.m_parameter)};
        report(ErrorReporting::withoutStackTrace(refusal.toString().zelString()) + ": " + error.toString());
    }
    return !test.settingsErrors().empty();
}

} // namespace krel5
