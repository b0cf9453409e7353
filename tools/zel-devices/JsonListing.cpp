#include <zel/model/state/StateManager.h>

#include "JsonWriter.h"
#include "Listing.h"

namespace listing {

using namespace zel;

namespace {

void add(JsonWriter& json, char const* key, String const& text) { json.key(key).text(text); }

void addStrings(JsonWriter& json, std::vector<String> const& texts)
{
    json.beginArray();
    for (String const& text : texts)
        json.text(text);
    json.end();
}

template <typename Number>
void addNumbers(JsonWriter& json, std::vector<Number> const& numbers)
{
    using Wide = std::conditional_t<std::is_signed_v<Number>, std::int64_t, std::uint64_t>;
    json.beginArray();
    for (Number const number : numbers)
        json.number(Wide{number});
    json.end();
}

void addMeasurement(JsonWriter& json, DiscreteMeasurement const& value)
{
    json.beginObject().key("value").number(value.value());
    add(json, "unit", value.unitType().toString());
    json.end();
}

void addValue(JsonWriter& json, ValueImp const& value)
{
    switch (value.type().code()) {
    case DataTypeImp::Code::UINT32:
        json.number(std::uint64_t{value.uint32()});
        return;
    case DataTypeImp::Code::INT32:
        json.number(std::int64_t{value.int32()});
        return;
    case DataTypeImp::Code::UINT64:
        json.number(value.uint64());
        return;
    case DataTypeImp::Code::DOUBLE:
    case DataTypeImp::Code::PERCENT:
        json.number(value.doubleValue());
        return;
    case DataTypeImp::Code::BOOLEAN:
        json.truth(value.boolean());
        return;
    case DataTypeImp::Code::STRINGARRAY:
        addStrings(json, value.stringArray());
        return;
    case DataTypeImp::Code::UINT32ARRAY:
        addNumbers(json, value.uint32Array());
        return;
    case DataTypeImp::Code::INT32ARRAY:
        addNumbers(json, value.int32Array());
        return;
    case DataTypeImp::Code::DISCRETEMEASUREMENT:
        addMeasurement(json, value.discreteMeasurement());
        return;
    case DataTypeImp::Code::DISCRETEMEASUREMENTARRAY:
        json.beginArray();
        for (DiscreteMeasurement const& element : value.discreteMeasurementArray())
            addMeasurement(json, element);
        json.end();
        return;
    case DataTypeImp::Code::NONDISCRETEMEASUREMENT:
        json.beginObject().key("value").number(
            value.nonDiscreteMeasurement().value(UnitMagnitude::BASEUNIT()));
        add(json, "unit", value.nonDiscreteMeasurement().unitType().toString());
        json.end();
        return;
    case DataTypeImp::Code::STRING:
    case DataTypeImp::Code::LOCALIZEDSTRING:
    case DataTypeImp::Code::LOCALIZEDSTRINGARRAY:
        break;
    }
    json.text(value.toString());
}

void addDevice(JsonWriter& json, StateManager const& state, DeviceImp const& device)
{
    json.beginObject();
    add(json, "type", device.deviceType().toString());
    add(json, "name", device.name());
    add(json, "description", device.description());
    add(json, "hwLocator", device.hwLocator());
    add(json, "osLocator", device.osLocator());
    add(json, "busClass", device.busClass().toString());
    add(json, "guid", device.guid());
    add(json, "state", device.state().toString());
    json.key("capabilities").beginArray();
    for (String const& word : device.deviceCapabilities().toString().split(','))
        json.text(word.trimmed());
    json.end().key("childBusIds");
    addStrings(json, device.childBusIds());
    json.key("properties").beginObject();
    for (std::size_t i = 0; i < device.propertyCount(); ++i) {
        PropertyImp const& property = device.getProperty(i);
        json.key(property.key()).beginObject();
        add(json, "type", property.type().toString());
        json.key("value");
        addValue(json, property.value());
        json.end();
    }
    json.end().key("children").beginArray();
    for (DeviceImp const* child : state.childrenOf(device))
        addDevice(json, state, *child);
    json.end().end();
}

} // namespace

std::string json(StateManager const& state)
{
    JsonWriter json;
    json.beginArray();
    forEachTop(state, [&](DeviceImp const& device) { addDevice(json, state, device); });
    json.end();
    return json.take() + "\n";
}

} // namespace listing
