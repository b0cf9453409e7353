#pragma once
// The child process of a module, with its pipes, in a process group of its own.

#include <zel/foundation/linux/FileDescriptor.h>

#include <chrono>
#include <string>
#include <sys/types.h>
#include <vector>

namespace zel {

/// No way out leaves it running: destroying it kills it, with what it started and did not let go.
class ModuleChild
{
public:
    enum class End { NotYet, Known, ReapedByKernel };
    /// After it was killed; what waits in the kernel for a drive that does not answer outlives the signal, maybe for ever.
    static constexpr std::chrono::seconds kPatience{2};

    ModuleChild() = default;
    ~ModuleChild();
    ModuleChild(ModuleChild const&) = delete;
    ModuleChild& operator=(ModuleChild const&) = delete;

    /// The words that tell a program where it finds its pipes.
    static std::vector<std::string> pipeWords();
    /// Starts `program` with `words`, in `folder` where that is not empty. Returns 0 or an errno value. It has become
    /// that program once `report` is at its end; what stands in there is the errno value of why it did not.
    int start(std::string const& folder, std::string const& program, std::vector<std::string> words);
    bool isRunning() const { return m_id > 0; }
    /// Whether the child has ended, without taking note of it. Also when nobody can tell any more: a process that ignores SIGCHLD
    /// has its children reaped by the kernel.
    bool hasEnded() const;
    /// Takes note of its end, and ends what it left behind in its group. Does not wait; `status` as of waitpid(2).
    End reap(int& status);
    /// Kills it and its group. It has still to be reaped.
    void kill() const;
    /// Nobody waits for it any more.
    void leave() { m_id = -1; }

    FileDescriptor report, toChild, fromChild, errors;

private:
    pid_t m_id = -1;
};

} // namespace zel
