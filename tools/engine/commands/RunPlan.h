#pragma once
// Between a plan and its runs.

#include <engine/plan/Plan.h>
#include <engine/runner/HeadStart.h>

#include <engine/watch/WatchedModule.h>

#include <memory>
#include <string>
#include <vector>

namespace zel {
class StateManager;
}

namespace engine {

struct RunOptions
{
    std::vector<std::string> allowedHosts{}; ///< from which modules may have something fetched
    std::vector<ModuleToWatch> watched{};    ///< modules whose readings are kept beside the results
    unsigned parallel = 1;
    unsigned repeat = 1;
    bool keepGoing = true;
    std::string report;   ///< file; empty: in the folder of the day
    std::string command;  ///< as it was typed, quoted for a shell
    std::string language; ///< tag, of questions and texts
};

/// Throws InvalidArgumentException for a `--report` that stands already or has no folder; nothing is made.
void requireNewReport(std::string const& path);
/// Starts a module that will be the first to run, while it is found out what it is to run. Null where that is of no use.
std::unique_ptr<HeadStart> startAhead(std::string const& program, RunOptions const& options);
/// Makes the runs, shows them, writes the report. Returns the process's exit status.
int runPlan(Plan const& plan, RunOptions const& options, zel::StateManager const& machine,
            std::unique_ptr<HeadStart> ahead = nullptr);

} // namespace engine
