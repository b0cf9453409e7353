#include <zel/model/settings/ParameterImp.h>

namespace zel {
namespace {

bool isNumberType(DataTypeImp const& type)
{
    using Code = DataTypeImp::Code;
    constexpr Code kNumbers[] = {Code::UINT32,
                                 Code::INT32,
                                 Code::UINT64,
                                 Code::DOUBLE,
                                 Code::PERCENT,
                                 Code::UINT32ARRAY,
                                 Code::INT32ARRAY,
                                 Code::DISCRETEMEASUREMENT,
                                 Code::DISCRETEMEASUREMENTARRAY,
                                 Code::NONDISCRETEMEASUREMENT};
    for (Code code : kNumbers)
        if (type.code() == code)
            return true;
    return false;
}

std::optional<UnitType> unitOf(ValueImp const& value)
{
    if (value.type() == DataTypeImp::DISCRETEMEASUREMENT())
        return value.discreteMeasurement().unitType();
    if (value.type() == DataTypeImp::NONDISCRETEMEASUREMENT())
        return value.nonDiscreteMeasurement().unitType();
    return std::nullopt;
}

} // namespace

ParameterImp::ParameterImp(String key, String defaultText, DataTypeImp const& type, String validRange,
                           bool required, bool isGlobal)
    : m_key(std::move(key)), m_defaultText(std::move(defaultText)), m_type(type),
      m_rangeText(std::move(validRange)), m_required(required), m_global(isGlobal), m_value(type)
{
    String reason;
    m_range = ValidRange::parse(m_rangeText, reason);
    if (m_range && isNumberType(m_type) && !m_range->isNumeric())
        reason = String("the valid range \"") + m_rangeText +
                 String("\" has an item that is no number; a span is written low..high");
    m_declarationError = reason;
    if (m_defaultText.empty() || !reason.empty())
        return;
    auto const value = ValueImp::parse(m_defaultText, m_type, reason);
    if (value)
        reason = reasonAgainst(*value).value_or(String());
    if (reason.empty())
        m_value = *value;
    else
        m_declarationError = String("the default: ") + reason;
}

void ParameterImp::setModuleGuid(String const& guid) { m_moduleGuid = guid; }

void ParameterImp::setParent(String const& kind, String const& key)
{
    m_parentKind = kind;
    m_parentKey = key;
}

LocalizedStringImp ParameterImp::name() const
{
    return LocalizedStringImp(String("Parameter.") + m_key + String(".Name"), String(), m_moduleGuid);
}

LocalizedStringImp ParameterImp::description() const
{
    return LocalizedStringImp(String("Parameter.") + m_key + String(".Description"), String(), m_moduleGuid);
}

// A range counts plain units and cannot tell megahertz from mebibytes; the default says what is meant.
std::optional<String> ParameterImp::reasonAgainst(ValueImp const& value) const
{
    String ignored;
    auto const standard = ValueImp::parse(m_defaultText, m_type, ignored);
    auto const meant = standard ? unitOf(*standard) : std::nullopt;
    if (auto const unit = unitOf(value); unit && meant && *meant != UnitType::NOUNIT() && *unit != *meant)
        return String("\"") + value.toString() + "\" is in " + unit->toString() + ", not in " +
               meant->toString() + " as the default \"" + m_defaultText + "\"";
    if (!m_range || m_range->contains(value))
        return std::nullopt;
    return String("\"") + value.toString() + String("\" lies outside the valid range \"") + m_rangeText +
           String("\"");
}

std::optional<SettingsError> ParameterImp::resolve(SettingsResource const& settings)
{
    if (!m_declarationError.empty())
        return SettingsError{String(), 0, m_key, m_declarationError, m_key};
    if (settings.isEmpty())
        return std::nullopt;
    String key = settingsKey();
    auto const* entry = settings.find(key);
    if (!entry && m_global) {
        key = globalSettingsKey();
        entry = settings.find(key);
    }
    if (!entry)
        return std::nullopt;
    auto error = setValueText(entry->m_text, ParameterSourceImp::SETTINGSFILE());
    if (error) {
        error = settings.error({key, entry}, error->m_reason);
        error->m_parameter = m_key;
    }
    return error;
}

std::optional<SettingsError> ParameterImp::setValueText(String const& text, ParameterSourceImp const& source)
{
    String reason;
    if (auto const value = ValueImp::parse(text, m_type, reason))
        return setValue(*value, source);
    return SettingsError{String(), 0, m_key, reason, m_key};
}

std::optional<SettingsError> ParameterImp::setValue(ValueImp const& value, ParameterSourceImp const& source)
{
    auto const converted = value.as(m_type);
    String reason = m_declarationError;
    if (reason.empty() && !converted)
        reason = String("a value of type ") + value.type().toString() + String(" cannot become a ") +
                 m_type.toString();
    if (reason.empty())
        reason = reasonAgainst(*converted).value_or(String());
    if (!reason.empty())
        return SettingsError{String(), 0, m_key, reason, m_key};
    m_value = *converted;
    m_source = source;
    return std::nullopt;
}

std::shared_ptr<SettingsResource const> ParameterImp::getSettingsResource() const
{
    return SettingsResource::ofModule(m_moduleGuid);
}

String ParameterImp::settingsKeyForParent(String const& kind, String const& parentKey) const
{
    return kind + String(".") + parentKey + String(".") + m_key + String(".value");
}

String ParameterImp::globalSettingsKey() const { return String("Parameter.") + m_key + String(".value"); }

} // namespace zel
