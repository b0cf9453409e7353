#include <engine/pages/Pages.h>
#include <engine/pages/Words.h>
#include <engine/report/UtcTime.h>

#include <listing/forms/JsonWriter.h>

#include <algorithm>
#include <cctype>
#include <functional>
#include <map>
#include <set>

namespace engine {

using listing::JsonWriter;

namespace {

char const* severityOf(RunEvent const& event)
{
    return isError(event) ? "ERROR" : event.type == "WARNING" ? "WARNING" : "INFO";
}

char const* stepStatusOf(Grade grade)
{
    switch (grade) {
    case Grade::Passed:
    case Grade::Warned:
    case Grade::Failed:
        return "COMPLETE";
    case Grade::NotTested:
        return "SKIP";
    case Grade::Stopped:
    case Grade::Broken:
        return "ERROR";
    }
    return "ERROR";
}

char const* diagnosisOf(Grade grade)
{
    return grade == Grade::Passed ? "PASS" : grade == Grade::Failed ? "FAIL" : "UNKNOWN";
}

// "NOT SUPPORTED" as "not-supported": words of that format.
std::string symbol(std::string const& text)
{
    std::string out;
    for (char const c : text)
        out += std::isalnum(static_cast<unsigned char>(c))
                   ? static_cast<char>(std::tolower(static_cast<unsigned char>(c)))
                   : '-';
    return out;
}

// Lines of steps come in the order of time, but those of one step as they were told, also where the clock was set back
// meanwhile; lines of the run stand before and behind them.
class Stream
{
public:
    using Members = std::function<void(JsonWriter&)>; ///< of the artifact

    void begin(Time time, Members members) { m_lines.push_back({Time::min(), time, std::move(members)}); }
    void beginOfRun(Time time, char const* kind, Members members)
    {
        begin(time, ofRun(kind, std::move(members)));
    }
    void endOfRun(Time time, char const* kind, Members members)
    {
        m_lines.push_back({Time::max(), time, ofRun(kind, std::move(members))});
    }
    void ofStep(Time time, std::string const& step, char const* kind, Members members)
    {
        Time& latest = m_latest.try_emplace(step, time).first->second;
        latest = std::max(latest, time);
        m_lines.push_back({latest, time, [step, kind, members = std::move(members)](JsonWriter& json) {
                               json.key("testStepArtifact").beginObject().key("testStepId").text(step);
                               json.key(kind).beginObject();
                               members(json);
                               json.end().end();
                           }});
    }

    std::string take()
    {
        std::stable_sort(m_lines.begin(), m_lines.end(),
                         [](Line const& a, Line const& b) { return a.place < b.place; });
        std::string out;
        std::uint64_t number = 0;
        for (Line const& line : m_lines) {
            JsonWriter json(JsonWriter::Layout::OneLine);
            json.beginObject();
            line.members(json);
            json.key("sequenceNumber").number(number++).key("timestamp").text(utcText(line.time));
            out += json.end().take() + "\n";
        }
        return out;
    }

private:
    struct Line
    {
        Time place, time;
        Members members;
    };

    static Members ofRun(char const* kind, Members members)
    {
        return [kind, members = std::move(members)](JsonWriter& json) {
            json.key("testRunArtifact").beginObject().key(kind).beginObject();
            members(json);
            json.end().end();
        };
    }

    std::vector<Line> m_lines;
    std::map<std::string, Time> m_latest; // by step
};

class Builder
{
public:
    explicit Builder(Session const& session) : m_session(session) {}

    std::string build()
    {
        SessionBegan const& began = m_session.began;
        m_stream.begin(began.time, [](JsonWriter& json) {
            json.key("schemaVersion")
                .beginObject()
                .key("major")
                .number(std::uint64_t{2})
                .key("minor")
                .number(std::uint64_t{0});
            json.end();
        });
        m_stream.beginOfRun(began.time, "testRunStart", [this](JsonWriter& json) { writeStart(json); });
        for (std::string const& sentence : interruption(m_session, {}))
            log(began.time, "WARNING", sentence);
        for (std::string const& sentence : damageOf(m_session))
            log(began.time, "WARNING", sentence);
        for (RunReport const& run : m_session.runs)
            addRun(run);
        for (RunSkipped const& one : m_session.skipped)
            addSkipped(one);
        if (m_session.stage() != Stage::Running)
            addEnd();
        return m_stream.take();
    }

private:
    void log(Time time, char const* severity, std::string const& message)
    {
        m_stream.beginOfRun(time, "log", [=](JsonWriter& json) { writeLog(json, severity, message); });
    }
    static void writeLog(JsonWriter& json, char const* severity, std::string const& message)
    {
        json.key("severity").text(severity).key("message").text(message);
    }

    void writeStart(JsonWriter& json) const
    {
        SessionBegan const& began = m_session.began;
        json.key("name").text(began.plan.empty() ? "krel5-engine" : began.plan);
        json.key("version").text(began.engineVersion).key("commandLine").text(began.command);
        json.key("parameters").beginObject().end();
        json.key("dutInfo").beginObject();
        json.key("dutInfoId").text(began.hostname.empty() ? "machine" : began.hostname);
        json.key("name").text(began.machine);
        json.key("platformInfos").beginArray();
        json.beginObject().key("info").text(began.system).end();
        for (auto const& [name, value] : began.facts)
            json.beginObject().key("info").text(name + ": " + value).end();
        json.end();
        writeSoftware(json);
        writeHardware(json);
        json.end();
    }

    void writeSoftware(JsonWriter& json) const
    {
        std::set<std::string> written;
        auto const write = [&](std::string const& id, std::string const& name, std::string const& version) {
            if (written.insert(id).second)
                json.beginObject()
                    .key("softwareInfoId")
                    .text(id)
                    .key("name")
                    .text(name)
                    .key("version")
                    .text(version)
                    .key("softwareType")
                    .text("APPLICATION")
                    .end();
        };
        json.key("softwareInfos").beginArray();
        write("engine", "krel5-engine", m_session.began.engineVersion);
        for (RunReport const& run : m_session.runs)
            write(run.began.moduleGuid, moduleName(run.began), run.began.moduleVersion);
        json.end();
    }

    void writeHardware(JsonWriter& json) const
    {
        std::set<std::string> written;
        json.key("hardwareInfos").beginArray();
        json.beginObject().key("hardwareInfoId").text("machine").key("name").text(m_session.began.machine);
        json.key("serialNumber").text(m_session.began.serial).end();
        for (RunReport const& run : m_session.runs) {
            DeviceNamed const& device = run.began.device;
            if (written.insert(device.guid).second)
                json.beginObject()
                    .key("hardwareInfoId")
                    .text(device.guid)
                    .key("name")
                    .text(device.name)
                    .key("location")
                    .text(device.location)
                    .key("partType")
                    .text(device.type)
                    .end();
        }
        json.end();
    }

    void addRun(RunReport const& run)
    {
        std::string const step = std::to_string(run.began.run);
        Time const end = run.ended ? run.ended->time : m_session.lastTime;
        m_stream.ofStep(run.began.time, step, "testStepStart",
                        [&run](JsonWriter& json) { json.key("name").text(runTitle(run.began)); });
        for (auto const& [name, value] : run.began.parameters)
            stepLog(run.began.time, step, "INFO", name + "=" + value);
        for (RunEvent const& event : run.events)
            m_stream.ofStep(event.time, step, "log", [&event](JsonWriter& json) { writeEvent(json, event); });
        for (RunQuestion const& one : run.questions)
            stepLog(one.time, step, "INFO", one.title + ": " + one.text + " " + one.answer);
        if (!run.ended && m_session.stage() == Stage::Running)
            return;
        Grade const grade = m_session.gradeOf(run);
        if (grade == Grade::Stopped || grade == Grade::Broken)
            m_stream.ofStep(end, step, "error", [this, &run](JsonWriter& json) { writeError(json, run); });
        else
            m_stream.ofStep(end, step, "diagnosis",
                            [this, &run](JsonWriter& json) { writeDiagnosis(json, run); });
        addStepEnd(end, step, grade);
    }

    void addSkipped(RunSkipped const& one)
    {
        std::string const step = "skipped-" + std::to_string(++m_skipped);
        m_stream.ofStep(one.time, step, "testStepStart", [this, &one](JsonWriter& json) {
            json.key("name").text(moduleName(m_session, one.moduleGuid) + ": " + one.test + " on " +
                                  one.deviceName);
        });
        stepLog(one.time, step, "INFO", one.result + ": " + one.reason);
        addStepEnd(one.time, step, Grade::NotTested);
    }

    void stepLog(Time time, std::string const& step, char const* severity, std::string const& message)
    {
        m_stream.ofStep(time, step, "log", [=](JsonWriter& json) { writeLog(json, severity, message); });
    }
    void addStepEnd(Time time, std::string const& step, Grade grade)
    {
        m_stream.ofStep(time, step, "testStepEnd",
                        [grade](JsonWriter& json) { json.key("status").text(stepStatusOf(grade)); });
    }

    static void writeEvent(JsonWriter& json, RunEvent const& event)
    {
        std::string message = kindOf(event) + ": " + event.message;
        for (std::string const& tip : event.tips)
            message += "\nTip: " + tip;
        writeLog(json, severityOf(event), message);
        if (!event.file.empty())
            json.key("sourceLocation")
                .beginObject()
                .key("file")
                .text(event.file)
                .key("line")
                .number(std::int64_t{event.line})
                .end();
    }
    void writeError(JsonWriter& json, RunReport const& run) const
    {
        json.key("symptom").text(symbol(m_session.resultOf(run)));
        json.key("message").text(noteOf(m_session, run));
        json.key("softwareInfoIds").beginArray().text(run.began.moduleGuid).end();
    }
    void writeDiagnosis(JsonWriter& json, RunReport const& run) const
    {
        json.key("verdict").text(
            symbol(moduleName(run.began) + "-" + run.began.test + "-" + m_session.resultOf(run)));
        json.key("type").text(diagnosisOf(m_session.gradeOf(run)));
        json.key("message").text(noteOf(m_session, run));
        json.key("hardwareInfoId").text(run.began.device.guid);
    }

    void addEnd()
    {
        Grade const grade = m_session.grade();
        bool const isClear = grade == Grade::Passed || grade == Grade::Failed;
        char const* const status = m_session.stage() == Stage::Interrupted ? "ERROR" : stepStatusOf(grade);
        m_stream.endOfRun(m_session.lastTime, "testRunEnd", [=](JsonWriter& json) {
            json.key("status").text(status).key("result").text(isClear ? diagnosisOf(grade)
                                                                       : "NOT_APPLICABLE");
        });
    }

    Session const& m_session;
    Stream m_stream;
    std::size_t m_skipped = 0;
};

} // namespace

std::string ocp(Session const& session) { return Builder(session).build(); }

} // namespace engine
