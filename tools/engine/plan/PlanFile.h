#pragma once
// Plans that stand in files: docs/engine.md has the format.

#include <engine/plan/Settings.h>

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

namespace engine {

/// One line: tests, and how they are to run.
struct PlanLine
{
    std::string tests; ///< a word as on the command line
    std::vector<std::string> devices;
    std::vector<Setting> settings;
    std::chrono::seconds forTime{0}, limit{0}, expected{0}; ///< 0: not given
    bool optional = false;    ///< does not count where the module or a device is missing
    bool interactive = false; ///< a wildcard takes tests in that ask a person, too
    std::string origin;       ///< "plan.txt:3"; empty: from the command line
};

/// Throws InvalidArgumentException that names file and line.
std::vector<PlanLine> parsePlan(std::string_view text, std::string const& path);
std::vector<PlanLine> readPlan(std::string const& path);

/// Of the plans in `folders`, in order, none twice.
std::vector<std::string> planNames(std::vector<std::string> const& folders);
/// The file of the plan of that name in the first folder that has it; empty: none has.
std::string pathOfPlan(std::string const& name, std::vector<std::string> const& folders);
/// The file of a plan: a path, or a name of those in `folders`, of which the first that has it counts. Throws
/// InvalidArgumentException that names those that there are.
std::string planPath(std::string const& nameOrPath, std::vector<std::string> const& folders);

/// "90", "90s", "1h30m"; at least a second, in 32 bits. Throws InvalidArgumentException that begins with `origin`.
std::chrono::seconds durationOf(std::string const& text, std::string const& origin);
/// "1h30m", which durationOf() takes; empty for none.
std::string durationText(std::chrono::seconds time);

constexpr std::size_t kMostPlanLines = 10'000;

} // namespace engine
