#pragma once
// One run from the start of its module to its end.

#include <engine/plan/Plan.h>
#include <engine/report/Records.h>
#include <engine/runner/Runner.h>
#include <engine/runner/linux/Child.h>

#include <zel/ipc/IPCServer.h>

#include <chrono>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace engine {

class Fetcher;
class HeadStart;

/// With which a module is started for a run of this process.
std::vector<std::string> wordsToRun(RunnerOptions const& options);

/// Hears its module through said() and gone(), and looks at its process and at the clock in look(). Thread rule: the main
/// thread's.
class ActiveRun
{
public:
    using Clock = std::chrono::steady_clock;
    /// Why a run was told to stop.
    enum class StopReason { Person, Limit };

    /// `keep` puts a record into the report. The others outlive the run.
    struct Surroundings
    {
        zel::IPCServer& server;
        zel::StateManager const& machine;
        RunObserver& observer;
        RunnerOptions const& options;
        std::function<void(Record const&)> keep;
        Fetcher* fetcher = nullptr; ///< null: nothing is fetched
    };

    ActiveRun(RunId id, PlannedRun const& plan, Surroundings const& surroundings);

    /// Starts the module, or takes it over from `ahead`; when that fails the run has ended.
    void start(HeadStart* ahead = nullptr);
    /// Writes down what the module is to run, before it asks; there is time then.
    void prepare();
    void connected(zel::IPCServer::Peer peer);
    void said(zel::Message const& message);
    /// Its connection ended; everything it said has been heard.
    void gone(zel::String const& reason);
    void stop(StopReason reason);
    void look(Clock::time_point now);

    RunId id() const { return m_id; }
    PlannedRun const& plan() const { return m_plan; }
    Child& child() { return m_child; }
    long process() const { return m_process; }
    std::optional<zel::IPCServer::Peer> peer() const { return m_peer; }
    bool isStopping() const { return m_step != Step::None; }
    /// There: it has ended, and this became of it.
    std::optional<RunEnded> const& ended() const { return m_ended; }
    /// When look() has something to do at the latest.
    Clock::time_point nextLook() const;

    /// The questions that wait for a person, the oldest first. The limit waits too.
    std::deque<zel::MessageBoxBody>& questions() { return m_questions; }
    void answer(zel::MessageBoxBody const& question);

private:
    enum class Step { None, Asked, Terminated, Killed };
    struct Judgement
    {
        zel::TestResultImp result;
        std::string note;
    };

    void send(zel::Message const& message);
    void reply(zel::Message const& request, zel::Message&& message);
    void tellWhatToRun(zel::Message const& request);
    void take(zel::TestProgressProviderToEngine const& report);
    void takeEvents(zel::ProgressBody const& body);
    void takeProgress(zel::ProgressBody const& body);
    void moveLimit(zel::TimeOutBody const& body);
    void ask(zel::MessageBoxBody const& body);
    void askToEnd(Clock::time_point now, bool isConnected);
    void escalate(Clock::time_point now);
    void lookAtLimits(Clock::time_point now);
    void finish(Child::End const& end);
    Judgement judge(Child::End const& end) const;
    Judgement withoutResult(Child::End const& end) const;
    Judgement withResult(Child::End const& end) const;
    std::string howItEnded(Child::End const& end) const;
    std::string logTail() const;

    RunId m_id;
    PlannedRun m_plan;
    Surroundings m_around;
    zel::String m_guid;                                  // of the run, as the module names it
    std::optional<zel::RunTestEngineToProvider> m_toRun; // until the module asks
    Child m_child;
    long m_process = -1;
    std::optional<zel::IPCServer::Peer> m_peer;

    Clock::time_point m_began;
    Clock::time_point m_mustRegister;            // until then it must have said who it is
    std::optional<Clock::time_point> m_limit;    // then it is stopped, as the person wants
    std::optional<Clock::time_point> m_ownLimit; // and as the module itself wants
    std::optional<Clock::time_point> m_mustEnd;  // its process: it has nothing more to say
    std::optional<Clock::time_point> m_asking;   // since when a question waits
    std::optional<Child::End> m_processEnd;      // and since when what it said is awaited
    Clock::time_point m_settled;

    bool m_isTold = false, m_isGone = false, m_isLate = false, m_isOwnLimit = false, m_isNotKept = false;
    zel::String m_brokenRule;
    std::string m_internalError;
    std::optional<StopReason> m_stopReason;
    Step m_step = Step::None;
    Clock::time_point m_nextStep;

    std::deque<zel::MessageBoxBody> m_questions;
    std::optional<zel::ProgressBody> m_final;
    unsigned m_pass = 1;
    int m_tenth = -1;
    std::size_t m_events = 0, m_notAsked = 0;
    std::optional<RunEnded> m_ended;
};

} // namespace engine
