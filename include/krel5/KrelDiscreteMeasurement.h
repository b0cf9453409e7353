#pragma once
// A count in a unit: bytes of memory, hertz of a clock, the bits of a register.
//
//     KrelDiscreteMeasurement size(KrelUnitType::BYTES(), 17179869184ull);
//     size.toString(KrelUnitMagnitude::AUTOSCALEUNIT());                     // "16 GiB"
//     KrelDiscreteMeasurement clock(KrelUnitType::HERTZ(), 2.4, KrelUnitMagnitude::GIGA());
//     clock.value();                                                         // 2400000000
//
// BITS and BYTES scale by powers of two (KiB, MiB), every other unit by powers of ten; docs/values.md has the
// table. Thread rule: one measurement is not changed in one thread while another uses it.

#include <krel5/DataHolder.h>
#include <krel5/Export.h>
#include <krel5/KrelString.h>
#include <krel5/KrelUnitMagnitude.h>
#include <krel5/KrelUnitType.h>

namespace zel {
class DiscreteMeasurement;
}

namespace krel5 {

struct KrelDiscreteMeasurementData;

class KREL5_EXPORT KrelDiscreteMeasurement
{
public:
    /// `count` plain units. The hexadecimal units are for this constructor.
    KrelDiscreteMeasurement(KrelUnitType const& unit, unsigned long long count);
    /// `value` in the magnitude, rounded to the nearest count; AUTOSCALEUNIT means the plain unit here.
    /// Raises InvalidUnitTypeException for a hexadecimal unit, and InternalException for what is negative,
    /// not finite or more than 64 bits hold.
    KrelDiscreteMeasurement(KrelUnitType const& unit, double value, KrelUnitMagnitude const& magnitude);
    /// For the library's own use.
    explicit KrelDiscreteMeasurement(zel::DiscreteMeasurement const& measurement);
    KrelDiscreteMeasurement(KrelDiscreteMeasurement const& other);
    KrelDiscreteMeasurement& operator=(KrelDiscreteMeasurement const& other);
    ~KrelDiscreteMeasurement();

    /// The count of plain units.
    unsigned long long value() const;
    /// The count in the magnitude; AUTOSCALEUNIT: in the largest one in which it is at least 1.
    double value(KrelUnitMagnitude const& magnitude) const;
    KrelUnitType unitType() const;

    /// Number and unit, "1.5 GiB", with a decimal point on every machine; a hexadecimal unit prints "0x001F"
    /// and takes no magnitude.
    KrelString toString(KrelUnitMagnitude const& magnitude) const;
    /// The same with the decimal separator of the current language.
    KrelString localizedString(KrelUnitMagnitude const& magnitude) const;

    /// The model's measurement; for the library's own use. Lives as long as this object.
    zel::DiscreteMeasurement const& imp() const;

private:
    KrelDiscreteMeasurementData& data();
    KrelDiscreteMeasurementData const& data() const;

    DataHolder<KrelDiscreteMeasurementData> m_holder;
};

/// Same unit and same count.
KREL5_EXPORT bool operator==(KrelDiscreteMeasurement const& left, KrelDiscreteMeasurement const& right);
KREL5_EXPORT bool operator!=(KrelDiscreteMeasurement const& left, KrelDiscreteMeasurement const& right);

} // namespace krel5
