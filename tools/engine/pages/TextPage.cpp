#include <engine/pages/Pages.h>
#include <engine/pages/Table.h>
#include <engine/pages/Words.h>
#include <engine/report/UtcTime.h>

#include <listing/forms/Listing.h>

namespace engine {

using listing::harmless;

namespace {

constexpr std::size_t kStep = 4; // of indentation
constexpr std::size_t kLabel = 11;

std::string line(std::string const& label, std::string const& value)
{
    if (value.empty())
        return {};
    return listing::wrapped(label + ":" + std::string(kLabel - std::min(kLabel - 1, label.size() + 1), ' ') +
                                harmless(value),
                            kLabel);
}

// Several lines, each with the margin.
std::string block(std::string const& heading, std::string const& text)
{
    if (text.empty())
        return {};
    std::string const shown = zel::String(text).withoutControls(true).toUtf8();
    std::string out = std::string(kStep, ' ') + heading + "\n";
    for (std::size_t begin = 0; begin < shown.size();) {
        std::size_t const end = std::min(shown.find('\n', begin), shown.size());
        out += std::string(kStep, ' ') + "| " + shown.substr(begin, end - begin) + "\n";
        begin = end + 1;
    }
    return out;
}

std::string indented(std::size_t steps, std::string const& text)
{
    return listing::wrapped(std::string(steps * kStep, ' ') + harmless(text), (steps + 1) * kStep);
}

std::string event(RunEvent const& event)
{
    std::string out = indented(1, kindOf(event) + ": " + event.message);
    for (std::string const& tip : event.tips)
        out += indented(2, "Tip: " + tip);
    return out;
}

std::string trouble(Session const& session, RunReport const& run)
{
    std::string out = indented(0, session.resultOf(run) + "  " + runTitle(run.began));
    if (run.ended)
        out += run.ended->note.empty() ? "" : indented(1, run.ended->note);
    for (RunEvent const& one : run.events)
        if (isError(one) || !one.tips.empty())
            out += event(one);
    if (run.eventsLeftOut > 0)
        out += indented(1, std::to_string(run.eventsLeftOut) + " further events are not shown.");
    if (session.gradeOf(run) == Grade::Broken && run.ended) {
        out += endOf(run).empty() ? "" : indented(1, "The module: " + endOf(run));
        out += block("Its last words:", run.ended->output) + block("The end of its log:", run.ended->logTail);
    }
    // Not wrapped: it is to be copied.
    return out + (run.began.again.empty() ? "" : "    Again: " + harmless(run.began.again) + "\n");
}

std::string head(Session const& session, std::optional<MachineStart> const& now)
{
    SessionBegan const& began = session.began;
    std::string out = verdictLine(session);
    for (std::string const& sentence : interruption(session, now))
        out += listing::wrapped(harmless(sentence), kStep);
    for (std::string const& sentence : damageOf(session))
        out += listing::wrapped(harmless(sentence), kStep);
    out += "\n" + line("Machine", began.machine) + line("Serial", began.serial) +
           line("Host", began.hostname) + line("System", began.system);
    for (auto const& [name, value] : began.facts)
        out += listing::wrapped("  " + harmless(name) + ": " + harmless(value), kLabel);
    return out + line("Began", readableTime(began.time) + ", " + readableSpan(session.seconds()) + " long") +
           line("Engine", began.engineVersion) + line("Plan", began.plan) + line("Command", began.command) +
           "\n";
}

} // namespace

std::string resultTable(Session const& session, std::size_t width)
{
    if (session.runs.empty())
        return {};
    std::vector<TableRow> rows = {{"Module", "Test", "Device", "Result", "Time", "Note"}};
    for (RunReport const& run : session.runs)
        rows.push_back({harmless(moduleName(run.began)), harmless(testName(run.began)),
                        harmless(deviceName(run.began.device)), harmless(session.resultOf(run)),
                        readableSpan(session.secondsOf(run), true), harmless(noteOf(session, run))});
    return table(rows, width, {3, 4});
}

std::string troubles(Session const& session)
{
    std::string out;
    for (RunReport const& run : session.runs)
        if (isTrouble(session, run))
            out += (out.empty() ? "" : "\n") + trouble(session, run);
    return out;
}

std::string notTested(Session const& session)
{
    std::string out;
    auto const add = [&](std::string const& what, std::string const& result, std::string const& reason) {
        out += listing::wrapped("  " + harmless((what.empty() ? "" : what + ": ") + result +
                                                (reason.empty() ? "" : ", ") + reason),
                                kStep);
    };
    for (RunReport const& run : session.runs) // the table may have had no room for the reason
        if (session.gradeOf(run) == Grade::NotTested && !isTrouble(session, run))
            add(runTitle(run.began), session.resultOf(run), noteOf(session, run));
    for (RunSkipped const& one : session.skipped)
        add(one.moduleGuid.empty()
                ? one.deviceName
                : moduleName(session, one.moduleGuid) + (one.test.empty() ? "" : ": " + one.test) +
                      (one.deviceName.empty() ? "" : " on " + one.deviceName),
            one.result, one.reason);
    return out.empty() ? "" : "Not tested:\n" + out;
}

std::string verdictLine(Session const& session)
{
    return "Verdict: " + harmless(session.verdict()) + " (" + harmless(counts(session)) + ")\n";
}

std::string text(Session const& session, std::size_t width, std::optional<MachineStart> const& now)
{
    std::string out = head(session, now) + resultTable(session, width);
    for (std::string const& part : {troubles(session), notTested(session)})
        out += part.empty() ? "" : "\n" + part;
    return out;
}

} // namespace engine
