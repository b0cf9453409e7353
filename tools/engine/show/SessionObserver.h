#pragma once
// Keeps what the runner tells in the report, shows it, and asks the person.
//
//     engine::QueuedStream terminal(zel::OStream::err());
//     auto const view = engine::makeView(terminal);
//     engine::ReportWriter report(path, [&](std::string const& what) { view->say("krel5-engine: " + what + "\n"); });
//     engine::SessionObserver observer(report, *view, {.out = terminal});
//     Outcome const outcome = Runner(machine, observer, options).run(plan);
//     print(engine::closing(observer.session(), report.path(), width));
//
// Thread rule: any thread; of several questions one is asked after the other.

#include <engine/report/ReportWriter.h>
#include <engine/report/Session.h>
#include <engine/runner/Runner.h>
#include <engine/show/Person.h>
#include <engine/show/ProgressView.h>
#include <engine/show/QueuedStream.h>

#include <zel/foundation/Locks.h>

#include <map>
#include <memory>
#include <mutex>
#include <set>

namespace engine {

/// In place where standard error is a terminal that can; else lines. `out`, which outlives it, leads there.
std::unique_ptr<ProgressView> makeView(QueuedStream& out);

class SessionObserver final : public RunObserver
{
public:
    // What is shown of a run's events; the report has all of them, whole.
    static constexpr std::size_t kMostEventLines = 50;
    static constexpr std::size_t kMostAlike =
        3; ///< of one key; the same words once. The others are counted at the end
    static constexpr std::size_t kMostEventColumns = 600;

    SessionObserver(ReportWriter& report, ProgressView& view, Person person = {});

    bool take(Record const& record) override;
    bool flush() override;
    void progressed(RunId run, int percent, unsigned pass, unsigned secondsLeft,
                    std::string const& text) override;
    /// Where nobody can be asked the box keeps its default answer, which is told.
    void ask(RunId run, zel::MessageBoxImp& box, bool (*isOver)()) override;

    /// REQUIRES: the runner is done.
    Session const& session() const { return m_builder.session(); }

private:
    void tell(RunBegan const& record);
    void tell(RunEvent const& record);
    void tell(RunProgress const& record);
    void tell(RunEnded const& record);
    void tell(WatchNote const& record);
    template <typename Other>
    void tell(Other const&)
    {}
    void tellUntold(RunId run, std::string const& title);
    LiveRun* find(RunId run);
    std::string titleOf(RunId run);

    ReportWriter& m_report;
    ProgressView& m_view;
    Person const m_person;
    zel::ManagedSemaphore m_asking{1}; // one question at a time; taken before the mutex
    std::mutex m_mutex;                // guards what follows, and the report
    SessionBuilder m_builder;
    std::vector<LiveRun> m_runs; // on their way
    std::size_t m_notes = 0;     // of watched modules that were told
    struct ToldEvents
    {
        struct Kind
        {
            std::set<std::string> texts; ///< that were shown
            std::size_t untold = 0;
        };
        std::map<std::pair<std::string, std::string>, Kind> kinds; ///< by what a person calls it, and its key
        std::size_t lines = 0, others = 0;
    };
    std::unordered_map<RunId, ToldEvents> m_toldEvents;
};

/// What stands on standard output at the end: the table, what is wrong, what was not run, the report's path, the verdict.
std::string closing(Session const& session, std::string const& reportPath, std::size_t width);

} // namespace engine
