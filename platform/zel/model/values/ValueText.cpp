// Values as people read and write them. docs/values.md has the forms.

#include <zel/model/values/MeasurementScale.h>
#include <zel/model/values/Number.h>
#include <zel/model/values/ValueImp.h>

#include <cmath>
#include <limits>

namespace zel {
namespace {

/// Texts in messages are shown up to this many code units.
constexpr std::size_t kShownUnits = 80;

String quoted(String const& text)
{
    String const shown = text.size() > kShownUnits ? text.substr(0, kShownUnits) + String("...") : text;
    return String("\"") + shown + String("\"");
}

String cannotBe(String const& text, DataTypeImp const& type, char const* expected)
{
    return quoted(text) + String(" is no ") + type.toString() + String(": expecting ") + String(expected);
}

std::optional<std::uint32_t> parseUint32(String const& text)
{
    auto const number = Number::parse(text);
    auto const amount = number ? number->asUnsigned() : std::nullopt;
    if (!amount || *amount > std::numeric_limits<std::uint32_t>::max())
        return std::nullopt;
    return static_cast<std::uint32_t>(*amount);
}

std::optional<std::int32_t> parseInt32(String const& text)
{
    auto const number = Number::parse(text);
    auto const integer = number ? number->asInteger() : std::nullopt;
    if (!integer || *integer < std::numeric_limits<std::int32_t>::min() ||
        *integer > std::numeric_limits<std::int32_t>::max())
        return std::nullopt;
    return static_cast<std::int32_t>(*integer);
}

std::optional<std::uint64_t> parseUint64(String const& text)
{
    auto const number = Number::parse(text);
    return number ? number->asUnsigned() : std::nullopt;
}

std::optional<double> parseReal(String const& text)
{
    auto const number = Number::parse(text);
    return number ? std::optional(number->nearestReal()) : std::nullopt;
}

std::optional<bool> parseBoolean(String const& text)
{
    String const word = text.lowered();
    if (word == String("true") || word == String("1"))
        return true;
    if (word == String("false") || word == String("0"))
        return false;
    return std::nullopt;
}

std::optional<DiscreteMeasurement> parseDiscrete(String const& text)
{
    auto const parsed = scale::parse(text);
    if (!parsed)
        return std::nullopt;
    // An integer of plain units keeps all of its 64 bits; what carries a prefix is a count near enough.
    if (parsed->m_magnitude == UnitMagnitude::BASEUNIT()) {
        auto const count = parseUint64(parsed->m_number);
        return count ? std::optional(DiscreteMeasurement(parsed->m_unit, *count)) : std::nullopt;
    }
    auto const value = parseReal(parsed->m_number);
    double const plain =
        value ? scale::convert(parsed->m_unit, *value, parsed->m_magnitude, UnitMagnitude()) : -1;
    if (!(plain >= 0 && plain < 18446744073709551616.0)) // 2^64
        return std::nullopt;
    return DiscreteMeasurement(parsed->m_unit, *value, parsed->m_magnitude);
}

// As many decimals as the text has are worth showing.
std::optional<NonDiscreteMeasurement> parseNonDiscrete(String const& text)
{
    auto const parsed = scale::parse(text);
    auto const value =
        parsed && !parsed->m_unit.isHexadecimalType() ? parseReal(parsed->m_number) : std::nullopt;
    if (!value)
        return std::nullopt;
    std::string const number = parsed->m_number.toUtf8();
    auto const point = number.find('.');
    auto const end = number.find_first_of("eE");
    auto const digits = point == std::string::npos ? 0 : std::min(end, number.size()) - point - 1;
    return NonDiscreteMeasurement(parsed->m_unit, *value, parsed->m_magnitude,
                                  static_cast<int>(std::min<std::size_t>(digits, 30)));
}

// Commas separate; a backslash before a comma or a backslash makes it an ordinary character. Blanks around an
// element do not count.
std::vector<String> splitList(String const& text)
{
    std::vector<String> elements;
    if (text.trimmed().empty())
        return elements;
    std::vector<String::Unit> element;
    auto const finish = [&] {
        elements.push_back(String(element.data(), element.size()).trimmed());
        element.clear();
    };
    for (std::size_t i = 0; i < text.size(); ++i) {
        auto const next = text[i + 1]; // behind the last there is a zero
        bool const escapes = text[i] == '\\' && (next == ',' || next == '\\');
        if (escapes)
            element.push_back(text[++i]);
        else if (text[i] == ',')
            finish();
        else
            element.push_back(text[i]);
    }
    finish();
    return elements;
}

template <typename T>
std::optional<ValueImp> orReason(std::optional<T> const& datum, String const& text, DataTypeImp const& type,
                                 char const* expected, String& reason)
{
    if (datum)
        return ValueImp(*datum);
    reason = cannotBe(text, type, expected);
    return std::nullopt;
}

template <typename T>
std::optional<ValueImp> parseList(String const& text, DataTypeImp const& type,
                                  std::optional<T> (*parseElement)(String const&), char const* expected,
                                  String& reason)
{
    std::vector<String> const texts = splitList(text);
    if (texts.size() > ValueImp::kMaxElements) {
        reason = cannotBe(text, type, "fewer elements");
        return std::nullopt;
    }
    std::vector<T> elements;
    elements.reserve(texts.size());
    for (String const& elementText : texts) {
        auto element = parseElement(elementText);
        if (!element) {
            reason = quoted(elementText) + String(" in ") + quoted(text) + String(" is no element of a ") +
                     type.toString() + String(": expecting ") + String(expected);
            return std::nullopt;
        }
        elements.push_back(*std::move(element));
    }
    return ValueImp(std::move(elements));
}

std::optional<String> anyString(String const& text) { return text; }
std::optional<LocalizedStringImp> anyLocalized(String const& text) { return LocalizedStringImp(text); }

std::optional<ValueImp> parseRealOf(String const& text, DataTypeImp const& type, String& reason)
{
    bool const isPercent = type == DataTypeImp::PERCENT();
    String const number =
        isPercent && text.endsWith(String("%")) ? text.substr(0, text.size() - 1).trimmed() : text;
    if (auto const real = parseReal(number))
        return ValueImp(*real, type);
    reason =
        cannotBe(text, type, isPercent ? "a number, as 12.5, with or without %" : "a number, as 2 or 0.5");
    return std::nullopt;
}

constexpr char kUint32[] = "an integer from 0 to 4294967295";
constexpr char kInt32[] = "an integer from -2147483648 to 2147483647";
constexpr char kUint64[] = "an integer from 0 to 18446744073709551615";
constexpr char kDiscrete[] = "a count and a unit (\"16 GiB\", \"2400 MHz\", \"12 BYTES\", \"0x1F\")";
constexpr char kNonDiscrete[] = "a number and a unit (\"3.30 V\")";

} // namespace

std::optional<ValueImp> ValueImp::parse(String const& original, DataTypeImp const& type, String& reason)
{
    using Code = DataTypeImp::Code;
    if (!type.isValid()) {
        reason = quoted(original) + String(" cannot be read: its type is unknown");
        return std::nullopt;
    }
    String const text = type == DataTypeImp::STRING() ? original : original.trimmed();
    switch (type.code()) {
    case Code::UINT32:
        return orReason(parseUint32(text), text, type, kUint32, reason);
    case Code::INT32:
        return orReason(parseInt32(text), text, type, kInt32, reason);
    case Code::UINT64:
        return orReason(parseUint64(text), text, type, kUint64, reason);
    case Code::DOUBLE:
    case Code::PERCENT:
        return parseRealOf(text, type, reason);
    case Code::STRING:
        return ValueImp(text);
    case Code::BOOLEAN:
        return orReason(parseBoolean(text), text, type, "true or false", reason);
    case Code::STRINGARRAY:
        return parseList(text, type, anyString, "a text", reason);
    case Code::UINT32ARRAY:
        return parseList(text, type, parseUint32, kUint32, reason);
    case Code::INT32ARRAY:
        return parseList(text, type, parseInt32, kInt32, reason);
    case Code::DISCRETEMEASUREMENT:
        return orReason(parseDiscrete(text), text, type, kDiscrete, reason);
    case Code::DISCRETEMEASUREMENTARRAY:
        return parseList(text, type, parseDiscrete, kDiscrete, reason);
    case Code::NONDISCRETEMEASUREMENT:
        return orReason(parseNonDiscrete(text), text, type, kNonDiscrete, reason);
    case Code::LOCALIZEDSTRING:
        return ValueImp(LocalizedStringImp(text));
    case Code::LOCALIZEDSTRINGARRAY:
        return parseList(text, type, anyLocalized, "a key", reason);
    }
    return std::nullopt;
}

namespace {

/// How a datum becomes text: for the language, or, where that is null, the same on every machine.
class Shown
{
public:
    explicit Shown(LanguageImp const* language) : m_language(language) {}

    String operator()(std::uint32_t datum) const { return String::number(datum); }
    String operator()(std::int32_t datum) const { return String::number(datum); }
    String operator()(std::uint64_t datum) const { return String::number(datum); }
    String operator()(double datum) const
    {
        String const text = String::number(datum);
        return m_language ? scale::localized(text, *m_language) : text;
    }
    String operator()(bool datum) const { return String(datum ? "true" : "false"); }
    String operator()(String const& datum) const { return datum; }
    String operator()(DiscreteMeasurement const& datum) const
    {
        return m_language ? datum.localizedString(UnitMagnitude::AUTOSCALEUNIT(), *m_language)
                          : datum.toString();
    }
    String operator()(NonDiscreteMeasurement const& datum) const
    {
        return m_language ? datum.localizedString(-1, UnitMagnitude::AUTOSCALEUNIT(), *m_language)
                          : datum.toString();
    }
    String operator()(LocalizedStringImp const& datum) const
    {
        return m_language ? datum.resolve(*m_language) : datum.resolve();
    }
    String operator()(Boxed<LocalizedStringImp> const& datum) const { return (*this)(datum.get()); }

    template <typename T>
    String operator()(std::vector<T> const& elements) const
    {
        String text;
        for (T const& element : elements) {
            if (&element != elements.data())
                text += String(", ");
            text += (*this)(element);
        }
        return text;
    }

private:
    LanguageImp const* m_language;
};

} // namespace

String ValueImp::toString() const
{
    String const text = std::visit(Shown(nullptr), m_data);
    return m_type == DataTypeImp::PERCENT() ? text + String("%") : text;
}

String ValueImp::localizedString(LanguageImp const& language) const
{
    String const text = std::visit(Shown(&language), m_data);
    return m_type == DataTypeImp::PERCENT() ? text + String("%") : text;
}

} // namespace zel
