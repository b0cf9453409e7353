#pragma once
// The settings of a module, from its file `<guid>.w4i`. docs/settings-file.md has the format.

#include <zel/foundation/String.h>
#include <zel/model/texts/KeyTextFile.h>
#include <zel/model/texts/ModuleFolders.h>

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
    explicit SettingsResource(KeyTextFile file, std::string passedOver = std::string());

    /// The settings of the module `guid`, read on first request and kept until clearCache(). The file is that
    /// of the search folders that comes first; that there is none is normal. One in the working directory must
    /// belong to root or the caller and be writable for nobody else; one beside the program must be no easier
    /// to change than the program. What is wrong with the file or its lines is logged once. Never null.
    static std::shared_ptr<SettingsResource const> ofModule(String const& guid);
    /// The same of a module of another program, read now; `folders` are those that it looks into. Never null.
    static std::shared_ptr<SettingsResource const> read(String const& guid,
                                                        std::vector<ModuleFolder> const& folders);
    static void clearCache();
    /// The folder of the running program, then the working directory, unless set otherwise (tests do).
    static void setSearchFolders(std::vector<std::string> folders);

    std::string const& path() const noexcept { return m_file.path(); }
    /// A settings file of the module in a later search folder, which is not read; empty: there is none.
    std::string const& passedOver() const noexcept { return m_passedOver; }
    /// No line sets anything: nothing needs to be looked up.
    bool isEmpty() const noexcept { return m_file.size() == 0; }
    bool exists() const noexcept { return m_file.state() == KeyTextFile::State::Read; }
    std::vector<KeyTextFile::Issue> const& issues() const noexcept { return m_file.issues(); }
    /// Why nobody can tell what the settings are: the file is there and cannot be read or must not be, or a
    /// line cannot be read, which may have been any setting. Empty: they can be told. No test runs otherwise.
    String unknown() const;
    /// In the order of their first lines.
    std::vector<String> const& keys() const noexcept { return m_file.keys(); }
    /// Some line may be one of a switch or time in its old form, without ".value".
    bool hasOldForms() const noexcept { return m_hasOldForms; }
    /// Null when the key is not set.
    KeyTextFile::Entry const* find(String const& key) const { return m_file.find(key); }
    std::optional<String> text(String const& key) const;
    /// A line as it stands in the file.
    struct Line
    {
        String key;
        KeyTextFile::Entry const* entry; ///< null: there is no such line
        explicit operator bool() const noexcept { return entry != nullptr; }
    };
    /// The line of "{name}.value", or, where there is none, of its old form "{name}".
    Line eitherForm(String const& key) const;
    SettingsError error(Line const& line, String const& reason) const;
    /// "mymod.w4i:12: Test.memory.Enable.value=off"; empty for no line.
    String shown(Line const& line) const;

    // The keys below end in ".value"; the old form without it counts too, but must not contradict the new one.

    /// A switch: `true`, `yes`, `on`, `1` or `false`, `no`, `off`, `0` in any case of letters; `fallback` when
    /// there is no line or flagError() names one.
    bool flag(String const& key, bool fallback) const;
    std::optional<SettingsError> flagError(String const& key) const;
    /// A time in seconds: a number, alone or with s, m, h or d behind it; nothing when there is no line or
    /// secondsError() names one.
    std::optional<std::uint32_t> seconds(String const& key) const;
    std::optional<SettingsError> secondsError(String const& key) const;
    /// Such a time's text; nothing when it is none, or more seconds than 32 bits hold.
    static std::optional<std::uint32_t> secondsOf(String const& text);

    /// Enable switch of a test or an indicator: kind "Test" or "Indicator".
    enum class Enable {
        NotSet,        ///< no line: enabled
        Enabled,       ///< "{kind}.{key}.Enable.value" says `true`
        Disabled,      ///< it says `false`
        NotUnderstood, ///< it says neither
        OldForm        ///< only "{kind}.{key}.Enable" is there
    };
    /// The line of the switch, of either form.
    Line enableLine(String const& kind, String const& key) const;
    static Enable enable(Line const& line);
    /// What the switch of either form says; true when there is none. What is not understood counts as true
    /// here, so that the function is listed, and is refused when it is to run.
    static bool isEnabled(Line const& line);

private:
    KeyTextFile m_file;
    std::string m_passedOver;
    bool m_hasOldForms;
};

} // namespace zel
