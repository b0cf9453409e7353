#pragma once
// The head of a report: which machine, with what in it.

#include <engine/plan/Plan.h>
#include <engine/report/Records.h>

#include <listing/machine/Machine.h>

#include <string>

namespace engine {

/// What the machine is, and those of its parts that were looked for. `command`: as it was typed, quoted for a shell. What is not known or not readable stays empty.
SessionBegan sessionHead(listing::Machine const& machine, Plan const& plan, std::size_t plannedRuns,
                         std::string const& engineVersion, std::string const& command);

} // namespace engine
