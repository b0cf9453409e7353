#include <engine/pages/Pages.h>
#include <engine/pages/ReadingsPicture.h>
#include <engine/pages/Words.h>
#include <engine/report/UtcTime.h>

#include <listing/forms/Escapes.h>
#include <listing/forms/Listing.h>

#include <unordered_map>

namespace engine {

namespace {

constexpr std::size_t kMostPictures = 100;

// No scripts, nothing from elsewhere: the page says so itself, and a browser holds it to that.
constexpr char kBegin[] = R"(<!DOCTYPE html>
<html lang="en">
<head>
<meta charset="utf-8" />
<meta http-equiv="Content-Security-Policy" content="default-src 'none'; style-src 'unsafe-inline'" />
<meta name="viewport" content="width=device-width, initial-scale=1" />
)";
constexpr char kStyle[] = R"(<style>
:root { color-scheme: light dark; --line: #8885; --quiet: #666; --box: #8881;
  --good: #1b7f3b; --plain: #666; --warn: #9a6700; --bad: #b00020; }
@media screen and (prefers-color-scheme: dark) { :root { --quiet: #aaa; --good: #5fd17f; --plain: #aaa; --warn: #e3b341; --bad: #ff8a80; } }
body { font: 15px/1.45 system-ui, sans-serif; margin: 1.5em auto; max-width: 75em; padding: 0 1em; }
h1 { font-size: 1.5em; margin: 0 0 .1em; }
h2 { font-size: 1.15em; margin: 1.6em 0 .4em; } h3 { font-size: 1em; margin: 1.2em 0 .2em; }
.quiet { color: var(--quiet); }
.verdict { display: inline-block; font-size: 1.35em; font-weight: 700; padding: .15em .7em; margin: .5em 0;
  border: 2px solid; border-radius: .3em; }
.passed { color: var(--good); } .nottested { color: var(--plain); } .warned { color: var(--warn); }
.stopped { color: var(--warn); } .broken, .failed { color: var(--bad); }
.alarm { color: var(--bad); font-weight: 600; margin: .2em 0; }
table { border-collapse: collapse; width: 100%; }
table.facts { width: auto; }
th, td { text-align: left; vertical-align: top; padding: .22em .9em .22em 0; overflow-wrap: break-word; }
.results th, .results td { border-bottom: 1px solid var(--line); }
.results td:last-child, .facts td { overflow-wrap: anywhere; }
.results td:last-child { min-width: 14em; width: 40%; }
.results .result { font-weight: 600; white-space: nowrap; overflow-wrap: normal; }
.time { white-space: nowrap; font-variant-numeric: tabular-nums; }
.facts th { font-weight: 400; color: var(--quiet); white-space: nowrap; }
details { margin: .3em 0; } details details { margin-left: 1.1em; }
section > details { border: 1px solid var(--line); border-radius: .3em; padding: .25em .7em; }
summary { cursor: pointer; padding: .1em 0; }
.event { margin: .4em 0; } .event .kind { font-weight: 600; } ul { margin: .1em 0 .1em 1.2em; padding: 0; }
pre { background: var(--box); border-radius: .3em; padding: .5em .7em; margin: .3em 0; overflow-x: auto;
  white-space: pre-wrap; overflow-wrap: anywhere; font-size: .88em; }
a { color: inherit; }
@media screen and (max-width: 52em) { .results thead { display: none; }
  .results tr { display: block; border-bottom: 1px solid var(--line); padding: .35em 0; }
  .results td { display: block; border: 0; padding: 0; overflow-wrap: anywhere; } .results td:empty { display: none; } }
svg.readings { display: block; width: 100%; max-width: 60em; height: auto; margin: .3em 0; font-size: 12px; }
svg.readings text { fill: currentColor; } svg .grid { stroke: var(--line); } svg .run { fill: #8883; stroke: var(--line); }
svg .curve { fill: none; stroke-width: 2; stroke-linejoin: round; }
svg .c0 { stroke: #2f7fd1; } svg .c1 { stroke: #d9772b; } svg .c2 { stroke: #2f9e5b; } svg .c3 { stroke: #b0489f; }
svg .c4 { stroke: #8a7a2a; stroke-dasharray: 7 3; } svg .c5 { stroke: #d14f5f; stroke-dasharray: 2 3; }
@media print { :root { color-scheme: only light; } body { font-size: 12px; max-width: none; margin: 0; }
  details::details-content { content-visibility: visible; block-size: auto; } /* paper cannot be unfolded */
  .results .result { white-space: normal; } pre { border: 1px solid var(--line); } tr, .event, svg.readings { break-inside: avoid; } }
</style>
)";

std::string escaped(std::string const& text) { return listing::escaped(listing::harmless(text)); }
std::string escapedLines(std::string const& text)
{
    return listing::escaped(zel::String(text).withoutControls(true).toUtf8());
}

char const* classOf(Grade grade)
{
    switch (grade) {
    case Grade::Passed:
        return "passed";
    case Grade::NotTested:
        return "nottested";
    case Grade::Warned:
        return "warned";
    case Grade::Stopped:
        return "stopped";
    case Grade::Broken:
        return "broken";
    case Grade::Failed:
        return "failed";
    }
    return "broken";
}

std::string span(char const* kind, std::string const& text)
{
    return std::string("<span class=\"") + kind + "\">" + text + "</span>";
}

std::string factRow(std::string const& name, std::string const& value)
{
    return value.empty()
               ? ""
               : "<tr><th scope=\"row\">" + escaped(name) + "</th><td>" + escaped(value) + "</td></tr>\n";
}

std::string folded(std::string const& title, std::string const& text)
{
    return text.empty()
               ? ""
               : "<details><summary>" + title + "</summary><pre>" + escapedLines(text) + "</pre></details>\n";
}

std::string command(std::string const& text)
{
    return text.empty() ? "" : "<p>To make it again:</p>\n<pre><code>" + escaped(text) + "</code></pre>\n";
}

std::string event(RunEvent const& event)
{
    std::string out = "<div class=\"event\">";
    out += std::string("<span class=\"kind") + (isError(event) ? " failed" : "") + "\">" +
           escaped(kindOf(event)) + "</span> " + escapedLines(event.message) + " " +
           span("quiet time", escaped(readableTime(event.time)));
    if (!event.file.empty())
        out += " " + span("quiet", escaped(event.file) + ":" + std::to_string(event.line));
    if (!event.tips.empty())
        out += "<ul>";
    for (std::string const& tip : event.tips)
        out += "<li>" + escaped(tip) + "</li>";
    return out + (event.tips.empty() ? "" : "</ul>") + "</div>\n";
}

std::string question(RunQuestion const& one)
{
    return "<div class=\"event\"><span class=\"kind\">Question</span> " + escaped(one.title) + ": " +
           escapedLines(one.text) + " <b>" + escaped(one.answer) + "</b>" +
           (one.wasAnswered ? "" : " (nobody answered)") + "</div>\n";
}

std::string runFacts(RunReport const& run)
{
    RunBegan const& began = run.began;
    std::string out = "<table class=\"facts\">\n";
    out += factRow("Began", readableTime(began.time)) + factRow("Device", began.device.description);
    out += factRow("Kind of device", began.device.type) + factRow("Place", began.device.location);
    out += factRow("Module", moduleName(began) + " " + began.moduleVersion) + factRow("Test", began.test);
    for (auto const& [name, value] : began.parameters)
        out += factRow(name, value);
    out += factRow("Goes on for", began.forSeconds > 0 ? readableSpan(began.forSeconds) : "");
    out += factRow("Limit of time", began.limitSeconds > 0 ? readableSpan(began.limitSeconds) : "");
    out += factRow("Writes to the device", began.destructive ? "yes" : "");
    return out + factRow("The module ended with", endOf(run)) + factRow("Progress", progressOf(run)) +
           "</table>\n";
}

std::string runSection(Session const& session, RunReport const& run)
{
    Grade const grade = session.gradeOf(run);
    std::string const note = noteOf(session, run);
    std::string out = "<section id=\"run-" + std::to_string(run.began.run) + "\">\n<details" +
                      (isTrouble(session, run) ? " open=\"open\"" : "") + "><summary>";
    out += std::string("<b class=\"") + classOf(grade) + "\">" + escaped(session.resultOf(run)) + "</b> " +
           escaped(runTitle(run.began)) + " " + span("quiet", escaped(note)) + "</summary>\n";
    for (RunEvent const& one : run.events)
        out += event(one);
    if (run.eventsLeftOut > 0)
        out += "<p class=\"quiet\">" + std::to_string(run.eventsLeftOut) +
               " further events are not shown.</p>\n";
    for (RunQuestion const& one : run.questions)
        out += question(one);
    out += command(run.began.again);
    if (run.ended)
        out += folded("What the module printed", run.ended->output) +
               folded("The end of its log", run.ended->logTail);
    return out + "<details><summary>Details</summary>\n" + runFacts(run) +
           "</details>\n</details>\n</section>\n";
}

std::string resultRows(Session const& session)
{
    if (session.runs.empty())
        return "<p>No test was run.</p>\n";
    std::string out =
        "<table class=\"results\">\n<thead><tr><th>Module</th><th>Test</th><th>Device</th><th>Result</th>"
        "<th>Time</th><th>Note</th></tr></thead>\n<tbody>\n";
    for (RunReport const& run : session.runs) {
        out += "<tr><td>" + escaped(moduleName(run.began)) + "</td><td><a href=\"#run-" +
               std::to_string(run.began.run) + "\">" + escaped(testName(run.began)) + "</a></td><td>" +
               escaped(deviceName(run.began.device)) + "</td>";
        out += std::string("<td class=\"result ") + classOf(session.gradeOf(run)) + "\">" +
               escaped(session.resultOf(run)) + "</td><td class=\"time\">" +
               readableSpan(session.secondsOf(run), true) + "</td><td>" + escaped(noteOf(session, run)) +
               "</td></tr>\n";
    }
    return out + "</tbody>\n</table>\n";
}

std::string skippedRows(Session const& session)
{
    if (session.skipped.empty())
        return {};
    std::string out =
        "<h2>Not run</h2>\n<table class=\"results\">\n<thead><tr><th>Module</th><th>Test</th><th>Device</th>"
        "<th>Result</th><th>Reason</th></tr></thead>\n<tbody>\n";
    for (RunSkipped const& one : session.skipped)
        out += "<tr><td>" + escaped(moduleName(session, one.moduleGuid)) + "</td><td>" + escaped(one.test) +
               "</td><td>" + escaped(one.deviceName) + "</td><td class=\"result nottested\">" +
               escaped(one.result) + "</td><td>" + escaped(one.reason) + "</td></tr>\n";
    return out + "</tbody>\n</table>\n";
}

std::string notes(Session const& session)
{
    std::string out;
    for (WatchNote const& note : session.notes) {
        out += std::string("<div class=\"event\"><span class=\"") + (isTrouble(note) ? "broken" : "quiet") +
               "\">" + escaped(sentenceOf(session, note)) + "</span> " +
               span("quiet time", readableTime(note.time));
        for (std::string const& tip : note.tips)
            out += "<br />" + escaped(tip);
        out += "</div>\n";
    }
    if (session.notesLeftOut > 0)
        out += "<p class=\"quiet\">" + std::to_string(session.notesLeftOut) +
               " further notes are not shown.</p>\n";
    return out;
}

std::string readingRows(std::vector<WatchedSeries const*> const& series)
{
    std::string out =
        "<table "
        "class=\"results\">\n<thead><tr><th>Reading</th><th>Min</th><th>Max</th><th>Last</th></tr></thead>\n"
        "<tbody>\n";
    for (WatchedSeries const* const one : series)
        out += "<tr><td>" + escaped(one->name) + "</td><td class=\"time\">" + escaped(one->leastText) +
               "</td><td class=\"time\">" + escaped(one->mostText) + "</td><td>" + escaped(one->lastText) +
               "</td></tr>\n";
    return out + "</tbody>\n</table>\n";
}

// One device after the other, each with its picture where it has temperatures.
std::string readings(Session const& session)
{
    if (session.watched.empty() && session.notes.empty())
        return {};
    std::vector<std::vector<WatchedSeries const*>> devices;
    std::unordered_map<std::string, std::size_t> places;
    for (WatchedSeries const& one : session.watched) {
        auto const place =
            places.emplace(one.moduleGuid + '\n' + one.device.guid, devices.size()).first->second;
        if (place == devices.size())
            devices.emplace_back();
        devices[place].push_back(&one);
    }
    std::string out = "<h2>Readings</h2>\n" + notes(session);
    for (std::size_t i = 0; i < devices.size(); ++i)
        out += "<h3>" + escaped(deviceName(devices[i][0]->device)) + "</h3>\n" +
               (i < kMostPictures ? temperaturePicture(session, devices[i]) : "") + readingRows(devices[i]);
    return out;
}

std::string machineRows(Session const& session)
{
    SessionBegan const& began = session.began;
    std::string out = "<h2>Machine</h2>\n<table class=\"facts\">\n" + factRow("Machine", began.machine) +
                      factRow("Serial number", began.serial) + factRow("Host name", began.hostname) +
                      factRow("System", began.system);
    for (auto const& [name, value] : began.facts)
        out += factRow(name, value);
    return out + factRow("Engine", began.engineVersion) + factRow("Plan", began.plan) +
           factRow("Command", began.command) + "</table>\n";
}

} // namespace

std::string html(Session const& session)
{
    SessionBegan const& began = session.began;
    std::string const machine = began.machine.empty() ? "Test report" : escaped(began.machine);
    std::string const verdict = escaped(session.verdict());
    std::string out = kBegin;
    out += "<title>" + verdict + ": " + machine + ", " + readableTime(began.time) + "</title>\n" + kStyle +
           "</head>\n<body>\n<h1>" + machine + "</h1>\n<p class=\"quiet\">" + readableTime(began.time) +
           ", " + readableSpan(session.seconds()) + " long" +
           (began.serial.empty() ? "" : ", serial number " + escaped(began.serial)) +
           (began.hostname.empty() ? "" : ", " + escaped(began.hostname)) + "</p>\n";
    out += std::string("<p class=\"verdict ") + classOf(session.grade()) + "\">" + verdict + "</p> " +
           span("quiet", escaped(counts(session))) + "\n";
    for (std::string const& sentence : interruption(session, {}))
        out += "<p class=\"alarm\">" + escaped(sentence) + "</p>\n";
    for (std::string const& sentence : damageOf(session))
        out += "<p class=\"alarm\">" + escaped(sentence) + "</p>\n";
    out += machineRows(session) + "<h2>Results</h2>\n" + resultRows(session) + skippedRows(session) +
           readings(session);
    if (!session.runs.empty())
        out += "<h2>Runs</h2>\n";
    for (RunReport const& run : session.runs)
        out += runSection(session, run);
    return out + "</body>\n</html>\n";
}

} // namespace engine
