#pragma once

#include <cstdio>
#include <functional>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace test {

struct ChildOutcome
{
    int status = -1; ///< exit status; -1 when a signal ended the child
    int signal = 0;
    std::string output; ///< standard output and standard error, in order
};

/// Runs `body` in a child process and waits for its end. A body that returns ends with status 0.
inline ChildOutcome runInChild(std::function<void()> const& body)
{
    ChildOutcome outcome;
    int ends[2];
    if (::pipe(ends) != 0)
        return outcome;
    std::fflush(nullptr);
    pid_t const child = ::fork();
    if (child == 0) {
        ::dup2(ends[1], STDOUT_FILENO);
        ::dup2(ends[1], STDERR_FILENO);
        ::close(ends[0]);
        ::close(ends[1]);
        body();
        std::fflush(nullptr);
        ::_exit(0);
    }
    ::close(ends[1]);
    char buffer[4096];
    for (ssize_t count; (count = ::read(ends[0], buffer, sizeof buffer)) > 0;)
        outcome.output.append(buffer, static_cast<std::size_t>(count));
    ::close(ends[0]);
    int status = 0;
    ::waitpid(child, &status, 0);
    if (WIFEXITED(status))
        outcome.status = WEXITSTATUS(status);
    else
        outcome.signal = WTERMSIG(status);
    return outcome;
}

inline std::size_t occurrences(std::string const& text, std::string const& what)
{
    std::size_t count = 0;
    for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + what.size()))
        ++count;
    return count;
}

} // namespace test
