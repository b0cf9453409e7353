#include <zel/model/state/StateManager.h>

#include "Listing.h"

#include <nlohmann/json.hpp>

namespace listing {

using namespace zel;
using Json = nlohmann::ordered_json;

namespace {

Json strings(std::vector<String> const& texts)
{
    Json array = Json::array();
    for (String const& text : texts)
        array.push_back(text.toUtf8());
    return array;
}

Json measurement(DiscreteMeasurement const& value)
{
    return {{"value", value.value()}, {"unit", value.unitType().toString().toUtf8()}};
}

Json valueOf(ValueImp const& value)
{
    switch (value.type().code()) {
    case DataTypeImp::Code::UINT32:
        return value.uint32();
    case DataTypeImp::Code::INT32:
        return value.int32();
    case DataTypeImp::Code::UINT64:
        return value.uint64();
    case DataTypeImp::Code::DOUBLE:
    case DataTypeImp::Code::PERCENT:
        return value.doubleValue();
    case DataTypeImp::Code::BOOLEAN:
        return value.boolean();
    case DataTypeImp::Code::STRINGARRAY:
        return strings(value.stringArray());
    case DataTypeImp::Code::UINT32ARRAY:
        return value.uint32Array();
    case DataTypeImp::Code::INT32ARRAY:
        return value.int32Array();
    case DataTypeImp::Code::DISCRETEMEASUREMENT:
        return measurement(value.discreteMeasurement());
    case DataTypeImp::Code::DISCRETEMEASUREMENTARRAY: {
        Json array = Json::array();
        for (DiscreteMeasurement const& element : value.discreteMeasurementArray())
            array.push_back(measurement(element));
        return array;
    }
    case DataTypeImp::Code::NONDISCRETEMEASUREMENT:
        return {{"value", value.nonDiscreteMeasurement().value(UnitMagnitude::BASEUNIT())},
                {"unit", value.nonDiscreteMeasurement().unitType().toString().toUtf8()}};
    case DataTypeImp::Code::STRING:
    case DataTypeImp::Code::LOCALIZEDSTRING:
    case DataTypeImp::Code::LOCALIZEDSTRINGARRAY:
        break;
    }
    return value.toString().toUtf8();
}

Json deviceOf(StateManager const& state, DeviceImp const& device)
{
    Json object{{"type", device.deviceType().toString().toUtf8()},
                {"name", device.name().toUtf8()},
                {"description", device.description().toUtf8()},
                {"hwLocator", device.hwLocator().toUtf8()},
                {"osLocator", device.osLocator().toUtf8()},
                {"busClass", device.busClass().toString().toUtf8()},
                {"guid", device.guid().toUtf8()},
                {"state", device.state().toString().toUtf8()},
                {"capabilities", Json::array()},
                {"childBusIds", strings(device.childBusIds())},
                {"properties", Json::object()},
                {"children", Json::array()}};
    for (String const& word : device.deviceCapabilities().toString().split(','))
        object["capabilities"].push_back(word.trimmed().toUtf8());
    for (std::size_t i = 0; i < device.propertyCount(); ++i) {
        PropertyImp const& property = device.getProperty(i);
        object["properties"][property.key().toUtf8()] = {{"type", property.type().toString().toUtf8()},
                                                         {"value", valueOf(property.value())}};
    }
    for (DeviceImp const* child : state.childrenOf(device))
        object["children"].push_back(deviceOf(state, *child));
    return object;
}

} // namespace

std::string json(StateManager const& state)
{
    Json devices = Json::array();
    forEachTop(state, [&](DeviceImp const& device) { devices.push_back(deviceOf(state, device)); });
    return devices.dump(2) + "\n";
}

} // namespace listing
