#pragma once
// How measurements are scaled and printed: prefixes, symbols, decimals. docs/values.md has the rules for
// readers.

#include <zel/foundation/String.h>
#include <zel/model/vocabulary/LanguageImp.h>
#include <zel/model/vocabulary/UnitMagnitude.h>
#include <zel/model/vocabulary/UnitType.h>

#include <cstdint>
#include <optional>

namespace zel::scale {

/// `value` of one magnitude in another; one rounding at most, none between powers of two.
double convert(UnitType const& unit, double value, UnitMagnitude const& from, UnitMagnitude const& to);

/// `wanted`, or for AUTOSCALEUNIT the largest magnitude, of those that the field uses with the unit, in which
/// the value, given in the plain unit, is at least 1.
UnitMagnitude choose(UnitType const& unit, double plainValue, UnitMagnitude const& wanted);
/// The same of a count. A short count of bytes or bits that is no whole number of KiB stays plain: a packet has "1500 B", and
/// "1.46 KiB" is another number.
UnitMagnitude chooseForCount(UnitType const& unit, std::uint64_t count, UnitMagnitude const& wanted);
/// Larger than any that choose() takes by itself.
bool isBeyondRange(UnitType const& unit, UnitMagnitude const& magnitude);
/// `chosen`, or the next larger magnitude where `number`, the text in the chosen one, has been rounded up to
/// the step between the two: "1 MiB", not "1024 KiB". Only for what choose() chose by itself.
UnitMagnitude afterRounding(UnitType const& unit, UnitMagnitude const& chosen, String const& number);

/// "GiB", "kHz", "" for a plain number.
char const* prefix(UnitType const& unit, UnitMagnitude const& magnitude);
char const* symbol(UnitType const& unit);

/// `value` with exactly that many decimals, independent of any locale.
String fixed(double value, int decimals);
/// `value` with at most two decimals and, below 1, at most three significant digits; no zeros at the end.
String brief(double value);
/// Number, blank, prefix and symbol; no blank where these are empty.
String withUnit(String const& number, UnitType const& unit, UnitMagnitude const& magnitude);
/// With the decimal separator of the language.
String localized(String const& number, LanguageImp const& language);

/// What a person writes as a measurement, "16 GiB", "2400 MHz", "12 BYTES", "0x001F", taken apart.
struct Parsed
{
    UnitType m_unit;
    UnitMagnitude m_magnitude;
    String m_number;
};
std::optional<Parsed> parse(String const& text);

} // namespace zel::scale
