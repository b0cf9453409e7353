#include <engine/pages/Words.h>

#include <engine/report/UtcTime.h>

#include <zel/model/vocabulary/EventTypeImp.h>

#include <algorithm>

namespace engine {

namespace {

// Two runs of one start tell the same id; where it is not known, the clock decides.
bool wentDown(Session const& session, MachineStart const& now)
{
    if (!session.bootId.empty() && !now.id.empty())
        return session.bootId != now.id;
    return now.time > session.lastTime;
}

std::string whatHappened(Session const& session, std::optional<MachineStart> const& now)
{
    if (!now)
        return "The session did not end: the engine or the machine went down.";
    if (wentDown(session, *now))
        return "The session did not end: the machine went down and was started again at " +
               readableTime(now->time) + ".";
    return "The session did not end: the engine was killed or crashed; the machine has been up since " +
           readableTime(now->time) + ".";
}

std::string runningAt(Session const& session, RunReport const& run)
{
    std::string text = "Was running: " + runTitle(run.began) + ", since " + readableTime(run.began.time);
    std::string const progress = progressOf(run);
    text += progress.empty() ? ", no progress was written" : ", at " + progress;
    return text + "; last sign of life " + readableTime(session.lastTime) + ".";
}

bool isOfType(RunEvent const& event, zel::EventTypeImp const& type)
{
    return zel::String(event.type) == type.toString();
}

} // namespace

std::vector<std::string> interruption(Session const& session, std::optional<MachineStart> const& now)
{
    if (session.stage() == Stage::Ended)
        return {};
    std::vector<std::string> lines = {session.stage() == Stage::Running ? "The session is still running."
                                                                        : whatHappened(session, now)};
    for (RunReport const& run : session.runs)
        if (!run.ended)
            lines.push_back(runningAt(session, run));
    if (lines.size() == 1)
        lines.emplace_back("No test was running.");
    if (session.began.plannedRuns > session.runs.size())
        lines.push_back(std::to_string(session.began.plannedRuns - session.runs.size()) + " of " +
                        std::to_string(session.began.plannedRuns) + " planned runs had not begun.");
    return lines;
}

std::string runTitle(RunBegan const& run)
{
    std::string const device = deviceName(run.device);
    return moduleName(run) + ": " + testName(run) + (device.empty() ? "" : " on " + device);
}

bool isError(RunEvent const& event) { return isOfType(event, zel::EventTypeImp::ERR()); }

std::string kindOf(RunEvent const& event)
{
    std::string kind = isError(event)                                      ? "Error"
                       : isOfType(event, zel::EventTypeImp::WARNING())     ? "Warning"
                       : isOfType(event, zel::EventTypeImp::INFORMATIVE()) ? "Information"
                       : isOfType(event, zel::EventTypeImp::PROGRESS())    ? "Progress"
                                                                           : event.type;
    return event.code.empty() || event.code == "0" ? kind : kind + " " + event.code;
}

std::string progressOf(RunReport const& run)
{
    if (!run.progress)
        return {};
    return std::to_string(run.progress->percent) + " % (pass " + std::to_string(run.progress->pass) + ")";
}

std::string endOf(RunReport const& run)
{
    if (!run.ended)
        return {};
    if (!run.ended->signal.empty())
        return "killed by " + run.ended->signal;
    return run.ended->exitStatus ? "exit status " + std::to_string(*run.ended->exitStatus) : std::string();
}

std::string noteOf(Session const& session, RunReport const& run)
{
    std::vector<std::string> parts;
    if (!run.ended && run.progress)
        parts.push_back("at " + progressOf(run));
    if (run.ended && !run.ended->note.empty())
        parts.push_back(run.ended->note);
    if (run.ended && !run.ended->signal.empty() &&
        run.ended->note.find(run.ended->signal) == std::string::npos)
        parts.push_back(endOf(run));
    auto const error = std::find_if(run.events.begin(), run.events.end(), isError);
    if (error != run.events.end())
        parts.push_back((session.gradeOf(run) == Grade::Passed ? "passed, but reported: " : "") +
                        error->message);
    if (run.ended && run.ended->passes > 1)
        parts.push_back(std::to_string(run.ended->passes) + " passes");
    std::string note;
    for (std::string const& part : parts)
        note += (note.empty() ? "" : "; ") + part;
    return note;
}

std::string counts(Session const& session)
{
    std::vector<std::pair<std::string, std::size_t>> results;
    auto const count = [&](std::string const& result) {
        auto const found =
            std::find_if(results.begin(), results.end(), [&](auto& one) { return one.first == result; });
        if (found == results.end())
            results.emplace_back(result, 1);
        else
            ++found->second;
    };
    for (RunReport const& run : session.runs)
        count(session.resultOf(run));
    std::stable_sort(results.begin(), results.end(),
                     [](auto const& a, auto const& b) { return gradeOf(a.first) > gradeOf(b.first); });
    if (!session.skipped.empty())
        results.emplace_back("not run", session.skipped.size());
    std::string text;
    for (auto const& [result, number] : results)
        text += (text.empty() ? "" : ", ") + std::to_string(number) + " " + result;
    return text.empty() ? "no runs" : text;
}

std::vector<std::string> damageOf(Session const& session)
{
    std::vector<std::string> lines;
    for (std::string const& damage : session.damage)
        lines.push_back("The report is damaged: " + damage);
    if (session.damageLeftOut > 0)
        lines.push_back("The report is damaged in " + std::to_string(session.damageLeftOut) +
                        " further lines.");
    if (session.isTorn && session.stage() != Stage::Running)
        lines.emplace_back("The last line of the report was not written to its end.");
    return lines;
}

bool isTrouble(Session const& session, RunReport const& run)
{
    return session.gradeOf(run) > Grade::NotTested ||
           std::any_of(run.events.begin(), run.events.end(), isError);
}

std::string sentenceOf(Session const& session, WatchNote const& note)
{
    std::string const module = moduleName(session, note.moduleGuid);
    if (note.what == "alertRaised" || note.what == "alertCleared")
        return std::string(note.what == "alertRaised" ? "Alert: " : "Over: ") + note.title +
               (note.deviceName.empty() ? "" : " (" + note.deviceName + ")") +
               (note.message.empty() ? "" : ": " + note.message);
    if (note.what == "moduleHeard")
        return module + " is heard again";
    return module.empty() ? note.message : module + ": " + note.message;
}

bool isTrouble(WatchNote const& note) { return note.what != "alertCleared" && note.what != "moduleHeard"; }

} // namespace engine
