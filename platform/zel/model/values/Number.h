#pragma once

#include <zel/foundation/String.h>

#include <compare>
#include <cstdint>
#include <optional>
#include <string_view>

namespace zel {

/// A number of any of the vocabulary's number types, compared exactly: no integer goes through a `double`.
class ZEL_EXPORT Number
{
public:
    static Number ofInteger(std::int64_t value) noexcept;
    static Number ofUnsigned(std::uint64_t value) noexcept;
    static Number ofReal(double value) noexcept;

    /// Decimal integer, 0x and hexadecimal digits, or a decimal number with point or exponent;
    /// locale-independent, nothing before or behind it. Nothing when it is none of these, or not finite.
    static std::optional<Number> parse(String const& text);

    /// The number as that type when that loses nothing.
    std::optional<std::uint64_t> asUnsigned() const noexcept;
    std::optional<std::int64_t> asInteger() const noexcept;
    /// For an integer that no double holds exactly: nothing.
    std::optional<double> asReal() const noexcept;
    /// The nearest double.
    double nearestReal() const noexcept;

    /// Unordered with NaN.
    std::partial_ordering operator<=>(Number const& other) const noexcept;
    bool operator==(Number const& other) const noexcept { return (*this <=> other) == 0; }

private:
    bool m_isReal = false;
    bool m_negative = false;       // of an integer; its amount is m_magnitude
    std::uint64_t m_magnitude = 0; // never 0 when negative
    double m_real = 0;
};

} // namespace zel
