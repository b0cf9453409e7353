#include <zel/model/values/MeasurementScale.h>

#include <zel/model/values/Number.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <iterator>
#include <string_view>

namespace zel::scale {
namespace {

// What the field does with each unit. Amounts of data are counted in powers of two, with the prefixes of IEC
// 80000-13; everything else, data rates included, in powers of ten, with those of the SI. Degrees,
// revolutions and plain numbers carry no prefix, and seconds none above the second: nobody reads "7.2 krpm"
// or "3.6 ks". Memory is sold by its millions of transfers, all four digits of them: "2666 MT/s"; links are
// rated by their thousands of millions, and whoever reads one says so: a real number stays in what it was given in.
struct UnitRow
{
    UnitType::Code m_unit;
    char const* m_symbol;
    bool m_binary;
    UnitMagnitude::Code m_smallest, m_largest; // that AUTOSCALEUNIT chooses
};

using Unit = UnitType::Code;
using Magnitude = UnitMagnitude::Code;
constexpr UnitRow kUnits[] = {
    {Unit::NOUNIT, "", false, Magnitude::BASEUNIT, Magnitude::BASEUNIT},
    {Unit::HERTZ, "Hz", false, Magnitude::PICO, Magnitude::PETA},
    {Unit::BITS, "bit", true, Magnitude::BASEUNIT, Magnitude::PETA},
    {Unit::BYTES, "B", true, Magnitude::BASEUNIT, Magnitude::PETA},
    {Unit::AMPS, "A", false, Magnitude::PICO, Magnitude::PETA},
    {Unit::VOLTS, "V", false, Magnitude::PICO, Magnitude::PETA},
    {Unit::WATTS, "W", false, Magnitude::PICO, Magnitude::PETA},
    {Unit::WATTHOURS, "Wh", false, Magnitude::PICO, Magnitude::PETA},
    {Unit::BITSPERSECOND, "bit/s", false, Magnitude::BASEUNIT, Magnitude::PETA},
    {Unit::CELSIUS, "\u00B0C", false, Magnitude::BASEUNIT, Magnitude::BASEUNIT},
    {Unit::METERS, "m", false, Magnitude::PICO, Magnitude::KILO},
    {Unit::HEXADECIMAL8, "", false, Magnitude::BASEUNIT, Magnitude::BASEUNIT},
    {Unit::HEXADECIMAL16, "", false, Magnitude::BASEUNIT, Magnitude::BASEUNIT},
    {Unit::HEXADECIMAL32, "", false, Magnitude::BASEUNIT, Magnitude::BASEUNIT},
    {Unit::HEXADECIMAL64, "", false, Magnitude::BASEUNIT, Magnitude::BASEUNIT},
    {Unit::SECONDS, "s", false, Magnitude::PICO, Magnitude::BASEUNIT},
    {Unit::RPM, "rpm", false, Magnitude::BASEUNIT, Magnitude::BASEUNIT},
    {Unit::AMPEREHOURS, "Ah", false, Magnitude::PICO, Magnitude::PETA},
    {Unit::TRANSFERSPERSECOND, "T/s", false, Magnitude::BASEUNIT, Magnitude::MEGA},
};

struct PrefixRow
{
    Magnitude m_magnitude;
    char const* m_decimal;
    char const* m_binary; // IEC names none below one: the SI's stand for powers of two there
};
constexpr PrefixRow kPrefixes[] = {
    {Magnitude::PICO, "p", "p"},  {Magnitude::NANO, "n", "n"},   {Magnitude::MICRO, "\u00B5", "\u00B5"},
    {Magnitude::MILLI, "m", "m"}, {Magnitude::BASEUNIT, "", ""}, {Magnitude::KILO, "k", "Ki"},
    {Magnitude::MEGA, "M", "Mi"}, {Magnitude::GIGA, "G", "Gi"},  {Magnitude::TERA, "T", "Ti"},
    {Magnitude::PETA, "P", "Pi"},
};

// A unit from outside the table is printed as a plain number.
UnitRow const& rowOf(UnitType const& unit)
{
    for (UnitRow const& row : kUnits)
        if (row.m_unit == unit.code())
            return row;
    return kUnits[0];
}

bool takesFactor(UnitType const& unit) { return !unit.isHexadecimalType(); }

std::size_t endOfNumber(std::string_view text)
{
    auto const end = text.find_first_not_of("+-.0123456789");
    // An exponent belongs to the number, an "E" of a unit does not: none of the units begins with it.
    if (end == std::string_view::npos || (text[end] != 'e' && text[end] != 'E'))
        return end;
    return text.find_first_not_of("+-0123456789", end + 1);
}

std::optional<Parsed> parseHexadecimal(std::string_view text)
{
    constexpr UnitType::Code kByDigits[] = {Unit::HEXADECIMAL8, Unit::HEXADECIMAL16, Unit::HEXADECIMAL32,
                                            Unit::HEXADECIMAL64};
    for (UnitType::Code code : kByDigits)
        if (text.size() - 2 <= static_cast<std::size_t>(UnitType(code).hexadecimalBits()) / 4)
            return Parsed{UnitType(code), UnitMagnitude::BASEUNIT(), String(text)};
    return std::nullopt;
}

} // namespace

double convert(UnitType const& unit, double value, UnitMagnitude const& from, UnitMagnitude const& to)
{
    if (!takesFactor(unit))
        return value;
    if (rowOf(unit).m_binary)
        return std::ldexp(value, from.powerOfTwo() - to.powerOfTwo());
    // 10^n is exact in a double up to n = 22, and a division rounds once where a factor 10^-n would round
    // twice. Powers are -12 to 15, so their difference needs two steps at most.
    auto const times = [](double amount, int power) {
        double const factor = std::pow(10.0, std::abs(power));
        return power < 0 ? amount / factor : amount * factor;
    };
    int const power = from.powerOfTen() - to.powerOfTen();
    int const firstStep = std::clamp(power, -22, 22);
    return times(times(value, firstStep), power - firstStep);
}

UnitMagnitude choose(UnitType const& unit, double plainValue, UnitMagnitude const& wanted)
{
    if (!takesFactor(unit))
        return UnitMagnitude::BASEUNIT();
    if (wanted != UnitMagnitude::AUTOSCALEUNIT())
        return wanted;
    if (plainValue == 0 || !std::isfinite(plainValue))
        return UnitMagnitude::BASEUNIT();
    UnitRow const& row = rowOf(unit);
    // The constants stand in the order of their size.
    for (int code = static_cast<int>(row.m_largest);; --code) {
        UnitMagnitude const candidate(static_cast<Magnitude>(code));
        if (candidate.code() == row.m_smallest ||
            std::fabs(convert(unit, plainValue, UnitMagnitude::BASEUNIT(), candidate)) >= 1)
            return candidate;
    }
}

bool isBeyondRange(UnitType const& unit, UnitMagnitude const& magnitude)
{
    return takesFactor(unit) && magnitude.code() > rowOf(unit).m_largest;
}

UnitMagnitude chooseForCount(UnitType const& unit, std::uint64_t count, UnitMagnitude const& wanted)
{
    constexpr std::uint64_t kReadAtOnce = 10'000, kKibi = 1024, kHundredths = 100;
    if (wanted == UnitMagnitude::AUTOSCALEUNIT() && rowOf(unit).m_binary && count < kReadAtOnce &&
        count * kHundredths % kKibi != 0)
        return UnitMagnitude::BASEUNIT();
    return choose(unit, static_cast<double>(count), wanted);
}

UnitMagnitude afterRounding(UnitType const& unit, UnitMagnitude const& chosen, String const& number)
{
    UnitRow const& row = rowOf(unit);
    if (!takesFactor(unit) || static_cast<int>(chosen.code()) >= static_cast<int>(row.m_largest))
        return chosen;
    auto const rounded = Number::parse(number);
    UnitMagnitude const next(static_cast<Magnitude>(static_cast<int>(chosen.code()) + 1));
    bool const reachesNext = rounded && std::fabs(convert(unit, rounded->nearestReal(), chosen, next)) >= 1;
    return reachesNext ? next : chosen;
}

char const* symbol(UnitType const& unit) { return rowOf(unit).m_symbol; }

char const* prefix(UnitType const& unit, UnitMagnitude const& magnitude)
{
    for (PrefixRow const& row : kPrefixes)
        if (row.m_magnitude == magnitude.code())
            return rowOf(unit).m_binary ? row.m_binary : row.m_decimal;
    return "";
}

String fixed(double value, int decimals)
{
    if (!std::isfinite(value))
        return String::number(value);
    char text[400]; // 309 digits before the point, sign, point and at most 30 decimals
    auto const result = std::to_chars(text, std::end(text), value, std::chars_format::fixed, decimals);
    std::string_view const all(text, static_cast<std::size_t>(result.ptr - text));
    bool const isNegativeZero = all.starts_with('-') && all.find_first_not_of("-0.") == all.npos;
    return String(isNegativeZero ? all.substr(1) : all);
}

String brief(double value)
{
    if (!std::isfinite(value))
        return String::number(value);
    double const order = value == 0 ? 0 : std::floor(std::log10(std::fabs(value)));
    std::string text = fixed(value, std::clamp(2 - static_cast<int>(order), 2, 30)).toUtf8();
    text.erase(text.find_last_not_of('0') + 1);
    if (text.ends_with('.'))
        text.pop_back();
    return String(text);
}

String withUnit(String const& number, UnitType const& unit, UnitMagnitude const& magnitude)
{
    String const name = String(prefix(unit, magnitude)) + String(symbol(unit));
    return name.empty() ? number : number + String(" ") + name;
}

String localized(String const& number, LanguageImp const& language)
{
    using Code = LanguageImp::Code;
    constexpr LanguageImp::Code kWithComma[] = {Code::cs, Code::da, Code::de, Code::el, Code::es, Code::fr,
                                                Code::hu, Code::it, Code::nl, Code::pl, Code::pt, Code::ru,
                                                Code::sl, Code::sv, Code::tr, Code::nb, Code::fi};
    for (LanguageImp::Code code : kWithComma)
        if (language.code() == code)
            return number.replaced(String("."), String(","));
    return number;
}

std::optional<Parsed> parse(String const& text)
{
    std::string const bytes = text.trimmed().toUtf8();
    std::string_view const all(bytes);
    if (all.starts_with("0x") || all.starts_with("0X"))
        return parseHexadecimal(all);
    auto const end = endOfNumber(all);
    if (end == 0)
        return std::nullopt;
    String const number(all.substr(0, end));
    String const unitText = end == std::string_view::npos ? String() : String(all.substr(end)).trimmed();
    if (UnitType const named = UnitType::getConstantByString(unitText); named.isValid())
        return Parsed{named, UnitMagnitude::BASEUNIT(), number};
    for (UnitRow const& unit : kUnits) {
        UnitType const type(unit.m_unit);
        for (PrefixRow const& row : kPrefixes) {
            UnitMagnitude const magnitude(row.m_magnitude);
            bool const bare = unit.m_symbol[0] == '\0';
            if (!(bare && row.m_magnitude != Magnitude::BASEUNIT) && !type.isHexadecimalType() &&
                unitText == String(prefix(type, magnitude)) + String(unit.m_symbol))
                return Parsed{type, magnitude, number};
        }
    }
    return std::nullopt;
}

} // namespace zel::scale
