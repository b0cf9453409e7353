#include <zel/model/values/NonDiscreteMeasurement.h>

#include <zel/model/texts/GlobalParameters.h>
#include <zel/model/values/MeasurementScale.h>
#include <zel/model/values/SameReal.h>

#include <algorithm>

namespace zel {
namespace {

int clamped(int precision) { return std::clamp(precision, 0, NonDiscreteMeasurement::kMaxPrecision); }

UnitMagnitude withoutAutoscale(UnitMagnitude const& magnitude)
{
    return magnitude == UnitMagnitude::AUTOSCALEUNIT() ? UnitMagnitude::BASEUNIT() : magnitude;
}

} // namespace

NonDiscreteMeasurement::NonDiscreteMeasurement(UnitType const& unit, double value,
                                               UnitMagnitude const& magnitude, int precision)
    : m_unit(unit), m_value(value), m_magnitude(withoutAutoscale(magnitude)), m_precision(clamped(precision))
{}

double NonDiscreteMeasurement::value(UnitMagnitude const& magnitude) const
{
    return scale::convert(m_unit, m_value, m_magnitude, chosenMagnitude(magnitude));
}

// A step between magnitudes moves the decimal point by three places; with powers of two, 1024 is near enough.
int NonDiscreteMeasurement::precision(UnitMagnitude const& magnitude) const
{
    UnitMagnitude const chosen = chosenMagnitude(magnitude);
    return clamped(m_precision + chosen.powerOfTen() - m_magnitude.powerOfTen());
}

UnitMagnitude NonDiscreteMeasurement::chosenMagnitude(UnitMagnitude const& magnitude, int precision) const
{
    if (magnitude == UnitMagnitude::AUTOSCALEUNIT() && scale::isBeyondRange(m_unit, m_magnitude))
        return m_magnitude;
    double const plain = scale::convert(m_unit, m_value, m_magnitude, UnitMagnitude::BASEUNIT());
    UnitMagnitude const chosen = scale::choose(m_unit, plain, magnitude);
    return magnitude == UnitMagnitude::AUTOSCALEUNIT()
               ? scale::afterRounding(m_unit, chosen, numberText(precision, chosen))
               : chosen;
}

String NonDiscreteMeasurement::numberText(int precision, UnitMagnitude const& magnitude) const
{
    return scale::fixed(value(magnitude), precision < 0 ? this->precision(magnitude) : clamped(precision));
}

String NonDiscreteMeasurement::toString(int precision, UnitMagnitude const& magnitude) const
{
    UnitMagnitude const chosen = chosenMagnitude(magnitude, precision);
    return scale::withUnit(numberText(precision, chosen), m_unit, chosen);
}

String NonDiscreteMeasurement::localizedString(int precision, UnitMagnitude const& magnitude) const
{
    return localizedString(precision, magnitude, GlobalParameters::instance().language());
}

String NonDiscreteMeasurement::localizedString(int precision, UnitMagnitude const& magnitude,
                                               LanguageImp const& language) const
{
    UnitMagnitude const chosen = chosenMagnitude(magnitude, precision);
    return scale::withUnit(scale::localized(numberText(precision, chosen), language), m_unit, chosen);
}

bool NonDiscreteMeasurement::operator==(NonDiscreteMeasurement const& other) const
{
    return m_unit == other.m_unit &&
           sameReal(value(UnitMagnitude::BASEUNIT()), other.value(UnitMagnitude::BASEUNIT())) &&
           m_precision - m_magnitude.powerOfTen() == other.m_precision - other.m_magnitude.powerOfTen();
}

} // namespace zel
