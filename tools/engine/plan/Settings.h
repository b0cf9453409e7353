#pragma once
// Values that somebody gives to parameters of tests.

#include <engine/catalog/Catalog.h>

#include <string>
#include <utility>
#include <vector>

namespace engine {

struct Setting
{
    std::string
        tests; ///< for which tests, a word as on the command line; empty: all that have such a parameter
    std::string key, value;
    std::string origin; ///< "--set", or "plan.txt:3": what complaints begin with
};

/// "SizeMiB=64", "memory:quick.SizeMiB=64", or as in a module's own file "Test.quick.SizeMiB.value=64" and
/// "Parameter.SizeMiB.value=64". Throws InvalidArgumentException that begins with `origin`.
Setting settingOf(std::string const& text, std::string const& origin);

/// Such lines in a file, by the rules of lines of docs/settings-file.md. Throws InvalidArgumentException that names file and
/// line.
std::vector<Setting> readSettingsFile(std::string const& path);

/// Which settings have been of use to some test.
class SettingsUse
{
public:
    /// REQUIRES: both outlive the object.
    SettingsUse(Catalog const& catalog, std::vector<Setting> const& settings);

    /// What the settings say for the test, later ones in place of earlier ones: key and text. Throws
    /// InvalidArgumentException for a value that the parameter does not take.
    std::vector<std::pair<std::string, std::string>> of(Catalog::Place const& place);
    /// Throws InvalidArgumentException for the first setting that no test had a parameter for.
    void requireAllUsed() const;

private:
    Catalog const& m_catalog;
    std::vector<Setting> const& m_settings;
    std::vector<std::vector<ModuleTest*>> m_tests; ///< of each setting; empty: all
    std::vector<bool> m_isUsed;
    std::vector<zel::String> m_knownKeys;
};

} // namespace engine
