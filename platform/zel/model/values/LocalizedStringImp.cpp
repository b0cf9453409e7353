#include <zel/model/values/LocalizedStringImp.h>

#include <zel/foundation/Exception.h>
#include <zel/model/texts/GlobalParameters.h>
#include <zel/model/texts/LocalizedResource.h>
#include <zel/model/values/ValueImp.h>

namespace zel {
namespace {

// A localized string inside a localized string could hold itself.
void refuseLocalized(DataTypeImp const& type)
{
    if (type == DataTypeImp::LOCALIZEDSTRING() || type == DataTypeImp::LOCALIZEDSTRINGARRAY())
        throw InvalidArgumentException(String("a variable of a text cannot be of type ") + type.toString());
}

} // namespace

void LocalizedStringImp::setVariable(String const& name, ValueImp const& value)
{
    refuseLocalized(value.type());
    setVariable(name, value.toZELValue());
}

void LocalizedStringImp::setVariable(String const& name, ZELValue const& value)
{
    refuseLocalized(value.type());
    String reason;
    auto const datum = ValueImp::fromZELValue(value, reason);
    if (!datum)
        throw InvalidArgumentException(reason);
    ZELValue canonical = datum->toZELValue(); // "007" and "7" are one number, and make equal texts
    for (auto& [knownName, knownValue] : m_variables) {
        if (knownName == name) {
            knownValue = std::move(canonical);
            return;
        }
    }
    if (m_variables.size() >= kMaxVariables)
        throw InvalidArgumentException(String("a text has at most 1000 variables"));
    m_variables.emplace_back(name, std::move(canonical));
}

ZELValue const* LocalizedStringImp::find(String const& name) const noexcept
{
    for (auto const& [knownName, value] : m_variables)
        if (knownName == name)
            return &value;
    return nullptr;
}

ValueImp LocalizedStringImp::valueForVariable(String const& name) const
{
    ZELValue const* const found = find(name);
    if (!found)
        return ValueImp();
    String reason;
    return ValueImp::fromZELValue(*found, reason).value_or(ValueImp());
}

String LocalizedStringImp::substitute(String const& text, LanguageImp const& language) const
{
    if (m_variables.empty())
        return text;
    constexpr std::size_t kMaxNameUnits = 256; // bounds the work that a text of opening braces costs
    String const opening("{"), closing("}");
    String result;
    std::size_t from = 0, close = text.find(closing);
    for (std::size_t open = text.find(opening); open != String::npos; open = text.find(opening, open + 1)) {
        if (close < open)
            close = text.find(closing, open);
        if (close == String::npos)
            break;
        if (close - open > kMaxNameUnits)
            continue;
        String const name = text.substr(open + 1, close - open - 1);
        if (!variableIsSet(name))
            continue;
        result += text.substr(from, open - from) +
                  valueForVariable(name).localizedString(language).withoutControls(false);
        from = close + 1;
        open = close;
    }
    return result + text.substr(from);
}

String LocalizedStringImp::resolve() const { return resolve(GlobalParameters::instance().language()); }

String LocalizedStringImp::resolve(LanguageImp const& language) const
{
    if (m_override)
        return substitute(*m_override, language);
    if (auto const text = LocalizedResource::find(m_moduleGuid, m_key, language))
        return substitute(*text, language);
    if (!m_defaultText.empty())
        return substitute(m_defaultText, language);
    String values; // a fault must not lose its address because a text file is missing
    for (auto const& variable : m_variables)
        values += (values.empty() ? String(" (") : String(", ")) + variable.first + "=" +
                  valueForVariable(variable.first).toString().withoutControls(false);
    return substitute(m_key, language) + (values.empty() ? values : values + ")");
}

} // namespace zel
