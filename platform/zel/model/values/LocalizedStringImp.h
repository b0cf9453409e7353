#pragma once

#include <zel/foundation/String.h>
#include <zel/model/values/ZELValue.h>
#include <zel/model/vocabulary/LanguageImp.h>

#include <optional>
#include <utility>
#include <vector>

namespace zel {

class ValueImp;

/// A text named by a key, resolved for a language when it is read. Variables stand in the text as `{name}`.
///
/// The text is, in this order: the override, if one was set; the text of the key in the resource files of the
/// module (LocalizedResource); the default text; the key itself, so that a missing translation shows
/// something that a person can report, followed by the variables. Then each `{name}` of a variable that is
/// set is replaced by its value, with the decimal separator of the language, in one pass: what a value brings
/// in is not looked at again, and the name of no variable stays as it is. A value never ends a line nor steers
/// a terminal: it may come from a device, and "Final Result: PASS" at the beginning of a line must be the
/// library's own. Its control characters and line ends are written as escapes (String::withoutControls); the
/// text's own stay, its author wrote them.
class ZEL_EXPORT LocalizedStringImp
{
public:
    LocalizedStringImp() = default;
    explicit LocalizedStringImp(String key, String defaultText = String(), String moduleGuid = String())
        : m_key(std::move(key)), m_defaultText(std::move(defaultText)), m_moduleGuid(std::move(moduleGuid))
    {}

    String const& key() const noexcept { return m_key; }
    String const& defaultText() const noexcept { return m_defaultText; }
    String const& moduleGuid() const noexcept { return m_moduleGuid; }
    void setModuleGuid(String const& guid) { m_moduleGuid = guid; }

    /// Replaces the whole text, in every language; variables still apply.
    void setOverride(String const& text) { m_override = text; }
    std::optional<String> const& overrideText() const noexcept { return m_override; }

    /// Sets or replaces a variable. Throws InvalidArgumentException, and changes nothing, for a value that is
    /// a localized string or an array of them, and when 1000 variables are set already.
    void setVariable(String const& name, ValueImp const& value);
    void setVariable(String const& name, ZELValue const& value);
    bool variableIsSet(String const& name) const noexcept { return find(name) != nullptr; }
    /// An empty STRING when the variable is not set.
    ValueImp valueForVariable(String const& name) const;
    /// In order of their first setting.
    std::vector<std::pair<String, ZELValue>> const& variables() const noexcept { return m_variables; }

    /// The text for the current language of GlobalParameters.
    String resolve() const;
    String resolve(LanguageImp const& language) const;
    String toString() const { return resolve(); }

    bool operator==(LocalizedStringImp const&) const = default;

    static constexpr std::size_t kMaxVariables = 1000;

private:
    ZELValue const* find(String const& name) const noexcept;
    String substitute(String const& text, LanguageImp const& language) const;

    String m_key, m_defaultText, m_moduleGuid;
    std::optional<String> m_override;
    std::vector<std::pair<String, ZELValue>> m_variables;
};

} // namespace zel
