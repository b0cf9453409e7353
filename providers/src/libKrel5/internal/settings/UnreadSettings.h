#pragma once
// A mistyped key must not leave a test running with its default while the person believes otherwise.

#include <zel/model/settings/SettingsResource.h>

#include <vector>

namespace krel5 {

/// The settings whose keys belong to nothing that the module has declared, in the order of their lines: each
/// with its line, and the key that was probably meant where one is close. After a hundred one more says that
/// the rest was not looked at.
std::vector<zel::SettingsError> unreadSettings(zel::SettingsResource const& settings);

} // namespace krel5
