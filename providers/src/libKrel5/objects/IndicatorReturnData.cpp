#include <krel5/IndicatorReturnData.h>

#include <libKrel5/basics/Arguments.h>
#include <libKrel5/basics/DataHolderDefinition.h>

#include <krel5/KrelString.h>

#include <zel/model/devices/PropertyImp.h>

#include <memory>
#include <unordered_map>
#include <vector>

namespace krel5 {

struct IndicatorReturnDataInternalData
{
    // Each reading has a record of its own: the property that it came from is set anew for the next reading.
    struct Reading
    {
        std::shared_ptr<zel::PropertyImp> record;
        DeviceProperty handle;
    };
    std::vector<Reading> readings;
    std::unordered_map<zel::String, std::size_t> index; // key -> place in readings
};
template class DataHolder<IndicatorReturnDataInternalData>;

IndicatorReturnData::IndicatorReturnData() = default;
IndicatorReturnData::IndicatorReturnData(IndicatorReturnData const& other) = default;
IndicatorReturnData& IndicatorReturnData::operator=(IndicatorReturnData const& other) = default;
IndicatorReturnData::~IndicatorReturnData() = default;

IndicatorReturnData& IndicatorReturnData::setProperty(DeviceProperty const& property)
{
    auto& data = m_holder.data();
    if (data.index.try_emplace(property.key().zelString(), data.readings.size()).second) {
        auto record = std::make_shared<zel::PropertyImp>(property.imp());
        data.readings.push_back({record, DeviceProperty(record.get())});
    }
    return *this;
}

unsigned int IndicatorReturnData::propertyCount() const
{
    return static_cast<unsigned>(m_holder.data().readings.size());
}

DeviceProperty const& IndicatorReturnData::propertyAtIndex(unsigned int index) const
{
    auto const& readings = m_holder.data().readings;
    requireIndex(index, readings.size());
    return readings[index].handle;
}

} // namespace krel5
