#pragma once
// The settings of a module, from its file `<guid>.w4i`. docs/settings-file.md has the format.

#include <zel/foundation/String.h>
#include <zel/model/texts/KeyTextFile.h>
#include <zel/model/vocabulary/DataTypeImp.h>

#include <memory>
#include <optional>

namespace zel {

/// A setting, or anything else, that cannot be taken: where it stands and why.
struct ZEL_EXPORT SettingsError
{
    String m_file; ///< empty: not from a file
    int m_line = 0;
    String m_key;
    String m_reason;
    String m_parameter = String(); ///< key of the parameter that it concerns; empty: none

    /// "mymod.w4i:12: Test.memory.size.value: ..."
    String toString() const;
};

/// The settings of one module: read once, never changed.
/// Thread rule: a const object may be used from any thread, and so may the static operations.
class ZEL_EXPORT SettingsResource
{
public:
    explicit SettingsResource(KeyTextFile file, std::string passedOver = std::string())
        : m_file(std::move(file)), m_passedOver(std::move(passedOver))
    {}

    /// The settings of the module `guid`, read on first request and kept until clearCache(). The file is that
    /// of the search folders that comes first; that there is none is normal. What is wrong with its lines is
    /// logged once, as warnings. Never null.
    static std::shared_ptr<SettingsResource const> ofModule(String const& guid);
    static void clearCache();
    /// The folder of the running program, then the working directory, unless set otherwise (tests do).
    static void setSearchFolders(std::vector<std::string> folders);

    std::string const& path() const noexcept { return m_file.path(); }
    /// A settings file of the module in a later search folder, which is not read; empty: there is none.
    std::string const& passedOver() const noexcept { return m_passedOver; }
    bool exists() const noexcept { return m_file.state() == KeyTextFile::State::Read; }
    std::vector<KeyTextFile::Issue> const& issues() const noexcept { return m_file.issues(); }
    /// In the order of their first lines.
    std::vector<String> const& keys() const noexcept { return m_file.keys(); }
    /// Null when the key is not set.
    KeyTextFile::Entry const* find(String const& key) const { return m_file.find(key); }
    std::optional<String> text(String const& key) const;
    /// A switch: `true` or `false` in any case of letters (or 1 or 0); `fallback` when the key is not set or
    /// its text is neither, the latter with a warning in the log.
    bool flag(String const& key, bool fallback) const;
    SettingsError error(String const& key, KeyTextFile::Entry const& entry, String const& reason) const;
    /// What is wrong when the key is set to a text that cannot become the type.
    std::optional<SettingsError> misfit(String const& key, DataTypeImp const& type) const;

    /// Enable switch of a test or an indicator: kind "Test" or "Indicator".
    enum class Enable {
        NotSet,   ///< no switch that can be read: enabled
        Enabled,  ///< "{kind}.{key}.Enable.value" says `true`
        Disabled, ///< it says `false`
        OldForm   ///< only "{kind}.{key}.Enable" is there
    };
    Enable enable(String const& kind, String const& key) const;
    /// What the switch of either form says; true when there is none.
    bool isEnabled(String const& kind, String const& key) const;

private:
    KeyTextFile m_file;
    std::string m_passedOver;
};

} // namespace zel
