#include <krel5/KrelNonDiscreteMeasurement.h>

#include <libKrel5/basics/DataHolderDefinition.h>

#include <krel5/InvalidUnitTypeException.h>

#include <zel/model/values/NonDiscreteMeasurement.h>

namespace krel5 {

struct KrelNonDiscreteMeasurementData
{
    zel::NonDiscreteMeasurement imp;
};

template class DataHolder<KrelNonDiscreteMeasurementData>;

KrelNonDiscreteMeasurement::KrelNonDiscreteMeasurement(KrelUnitType const& unit, double value,
                                                       KrelUnitMagnitude const& magnitude, int precision)
    : m_holder(KrelNonDiscreteMeasurementData{
          zel::NonDiscreteMeasurement(unit.imp(), value, magnitude.imp(), precision)})
{
    if (unit.imp().isHexadecimalType())
        throw InvalidUnitTypeException(
            "KrelNonDiscreteMeasurement::KrelNonDiscreteMeasurement(const KrelUnitType&, "
            "double value, const KrelUnitMagnitude&, int precision)",
            unit);
}

KrelNonDiscreteMeasurement::KrelNonDiscreteMeasurement(zel::NonDiscreteMeasurement const& measurement)
    : m_holder(KrelNonDiscreteMeasurementData{measurement})
{}

KrelNonDiscreteMeasurement::KrelNonDiscreteMeasurement(KrelNonDiscreteMeasurement const& other) = default;
KrelNonDiscreteMeasurement&
KrelNonDiscreteMeasurement::operator=(KrelNonDiscreteMeasurement const& other) = default;
KrelNonDiscreteMeasurement::~KrelNonDiscreteMeasurement() = default;

double KrelNonDiscreteMeasurement::value(KrelUnitMagnitude const& magnitude) const
{
    return data().imp.value(magnitude.imp());
}

int KrelNonDiscreteMeasurement::precision(KrelUnitMagnitude const& magnitude) const
{
    return data().imp.precision(magnitude.imp());
}

KrelUnitType KrelNonDiscreteMeasurement::unitType() const { return KrelUnitType(data().imp.unitType()); }

KrelString KrelNonDiscreteMeasurement::toString(int precision, KrelUnitMagnitude const& magnitude) const
{
    return KrelString(data().imp.toString(precision, magnitude.imp()));
}

KrelString KrelNonDiscreteMeasurement::localizedString(int precision,
                                                       KrelUnitMagnitude const& magnitude) const
{
    return KrelString(data().imp.localizedString(precision, magnitude.imp()));
}

zel::NonDiscreteMeasurement const& KrelNonDiscreteMeasurement::imp() const { return data().imp; }
KrelNonDiscreteMeasurementData& KrelNonDiscreteMeasurement::data() { return m_holder.data(); }
KrelNonDiscreteMeasurementData const& KrelNonDiscreteMeasurement::data() const { return m_holder.data(); }

bool operator==(KrelNonDiscreteMeasurement const& left, KrelNonDiscreteMeasurement const& right)
{
    return left.imp() == right.imp();
}

bool operator!=(KrelNonDiscreteMeasurement const& left, KrelNonDiscreteMeasurement const& right)
{
    return !(left == right);
}

} // namespace krel5
