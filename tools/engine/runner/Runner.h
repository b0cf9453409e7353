#pragma once
// Makes the runs of a plan: starts modules, hears them over the engine link, ends them when they must end, and says
// what became of each.

#include <engine/plan/Plan.h>
#include <engine/report/Records.h>
#include <engine/report/Verdict.h>
#include <engine/runner/HeadStart.h>

#include <zel/model/runs/MessageBoxImp.h>

#include <chrono>
#include <memory>
#include <string>
#include <vector>

namespace zel {
class StateManager;
}

namespace engine {

class Companion;

/// Is told everything as it happens, one call at a time.
class RunObserver
{
public:
    virtual ~RunObserver() = default;

    /// False: this record, or one before it, could not be kept. Then no run begins any more.
    virtual bool take(Record const& record) = 0;
    /// Waits until all that was taken is kept for good, what begins and ends on disk. False as above: a run of which the disk
    /// does not know that it begins is not made.
    virtual bool flush() = 0;
    /// Of a run that is on its way; between records, as often as the module says something new. `percent`: -1 where it has
    /// said none; `secondsLeft`: 0 where it has said none; `text`: what it is doing, in a few words, or nothing.
    virtual void progressed(RunId run, int percent, unsigned pass, unsigned secondsLeft,
                            std::string const& text) = 0;
    /// Asks the person; sets the box's answer, but where nobody is there to be asked: then it is the default. While it waits
    /// it calls `isOver` at least five times a second: the other runs go on in there, so that records are taken meanwhile,
    /// on this thread. True: nobody needs the answer any more.
    virtual void ask(RunId run, zel::MessageBoxImp& box, bool (*isOver)()) = 0;
};

struct RunnerOptions
{
    unsigned parallel = 1; ///< runs at once, where the tests allow it; never two on one device
    unsigned repeat = 1;   ///< how often the whole plan is run
    bool keepGoing = true; ///< false: the first result other than PASS ends the session
    std::chrono::milliseconds registration = std::chrono::seconds(30); ///< that a module may take to log in
    std::vector<std::string> words{};        ///< for every module, behind "run -e -ePid ...": its language
    std::vector<std::string> allowedHosts{}; ///< from which modules may have something fetched
    std::string logFolder{}; ///< in which modules make their folder logs; empty: the working directory
};

/// What the verdict is at the best, before anything is run: of what was asked for and is refused, and of a plan of nothing.
Grade gradeBefore(Plan const& plan);

/// The process's verdict, worst of all that was asked for. docs/engine.md has the statuses.
struct Outcome
{
    std::string verdict; ///< as in SessionEnded
    int exitStatus = 0;
};

class Runner
{
public:
    /// `ahead`, where there is one, is the first run's module, if it is that program; else it ends.
    Runner(zel::StateManager const& machine, RunObserver& observer, RunnerOptions options,
           std::unique_ptr<HeadStart> ahead = nullptr);
    ~Runner();

    /// Until all runs have ended; a stop that StopSignal heard of ends them. The first and the last record of the session
    /// are the caller's. Throws IPCException when modules could not reach this process, and then nothing ran. Main thread,
    /// once.
    /// `companion`, where there is one, begins before the first run and is stopped behind the last.
    Outcome run(Plan const& plan, Companion* companion = nullptr);

private:
    struct Impl;
    std::unique_ptr<Impl> m_impl;
};

} // namespace engine
