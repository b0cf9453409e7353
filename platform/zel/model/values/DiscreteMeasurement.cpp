#include <zel/model/values/DiscreteMeasurement.h>

#include <zel/foundation/Exception.h>
#include <zel/model/texts/GlobalParameters.h>
#include <zel/model/values/MeasurementScale.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <string>

namespace zel {
namespace {

std::uint64_t toCount(UnitType const& unit, double value, UnitMagnitude const& magnitude)
{
    double const count = std::round(scale::convert(unit, value, magnitude, UnitMagnitude::BASEUNIT()));
    if (!(count >= 0 && count < 18446744073709551616.0)) // 2^64; refuses NaN too
        throw InvalidArgumentException(String::number(value) + String(" ") + magnitude.toString() +
                                       String(" ") + unit.toString() + String(" is no count of 64 bits"));
    return static_cast<std::uint64_t>(count);
}

// All the digits of the width, more where the count needs more: nothing is cut.
String hexadecimal(std::uint64_t count, int bits)
{
    char text[16];
    auto const result = std::to_chars(text, text + sizeof text, count, 16);
    std::string digits(text, result.ptr);
    for (char& digit : digits)
        if (digit >= 'a')
            digit = static_cast<char>(digit - 'a' + 'A');
    auto const width = std::max(static_cast<std::size_t>(bits) / 4, digits.size());
    digits.insert(0, width - digits.size(), '0');
    return String("0x" + digits);
}

} // namespace

DiscreteMeasurement::DiscreteMeasurement(UnitType const& unit, double value, UnitMagnitude const& magnitude)
    : m_unit(unit), m_count(toCount(unit, value, magnitude))
{}

double DiscreteMeasurement::value(UnitMagnitude const& magnitude) const
{
    return scale::convert(m_unit, static_cast<double>(m_count), UnitMagnitude::BASEUNIT(),
                          chosenMagnitude(magnitude));
}

UnitMagnitude DiscreteMeasurement::chosenMagnitude(UnitMagnitude const& magnitude) const
{
    UnitMagnitude const chosen = scale::chooseForCount(m_unit, m_count, magnitude);
    bool const isRounded = chosen != UnitMagnitude::BASEUNIT(); // in the plain unit all digits are there
    return magnitude == UnitMagnitude::AUTOSCALEUNIT() && isRounded
               ? scale::afterRounding(m_unit, chosen, numberText(chosen))
               : chosen;
}

String DiscreteMeasurement::numberText(UnitMagnitude const& magnitude) const
{
    if (m_unit.isHexadecimalType())
        return hexadecimal(m_count, m_unit.hexadecimalBits());
    if (magnitude == UnitMagnitude::BASEUNIT())
        return String::number(m_count);
    return scale::brief(value(magnitude));
}

String DiscreteMeasurement::toString(UnitMagnitude const& magnitude) const
{
    UnitMagnitude const chosen = chosenMagnitude(magnitude);
    return scale::withUnit(numberText(chosen), m_unit, chosen);
}

String DiscreteMeasurement::localizedString(UnitMagnitude const& magnitude) const
{
    return localizedString(magnitude, GlobalParameters::instance().language());
}

String DiscreteMeasurement::localizedString(UnitMagnitude const& magnitude, LanguageImp const& language) const
{
    UnitMagnitude const chosen = chosenMagnitude(magnitude);
    return scale::withUnit(scale::localized(numberText(chosen), language), m_unit, chosen);
}

} // namespace zel
