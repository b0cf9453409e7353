#include <engine/pages/Pages.h>
#include <engine/pages/Table.h>
#include <engine/pages/Words.h>
#include <engine/report/UtcTime.h>

#include <listing/forms/Columns.h>
#include <listing/forms/Listing.h>

#include <algorithm>

namespace engine {

using listing::harmless;

namespace {

constexpr std::size_t kStep = 4; // of indentation
constexpr std::size_t kLabel = 11;
constexpr std::size_t kFewest = 30; // columns, below which nothing is readable anyway

std::size_t columnsFor(std::size_t width)
{
    return width == 0 ? listing::kTextColumns : std::clamp(width, kFewest, listing::kTextColumns);
}

std::string line(std::string const& label, std::string const& value, std::size_t columns)
{
    if (value.empty())
        return {};
    return listing::wrapped(label + ":" + std::string(kLabel - std::min(kLabel - 1, label.size() + 1), ' ') +
                                harmless(value),
                            kLabel, columns);
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

std::string indented(std::size_t steps, std::string const& text, std::size_t columns)
{
    return listing::wrapped(std::string(steps * kStep, ' ') + harmless(text), (steps + 1) * kStep, columns);
}

std::string event(RunEvent const& event, std::size_t columns)
{
    std::string out = indented(1, kindOf(event) + ": " + event.message, columns);
    for (std::string const& tip : event.tips)
        out += indented(2, "Tip: " + tip, columns);
    return out;
}

std::string trouble(Session const& session, RunReport const& run, std::size_t columns)
{
    std::string out = indented(0, session.resultOf(run) + "  " + runTitle(run.began), columns);
    if (run.ended)
        out += run.ended->note.empty() ? "" : indented(1, run.ended->note, columns);
    for (RunEvent const& one : run.events)
        if (isError(one) || !one.tips.empty())
            out += event(one, columns);
    if (run.eventsLeftOut > 0)
        out += indented(1, std::to_string(run.eventsLeftOut) + " further events are not shown.", columns);
    if (session.gradeOf(run) == Grade::Broken && run.ended) {
        out += endOf(run).empty() ? "" : indented(1, "The module: " + endOf(run), columns);
        out += block("Its last words:", run.ended->output) + block("The end of its log:", run.ended->logTail);
    }
    // Not wrapped: it is to be copied.
    return out + (run.began.again.empty() ? "" : "    Again: " + harmless(run.began.again) + "\n");
}

std::string head(Session const& session, std::optional<MachineStart> const& now, std::size_t width)
{
    SessionBegan const& began = session.began;
    std::size_t const columns = columnsFor(width);
    std::string out = verdictLine(session, width);
    for (std::string const& sentence : interruption(session, now))
        out += listing::wrapped(harmless(sentence), kStep, columns);
    for (std::string const& sentence : damageOf(session))
        out += listing::wrapped(harmless(sentence), kStep, columns);
    out += "\n" + line("Machine", began.machine, columns) + line("Serial", began.serial, columns) +
           line("Host", began.hostname, columns) + line("System", began.system, columns);
    for (auto const& [name, value] : began.facts)
        out += listing::wrapped("  " + harmless(name) + ": " + harmless(value), kLabel, columns);
    return out +
           line("Began", readableTime(began.time) + ", " + readableSpan(session.seconds()) + " long",
                columns) +
           line("Engine", began.engineVersion, columns) + line("Plan", began.plan, columns) +
           line("Command", began.command, columns) + "\n";
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

std::string troubles(Session const& session, std::size_t width)
{
    std::size_t const columns = columnsFor(width);
    std::string out;
    for (RunReport const& run : session.runs)
        if (isTrouble(session, run))
            out += (out.empty() ? "" : "\n") + trouble(session, run, columns);
    return out;
}

std::string notTested(Session const& session, std::size_t width)
{
    std::size_t const columns = columnsFor(width);
    std::string out;
    auto const add = [&](std::string const& what, std::string const& result, std::string const& reason) {
        out += listing::wrapped("  " + harmless((what.empty() ? "" : what + ": ") + result +
                                                (reason.empty() ? "" : ", ") + reason),
                                kStep, columns);
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

std::string watchedNotes(Session const& session, std::size_t width)
{
    std::size_t const columns = columnsFor(width);
    std::string out;
    for (WatchNote const& note : session.notes) {
        if (!isTrouble(note))
            continue;
        out += listing::wrapped("  " + readableTime(note.time).substr(11, 8) + " " +
                                    harmless(sentenceOf(session, note)),
                                kStep, columns);
        for (std::string const& tip : note.tips)
            out += listing::wrapped("    Tip: " + harmless(tip), 2 * kStep, columns);
    }
    if (session.notesLeftOut > 0)
        out += "  " + std::to_string(session.notesLeftOut) + " further notes are not shown.\n";
    return out.empty() ? "" : "While the tests ran:\n" + out;
}

std::string watchedTable(Session const& session, std::size_t width)
{
    std::vector<TableRow> rows = {{"Device", "Reading", "Min", "Max", "Last"}};
    for (WatchedSeries const& one : session.watched)
        rows.push_back({harmless(deviceName(one.device)), harmless(one.name), harmless(one.leastText),
                        harmless(one.mostText), harmless(one.lastText)});
    return rows.size() == 1 ? "" : table(rows, width, {2, 3, 4});
}

std::string verdictLine(Session const& session, std::size_t width)
{
    std::string const line =
        "Verdict: " + harmless(session.verdict()) + " (" + harmless(counts(session)) + ")";
    return width == 0 ? line + "\n" : listing::wrapped(line, kStep, columnsFor(width));
}

std::string text(Session const& session, std::size_t width, std::optional<MachineStart> const& now)
{
    std::string out = head(session, now, width) + resultTable(session, width);
    for (std::string const& part : {troubles(session, width), notTested(session, width),
                                    watchedNotes(session, width), watchedTable(session, width)})
        out += part.empty() ? "" : "\n" + part;
    return out;
}

} // namespace engine
