#pragma once
// What an indicator returns: properties with their values, in order.
//
//     return IndicatorReturnData().setProperty(*temperature->setValue(Value(41u)));

#include <krel5/DeviceProperty.h>
#include <krel5/Export.h>

namespace krel5 {

struct IndicatorReturnDataInternalData;

/// An ordered set of properties, one for each key.
/// Thread rule: a value; one object is not used from two threads at once.
class KREL5_EXPORT IndicatorReturnData
{
public:
    IndicatorReturnData();
    IndicatorReturnData(IndicatorReturnData const& other);
    IndicatorReturnData& operator=(IndicatorReturnData const& other);
    ~IndicatorReturnData();

    /// Appends a copy of the property with its value. The first value given for a key wins: a later property
    /// of the same key leaves the set unchanged. Returns the set itself.
    IndicatorReturnData& setProperty(DeviceProperty const& property);
    unsigned int propertyCount() const;
    /// In order of insertion. Throws IndexOutOfBoundsException(0, count - 1, index).
    DeviceProperty const& propertyAtIndex(unsigned int index) const;

private:
    DataHolder<IndicatorReturnDataInternalData> m_holder;
};

} // namespace krel5
