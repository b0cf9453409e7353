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
    /// Further lines go to `path`. The first of them makes missing folders and opens the file, so that a
    /// process that writes no line leaves none behind. A file that cannot be opened, or is refused (see
    /// AppendTarget), costs one line on standard error; the earlier file, if any, then stays in use. False,
    /// with that line, for a path that names no file.
    static bool prepare(std::string const& path);
    /// Writes `line`. The first failure for a file costs one line on standard error, the next ones nothing.
    static void write(std::string_view line) noexcept;
    /// The same, and silent about a failure, which the next line will tell. May be called in a signal handler.
    static void writeInSignalHandler(std::string_view line) noexcept;
    /// False when a line would go nowhere.
    static bool takesLines() noexcept;
    /// The file that lines stand in; empty before the first.
    static std::string path();
};

} // namespace zel
