#pragma once
// Other modules, run as child processes that take and give a state over two pipes.

#include <zel/foundation/Export.h>
#include <zel/foundation/String.h>

#include <functional>
#include <string>
#include <vector>

namespace zel {

struct ZEL_EXPORT ModuleProcess
{
    struct Limits
    {
        std::size_t outputBytes = 256u << 20; ///< of each answer; little more than one such is held in memory
        int milliseconds = 120'000;           ///< from start to end; inventories of large machines take long
    };

    struct Outcome
    {
        std::string
            output; ///< what the child wrote to its output pipe; empty when that took too long or was too much
        /// Why that is not to be trusted. Empty when the child ended with status 0, and when nobody knows its status because this
        /// process ignores SIGCHLD and there is an answer, which says whether it is whole.
        String error;
        String
            complaint; ///< first line that it wrote to standard error, with the next where it ends in a colon; harmless to a terminal; bounded
    };

    /// Runs each of `programs` with `arguments`, "-pipeIn" and "-pipeOut" with the descriptors of its two pipes, hands
    /// `input` to it and collects what it answers; several at the same time, each with its own deadline. One whose turn has
    /// not come waits once it has written some megabytes, and its time with it. `take` gets the outcomes in the order of the programs, with the number of the program. A program's standard output goes nowhere, and of its
    /// standard error only the first line is kept: what a module says must not flood the report of whoever asked it. It
    /// has no other descriptor of this process. A child that takes longer or writes more than the limits is
    /// killed, and what it started with it; what left its process group is neither killed nor waited for, and what
    /// did not ends with it. The kernel kills the child when the calling thread is gone. A stop request ends them all. Never throws for
    /// what a child does. May run in several threads at once.
    static void runAll(std::vector<std::string> const& programs, std::vector<std::string> const& arguments,
                       std::string const& input, Limits const& limits,
                       std::function<void(std::size_t, Outcome&)> const& take);
    /// The same of one program.
    static Outcome run(std::string const& program, std::vector<std::string> const& arguments,
                       std::string const& input, Limits const& limits);
    /// The same for a module that is to write files: it works in `folder`, and is told of no pipe.
    /// REQUIRES: the program's path is absolute.
    static Outcome runIn(std::string const& folder, std::string const& program,
                         std::vector<std::string> const& arguments, Limits const& limits);
};

} // namespace zel
