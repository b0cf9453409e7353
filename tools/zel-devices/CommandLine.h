#pragma once
// What was asked for on the command line.

#include <optional>
#include <string>
#include <vector>

enum class Form { Tree, Properties, Json, Xml, Html };

struct Request
{
    std::string root = "/";
    bool rootIsGiven = false;
    Form form = Form::Tree;
    bool mask = false;
    std::vector<std::string> classes; ///< as typed
    bool compare = false;
    std::string before; ///< files; "-": standard input
    std::string after;  ///< empty: this machine, or the one below the root
    bool all = false;
};

struct CommandLine
{
    Request request;
    std::optional<std::string> answer; ///< help or version, to be printed instead
    std::string error;                 ///< why it was not understood; empty when it was
};

CommandLine parseCommandLine(int argc, char const* const* argv);
