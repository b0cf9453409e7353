#pragma once
// The one typed datum of the system: a parameter's setting, a device's property, an indicator's reading.
//
//     zel::ValueImp size(zel::DiscreteMeasurement(zel::UnitType::BYTES(), 17179869184));
//     if (size.typeOkay(zel::DataTypeImp::DISCRETEMEASUREMENT()))
//         use(size.discreteMeasurement());
//     zel::ValueImp list(zel::DataTypeImp::STRINGARRAY()); // empty, then list.append(zel::String("sda"))
//
// Thread rule: a value, as std::string.

#include <zel/foundation/String.h>
#include <zel/model/values/Boxed.h>
#include <zel/model/values/DiscreteMeasurement.h>
#include <zel/model/values/LocalizedStringImp.h>
#include <zel/model/values/NonDiscreteMeasurement.h>
#include <zel/model/values/Number.h>
#include <zel/model/values/ZELValue.h>
#include <zel/model/vocabulary/DataTypeImp.h>

#include <cstdint>
#include <optional>
#include <variant>
#include <vector>

namespace zel {

/// A datum and its type. It is read as the type it has, or as one to which it converts without loss
/// (typeOkay); a read as any other type throws InvalidArgumentException that names both.
class ZEL_EXPORT ValueImp
{
public:
    /// An empty STRING.
    ValueImp();
    ValueImp(int value);                ///< INT32
    ValueImp(unsigned value);           ///< UINT32
    ValueImp(long value);               ///< the first of INT32, UINT32, UINT64 that holds it; see fromInt64()
    ValueImp(long long value);          ///< likewise
    ValueImp(unsigned long value);      ///< UINT64, whatever its size: std::uint64_t comes here
    ValueImp(unsigned long long value); ///< UINT64
    ValueImp(bool value);
    /// `type` is DOUBLE or PERCENT; throws InvalidArgumentException for any other.
    ValueImp(double value, DataTypeImp const& type);
    ValueImp(char const* utf8) : ValueImp(String(utf8)) {}
    ValueImp(String value);
    ValueImp(LocalizedStringImp value);
    ValueImp(DiscreteMeasurement value);
    ValueImp(NonDiscreteMeasurement value);
    ValueImp(std::vector<String> values);
    ValueImp(std::vector<std::uint32_t> values);
    ValueImp(std::vector<std::int32_t> values);
    ValueImp(std::vector<DiscreteMeasurement> values);
    ValueImp(std::vector<LocalizedStringImp> values);
    /// Empty: zero, false, "" or an array without elements. A type outside the table is taken as STRING.
    explicit ValueImp(DataTypeImp const& type);
    /// As parse(); throws ParseException with the reason.
    ValueImp(String const& text, DataTypeImp const& type);

    /// The first of INT32, UINT32 and UINT64 that holds the number; nothing when none does.
    static std::optional<ValueImp> fromInt64(std::int64_t value);
    /// Reads a text that a person wrote (docs/values.md has the forms). On failure `reason` says why, in
    /// words that hold the text, and nothing is returned. Never throws on bad text.
    static std::optional<ValueImp> parse(String const& text, DataTypeImp const& type, String& reason);

    ZELValue toZELValue() const;
    /// Checks and reads what toZELValue() makes; as parse() on failure.
    static std::optional<ValueImp> fromZELValue(ZELValue const& value, String& reason);

    DataTypeImp const& type() const noexcept { return m_type; }
    /// Whether this datum, being what it is, may be read as `requested` without loss.
    bool typeOkay(DataTypeImp const& requested) const;
    /// The same datum as a value of the other type; nothing unless typeOkay().
    std::optional<ValueImp> as(DataTypeImp const& requested) const;

    std::uint32_t uint32() const;
    std::int32_t int32() const;
    std::uint64_t uint64() const;
    double doubleValue() const; ///< DOUBLE, or PERCENT in percent
    bool boolean() const;
    String const& string() const;
    LocalizedStringImp const& localizedString() const;
    DiscreteMeasurement const& discreteMeasurement() const;
    NonDiscreteMeasurement const& nonDiscreteMeasurement() const;
    std::vector<String> const& stringArray() const;
    std::vector<std::uint32_t> const& uint32Array() const;
    std::vector<std::int32_t> const& int32Array() const;
    std::vector<DiscreteMeasurement> const& discreteMeasurementArray() const;
    std::vector<LocalizedStringImp> const& localizedStringArray() const;

    /// The datum as a number, whatever its type; nothing for what is not one. A percentage counts by its
    /// number.
    std::optional<Number> number() const noexcept;

    bool isArray() const noexcept;
    /// Number of elements of an array; 1 for what is not one.
    std::size_t elementCount() const noexcept;

    /// Adds an element to an array of its kind; throws InvalidArgumentException for any other value, or for
    /// an array that holds kMaxElements already.
    void append(std::uint32_t element);
    void append(std::int32_t element);
    void append(String element);
    void append(DiscreteMeasurement element);
    void append(LocalizedStringImp element);

    /// For people, in every type: "42", "true", "12.5%", "16 GiB", "a, b". The same on every machine, but for
    /// the localized strings in it, which resolve for the current language.
    String toString() const;
    /// The same with the decimal separator of the language in numbers and measurements, and localized strings
    /// in it.
    String localizedString(LanguageImp const& language) const;

    /// Same type and same datum; a NaN equals a NaN here, so that an unchanged reading counts as unchanged.
    bool operator==(ValueImp const& other) const;

    static constexpr std::size_t kMaxElements = std::size_t{1} << 20;

private:
    using Data = std::variant<std::uint32_t, std::int32_t, std::uint64_t, double, String, bool,
                              std::vector<String>, std::vector<std::uint32_t>, std::vector<std::int32_t>,
                              DiscreteMeasurement, std::vector<DiscreteMeasurement>, NonDiscreteMeasurement,
                              Boxed<LocalizedStringImp>, std::vector<LocalizedStringImp>>;

    template <typename T>
    T const& read(DataTypeImp const& requested) const;
    template <typename T>
    T readNumber(DataTypeImp const& requested) const;
    template <typename T>
    void appendTo(T element);
    [[noreturn]] void throwMismatch(DataTypeImp const& requested) const;

    DataTypeImp m_type;
    Data m_data; // the alternative that belongs to m_type; `double` is both DOUBLE and PERCENT
};

} // namespace zel
