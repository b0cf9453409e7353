// Values in the exact texts that cross to the engine and into files. docs/values.md has the layout.

#include <zel/foundation/Exception.h>
#include <zel/model/values/ValueImp.h>

#include <charconv>
#include <span>

namespace zel {
namespace {

template <typename T>
std::optional<T> readNumber(String const& text)
{
    std::string const bytes = text.toUtf8();
    T number{};
    auto const result = std::from_chars(bytes.data(), bytes.data() + bytes.size(), number);
    if (result.ec != std::errc() || result.ptr != bytes.data() + bytes.size())
        return std::nullopt;
    return number;
}

/// The texts of one value, taken one after the other; taking more than there are fails.
class Reader
{
public:
    explicit Reader(std::span<String const> texts) : m_texts(texts) {}

    bool atEnd() const { return m_next == m_texts.size(); }
    std::size_t left() const { return m_texts.size() - m_next; }

    bool take(String& text)
    {
        if (atEnd())
            return false;
        text = m_texts[m_next++];
        return true;
    }
    template <typename T>
    requires std::is_arithmetic_v<T>
    bool take(T& number)
    {
        auto const read = atEnd() ? std::nullopt : readNumber<T>(m_texts[m_next]);
        if (!read)
            return false;
        ++m_next;
        number = *read;
        return true;
    }
    bool take(bool& flag)
    {
        String text;
        if (!take(text) || (text != String("true") && text != String("false")))
            return false;
        flag = text == String("true");
        return true;
    }
    bool take(DiscreteMeasurement& measurement);
    bool take(NonDiscreteMeasurement& measurement);
    bool take(LocalizedStringImp& text);

private:
    bool takeUnit(UnitType& unit)
    {
        String name; // stays empty where there is none, which names no unit
        take(name);
        unit = UnitType::getConstantByString(name);
        return unit.isValid();
    }
    bool takeVariable(LocalizedStringImp& text);

    std::span<String const> m_texts;
    std::size_t m_next = 0;
};

bool Reader::take(DiscreteMeasurement& measurement)
{
    UnitType unit;
    std::uint64_t count = 0;
    if (!takeUnit(unit) || !take(count))
        return false;
    measurement = DiscreteMeasurement(unit, count);
    return true;
}

bool Reader::take(NonDiscreteMeasurement& measurement)
{
    UnitType unit;
    String magnitudeName;
    double value = 0;
    int precision = 0;
    if (!takeUnit(unit) || !take(value) || !take(magnitudeName) || !take(precision))
        return false;
    auto const magnitude = UnitMagnitude::getConstantByString(magnitudeName);
    measurement = NonDiscreteMeasurement(unit, value, magnitude, precision);
    return magnitude.isValid();
}

bool Reader::takeVariable(LocalizedStringImp& text)
{
    String name, type;
    std::size_t count = 0;
    if (!take(name) || !take(type) || !take(count) || count > left())
        return false;
    std::vector<String> texts(count);
    for (String& one : texts)
        take(one);
    try {
        text.setVariable(name, ZELValue(DataTypeImp::getConstantByString(type), std::move(texts)));
    } catch (InvalidArgumentException const&) {
        return false; // not of its type, or too many
    }
    return true;
}

bool Reader::take(LocalizedStringImp& result)
{
    String key, defaultText, moduleGuid, overrideText;
    bool overridden = false;
    std::size_t variables = 0;
    if (!take(key) || !take(defaultText) || !take(moduleGuid) || !take(overridden) || !take(overrideText) ||
        !take(variables))
        return false;
    LocalizedStringImp text(key, defaultText, moduleGuid);
    if (overridden)
        text.setOverride(overrideText);
    for (std::size_t i = 0; i < variables; ++i)
        if (!takeVariable(text))
            return false;
    result = std::move(text);
    return true;
}

template <typename T>
std::optional<ValueImp> one(Reader reader)
{
    T datum{};
    if (!reader.take(datum) || !reader.atEnd())
        return std::nullopt;
    return ValueImp(std::move(datum));
}

template <typename T>
std::optional<ValueImp> many(Reader reader)
{
    std::vector<T> elements;
    while (!reader.atEnd()) {
        T element{};
        if (!reader.take(element) || elements.size() >= ValueImp::kMaxElements)
            return std::nullopt;
        elements.push_back(std::move(element));
    }
    return ValueImp(std::move(elements));
}

std::optional<ValueImp> real(Reader reader, DataTypeImp const& type)
{
    double number = 0;
    if (!reader.take(number) || !reader.atEnd())
        return std::nullopt;
    return ValueImp(number, type);
}

std::optional<ValueImp> decode(Reader const& reader, DataTypeImp const& type)
{
    using Code = DataTypeImp::Code;
    if (!type.isValid())
        return std::nullopt;
    switch (type.code()) {
    case Code::UINT32:
        return one<std::uint32_t>(reader);
    case Code::INT32:
        return one<std::int32_t>(reader);
    case Code::UINT64:
        return one<std::uint64_t>(reader);
    case Code::DOUBLE:
    case Code::PERCENT:
        return real(reader, type);
    case Code::STRING:
        return one<String>(reader);
    case Code::BOOLEAN:
        return one<bool>(reader);
    case Code::STRINGARRAY:
        return many<String>(reader);
    case Code::UINT32ARRAY:
        return many<std::uint32_t>(reader);
    case Code::INT32ARRAY:
        return many<std::int32_t>(reader);
    case Code::DISCRETEMEASUREMENT:
        return one<DiscreteMeasurement>(reader);
    case Code::DISCRETEMEASUREMENTARRAY:
        return many<DiscreteMeasurement>(reader);
    case Code::NONDISCRETEMEASUREMENT:
        return one<NonDiscreteMeasurement>(reader);
    case Code::LOCALIZEDSTRING:
        return one<LocalizedStringImp>(reader);
    case Code::LOCALIZEDSTRINGARRAY:
        return many<LocalizedStringImp>(reader);
    }
    return std::nullopt;
}

using Texts = std::vector<String>;

void write(Texts& texts, std::uint32_t datum) { texts.push_back(String::number(datum)); }
void write(Texts& texts, std::int32_t datum) { texts.push_back(String::number(datum)); }
void write(Texts& texts, std::uint64_t datum) { texts.push_back(String::number(datum)); }
void write(Texts& texts, double datum) { texts.push_back(String::number(datum)); }
void write(Texts& texts, bool datum) { texts.push_back(String(datum ? "true" : "false")); }
void write(Texts& texts, String const& datum) { texts.push_back(datum); }

void write(Texts& texts, DiscreteMeasurement const& datum)
{
    write(texts, datum.unitType().toString());
    write(texts, datum.value());
}

void write(Texts& texts, NonDiscreteMeasurement const& datum)
{
    write(texts, datum.unitType().toString());
    write(texts, datum.givenValue());
    write(texts, datum.givenMagnitude().toString());
    write(texts, datum.givenPrecision());
}

void write(Texts& texts, LocalizedStringImp const& datum)
{
    write(texts, datum.key());
    write(texts, datum.defaultText());
    write(texts, datum.moduleGuid());
    write(texts, datum.overrideText().has_value());
    write(texts, datum.overrideText().value_or(String()));
    write(texts, std::uint64_t{datum.variables().size()});
    for (auto const& [name, value] : datum.variables()) {
        write(texts, name);
        write(texts, value.type().toString());
        write(texts, std::uint64_t{value.texts().size()});
        texts.insert(texts.end(), value.texts().begin(), value.texts().end());
    }
}

void write(Texts& texts, Boxed<LocalizedStringImp> const& datum) { write(texts, datum.get()); }

template <typename T>
void write(Texts& texts, std::vector<T> const& elements)
{
    for (T const& element : elements)
        write(texts, element);
}

} // namespace

ZELValue ValueImp::toZELValue() const
{
    Texts texts;
    std::visit([&texts](auto const& datum) { write(texts, datum); }, m_data);
    return ZELValue(m_type, std::move(texts));
}

std::optional<ValueImp> ValueImp::fromZELValue(ZELValue const& value, String& reason)
{
    auto decoded = decode(Reader(value.texts()), value.type());
    if (!decoded)
        reason = String::number(std::uint64_t{value.texts().size()}) +
                 String(" texts are no value of type ") + value.type().toString();
    return decoded;
}

} // namespace zel
