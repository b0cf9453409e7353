#include <engine/show/SessionObserver.h>

#include <engine/pages/Pages.h>
#include <engine/pages/Words.h>
#include <engine/report/UtcTime.h>
#include <engine/show/PlainView.h>
#include <engine/show/TerminalView.h>

#include <listing/forms/Columns.h>
#include <listing/forms/Listing.h>

#include <zel/foundation/StopSignal.h>
#include <zel/model/vocabulary/EventTypeImp.h>

#include <algorithm>

namespace engine {

using listing::harmless;

std::unique_ptr<ProgressView> makeView(QueuedStream& out)
{
    if (!canRedraw(kStandardError))
        return std::make_unique<PlainView>(out);
    TerminalView::World world;
    world.size = [] { return terminalSize(kStandardError); };
    world.isStopping = zel::StopSignal::requested;
    world.isBehind = [&out] { return out.isBehind(); };
    return std::make_unique<TerminalView>(out, std::move(world));
}

SessionObserver::SessionObserver(ReportWriter& report, ProgressView& view, Person person)
    : m_report(report), m_view(view), m_person(std::move(person))
{}

LiveRun* SessionObserver::find(RunId run)
{
    auto const found =
        std::find_if(m_runs.begin(), m_runs.end(), [run](LiveRun const& one) { return one.run == run; });
    return found == m_runs.end() ? nullptr : &*found;
}

bool SessionObserver::take(Record const& record)
{
    std::lock_guard<std::mutex> const guard(m_mutex);
    bool const isKept = m_report.take(record);
    // It does not begin.
    if (isKept || !std::holds_alternative<RunBegan>(record)) {
        m_builder.add(record);
        std::visit([this](auto const& one) { tell(one); }, record);
    }
    return isKept;
}

bool SessionObserver::flush()
{
    std::lock_guard<std::mutex> const guard(m_mutex);
    return m_report.flush();
}

void SessionObserver::tell(RunBegan const& record)
{
    LiveRun run;
    run.run = record.run;
    run.title = harmless(runTitle(record));
    run.began = run.leftAt = std::chrono::steady_clock::now();
    run.forSeconds = record.forSeconds;
    m_runs.push_back(std::move(run));
    m_view.began(m_runs.back(), m_builder.session().began.plannedRuns);
    m_view.show(m_runs);
}

void SessionObserver::tell(RunEvent const& record)
{
    LiveRun* const run = find(record.run);
    if (!run || record.type == zel::EventTypeImp::PROGRESS().toString().toUtf8())
        return;
    ToldEvents& told = m_toldEvents[record.run];
    std::string const kind = kindOf(record);
    auto known = told.kinds.find({kind, record.key});
    if (known == told.kinds.end()) {
        if (told.lines >= kMostEventLines) {
            ++told.others;
            return;
        }
        known = told.kinds.emplace(std::pair(kind, record.key), ToldEvents::Kind()).first;
    }
    std::string const text = listing::cutTo(harmless(kind + ": " + record.message), kMostEventColumns);
    auto& [texts, untold] = known->second;
    if (texts.size() >= kMostAlike || told.lines >= kMostEventLines || texts.contains(text)) {
        ++untold;
        return;
    }
    texts.insert(text);
    ++told.lines;
    m_view.say(run->title + ": " + text + "\n");
}

/// Of a flood, how much of it was not shown.
void SessionObserver::tellUntold(RunId id, std::string const& title)
{
    auto const found = m_toldEvents.find(id);
    if (found == m_toldEvents.end())
        return;
    std::string lines;
    std::size_t named = 0, others = found->second.others;
    for (auto const& [kind, known] : found->second.kinds)
        if (known.untold > 0 && named++ < kMostAlike)
            lines +=
                title + ": " + harmless(kind.first) + ": ... " + std::to_string(known.untold) + " more\n";
        else
            others += known.untold;
    if (others > 0)
        lines += title + ": ... " + std::to_string(others) + " other events\n";
    m_toldEvents.erase(found);
    if (!lines.empty())
        m_view.say(lines);
}

void SessionObserver::tell(RunProgress const& record)
{
    LiveRun* const run = find(record.run);
    if (!run)
        return;
    run->percent = record.percent;
    run->pass = record.pass;
    m_view.show(m_runs);
}

void SessionObserver::tell(RunEnded const& record)
{
    LiveRun const* const run = find(record.run);
    std::string const title = run ? run->title : "Run " + std::to_string(record.run);
    std::erase_if(m_runs, [&](LiveRun const& one) { return one.run == record.run; });
    m_view.show(m_runs);
    tellUntold(record.run, title);
    std::string line = harmless(record.result) + "  " + title + "  " + readableSpan(record.seconds, true);
    if (record.passes > 1)
        line += "  " + std::to_string(record.passes) + " passes";
    m_view.say(line + (record.note.empty() ? "" : "  ") + harmless(record.note) + "\n");
}

void SessionObserver::progressed(RunId id, int percent, unsigned pass, unsigned secondsLeft,
                                 std::string const& text)
{
    std::lock_guard<std::mutex> const guard(m_mutex);
    LiveRun* const run = find(id);
    if (!run)
        return;
    run->percent = percent;
    run->pass = pass;
    run->secondsLeft = secondsLeft;
    run->leftAt = std::chrono::steady_clock::now();
    run->text = harmless(text);
    m_view.show(m_runs);
}

void SessionObserver::tell(WatchNote const& record)
{
    if (m_notes++ < kMostEventLines)
        m_view.say(harmless(sentenceOf(m_builder.session(), record)) + "\n");
}

std::string SessionObserver::titleOf(RunId id)
{
    std::lock_guard<std::mutex> const guard(m_mutex);
    LiveRun const* const run = find(id);
    return run ? run->title : "A test";
}

void SessionObserver::ask(RunId run, zel::MessageBoxImp& box, bool (*isOver)())
{
    constexpr std::uint32_t kLookEvery = 100; // milliseconds
    while (!m_asking.wait(kLookEvery))
        if (isOver())
            return box.cutShort();
    struct Turn
    {
        zel::ManagedSemaphore& asking;
        ~Turn() { asking.post(); }
    } const turn{m_asking};
    std::string const title = titleOf(run);
    if (!m_person.canAsk()) {
        zel::String const answer = box.answers()[box.defaultIndex()].text;
        return m_view.say(title + " asks: " + harmless(box.title().toUtf8() + ": " + box.text().toUtf8()) +
                          "\n    Nobody can be asked; the answer is \"" + harmless(answer) + "\".\n");
    }
    m_view.pause();
    m_person.out.write(title + " asks:\n");
    box.present(m_person.out, [&](zel::String& line) { return m_person.readLine(line, isOver); });
    m_view.resume();
}

std::string closing(Session const& session, std::string const& reportPath, std::size_t width)
{
    std::string out;
    for (std::string const& part : {resultTable(session, width), troubles(session, width),
                                    notTested(session, width), watchedNotes(session, width)})
        out += part.empty() ? "" : part + "\n";
    return out + "Report:  " + harmless(reportPath) + "\n" + verdictLine(session, width);
}

} // namespace engine
