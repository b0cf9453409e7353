#pragma once
// Settings that nobody understands must not switch anything on: what they concern does not run. Everything else
// works, and says what is wrong.

#include <libKrel5/internal/settings/UnreadSettings.h>

#include <zel/model/settings/SettingsResource.h>

#include <vector>

namespace zel {
class TestImp;
}

namespace krel5 {

/// What is wrong with the settings that concern every run: times and the switches of questions, mistyped keys of
/// these too. `unread`: what unreadSettings() found in them.
std::vector<zel::SettingsError> moduleWideErrors(zel::SettingsResource const& settings,
                                                 std::vector<UnreadSetting> const& unread);

/// Whether no run may begin, because the settings as a whole or one that concerns every run cannot be taken.
/// The reason then stands in the log and on standard error. REQUIRES: global parameters have been handed down to
/// the tests.
bool refusesEveryRun(zel::SettingsResource const& settings);

/// Whether the test must not run, because of what the settings say of it; told likewise, each setting with its
/// line.
bool refusesRunsOf(zel::TestImp const& test);

} // namespace krel5
