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
    /// How long the end of a killed child is waited for. One that waits for a drive inside the kernel does
    /// not die before the drive answers.
    double m_secondsToDie = 5;
    int m_killSignal = 9; ///< SIGKILL; a lesser one stands in for such a child
};

struct ChildResult
{
    enum class End { Exited, Signalled, TimedOut, Stopped, TooMuchOutput, NotStarted, Lost };
    End m_end = End::NotStarted;
    int m_status = 0; ///< exit status, signal number, or errno value, as m_end says
    std::string m_output;
    /// Process id of a child that could not be ended and was left behind, otherwise zero. It dies when the
    /// kernel lets go of it.
    long m_leftBehind = 0;
};

/// `words[0]` is an absolute path; no shell and no search path are involved, and the child sees a fixed
/// environment, an empty standard input, no standard error and none of this process's other files. `stopping`
/// is asked every 20 ms. A child that is over its limits or no longer wanted is killed with its descendants
/// of the same process group; it is gone when this returns, or m_leftBehind says that it is not. The run is
/// over when the child itself ends: what it left in its group is killed, and a descendant that escaped from
/// the group is not waited for, though it holds the output open. Where the process ignores SIGCHLD, the kernel
/// throws away how a child ended: such a run is Lost, as soon as the child is gone. A child is killed by the kernel when the
/// thread that called is gone, so that it does not outlive a killed module.
ChildResult runChild(std::vector<std::string> const& words, ChildLimits const& limits,
                     std::function<bool()> const& stopping);

/// The first of /usr/sbin, /usr/bin, /sbin and /bin that has a program of that name, as a path; empty without
/// one.
std::string findProgram(std::string const& name);

} // namespace krel5::modules
