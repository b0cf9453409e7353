#include <zel/model/values/ValueImp.h>

#include <zel/foundation/Exception.h>
#include <zel/model/values/Number.h>
#include <zel/model/values/SameReal.h>

#include <limits>

namespace zel {
namespace {

DataTypeImp const& checkedRealType(DataTypeImp const& type)
{
    if (type != DataTypeImp::DOUBLE() && type != DataTypeImp::PERCENT())
        throw InvalidArgumentException(String("a real number is a DOUBLE or a PERCENT, not a ") +
                                       type.toString());
    return type;
}

ValueImp fittingInteger(std::int64_t value)
{
    if (auto fitting = ValueImp::fromInt64(value))
        return *std::move(fitting);
    throw InvalidArgumentException(String::number(value) + String(" fits no integer type"));
}

} // namespace

ValueImp::ValueImp() : ValueImp(String()) {}
ValueImp::ValueImp(int value) : m_type(DataTypeImp::INT32()), m_data(value) {}
ValueImp::ValueImp(unsigned value) : m_type(DataTypeImp::UINT32()), m_data(value) {}
ValueImp::ValueImp(long value) : ValueImp(fittingInteger(value)) {}
ValueImp::ValueImp(long long value) : ValueImp(fittingInteger(value)) {}
ValueImp::ValueImp(unsigned long value) : m_type(DataTypeImp::UINT64()), m_data(std::uint64_t{value}) {}
ValueImp::ValueImp(unsigned long long value) : m_type(DataTypeImp::UINT64()), m_data(std::uint64_t{value}) {}
ValueImp::ValueImp(bool value) : m_type(DataTypeImp::BOOLEAN()), m_data(value) {}
ValueImp::ValueImp(double value, DataTypeImp const& type) : m_type(checkedRealType(type)), m_data(value) {}
ValueImp::ValueImp(String value) : m_type(DataTypeImp::STRING()), m_data(std::move(value)) {}
ValueImp::ValueImp(LocalizedStringImp value)
    : m_type(DataTypeImp::LOCALIZEDSTRING()), m_data(Boxed(std::move(value)))
{}
ValueImp::ValueImp(DiscreteMeasurement value) : m_type(DataTypeImp::DISCRETEMEASUREMENT()), m_data(value) {}
ValueImp::ValueImp(NonDiscreteMeasurement value)
    : m_type(DataTypeImp::NONDISCRETEMEASUREMENT()), m_data(value)
{}
ValueImp::ValueImp(std::vector<String> values) : m_type(DataTypeImp::STRINGARRAY()), m_data(std::move(values))
{}
ValueImp::ValueImp(std::vector<std::uint32_t> values)
    : m_type(DataTypeImp::UINT32ARRAY()), m_data(std::move(values))
{}
ValueImp::ValueImp(std::vector<std::int32_t> values)
    : m_type(DataTypeImp::INT32ARRAY()), m_data(std::move(values))
{}
ValueImp::ValueImp(std::vector<DiscreteMeasurement> values)
    : m_type(DataTypeImp::DISCRETEMEASUREMENTARRAY()), m_data(std::move(values))
{}
ValueImp::ValueImp(std::vector<LocalizedStringImp> values)
    : m_type(DataTypeImp::LOCALIZEDSTRINGARRAY()), m_data(std::move(values))
{}

ValueImp::ValueImp(String const& text, DataTypeImp const& type)
{
    String reason;
    auto parsed = parse(text, type, reason);
    if (!parsed)
        throw ParseException(reason);
    *this = *std::move(parsed);
}

namespace {

ValueImp emptyOf(DataTypeImp const& type)
{
    using Code = DataTypeImp::Code;
    if (!type.isValid())
        return ValueImp(String());
    switch (type.code()) {
    case Code::UINT32:
        return ValueImp(0u);
    case Code::INT32:
        return ValueImp(0);
    case Code::UINT64:
        return ValueImp(0ull);
    case Code::DOUBLE:
    case Code::PERCENT:
        return ValueImp(0.0, type);
    case Code::STRING:
        return ValueImp(String());
    case Code::BOOLEAN:
        return ValueImp(false);
    case Code::STRINGARRAY:
        return ValueImp(std::vector<String>());
    case Code::UINT32ARRAY:
        return ValueImp(std::vector<std::uint32_t>());
    case Code::INT32ARRAY:
        return ValueImp(std::vector<std::int32_t>());
    case Code::DISCRETEMEASUREMENT:
        return ValueImp(DiscreteMeasurement());
    case Code::DISCRETEMEASUREMENTARRAY:
        return ValueImp(std::vector<DiscreteMeasurement>());
    case Code::NONDISCRETEMEASUREMENT:
        return ValueImp(NonDiscreteMeasurement());
    case Code::LOCALIZEDSTRING:
        return ValueImp(LocalizedStringImp());
    case Code::LOCALIZEDSTRINGARRAY:
        return ValueImp(std::vector<LocalizedStringImp>());
    }
    return ValueImp(String());
}

} // namespace

ValueImp::ValueImp(DataTypeImp const& type) : ValueImp(emptyOf(type)) {}

std::optional<ValueImp> ValueImp::fromInt64(std::int64_t value)
{
    if (value < std::numeric_limits<std::int32_t>::min())
        return std::nullopt;
    if (value <= std::numeric_limits<std::int32_t>::max())
        return ValueImp(static_cast<std::int32_t>(value));
    if (value <= std::numeric_limits<std::uint32_t>::max())
        return ValueImp(static_cast<std::uint32_t>(value));
    return ValueImp(static_cast<std::uint64_t>(value));
}

std::optional<Number> ValueImp::number() const noexcept
{
    if (auto const* unsigned32 = std::get_if<std::uint32_t>(&m_data))
        return Number::ofUnsigned(*unsigned32);
    if (auto const* signed32 = std::get_if<std::int32_t>(&m_data))
        return Number::ofInteger(*signed32);
    if (auto const* unsigned64 = std::get_if<std::uint64_t>(&m_data))
        return Number::ofUnsigned(*unsigned64);
    if (auto const* real = std::get_if<double>(&m_data))
        return Number::ofReal(*real);
    return std::nullopt;
}

std::optional<ValueImp> ValueImp::as(DataTypeImp const& requested) const
{
    if (requested == m_type)
        return *this;
    auto const datum = number();
    if (!datum)
        return std::nullopt;
    bool const isPercent = m_type == DataTypeImp::PERCENT();
    if (requested == DataTypeImp::PERCENT() && m_type == DataTypeImp::DOUBLE())
        return ValueImp(datum->nearestReal(), requested);
    if (requested == DataTypeImp::DOUBLE()) {
        auto const real = datum->asReal();
        return real ? std::optional(ValueImp(*real, requested)) : std::nullopt;
    }
    if (isPercent)
        return std::nullopt;
    auto const amount = datum->asUnsigned();
    if (requested == DataTypeImp::UINT64() && amount)
        return ValueImp(*amount);
    if (requested == DataTypeImp::UINT32() && amount && *amount <= std::numeric_limits<std::uint32_t>::max())
        return ValueImp(static_cast<std::uint32_t>(*amount));
    auto const integer = datum->asInteger();
    if (requested == DataTypeImp::INT32() && integer &&
        *integer >= std::numeric_limits<std::int32_t>::min() &&
        *integer <= std::numeric_limits<std::int32_t>::max())
        return ValueImp(static_cast<std::int32_t>(*integer));
    return std::nullopt;
}

bool ValueImp::typeOkay(DataTypeImp const& requested) const
{
    return requested == m_type || (number() && as(requested));
}

void ValueImp::throwMismatch(DataTypeImp const& requested) const
{
    throw InvalidArgumentException(String("a value of type ") + m_type.toString() + String(" was read as ") +
                                   requested.toString());
}

template <typename T>
T const& ValueImp::read(DataTypeImp const& requested) const
{
    if (m_type != requested)
        throwMismatch(requested);
    return std::get<T>(m_data);
}

template <typename T>
T ValueImp::readNumber(DataTypeImp const& requested) const
{
    auto const converted = as(requested);
    if (!converted)
        throwMismatch(requested);
    return std::get<T>(converted->m_data);
}

std::uint32_t ValueImp::uint32() const { return readNumber<std::uint32_t>(DataTypeImp::UINT32()); }
std::int32_t ValueImp::int32() const { return readNumber<std::int32_t>(DataTypeImp::INT32()); }
std::uint64_t ValueImp::uint64() const { return readNumber<std::uint64_t>(DataTypeImp::UINT64()); }
double ValueImp::doubleValue() const { return readNumber<double>(DataTypeImp::DOUBLE()); }
bool ValueImp::boolean() const { return read<bool>(DataTypeImp::BOOLEAN()); }
String const& ValueImp::string() const { return read<String>(DataTypeImp::STRING()); }

LocalizedStringImp const& ValueImp::localizedString() const
{
    return read<Boxed<LocalizedStringImp>>(DataTypeImp::LOCALIZEDSTRING()).get();
}

DiscreteMeasurement const& ValueImp::discreteMeasurement() const
{
    return read<DiscreteMeasurement>(DataTypeImp::DISCRETEMEASUREMENT());
}

NonDiscreteMeasurement const& ValueImp::nonDiscreteMeasurement() const
{
    return read<NonDiscreteMeasurement>(DataTypeImp::NONDISCRETEMEASUREMENT());
}

std::vector<String> const& ValueImp::stringArray() const
{
    return read<std::vector<String>>(DataTypeImp::STRINGARRAY());
}

std::vector<std::uint32_t> const& ValueImp::uint32Array() const
{
    return read<std::vector<std::uint32_t>>(DataTypeImp::UINT32ARRAY());
}

std::vector<std::int32_t> const& ValueImp::int32Array() const
{
    return read<std::vector<std::int32_t>>(DataTypeImp::INT32ARRAY());
}

std::vector<DiscreteMeasurement> const& ValueImp::discreteMeasurementArray() const
{
    return read<std::vector<DiscreteMeasurement>>(DataTypeImp::DISCRETEMEASUREMENTARRAY());
}

std::vector<LocalizedStringImp> const& ValueImp::localizedStringArray() const
{
    return read<std::vector<LocalizedStringImp>>(DataTypeImp::LOCALIZEDSTRINGARRAY());
}

namespace {

template <typename T>
struct IsVector : std::false_type
{};
template <typename T>
struct IsVector<std::vector<T>> : std::true_type
{};

} // namespace

bool ValueImp::isArray() const noexcept
{
    return std::visit([](auto const& datum) { return IsVector<std::decay_t<decltype(datum)>>::value; },
                      m_data);
}

std::size_t ValueImp::elementCount() const noexcept
{
    return std::visit(
        [](auto const& datum) -> std::size_t {
            if constexpr (IsVector<std::decay_t<decltype(datum)>>::value)
                return datum.size();
            else
                return 1;
        },
        m_data);
}

template <typename T>
void ValueImp::appendTo(T element)
{
    auto* const elements = std::get_if<std::vector<T>>(&m_data);
    if (!elements)
        throw InvalidArgumentException(String("an element was appended that a value of type ") +
                                       m_type.toString() + String(" does not take"));
    if (elements->size() >= kMaxElements)
        throw InvalidArgumentException(String("an array holds at most ") +
                                       String::number(std::uint64_t{kMaxElements}) + String(" elements"));
    elements->push_back(std::move(element));
}

void ValueImp::append(std::uint32_t element) { appendTo(element); }
void ValueImp::append(std::int32_t element) { appendTo(element); }
void ValueImp::append(String element) { appendTo(std::move(element)); }
void ValueImp::append(DiscreteMeasurement element) { appendTo(element); }
void ValueImp::append(LocalizedStringImp element) { appendTo(std::move(element)); }

bool ValueImp::operator==(ValueImp const& other) const
{
    if (m_type != other.m_type)
        return false;
    if (auto const* real = std::get_if<double>(&m_data))
        return sameReal(*real, std::get<double>(other.m_data));
    return m_data == other.m_data;
}

} // namespace zel
