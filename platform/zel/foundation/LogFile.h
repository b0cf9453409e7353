#pragma once
// The file behind the loggers. Internal to the foundation.

#include <string>
#include <string_view>

namespace zel {

/// One file per process. A line is one write(2) to a descriptor that appends: nothing waits in a buffer when
/// the process crashes, and the lines of two processes never mix. Thread rule: everything may be called from
/// any thread.
struct LogFile
{
    /// Makes missing folders and opens `path` to append. On failure one line goes to standard error and the
    /// earlier file, if any, stays in use.
    static bool open(std::string const& path);
    /// Writes `line`. The first failure for a file costs one line on standard error, the next ones nothing.
    static void write(std::string_view line) noexcept;
    static bool isOpen() noexcept { return descriptor() >= 0; }
    static std::string path();
    /// May be called in a signal handler.
    static int descriptor() noexcept;
};

} // namespace zel
