#pragma once

#include <zel/model/settings/SettingsResource.h>
#include <zel/model/values/LocalizedStringImp.h>
#include <zel/model/values/ValidRange.h>
#include <zel/model/values/ValueImp.h>
#include <zel/model/vocabulary/DataTypeImp.h>
#include <zel/model/vocabulary/ParameterSourceImp.h>

#include <memory>
#include <optional>

namespace zel {

/// A declared, typed parameter of a test, an indicator or a whole module, and its value once one was found.
///
/// Settings keys: "{kind}.{parent key}.{key}.value" for the parameter of a test or an indicator, then, for a
/// global one, "Parameter.{key}.value".
class ZEL_EXPORT ParameterImp
{
public:
    /// Bad texts are not refused here but by resolve(), which every start runs before anything is tested.
    ParameterImp(String key, String defaultText, DataTypeImp const& type, String validRange, bool required,
                 bool isGlobal);

    String const& key() const noexcept { return m_key; }
    String const& defaultText() const noexcept { return m_defaultText; }
    DataTypeImp const& type() const noexcept { return m_type; }
    String const& validDataRange() const noexcept { return m_rangeText; }
    bool isRequired() const noexcept { return m_required; }
    bool isGlobalParameter() const noexcept { return m_global; }

    /// What is wrong with the range's or the default's text; empty: nothing.
    String const& declarationError() const noexcept { return m_declarationError; }

    String const& moduleGuid() const noexcept { return m_moduleGuid; }
    void setModuleGuid(String const& guid);
    /// Kind "Test" or "Indicator", and its key in the module.
    void setParent(String const& kind, String const& key);
    String const& parentKind() const noexcept { return m_parentKind; }
    String const& parentKey() const noexcept { return m_parentKey; }
    /// Texts "Parameter.{key}.Name" and "Parameter.{key}.Description".
    LocalizedStringImp name() const;
    LocalizedStringImp description() const;

    /// The value that was set, else the default, else an empty one of the type.
    ValueImp const& value() const noexcept { return m_value; }
    ParameterSourceImp const& valueSource() const noexcept { return m_source; }
    bool isSet() const noexcept { return m_source != ParameterSourceImp::NOTSET(); }

    /// Takes the value from the settings; without a line for it the default stays, with the source NOTSET.
    /// Returns what is wrong, if anything: the range's text, the default's text, or a setting that cannot
    /// become the type or lies outside the range. The value is then as it was.
    [[nodiscard]] std::optional<SettingsError> resolve(SettingsResource const& settings);
    /// From whoever runs the module; a value of another type is taken when nothing is lost by it. As
    /// resolve().
    [[nodiscard]] std::optional<SettingsError> setValue(ValueImp const& value,
                                                        ParameterSourceImp const& source);
    /// Likewise, from a text.
    [[nodiscard]] std::optional<SettingsError> setValueText(String const& text,
                                                            ParameterSourceImp const& source);

    /// Settings of the module that the parameter belongs to. Never null.
    std::shared_ptr<SettingsResource const> getSettingsResource() const;
    String settingsKey() const { return settingsKeyForParent(m_parentKind, m_parentKey); }
    String settingsKeyForParent(String const& kind, String const& parentKey) const;
    String globalSettingsKey() const;

private:
    std::optional<String> reasonAgainst(ValueImp const& value) const;

    String m_key, m_defaultText;
    DataTypeImp m_type;
    String m_rangeText;
    bool m_required, m_global;
    std::optional<ValidRange> m_range; // nothing: the text is malformed
    String m_declarationError;         // what is wrong with range or default; empty: nothing
    String m_moduleGuid, m_parentKind = String("Test"), m_parentKey;
    ValueImp m_value;
    ParameterSourceImp m_source;
};

} // namespace zel
