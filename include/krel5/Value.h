#pragma once
// One typed datum: a test parameter's setting, a device property, an indicator's reading.
//
//     Value size(KrelDiscreteMeasurement(KrelUnitType::BYTES(), 17179869184ull));
//     Value disks(DataType::STRINGARRAY());                    // empty, then filled
//     disks.append("sda");
//     unsigned int loops = parameter->value().valueUint32();   // TypeMismatchException when it is no number
//     std::puts(size.toString().getUTF8Buffer());              // "16 GiB"
//
// A value is read as the type it has, or as one to which it converts without loss: any integer and DOUBLE as
// each other where the number is the same, DOUBLE and PERCENT as each other. Everything else is a type
// mismatch.
//
// Thread rule: one value is not used from two threads at once, reading included: texts are read through a
// cache.

#include <krel5/DataHolder.h>
#include <krel5/DataType.h>
#include <krel5/Export.h>
#include <krel5/KrelDiscreteMeasurement.h>
#include <krel5/KrelNonDiscreteMeasurement.h>
#include <krel5/KrelString.h>
#include <krel5/LocalizedString.h>

namespace zel {
class ValueImp;
class ZELValue;
} // namespace zel

namespace krel5 {

struct ValueInternalData;

class KREL5_EXPORT Value
{
public:
    Value(int value);          ///< INT32
    Value(unsigned int value); ///< UINT32
    /// The first of INT32, UINT32 and UINT64 that holds the number. A number below -2147483648, which no
    /// integer type holds, is refused with InvalidDataTypeException, which names it.
    Value(long value);
    Value(long long value);
    /// UINT64, whatever the number, where the type has 64 bits (std::uint64_t and std::size_t come here),
    /// else UINT32.
    Value(unsigned long value);
    Value(unsigned long long value); ///< UINT64, whatever the number
    Value(bool value);               ///< BOOLEAN
    /// `type` is DOUBLE or PERCENT (a PERCENT of 3.5 is three and a half percent); any other raises
    /// TypeMismatchException.
    Value(double value, DataType const& type);
    /// A real number alone does not say whether it is a DOUBLE or a PERCENT.
    Value(double) = delete;
    /// Any other pointer would silently become a BOOLEAN.
    Value(void const*) = delete;
    Value(char const* utf8);           ///< STRING; null counts as empty
    Value(unsigned short const* ucs2); ///< STRING; null counts as empty
    Value(std::string const& utf8);    ///< STRING
    Value(std::string_view utf8);      ///< STRING
    Value(KrelString const& value);    ///< STRING
    Value(zel::String const& value);   ///< STRING
    Value(zel::CString const& value);  ///< STRING, from UTF-8
    Value(LocalizedString const& value);
    Value(KrelDiscreteMeasurement const& value);
    Value(KrelNonDiscreteMeasurement const& value);
    /// Empty: zero, false, "" or an array without elements. A type outside the table is taken as STRING.
    explicit Value(DataType const& type);
    /// Reads a text as a person writes it ("42", "0x2A", "true", "12.5%", "16 GiB", "a, b"; docs/values.md
    /// has all forms). Raises InvalidCreationException, which names text and type, for a text that is none of
    /// the type.
    Value(KrelString const& text, DataType type);
    /// For the library's own use: a copy of the model's value.
    explicit Value(zel::ValueImp const& value);
    /// For the library's own use: from the form in which values cross to the engine; `type`, which may be
    /// null, is imposed. Raises InternalException when that cannot be.
    Value(zel::ZELValue const& value, DataType const* type);
    Value(Value const& other);
    Value& operator=(Value const& other);
    ~Value();

    /// Typed reads. Each raises TypeMismatchException, which names the type that the value has and the one
    /// that was asked for, and changes nothing.
    unsigned int valueUint32() const;
    int valueInt32() const;
    unsigned long long valueUint64() const;
    double valueDouble() const;
    double valuePercent() const;
    bool valueBool() const;
    /// The text is owned by the value and stays until the next read of a text from it, or until it is
    /// assigned or destroyed.
    KrelString const& valueString() const;
    LocalizedString valueLocalizedString() const;
    KrelDiscreteMeasurement valueDiscreteMeasurement() const;
    KrelNonDiscreteMeasurement valueNonDiscreteMeasurement() const;

    /// Adds an element to an array of that element's type; TypeMismatchException for any other value. Each
    /// returns nothing; an array holds up to 1048576 elements, InternalException beyond.
    void append(unsigned int element);
    void append(int element);
    void append(KrelString const& element);
    void append(LocalizedString const& element);
    void append(KrelDiscreteMeasurement const& element);

    /// Number of elements; TypeMismatchException when the value is not that array.
    unsigned int Uint32ArraySize() const;
    unsigned int Int32ArraySize() const;
    unsigned int stringArraySize() const;
    unsigned int localizedStringArraySize() const;
    unsigned int discreteMeasurementArraySize() const;

    /// The element at an index from 0. TypeMismatchException when the value is not that array,
    /// IndexOutOfBoundsException(0, size - 1, index) beyond its end.
    unsigned int getUint32InArray(unsigned int index) const;
    /// Beyond the end of a signed array the unsigned array's size is asked for, so a TypeMismatchException
    /// comes.
    int getInt32InArray(unsigned int index) const;
    /// The text lives as that of valueString().
    KrelString const& getStringInArray(unsigned int index) const;
    LocalizedString getLocalizedStringInArray(unsigned int index) const;
    KrelDiscreteMeasurement getDiscreteMeasurementInArray(unsigned int index) const;

    DataType type() const;
    /// For people, of every type; never fails: "42", "true", "12.5%", "16 GiB", "a, b".
    KrelString toString() const;
    /// The same as the platform's string; for the library's own use.
    zel::String toZELString() const;
    /// The form in which the value crosses to the engine; for the library's own use.
    zel::ZELValue getZELValue() const;
    /// The model's value; for the library's own use. Lives as long as the value.
    zel::ValueImp const& imp() const;

    /// Same type and same datum.
    bool operator==(Value const& other) const;
    bool operator!=(Value const& other) const;

private:
    ValueInternalData& data();
    ValueInternalData const& data() const;

    DataHolder<ValueInternalData> m_holder;
};

} // namespace krel5
