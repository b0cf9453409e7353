#include <engine/watch/JsonLines.h>

#include <engine/report/UtcTime.h>
#include <engine/watch/Quantity.h>

#include <listing/forms/JsonWriter.h>

namespace engine {
namespace {

using listing::JsonWriter;
using Kind = WatchNews::Kind;

char const* eventOf(Kind kind)
{
    switch (kind) {
    case Kind::ModuleBegan:
        return "moduleBegan";
    case Kind::ModuleSilent:
        return "moduleSilent";
    case Kind::ModuleHeard:
        return "moduleHeard";
    case Kind::ModuleEnded:
        return "moduleEnded";
    case Kind::ModuleFailed:
        return "moduleFailed";
    case Kind::Readings:
        return "readings";
    case Kind::DeviceAdded:
        return "deviceAdded";
    case Kind::DeviceRemoved:
        return "deviceRemoved";
    case Kind::PropertyAdded:
        return "propertyAdded";
    case Kind::PropertyRemoved:
        return "propertyRemoved";
    case Kind::AlertRaised:
        return "alertRaised";
    case Kind::AlertCleared:
        return "alertCleared";
    }
    return "";
}

JsonWriter line(char const* event, Time time)
{
    JsonWriter json(JsonWriter::Layout::OneLine);
    json.beginObject().key("event").text(event).key("time").text(utcText(time));
    return json;
}

std::string ended(JsonWriter& json)
{
    json.end();
    return json.take() + "\n";
}

void put(JsonWriter& json, WatchedDevice const& device)
{
    json.key("device").beginObject();
    json.key("guid").text(device.guid).key("name").text(device.name);
    json.key("place").text(device.place).key("type").text(device.type);
    json.end();
}

void put(JsonWriter& json, Reading const& reading)
{
    json.beginObject().key("key").text(reading.key).key("name").text(reading.name);
    if (auto const quantity = quantityOf(reading.key, reading.value)) {
        json.key("number").number(quantity->number);
        if (!quantity->unit.empty())
            json.key("unit").text(quantity->unit);
        if (quantity->isCounter)
            json.key("counter").truth(true);
    }
    json.key("text").text(reading.value.toString()).end();
}

void put(JsonWriter& json, WatchedAlert const& alert)
{
    json.key("alert").beginObject();
    json.key("guid").text(alert.guid).key("key").text(alert.key).key("type").text(alert.type);
    json.key("title").text(alert.title).key("message").text(alert.message);
    json.key("tips").beginArray();
    for (std::string const& tip : alert.tips)
        json.text(tip);
    json.end().key("device").text(alert.deviceGuid).key("deviceName").text(alert.deviceName);
    json.key("raised").text(utcText(alert.raised)).end();
}

} // namespace

std::string jsonOfBegin(WatchHead const& head, Time time)
{
    JsonWriter json = line("begin", time);
    json.key("format").text("krel5-engine-watch").key("formatVersion").number(std::uint64_t{1});
    json.key("engineVersion").text(head.engineVersion).key("command").text(head.command);
    json.key("modules").beginArray();
    for (std::string const& module : head.modules)
        json.text(module);
    json.end();
    return ended(json);
}

std::string jsonOf(WatchNews const& news)
{
    JsonWriter json = line(eventOf(news.kind), news.time);
    json.key("module").text(news.module);
    if (!news.device.guid.empty())
        put(json, news.device);
    if (!news.readings.empty() || news.kind == Kind::Readings) {
        json.key("readings").beginArray();
        for (Reading const& one : news.readings)
            put(json, one);
        json.end();
    }
    if (news.kind == Kind::AlertRaised || news.kind == Kind::AlertCleared)
        put(json, news.alert);
    if (!news.text.empty())
        json.key("text").text(news.text);
    return ended(json);
}

std::string jsonOfGap(std::size_t lines, Time time)
{
    JsonWriter json = line("leftOut", time);
    json.key("lines").number(std::uint64_t{lines});
    return ended(json);
}

std::string jsonOfEnd(int exitStatus, std::size_t standingAlerts, Time time)
{
    JsonWriter json = line("end", time);
    json.key("exitStatus").number(std::int64_t{exitStatus});
    json.key("standingAlerts").number(std::uint64_t{standingAlerts});
    return ended(json);
}

} // namespace engine
