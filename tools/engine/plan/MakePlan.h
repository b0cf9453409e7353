#pragma once
// From what a person asked for to the runs that there will be.

#include <engine/catalog/Catalog.h>
#include <engine/plan/Plan.h>
#include <engine/plan/PlanFile.h>

#include <zel/model/vocabulary/TestResultImp.h>

#include <optional>
#include <string>
#include <vector>

namespace zel {
class StateManager;
}

namespace engine {

struct PlanRequest
{
    std::vector<std::string> words;    ///< tests, as typed; with a plan: only these of it
    std::string plan;                  ///< its name; empty: only the words count
    std::vector<PlanLine> lines;       ///< of the plan
    std::vector<std::string> devices;  ///< as typed; empty: all
    std::vector<Setting> fileSettings; ///< what lines of a plan say comes after them
    std::vector<Setting> settings;     ///< and these after both
    std::chrono::seconds forTime{0}, limit{0};
    bool destructive = false;    ///< a wildcard, a module and a plan take tests in that destroy data
    bool isAdministrator = true; ///< otherwise nothing can run
    std::vector<std::string>
        also; ///< words that belong to every command that makes a run again ("--modules", "DIR")
};

/// The devices that a person sees, numbered from 1, are `numbered`. Throws InvalidArgumentException for a word, a device or
/// a setting that is not understood: then nothing runs.
Plan makePlan(PlanRequest const& request, Catalog const& catalog, zel::StateManager const& machine,
              std::vector<zel::DeviceImp*> const& numbered);

/// Why a test would be run on none of its devices, whatever is asked for.
struct Obstacle
{
    zel::TestResultImp result;
    std::string reason;
    bool isNotHere = false; ///< there is no such device, or it is switched off
};
/// The first one; nothing: it can run.
std::optional<Obstacle> obstacleOf(Module const& module, ModuleTest const& test, bool isAdministrator);

/// A word as a shell reads it back.
std::string quoted(std::string const& word);

} // namespace engine
