#include <engine/pages/Pages.h>
#include <engine/pages/Words.h>
#include <engine/report/RecordJson.h>
#include <engine/report/UtcTime.h>

namespace engine {

using listing::JsonWriter;

namespace {

char const* wordOf(Stage stage)
{
    switch (stage) {
    case Stage::Ended:
        return "ended";
    case Stage::Running:
        return "running";
    case Stage::Interrupted:
        return "interrupted";
    }
    return "";
}

void write(JsonWriter& json, Record const& record)
{
    json.beginObject();
    writeMembers(json, record);
    json.end();
}

template <typename Records>
void writeAll(JsonWriter& json, char const* key, Records const& records)
{
    json.key(key).beginArray();
    for (auto const& record : records)
        write(json, record);
    json.end();
}

void write(JsonWriter& json, Session const& session, RunReport const& run)
{
    json.beginObject();
    json.key("module").text(moduleName(run.began));
    json.key("result").text(session.resultOf(run));
    json.key("began");
    write(json, run.began);
    writeAll(json, "events", run.events);
    json.key("eventsLeftOut").number(std::uint64_t{run.eventsLeftOut});
    writeAll(json, "questions", run.questions);
    if (run.progress) {
        json.key("progress");
        write(json, *run.progress);
    }
    if (run.ended) {
        json.key("ended");
        write(json, *run.ended);
    }
    json.end();
}

void write(JsonWriter& json, WatchedSeries const& series)
{
    json.beginObject();
    json.key("module").text(series.moduleGuid);
    json.key("device").text(deviceName(series.device)).key("deviceGuid").text(series.device.guid);
    json.key("key").text(series.key).key("name").text(series.name).key("unit").text(series.unit);
    json.key("last").text(series.lastText);
    if (!series.points.empty()) {
        json.key("min").number(series.least).key("max").number(series.most);
        json.key("points").beginArray();
        for (WatchedSeries::Point const& one : series.points)
            json.beginObject().key("time").text(utcText(one.time)).key("value").number(one.value).end();
        json.end();
    }
    json.end();
}

void writeTexts(JsonWriter& json, char const* key, std::vector<std::string> const& texts)
{
    json.key(key).beginArray();
    for (std::string const& text : texts)
        json.text(text);
    json.end();
}

} // namespace

std::string json(Session const& session, std::optional<MachineStart> const& now)
{
    JsonWriter json;
    json.beginObject();
    json.key("document").text(kReportFormat);
    json.key("formatVersion").number(std::uint64_t{kReportVersion});
    json.key("state").text(wordOf(session.stage()));
    json.key("verdict").text(session.verdict());
    writeTexts(json, "interruption", interruption(session, now));
    writeTexts(json, "damage", damageOf(session));
    json.key("began");
    write(json, session.began);
    json.key("runs").beginArray();
    for (RunReport const& run : session.runs)
        write(json, session, run);
    json.end();
    writeAll(json, "skipped", session.skipped);
    if (!session.watched.empty() || !session.notes.empty()) {
        json.key("watched").beginArray();
        for (WatchedSeries const& one : session.watched)
            write(json, one);
        json.end();
        writeAll(json, "notes", session.notes);
    }
    if (session.ended) {
        json.key("ended");
        write(json, *session.ended);
    }
    return json.end().take() + "\n";
}

} // namespace engine
