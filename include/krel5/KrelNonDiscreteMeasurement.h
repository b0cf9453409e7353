#pragma once
// A real number in a unit, with the number of decimals that are worth showing: a voltage, a temperature.
//
//     KrelNonDiscreteMeasurement rail(KrelUnitType::VOLTS(), 3.3, KrelUnitMagnitude::BASEUNIT(), 2);
//     rail.toString(2, KrelUnitMagnitude::BASEUNIT()); // "3.30 V"
//     rail.value(KrelUnitMagnitude::BASEUNIT());       // 3.3
//     rail.value(KrelUnitMagnitude::MILLI());          // 3300
//     rail.precision(KrelUnitMagnitude::MILLI());      // 0: two decimals of a volt are tens of millivolts
//
// Thread rule: one measurement is not changed in one thread while another uses it.

#include <krel5/DataHolder.h>
#include <krel5/Export.h>
#include <krel5/KrelString.h>
#include <krel5/KrelUnitMagnitude.h>
#include <krel5/KrelUnitType.h>

namespace zel {
class NonDiscreteMeasurement;
}

namespace krel5 {

struct KrelNonDiscreteMeasurementData;

class KREL5_EXPORT KrelNonDiscreteMeasurement
{
public:
    /// `value` and `precision` (decimals from 0 to 30; what is outside becomes the nearer end) hold in the
    /// magnitude; AUTOSCALEUNIT means the plain unit here. Raises InvalidUnitTypeException for a hexadecimal
    /// unit.
    KrelNonDiscreteMeasurement(KrelUnitType const& unit, double value, KrelUnitMagnitude const& magnitude,
                               int precision);
    /// For the library's own use.
    explicit KrelNonDiscreteMeasurement(zel::NonDiscreteMeasurement const& measurement);
    KrelNonDiscreteMeasurement(KrelNonDiscreteMeasurement const& other);
    KrelNonDiscreteMeasurement& operator=(KrelNonDiscreteMeasurement const& other);
    ~KrelNonDiscreteMeasurement();

    /// The value in the magnitude, exactly what was given in the one it was given in; AUTOSCALEUNIT: in the
    /// largest one in which it is at least 1.
    double value(KrelUnitMagnitude const& magnitude) const;
    /// Decimals worth showing in the magnitude: three more for each step up, three fewer for each step down,
    /// never below 0.
    int precision(KrelUnitMagnitude const& magnitude) const;
    KrelUnitType unitType() const;

    /// Number and unit, "3.30 V", with that many decimals (a negative precision asks for
    /// precision(magnitude)) and a decimal point on every machine.
    KrelString toString(int precision, KrelUnitMagnitude const& magnitude) const;
    /// The same with the decimal separator of the current language.
    KrelString localizedString(int precision, KrelUnitMagnitude const& magnitude) const;

    /// The model's measurement; for the library's own use. Lives as long as this object.
    zel::NonDiscreteMeasurement const& imp() const;

private:
    KrelNonDiscreteMeasurementData& data();
    KrelNonDiscreteMeasurementData const& data() const;

    DataHolder<KrelNonDiscreteMeasurementData> m_holder;
};

/// Same unit, same value in the plain unit, same precision there.
KREL5_EXPORT bool operator==(KrelNonDiscreteMeasurement const& left, KrelNonDiscreteMeasurement const& right);
KREL5_EXPORT bool operator!=(KrelNonDiscreteMeasurement const& left, KrelNonDiscreteMeasurement const& right);

} // namespace krel5
