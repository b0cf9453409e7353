#pragma once
// What was asked for on the command line.

#include <listing/command/DevicesCommand.h>

#include <optional>
#include <string>

struct CommandLine
{
    listing::DevicesRequest request;
    bool compare = false;
    std::optional<std::string> answer; ///< help or version, to be printed instead
    std::string error;                 ///< why it was not understood; empty when it was
};

CommandLine parseCommandLine(int argc, char const* const* argv);
