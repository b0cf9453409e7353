#include <engine/report/ReportWriter.h>

#include <engine/report/RecordJson.h>
#include <engine/report/ReportFolder.h>
#include <engine/report/linux/MachineStart.h>

#include <zel/foundation/System.h>

#include <cerrno>

namespace engine {

namespace {

constexpr double kSyncSeconds = 1;
constexpr std::size_t kLeftOut = static_cast<std::size_t>(-1); // the run's events are over, and that was said

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

bool isBoundary(Record const& record)
{
    return std::holds_alternative<SessionBegan>(record) || std::holds_alternative<RunBegan>(record) ||
           std::holds_alternative<RunEnded>(record) || std::holds_alternative<SessionEnded>(record);
}

} // namespace

ReportWriter::ReportWriter(std::string const& path, std::function<void(std::string const&)> tell,
                           std::chrono::milliseconds patience)
    : m_file(create(path), patience), m_tell(std::move(tell)), m_bootId(MachineStart::current().id)
{}

bool ReportWriter::take(Record const& record)
{
    std::string const line = lineOf(record, m_bootId);
    if (!hasRoom(record, line.size()))
        return m_isComplete;
    if (RunEnded const* const ended = std::get_if<RunEnded>(&record))
        m_eventBytes.erase(ended->run);
    return write(line, isBoundary(record)) && m_isComplete;
}

// A module that floods is not to fill the disk, nor to make a report that nobody can read.
bool ReportWriter::hasRoom(Record const& record, std::size_t bytes)
{
    RunEvent const* const event = std::get_if<RunEvent>(&record);
    if (!event)
        return true;
    std::size_t& taken = m_eventBytes[event->run];
    if (taken == kLeftOut)
        return false;
    if (taken + bytes > kRunBytes || m_allEventBytes + bytes > kEventBytes) {
        taken = kLeftOut;
        tellLeftOut(*event);
        return false;
    }
    taken += bytes;
    m_allEventBytes += bytes;
    return true;
}

void ReportWriter::tellLeftOut(RunEvent const& event)
{
    RunEvent note;
    note.time = event.time;
    note.run = event.run;
    note.type = "WARNING";
    note.message = "Further events of this run are left out of the report: they are too many.";
    write(lineOf(note, m_bootId), false);
}

bool ReportWriter::write(std::string const& line, bool isBoundary)
{
    bool const sync = isBoundary || m_sinceSync.getElapsed() >= kSyncSeconds;
    int const error = m_file.put(line, sync);
    if (sync)
        m_sinceSync.reset();
    if (error != 0)
        fail(error);
    return error == 0;
}

void ReportWriter::fail(int errorNumber)
{
    if (m_isComplete)
        m_tell("The report " + path() + " is not complete: " +
               (errorNumber == ETIMEDOUT ? "its disk does not answer"
                                         : zel::System::errorText(errorNumber).toUtf8()));
    m_isComplete = false;
}

} // namespace engine
