#include <krel5/KrelDiscreteMeasurement.h>

#include <libKrel5/basics/DataHolderDefinition.h>

#include <krel5/InternalException.h>
#include <krel5/InvalidUnitTypeException.h>

#include <zel/foundation/Exception.h>
#include <zel/model/values/DiscreteMeasurement.h>

namespace krel5 {

struct KrelDiscreteMeasurementData
{
    zel::DiscreteMeasurement imp;
};

template class DataHolder<KrelDiscreteMeasurementData>;

namespace {

zel::DiscreteMeasurement fromReal(KrelUnitType const& unit, double value, KrelUnitMagnitude const& magnitude)
{
    if (unit.imp().isHexadecimalType())
        throw InvalidUnitTypeException(
            "KrelDiscreteMeasurement::KrelDiscreteMeasurement(const KrelUnitType&, double "
            "value, const KrelUnitMagnitude&)",
            unit);
    try {
        return zel::DiscreteMeasurement(unit.imp(), value, magnitude.imp());
    } catch (zel::Exception const& e) {
        throw InternalException(e);
    }
}

} // namespace

KrelDiscreteMeasurement::KrelDiscreteMeasurement(KrelUnitType const& unit, unsigned long long count)
    : m_holder(KrelDiscreteMeasurementData{zel::DiscreteMeasurement(unit.imp(), count)})
{}

KrelDiscreteMeasurement::KrelDiscreteMeasurement(KrelUnitType const& unit, double value,
                                                 KrelUnitMagnitude const& magnitude)
    : m_holder(KrelDiscreteMeasurementData{fromReal(unit, value, magnitude)})
{}

KrelDiscreteMeasurement::KrelDiscreteMeasurement(zel::DiscreteMeasurement const& measurement)
    : m_holder(KrelDiscreteMeasurementData{measurement})
{}

KrelDiscreteMeasurement::KrelDiscreteMeasurement(KrelDiscreteMeasurement const& other) = default;
KrelDiscreteMeasurement& KrelDiscreteMeasurement::operator=(KrelDiscreteMeasurement const& other) = default;
KrelDiscreteMeasurement::~KrelDiscreteMeasurement() = default;

unsigned long long KrelDiscreteMeasurement::value() const { return data().imp.value(); }

double KrelDiscreteMeasurement::value(KrelUnitMagnitude const& magnitude) const
{
    return data().imp.value(magnitude.imp());
}

KrelUnitType KrelDiscreteMeasurement::unitType() const { return KrelUnitType(data().imp.unitType()); }

KrelString KrelDiscreteMeasurement::toString(KrelUnitMagnitude const& magnitude) const
{
    return KrelString(data().imp.toString(magnitude.imp()));
}

KrelString KrelDiscreteMeasurement::localizedString(KrelUnitMagnitude const& magnitude) const
{
    return KrelString(data().imp.localizedString(magnitude.imp()));
}

zel::DiscreteMeasurement const& KrelDiscreteMeasurement::imp() const { return data().imp; }
KrelDiscreteMeasurementData& KrelDiscreteMeasurement::data() { return m_holder.data(); }
KrelDiscreteMeasurementData const& KrelDiscreteMeasurement::data() const { return m_holder.data(); }

bool operator==(KrelDiscreteMeasurement const& left, KrelDiscreteMeasurement const& right)
{
    return left.imp() == right.imp();
}

bool operator!=(KrelDiscreteMeasurement const& left, KrelDiscreteMeasurement const& right)
{
    return !(left == right);
}

} // namespace krel5
