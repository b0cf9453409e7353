#include <engine/report/ReportWriter.h>

#include <engine/report/RecordJson.h>
#include <engine/report/ReportFolder.h>
#include <engine/report/linux/MachineStart.h>

#include <zel/foundation/System.h>

#include <cerrno>

namespace engine {

namespace {

constexpr double kSyncSeconds = 1;
constexpr std::size_t kWatch = 3;                              // kind of detail that is of no run
constexpr std::size_t kLeftOut = static_cast<std::size_t>(-1); // these of the run are over, and that was said

ReportFile create(std::string const& path)
{
    if (!path.empty())
        return ReportFile::create(path);
    Time const now = std::chrono::system_clock::now();
    return ReportFile::create(ReportFolder::own().foldersOf(now),
                              ReportFolder::fileName(now, zel::System::processId()));
}

std::string lineOf(Record const& record, std::string const& bootId)
{
    listing::JsonWriter json(listing::JsonWriter::Layout::OneLine);
    json.beginObject();
    if (std::holds_alternative<SessionBegan>(record)) {
        json.key("format").text(kReportFormat);
        json.key("formatVersion").number(std::uint64_t{kReportVersion});
        json.key("bootId").text(bootId);
    }
    writeMembers(json, record);
    return json.end().take() + "\n";
}

// The order of what begins and ends with what happens outside matters. The head is on disk with the first run.
ReportQueue::Sync syncOf(Record const& record)
{
    if (std::holds_alternative<RunBegan>(record) || std::holds_alternative<SessionEnded>(record))
        return ReportQueue::Sync::Now;
    return std::holds_alternative<RunEnded>(record) ? ReportQueue::Sync::Soon : ReportQueue::Sync::Never;
}

} // namespace

ReportWriter::ReportWriter(std::string const& path, std::function<void(std::string const&)> tell,
                           std::chrono::milliseconds patience)
    : m_file(create(path), patience), m_tell(std::move(tell)), m_bootId(MachineStart::current().id)
{}

/// A record of which a module may cause as many as it likes.
struct ReportWriter::Detail
{
    Time time;
    RunId run = 0;
    std::size_t kind = 0;
    char const* kinds = ""; ///< what a person calls them
};

std::optional<ReportWriter::Detail> ReportWriter::detailOf(Record const& record)
{
    if (auto const* const event = std::get_if<RunEvent>(&record))
        return Detail{event->time, event->run, 0, "events"};
    if (auto const* const question = std::get_if<RunQuestion>(&record))
        return Detail{question->time, question->run, 1, "questions"};
    if (auto const* const progress = std::get_if<RunProgress>(&record))
        return Detail{progress->time, progress->run, 2, "percentages"};
    if (auto const* const readings = std::get_if<WatchReadings>(&record))
        return Detail{readings->time, 0, kWatch, "readings"};
    if (auto const* const note = std::get_if<WatchNote>(&record))
        return Detail{note->time, 0, kWatch, "readings"};
    return std::nullopt;
}

bool ReportWriter::take(Record const& record)
{
    std::string const line = lineOf(record, m_bootId);
    if (auto const detail = detailOf(record); detail && !hasRoom(*detail, line.size()))
        return m_isComplete;
    if (RunEnded const* const ended = std::get_if<RunEnded>(&record))
        m_detailBytes.erase(ended->run);
    return write(line, syncOf(record));
}

// A module that floods is not to fill the disk, nor to make a report that nobody can read.
bool ReportWriter::hasRoom(Detail const& detail, std::size_t bytes)
{
    std::size_t& taken = m_detailBytes[detail.run][detail.kind];
    if (taken == kLeftOut)
        return false;
    if (taken + bytes > (detail.kind == kWatch ? kWatchBytes : kRunBytes) ||
        m_allDetailBytes + bytes > kDetailBytes) {
        taken = kLeftOut;
        tellLeftOut(detail);
        return false;
    }
    taken += bytes;
    m_allDetailBytes += bytes;
    return true;
}

void ReportWriter::tellLeftOut(Detail const& detail)
{
    if (detail.kind == kWatch) {
        WatchNote note;
        note.time = detail.time;
        note.what = "leftOut";
        note.message = "Further readings are left out of the report: they are too many.";
        write(lineOf(note, m_bootId), ReportQueue::Sync::Never);
        return;
    }
    RunEvent note;
    note.time = detail.time;
    note.run = detail.run;
    note.type = "WARNING";
    note.message = std::string("Further ") + detail.kinds +
                   " of this run are left out of the report: they are too many.";
    write(lineOf(note, m_bootId), ReportQueue::Sync::Never);
}

bool ReportWriter::write(std::string const& line, ReportQueue::Sync sync)
{
    if (sync == ReportQueue::Sync::Never && m_sinceSync.getElapsed() >= kSyncSeconds)
        sync = ReportQueue::Sync::Now;
    if (sync != ReportQueue::Sync::Never)
        m_sinceSync.reset();
    return judge(m_file.put(line, sync));
}

bool ReportWriter::flush() { return judge(m_file.flush()); }
bool ReportWriter::finish() { return judge(m_file.finish()); }

bool ReportWriter::judge(int errorNumber)
{
    if (errorNumber != 0 && m_isComplete) {
        m_isComplete = false;
        m_tell("The report " + path() + " is not complete: " +
               (errorNumber == ETIMEDOUT ? "its disk does not answer"
                                         : zel::System::errorText(errorNumber).toUtf8()));
    }
    return m_isComplete;
}

} // namespace engine
