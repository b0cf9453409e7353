#pragma once
// Runs another program and takes what it prints, bounded in time and size.
//
//     ChildResult result = runChild({"/usr/sbin/smartctl", "--version"}, {}, [] { return false; });
//
// Thread rule: any number of threads run children at the same time.

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace krel5::modules {

struct ChildLimits
{
    double m_seconds = 60;
    std::size_t m_bytes = std::size_t(4) << 20;
};

struct ChildResult
{
    enum class End { Exited, Signalled, TimedOut, Stopped, TooMuchOutput, NotStarted };
    End m_end = End::NotStarted;
    int m_status = 0; ///< exit status, signal number, or errno value, as m_end says
    std::string m_output;
};

/// `words[0]` is an absolute path; no shell and no search path are involved, and the child sees a fixed
/// environment, an empty standard input and no standard error. `stopping` is asked every 20 ms. A child that
/// is over its limits or no longer wanted is killed with its descendants of the same process group; it is
/// gone when this returns.
ChildResult runChild(std::vector<std::string> const& words, ChildLimits const& limits,
                     std::function<bool()> const& stopping);

/// The first of /usr/sbin, /usr/bin, /sbin and /bin that has a program of that name, as a path; empty without
/// one.
std::string findProgram(std::string const& name);

} // namespace krel5::modules
