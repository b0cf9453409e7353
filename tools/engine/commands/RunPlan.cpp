#include <engine/commands/RunPlan.h>

#include <engine/catalog/Language.h>
#include <engine/commands/Situation.h>
#include <engine/report/ReportFolder.h>
#include <engine/runner/ActiveRun.h>
#include <engine/runner/ExitStatus.h>
#include <engine/runner/Runner.h>
#include <engine/show/SessionHead.h>
#include <engine/show/SessionObserver.h>
#include <engine/watch/WatchKeeper.h>
#include <engine/watch/WatchSet.h>

#include <listing/command/Console.h>
#include <listing/forms/Listing.h>

#include <zel/foundation/FileSystem.h>
#include <zel/foundation/StopSignal.h>
#include <zel/foundation/Stopwatch.h>
#include <zel/foundation/System.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <system_error>

namespace engine {

namespace {

std::string languageTag(std::string const& asked)
{
    if (!asked.empty())
        return asked;
    return languageOfLocale(localeOfEnvironment()).toString().toUtf8();
}

RunnerOptions runnerOptions(RunOptions const& options, std::string const& logFolder)
{
    RunnerOptions runner;
    runner.parallel = options.parallel;
    runner.repeat = options.repeat;
    runner.keepGoing = options.keepGoing;
    runner.allowedHosts = options.allowedHosts;
    runner.words = {"-lang", languageTag(options.language)};
    runner.logFolder = logFolder;
    return runner;
}

std::unique_ptr<ReportWriter> reportFor(std::string const& path, std::function<void(std::string const&)> tell)
{
    try {
        return std::make_unique<ReportWriter>(path, std::move(tell));
    } catch (zel::SystemException const& error) {
        if (path.empty())
            throw;
        throw zel::InvalidArgumentException("--report: " + zel::String(path) +
                                            " cannot be made: " + error.getMessage());
    }
}

/// So that "last" finds a report that stands elsewhere. Made while the first module starts.
class NoteElsewhere
{
public:
    explicit NoteElsewhere(ReportWriter& report)
    {
        report.meanwhile([path = report.path(), note = m_note] {
            try {
                note->folder = ReportFolder::own().noteElsewhere(path, std::chrono::system_clock::now(),
                                                                 zel::System::processId());
            } catch (zel::SystemException const& e) {
                note->problem = e.getMessage();
            }
        });
        report.behindSync([note = m_note] {
            if (!note->folder.isOpen())
                return;
            if (int const error = ReportFile::syncFolder(note->folder))
                note->problem = zel::System::errorText(error);
        });
    }
    /// REQUIRES: the report was finished.
    void tellProblem(ProgressView& view) const
    {
        if (!m_note->problem.empty())
            view.say(listing::programName() + ": \"krel5-engine last\" will not find this report: " +
                     listing::harmless(m_note->problem) + "\n");
    }

private:
    struct Note
    {
        zel::FileDescriptor folder;
        zel::String problem;
    };
    std::shared_ptr<Note> m_note = std::make_shared<Note>();
};

/// Nothing is run that the report's head does not stand above.
Outcome runKept(Plan const& plan, RunOptions const& options, zel::StateManager const& machine,
                SessionObserver& observer, std::string const& logFolder, std::unique_ptr<HeadStart> ahead)
{
    Outcome const broken{wordOf(Grade::Broken), exitStatusOf(Grade::Broken)};
    zel::Stopwatch const watch;
    observer.take(sessionHead(listing::machineOf(machine), plan, plan.runs.size() * options.repeat,
                              listing::programVersion(), options.command));
    RunnerOptions const how = runnerOptions(options, logFolder);
    WatchKeeper keeper([&observer](Record const& record) { observer.take(record); });
    WatchOptions beside;
    beside.words = how.words;
    beside.language = languageNamed(languageTag(options.language));
    beside.logFolder = how.logFolder;
    WatchSet watched(options.watched, machine, keeper, beside);
    std::optional<Runner> runner(std::in_place, machine, observer, how, std::move(ahead));
    Outcome const outcome = runner->run(plan, options.watched.empty() ? nullptr : &watched);
    SessionEnded const end{std::chrono::system_clock::now(), outcome.verdict, outcome.exitStatus,
                           watch.getElapsed()};
    observer.take(end);
    runner.reset(); // while the disk writes
    bool const isKept = observer.flush();
    return isKept || outcome.exitStatus == exitStatusOf(Grade::Failed) ? outcome : broken;
}

} // namespace

// What the system would say of it is of little help.
void requireNewReport(std::string const& path)
{
    if (path == "-")
        throw zel::InvalidArgumentException("--report: the report is a file; \"-\" is none");
    if (std::error_code error; std::filesystem::is_directory(path, error))
        throw zel::InvalidArgumentException("--report: " + zel::String(path) + " is a folder");
    if (zel::FileSystem::exists(path))
        throw zel::InvalidArgumentException("--report: " + zel::String(path) +
                                            " is there already, and no report is written over");
    std::string const folder = zel::FileSystem::folderOf(path);
    if (!path.empty() && !zel::FileSystem::exists(folder))
        throw zel::InvalidArgumentException("--report: there is no folder \"" + zel::String(folder) +
                                            "\" for " + zel::String(path));
}

// Where no report of the day is yet, its folder is to be made by the report.
std::unique_ptr<HeadStart> startAhead(std::string const& program, RunOptions const& options)
try {
    std::string const folder = options.report.empty()
                                   ? ReportFolder::own().pathOf(std::chrono::system_clock::now())
                                   : zel::FileSystem::folderOf(options.report);
    if (!zel::FileSystem::exists(folder))
        return nullptr;
    return std::make_unique<HeadStart>(program, wordsToRun(runnerOptions(options, folder)));
} catch (zel::Exception const&) { // the run will say so
    return nullptr;
}

int runPlan(Plan const& plan, RunOptions const& options, zel::StateManager const& machine,
            std::unique_ptr<HeadStart> ahead)
{
    zel::StopSignal::install(exitStatusOf(Grade::Stopped));
    auto terminal = std::make_unique<QueuedStream>(zel::OStream::err());
    std::unique_ptr<ProgressView> view = makeView(*terminal);
    auto const report = reportFor(options.report, [&](std::string const& what) {
        view->say(listing::programName() + ": " + listing::harmless(what) + "\n");
    });
    std::optional<NoteElsewhere> note;
    if (!options.report.empty())
        note.emplace(*report);
    SessionObserver observer(*report, *view, {.out = *terminal});
    Outcome const outcome = runKept(plan, options, machine, observer,
                                    zel::FileSystem::folderOf(report->path()), std::move(ahead));
    if (note && report->finish())
        note->tellProblem(*view);
    view->say("\n");
    view.reset(); // nothing is drawn below what follows
    terminal.reset();
    Session session = observer.session();
    if (session.ended) { // the disk may have refused this very record
        session.ended->verdict = outcome.verdict;
        session.ended->exitStatus = outcome.exitStatus;
    }
    bool const isPrinted = listing::printed(closing(session, report->path(), listing::terminalWidth()));
    return isPrinted || outcome.exitStatus != kDone ? outcome.exitStatus : int(kTrouble);
}

} // namespace engine
