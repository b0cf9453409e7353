#include <engine/commands/RunPlan.h>

#include <engine/commands/Situation.h>

#include <listing/Console.h>

namespace engine {

int runPlan(Plan const&, RunOptions const&, zel::StateManager const&)
{
    listing::complain("nothing was run: this version plans tests and does not run them yet");
    return kTrouble;
}

} // namespace engine
