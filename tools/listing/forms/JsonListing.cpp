#include <listing/forms/JsonWriter.h>
#include <listing/forms/Listing.h>
#include <listing/saved/SavedListing.h>

#include <unordered_set>

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

void addReading(JsonWriter& json, NonDiscreteMeasurement const& value)
{
    json.beginObject().key("value").number(value.value(UnitMagnitude::BASEUNIT()));
    add(json, "unit", value.unitType().toString());
    json.key("precision").number(std::int64_t{value.precision(UnitMagnitude::BASEUNIT())});
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
        addReading(json, value.nonDiscreteMeasurement());
        return;
    case DataTypeImp::Code::LOCALIZEDSTRINGARRAY:
        json.beginArray();
        for (LocalizedStringImp const& element : value.localizedStringArray())
            json.text(element.resolve());
        json.end();
        return;
    case DataTypeImp::Code::STRING:
    case DataTypeImp::Code::LOCALIZEDSTRING:
        break;
    }
    json.text(value.toString());
}

void addOrigin(JsonWriter& json, Machine const& machine)
{
    Origin const& origin = machine.origin;
    json.key("format").text(kSavedFormat).key("formatVersion").number(std::uint64_t{kSavedVersion});
    add(json, "program", origin.program);
    add(json, "version", origin.version);
    add(json, "date", origin.date);
    add(json, "machine", machine.name());
    add(json, "hostName", machine.hostName());
    json.key("live").truth(origin.isLive).key("masked").truth(origin.isMasked);
    json.key("classes");
    addStrings(json, origin.classes);
    json.key("gaps");
    addStrings(json, origin.gaps);
}

// What the properties of all devices are, each once.
void addSpecifications(JsonWriter& json, Machine const& machine)
{
    std::unordered_set<PropertySpecImp const*> seen;
    std::unordered_set<String> keys;
    json.key("properties").beginObject();
    for (Device const& device : machine.devices)
        for (Property const& property : device.properties) {
            if (!seen.insert(property.spec.get()).second || !keys.insert(property.key()).second)
                continue;
            json.key(property.key()).beginObject();
            add(json, "name", property.spec->defaultName());
            add(json, "categories", property.spec->category().toString());
            json.end();
        }
    json.end();
}

// What is begun here, the object of the device and the list of its children, ends after the last of these.
void beginDevice(JsonWriter& json, Device const& device)
{
    json.beginObject();
    add(json, "type", device.type.toString());
    add(json, "name", device.name);
    add(json, "description", device.description);
    add(json, "hwLocator", device.hwLocator);
    add(json, "osLocator", device.osLocator);
    add(json, "busClass", device.busClass.toString());
    add(json, "guid", device.guid);
    add(json, "state", device.state);
    if (device.isPath)
        json.key("isPath").truth(true);
    json.key("capabilities").beginArray();
    for (String const& word : device.capabilities.toString().split(','))
        json.text(word.trimmed());
    json.end().key("childBusIds");
    addStrings(json, device.childBusIds);
    json.key("properties").beginObject();
    for (Property const& property : device.properties) {
        json.key(property.key()).beginObject();
        add(json, "type", property.value.type().toString());
        json.key("value");
        addValue(json, property.value);
        json.end();
    }
    json.end().key("children").beginArray();
}

} // namespace

std::string json(Machine const& machine)
{
    JsonWriter json;
    json.beginObject();
    addOrigin(json, machine);
    addSpecifications(json, machine);
    json.key("devices").beginArray();
    walk(
        machine, [&](Device const& device) { beginDevice(json, device); }, [&] { json.end().end(); });
    json.end().end();
    return json.take() + "\n";
}

} // namespace listing
