#include <krel5/Value.h>

#include <libKrel5/basics/Arguments.h>
#include <libKrel5/basics/DataHolderDefinition.h>
#include <libKrel5/basics/Texts.h>

#include <krel5/InternalException.h>
#include <krel5/InvalidCreationException.h>
#include <krel5/InvalidDataTypeException.h>
#include <krel5/TypeMismatchException.h>

#include <zel/foundation/Exception.h>
#include <zel/model/values/ValueImp.h>

#include <cstdint>

namespace krel5 {

struct ValueInternalData
{
    ValueInternalData() = default;
    explicit ValueInternalData(zel::ValueImp value) : type(value.type()), imp(std::move(value)) {}

    mutable KrelString text; // what valueString() and getStringInArray() hand out
    mutable DataType type;   // of `imp`, as of the last typed read that failed
    zel::ValueImp imp;
};

template class DataHolder<ValueInternalData>;

namespace {

zel::ValueImp fromSigned(long long value, char const* where)
{
    if (auto fitting = zel::ValueImp::fromInt64(value))
        return *std::move(fitting);
    zel::String const place =
        zel::String(where) + ": " + zel::String::number(std::int64_t{value}) + " fits no integer type";
    throw InvalidDataTypeException(place, DataType());
}

// std::uint64_t and std::size_t come here where `unsigned long` has 64 bits: their type must not depend on
// how large the number happens to be.
zel::ValueImp fromUnsigned(unsigned long value)
{
    if constexpr (sizeof value > sizeof(std::uint32_t))
        return zel::ValueImp(std::uint64_t{value});
    else
        return zel::ValueImp(static_cast<std::uint32_t>(value));
}

zel::ValueImp fromReal(double value, DataType const& type)
{
    if (type != DataType::DOUBLE() && type != DataType::PERCENT())
        throw TypeMismatchException("DOUBLE or PERCENT", type);
    return zel::ValueImp(value, type.imp());
}

/// What a text says as a value of the type, or `Exception` with the reason.
template <typename Exception>
zel::ValueImp fromText(zel::String const& text, DataType const& type)
{
    zel::String reason;
    if (auto parsed = zel::ValueImp::parse(text, type.imp(), reason))
        return *std::move(parsed);
    throw Exception(reason);
}

zel::ValueImp fromEngine(zel::ZELValue const& value, DataType const* type)
{
    zel::String reason;
    auto const read = zel::ValueImp::fromZELValue(value, reason);
    if (!read)
        throw InternalException(reason);
    if (!type)
        return *read;
    auto imposed = read->as(type->imp());
    return imposed ? *std::move(imposed) : fromText<InternalException>(read->toString(), *type);
}

} // namespace

Value::Value(int value) : m_holder(ValueInternalData(zel::ValueImp(value))) {}
Value::Value(unsigned int value) : m_holder(ValueInternalData(zel::ValueImp(value))) {}
Value::Value(long value) : m_holder(ValueInternalData(fromSigned(value, "Value::Value(long)"))) {}
Value::Value(long long value) : m_holder(ValueInternalData(fromSigned(value, "Value::Value(long long)"))) {}
Value::Value(unsigned long value) : m_holder(ValueInternalData(fromUnsigned(value))) {}
Value::Value(unsigned long long value) : m_holder(ValueInternalData(zel::ValueImp(value))) {}
Value::Value(bool value) : m_holder(ValueInternalData(zel::ValueImp(value))) {}
Value::Value(double value, DataType const& type) : m_holder(ValueInternalData(fromReal(value, type))) {}
Value::Value(char const* utf8) : m_holder(ValueInternalData(zel::ValueImp(zel::String(utf8)))) {}
Value::Value(unsigned short const* ucs2) : m_holder(ValueInternalData(zel::ValueImp(zel::String(ucs2)))) {}
Value::Value(std::string const& utf8) : m_holder(ValueInternalData(zel::ValueImp(zel::String(utf8)))) {}
Value::Value(std::string_view utf8) : m_holder(ValueInternalData(zel::ValueImp(zel::String(utf8)))) {}
Value::Value(KrelString const& value) : m_holder(ValueInternalData(zel::ValueImp(value.zelString()))) {}
Value::Value(zel::String const& value) : m_holder(ValueInternalData(zel::ValueImp(value))) {}
Value::Value(zel::CString const& value) : m_holder(ValueInternalData(zel::ValueImp(zel::String(value)))) {}
Value::Value(LocalizedString const& value) : m_holder(ValueInternalData(zel::ValueImp(value.imp()))) {}
Value::Value(KrelDiscreteMeasurement const& value) : m_holder(ValueInternalData(zel::ValueImp(value.imp())))
{}
Value::Value(KrelNonDiscreteMeasurement const& value)
    : m_holder(ValueInternalData(zel::ValueImp(value.imp())))
{}
Value::Value(DataType const& type) : m_holder(ValueInternalData(zel::ValueImp(type.imp()))) {}
Value::Value(KrelString const& text, DataType type)
    : m_holder(ValueInternalData(fromText<InvalidCreationException>(text.zelString(), type)))
{}
Value::Value(zel::ValueImp const& value) : m_holder(ValueInternalData(value)) {}
Value::Value(zel::ZELValue const& value, DataType const* type)
    : m_holder(ValueInternalData(fromEngine(value, type)))
{}
Value::Value(Value const& other) = default;
Value& Value::operator=(Value const& other) = default;
Value::~Value() = default;

namespace {

// Every typed read begins here.
zel::ValueImp const& readable(ValueInternalData const& record, DataType const& requested)
{
    if (!record.imp.typeOkay(requested.imp())) {
        record.type = DataType(record.imp.type());
        throw TypeMismatchException(record.type, requested);
    }
    return record.imp;
}

unsigned int sizeOf(ValueInternalData const& record, DataType const& arrayType)
{
    return static_cast<unsigned int>(readable(record, arrayType).elementCount());
}

template <typename T>
T const& elementOf(std::vector<T> const& elements, unsigned int index)
{
    requireIndex(index, elements.size());
    return elements[index];
}

template <typename Element>
void appendTo(ValueInternalData& record, DataType const& arrayType, Element const& element)
{
    readable(record, arrayType);
    try {
        record.imp.append(element);
    } catch (zel::Exception const& e) {
        throw InternalException(e);
    }
}

} // namespace

unsigned int Value::valueUint32() const { return readable(data(), DataType::UINT32()).uint32(); }
int Value::valueInt32() const { return readable(data(), DataType::INT32()).int32(); }
unsigned long long Value::valueUint64() const { return readable(data(), DataType::UINT64()).uint64(); }
double Value::valueDouble() const { return readable(data(), DataType::DOUBLE()).doubleValue(); }
double Value::valuePercent() const { return readable(data(), DataType::PERCENT()).doubleValue(); }
bool Value::valueBool() const { return readable(data(), DataType::BOOLEAN()).boolean(); }

KrelString const& Value::valueString() const
{
    return cached(data().text, readable(data(), DataType::STRING()).string());
}

LocalizedString Value::valueLocalizedString() const
{
    return LocalizedString(readable(data(), DataType::LOCALIZEDSTRING()).localizedString());
}

KrelDiscreteMeasurement Value::valueDiscreteMeasurement() const
{
    return KrelDiscreteMeasurement(readable(data(), DataType::DISCRETEMEASUREMENT()).discreteMeasurement());
}

KrelNonDiscreteMeasurement Value::valueNonDiscreteMeasurement() const
{
    return KrelNonDiscreteMeasurement(
        readable(data(), DataType::NONDISCRETEMEASUREMENT()).nonDiscreteMeasurement());
}

void Value::append(unsigned int element) { appendTo(data(), DataType::UINT32ARRAY(), element); }
void Value::append(int element) { appendTo(data(), DataType::INT32ARRAY(), element); }
void Value::append(KrelString const& element)
{
    appendTo(data(), DataType::STRINGARRAY(), element.zelString());
}
void Value::append(LocalizedString const& element)
{
    appendTo(data(), DataType::LOCALIZEDSTRINGARRAY(), element.imp());
}
void Value::append(KrelDiscreteMeasurement const& element)
{
    appendTo(data(), DataType::DISCRETEMEASUREMENTARRAY(), element.imp());
}

unsigned int Value::Uint32ArraySize() const { return sizeOf(data(), DataType::UINT32ARRAY()); }
unsigned int Value::Int32ArraySize() const { return sizeOf(data(), DataType::INT32ARRAY()); }
unsigned int Value::stringArraySize() const { return sizeOf(data(), DataType::STRINGARRAY()); }
unsigned int Value::localizedStringArraySize() const
{
    return sizeOf(data(), DataType::LOCALIZEDSTRINGARRAY());
}
unsigned int Value::discreteMeasurementArraySize() const
{
    return sizeOf(data(), DataType::DISCRETEMEASUREMENTARRAY());
}

unsigned int Value::getUint32InArray(unsigned int index) const
{
    return elementOf(readable(data(), DataType::UINT32ARRAY()).uint32Array(), index);
}

int Value::getInt32InArray(unsigned int index) const
{
    auto const& elements = readable(data(), DataType::INT32ARRAY()).int32Array();
    if (index >= elements.size())
        requireIndex(index,
                     Uint32ArraySize()); // the unsigned size is meant: its type check is part of the answer
    return elements[index];
}

KrelString const& Value::getStringInArray(unsigned int index) const
{
    return cached(data().text, elementOf(readable(data(), DataType::STRINGARRAY()).stringArray(), index));
}

LocalizedString Value::getLocalizedStringInArray(unsigned int index) const
{
    auto const& elements = readable(data(), DataType::LOCALIZEDSTRINGARRAY()).localizedStringArray();
    return LocalizedString(elementOf(elements, index));
}

KrelDiscreteMeasurement Value::getDiscreteMeasurementInArray(unsigned int index) const
{
    auto const& elements = readable(data(), DataType::DISCRETEMEASUREMENTARRAY()).discreteMeasurementArray();
    return KrelDiscreteMeasurement(elementOf(elements, index));
}

DataType Value::type() const { return DataType(data().imp.type()); }
KrelString Value::toString() const { return KrelString(data().imp.toString()); }
zel::String Value::toZELString() const { return data().imp.toString(); }
zel::ZELValue Value::getZELValue() const { return data().imp.toZELValue(); }
zel::ValueImp const& Value::imp() const { return data().imp; }

bool Value::operator==(Value const& other) const { return data().imp == other.data().imp; }
bool Value::operator!=(Value const& other) const { return !(*this == other); }

ValueInternalData& Value::data() { return m_holder.data(); }
ValueInternalData const& Value::data() const { return m_holder.data(); }

} // namespace krel5
