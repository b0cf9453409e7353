#pragma once
// A program as a child process, started without a copy of this one: what it costs does not depend on how large this
// process is.

#include <zel/foundation/Export.h>

#include <string>
#include <sys/types.h>
#include <utility>
#include <vector>

namespace zel {

struct ProgramStart
{
    std::string program;              ///< path
    std::vector<std::string> words{}; ///< behind the program's name
    std::string folder{};             ///< where it works; empty: where this process does
    /// Descriptors of this process, and the numbers under which the child has them. Of 0, 1 and 2 those that are not
    /// given lead nowhere; all others are closed.
    std::vector<std::pair<int, int>> files{};
};

/// Starts it in a process group of its own. The kernel kills it when the calling thread is gone, so this is the main
/// thread's. Its signals are as at any start of a program: what is ignored stays ignored, nothing is blocked that the
/// caller does not block. Returns once it has become the program: 0 and the process id, or an errno value and there is
/// no child.
ZEL_EXPORT int startProgram(ProgramStart const& start, pid_t& child);

} // namespace zel
