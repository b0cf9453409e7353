#pragma once
// A mistyped key must not leave a test running with its default, or at all, while the person believes otherwise.

#include <zel/model/settings/SettingsResource.h>

#include <vector>

namespace zel {
class ModuleFunctionImp;
}

namespace krel5 {

/// A setting whose key belongs to nothing that the module has declared.
struct UnreadSetting
{
    zel::SettingsError error; ///< its line, and the key that was probably meant where one is close
    /// What it may have been meant for, which must not run: the test or indicator that its key names, and
    /// whatever the nearest known keys concern. Nothing of that: the setting resembles none of this module.
    std::vector<zel::ModuleFunctionImp*> functions;
    bool concernsEveryRun = false;
};

/// In the order of their lines. After a hundred one more says that the rest was not looked at; that rest may have
/// been meant for anything. REQUIRES: global parameters have been handed down to the tests.
std::vector<UnreadSetting> unreadSettings(zel::SettingsResource const& settings);

} // namespace krel5
