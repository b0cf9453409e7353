#pragma once
// Another module, run as a child process that takes and gives a state over two pipes.

#include <zel/foundation/Export.h>
#include <zel/foundation/String.h>

#include <string>
#include <vector>

namespace zel {

struct ZEL_EXPORT ModuleProcess
{
    struct Limits
    {
        std::size_t outputBytes = 256u << 20;
        int milliseconds = 120'000; ///< from start to end; inventories of large machines take long
    };

    struct Outcome
    {
        std::string output; ///< what the child wrote to its output pipe
        String error;       ///< why that is not to be trusted; empty when the child ended with status 0
        String complaint;   ///< first line that it wrote to standard error, harmless to a terminal; bounded
    };

    /// Runs `program` with `arguments`, "-pipeIn" and "-pipeOut" with the descriptors of its two pipes, hands
    /// `input` to it and collects what it answers. Its standard output goes nowhere, and of its standard
    /// error only the first line is kept: what a module says must not flood the report of whoever asked it. It
    /// has no other descriptor of this process. A child that takes longer or writes more than the limits is
    /// killed; what escapes from it is not waited for. The kernel kills the child when the calling thread is
    /// gone. Never throws for what the child does. May run in several threads at once.
    static Outcome run(std::string const& program, std::vector<std::string> const& arguments,
                       std::string const& input, Limits const& limits);
    /// The same for a module that is to write files: it works in `folder`, and is told of no pipe.
    /// REQUIRES: the program's path is absolute.
    static Outcome runIn(std::string const& folder, std::string const& program,
                         std::vector<std::string> const& arguments, Limits const& limits);
};

} // namespace zel
