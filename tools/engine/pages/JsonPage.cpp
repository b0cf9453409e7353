#include <engine/pages/Pages.h>
#include <engine/pages/Words.h>
#include <engine/report/RecordJson.h>

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
    if (session.ended) {
        json.key("ended");
        write(json, *session.ended);
    }
    return json.end().take() + "\n";
}

} // namespace engine
