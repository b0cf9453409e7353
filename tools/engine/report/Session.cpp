#include <engine/report/Session.h>

#include <algorithm>

namespace engine {

namespace {
double secondsBetween(Time begin, Time end)
{
    return std::max(0.0, std::chrono::duration<double>(end - begin).count());
}
} // namespace

Grade Session::grade() const
{
    Grade worst = stage() == Stage::Ended && damage.empty() ? Grade::Passed : Grade::Broken;
    for (Grade const grade : {Grade::NotTested, Grade::Warned, Grade::Stopped, Grade::Broken, Grade::Failed})
        if (ended && ended->verdict == wordOf(grade))
            worst = std::max(worst, grade);
    if (ended && worst == Grade::Passed && ended->verdict != wordOf(Grade::Passed))
        worst = Grade::Broken; // a word of nobody's
    for (RunReport const& run : runs)
        if (run.ended && engine::gradeOf(run.ended->result) == Grade::Failed)
            worst = Grade::Failed;
    return worst;
}

std::string Session::verdict() const
{
    if (ended)
        return ended->verdict;
    if (grade() == Grade::Failed)
        return wordOf(Grade::Failed);
    return isWritten ? "RUNNING" : "DID NOT END";
}

std::string Session::resultOf(RunReport const& run) const
{
    if (run.ended)
        return run.ended->result;
    switch (stage()) {
    case Stage::Ended:
        return "END NOT WRITTEN";
    case Stage::Running:
        return "RUNNING";
    case Stage::Interrupted:
        return "DID NOT END";
    }
    return {};
}

Grade Session::gradeOf(RunReport const& run) const
{
    return run.ended ? engine::gradeOf(run.ended->result) : Grade::Broken;
}

double Session::secondsOf(RunReport const& run) const
{
    return run.ended ? run.ended->seconds : secondsBetween(run.began.time, lastTime);
}

double Session::seconds() const { return ended ? ended->seconds : secondsBetween(began.time, lastTime); }

RunReport* SessionBuilder::find(RunId run)
{
    auto const found = m_runs.find(run);
    return found == m_runs.end() ? nullptr : &m_session.runs[found->second];
}

std::string SessionBuilder::take(SessionBegan&& record)
{
    if (m_hasBegun)
        return "a second beginning";
    m_hasBegun = true;
    m_session.began = std::move(record);
    return {};
}

std::string SessionBuilder::take(RunBegan&& record)
{
    if (m_session.runs.size() == kMostRuns)
        return "more than " + std::to_string(kMostRuns) + " runs";
    if (!m_runs.emplace(record.run, m_session.runs.size()).second)
        return "run " + std::to_string(record.run) + " begins a second time";
    m_session.runs.emplace_back().began = std::move(record);
    return {};
}

namespace {
std::string notBegun(RunId run) { return "of run " + std::to_string(run) + ", which did not begin"; }
} // namespace

std::string SessionBuilder::take(RunEvent&& record)
{
    RunReport* const run = find(record.run);
    if (!run)
        return notBegun(record.run);
    if (run->events.size() < kMostEvents)
        run->events.push_back(std::move(record));
    else
        ++run->eventsLeftOut;
    return {};
}

std::string SessionBuilder::take(RunQuestion&& record)
{
    RunReport* const run = find(record.run);
    if (!run)
        return notBegun(record.run);
    if (run->questions.size() < kMostEvents)
        run->questions.push_back(std::move(record));
    return {};
}

std::string SessionBuilder::take(RunProgress&& record)
{
    RunReport* const run = find(record.run);
    if (!run)
        return notBegun(record.run);
    run->progress = record; // a time and numbers
    return {};
}

std::string SessionBuilder::take(RunEnded&& record)
{
    RunReport* const run = find(record.run);
    if (!run)
        return notBegun(record.run);
    if (run->ended)
        return "run " + std::to_string(record.run) + " ends a second time";
    run->ended = std::move(record);
    return {};
}

std::string SessionBuilder::take(RunSkipped&& record)
{
    if (m_session.skipped.size() == kMostRuns)
        return "more than " + std::to_string(kMostRuns) + " that were not run";
    m_session.skipped.push_back(std::move(record));
    return {};
}

std::string SessionBuilder::take(SessionEnded&& record)
{
    if (m_session.ended)
        return "a second end";
    m_session.ended = std::move(record);
    return {};
}

namespace {

void takePoint(WatchedSeries& series, Time time, double value)
{
    auto& points = series.points;
    if (series.skipped > 0 && !points.empty()) { // of several readings the greatest
        if (value > points.back().value)
            points.back() = {time, value};
    } else {
        points.push_back({time, value});
    }
    series.skipped = (series.skipped + 1) % series.every;
    if (points.size() < SessionBuilder::kMostPoints)
        return;
    for (std::size_t i = 0; i + 1 < points.size(); i += 2)
        points[i / 2] = points[i].value >= points[i + 1].value ? points[i] : points[i + 1];
    points.resize(points.size() / 2);
    series.every *= 2;
    series.skipped = 0;
}

void takeValue(WatchedSeries& series, Time time, WatchedValue const& value)
{
    series.lastText = value.text;
    if (!value.number)
        return;
    if (series.points.empty() || *value.number < series.least) {
        series.least = *value.number;
        series.leastText = value.text;
    }
    if (series.points.empty() || *value.number > series.most) {
        series.most = *value.number;
        series.mostText = value.text;
    }
    takePoint(series, time, *value.number);
}

} // namespace

std::string SessionBuilder::take(WatchReadings&& record)
{
    for (WatchedValue const& value : record.readings) {
        std::string const name = record.moduleGuid + '\n' + record.device.guid + '\n' + value.key;
        auto const found = m_series.find(name);
        if (found == m_series.end() && m_session.watched.size() == kMostSeries)
            continue;
        auto const place = m_series.emplace(name, m_session.watched.size()).first;
        if (place->second == m_session.watched.size()) {
            WatchedSeries& added = m_session.watched.emplace_back();
            added.moduleGuid = record.moduleGuid;
            added.device = record.device;
            added.key = value.key;
            added.name = value.name.empty() ? value.key : value.name;
            added.unit = value.unit;
        }
        takeValue(m_session.watched[place->second], record.time, value);
    }
    return {};
}

std::string SessionBuilder::take(WatchNote&& record)
{
    if (m_session.notes.size() < kMostEvents)
        m_session.notes.push_back(std::move(record));
    else
        ++m_session.notesLeftOut;
    return {};
}

std::string SessionBuilder::add(Record record)
{
    Time const time = std::visit([](auto const& one) { return one.time; }, record);
    std::string const reason = std::visit([this](auto& one) { return take(std::move(one)); }, record);
    if (reason.empty())
        m_session.lastTime = time;
    return reason;
}

std::string moduleName(RunBegan const& run)
{
    std::string const name = run.program.substr(run.program.rfind('/') + 1); // npos + 1 is the beginning
    return name.empty() ? run.moduleGuid : name;
}

std::string moduleName(Session const& session, std::string const& guid)
{
    for (RunReport const& run : session.runs)
        if (run.began.moduleGuid == guid)
            return moduleName(run.began);
    return guid;
}

std::string testName(RunBegan const& run) { return run.testName.empty() ? run.test : run.testName; }

std::string deviceName(DeviceNamed const& device)
{
    std::string const& name = device.name.empty() ? device.guid : device.name;
    return device.location.empty() || device.location == name ? name : name + " (" + device.location + ")";
}

} // namespace engine
