#pragma once

#include <zel/foundation/String.h>
#include <zel/model/vocabulary/LanguageImp.h>
#include <zel/model/vocabulary/UnitMagnitude.h>
#include <zel/model/vocabulary/UnitType.h>

namespace zel {

/// A real number in a unit, with the number of decimals that are worth showing: a voltage, a temperature.
/// docs/values.md says how it is scaled and printed.
class ZEL_EXPORT NonDiscreteMeasurement
{
public:
    static constexpr int kMaxPrecision = 30; ///< decimals beyond it say nothing about a double

    NonDiscreteMeasurement() = default;
    /// `value` and `precision` (decimals, 0 .. kMaxPrecision; what is outside becomes the nearer end) hold in
    /// the magnitude, which AUTOSCALEUNIT leaves at the plain unit.
    NonDiscreteMeasurement(UnitType const& unit, double value, UnitMagnitude const& magnitude, int precision);

    /// The value in the magnitude; exactly what was given in the magnitude it was given in.
    double value(UnitMagnitude const& magnitude) const;
    /// Decimals worth showing in the magnitude: three more for each step up, three fewer for each step down,
    /// never below 0.
    int precision(UnitMagnitude const& magnitude) const;
    UnitType const& unitType() const noexcept { return m_unit; }

    /// As given, for whoever stores it.
    double givenValue() const noexcept { return m_value; }
    UnitMagnitude const& givenMagnitude() const noexcept { return m_magnitude; }
    int givenPrecision() const noexcept { return m_precision; }

    /// `magnitude` itself, or for AUTOSCALEUNIT the largest one in which the value, printed with `precision`
    /// decimals, is at least 1, or the given one when AUTOSCALEUNIT would never go as far: 8 GT/s are not 8000 MT/s.
    /// A negative precision means as many as are worth showing.
    UnitMagnitude chosenMagnitude(UnitMagnitude const& magnitude, int precision = -1) const;

    /// "3.30 V", with `precision` decimals; a negative precision asks for precision(magnitude).
    String toString(int precision = -1,
                    UnitMagnitude const& magnitude = UnitMagnitude::AUTOSCALEUNIT()) const;
    /// The same with the decimal separator of the language; without one, of the current language.
    String localizedString(int precision = -1,
                           UnitMagnitude const& magnitude = UnitMagnitude::AUTOSCALEUNIT()) const;
    String localizedString(int precision, UnitMagnitude const& magnitude, LanguageImp const& language) const;

    /// Same unit, same value in the plain unit, same precision there: 1.5 KILO equals 1500 BASEUNIT.
    bool operator==(NonDiscreteMeasurement const& other) const;

private:
    String numberText(int precision, UnitMagnitude const& magnitude) const;

    UnitType m_unit;
    double m_value = 0;
    UnitMagnitude m_magnitude = UnitMagnitude::BASEUNIT();
    int m_precision = 0;
};

} // namespace zel
