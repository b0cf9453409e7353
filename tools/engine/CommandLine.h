#pragma once
// What was asked for on the command line.

#include <engine/commands/ListCommand.h>
#include <engine/commands/ReportCommands.h>
#include <engine/commands/RunCommand.h>
#include <engine/commands/Situation.h>
#include <engine/commands/WatchCommand.h>

#include <listing/command/DevicesCommand.h>

#include <optional>
#include <string>

namespace engine {

enum class Command { None, List, Why, Run, Inventory, Compare, Report, Last, Watch };

struct CommandLine
{
    Command command = Command::None;
    SituationRequest where; ///< of list and why
    ListRequest list;
    std::string whyTest;
    RunRequest run;
    WatchRequest watch;
    listing::DevicesRequest devices; ///< of inventory and compare
    ReportRequest report;
    bool lastAsJson = false;
    std::optional<std::string> answer;        ///< help or version, to be printed instead
    std::string error;                        ///< why it was not understood; empty when it was
    std::string help = "krel5-engine --help"; ///< what to type to learn how it is written
};

CommandLine parseCommandLine(int argc, char const* const* argv);

} // namespace engine
