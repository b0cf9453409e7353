#pragma once
// krel5-engine run: what is asked for becomes a plan, the plan is run.

#include <engine/commands/RunPlan.h>
#include <engine/commands/Situation.h>
#include <engine/plan/MakePlan.h>

#include <string>
#include <vector>

namespace engine {

struct RunRequest
{
    SituationRequest where;
    std::vector<std::string> words, devices;
    std::vector<std::string> settings; ///< KEY=VALUE
    std::string settingsFile, plan;
    std::string forTime, limit; ///< "1h"
    bool destructive = false;
    bool watch = false;  ///< keeps what indicator modules read meanwhile
    bool dryRun = false; ///< only says what would run
    RunOptions options;
};

/// Exit status. Throws InvalidArgumentException for a request that is bad usage.
int runCommand(RunRequest const& request);

/// The plan of the request; without words and without a plan the one called "quick".
Plan planOf(RunRequest const& request, Situation const& situation, bool isAdministrator);
/// What will run and what will not, line by line.
std::string planText(Plan const& plan, unsigned repeat);

} // namespace engine
