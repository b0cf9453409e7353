#pragma once

#include <csignal>
#include <ctime>

namespace zel {

/// While it is there, a write to a pipe that nobody reads is an error of the write for this thread, whatever the
/// process does with SIGPIPE. Signals of others are left as they are.
class BrokenPipesAreErrors
{
public:
    BrokenPipesAreErrors()
    {
        ::sigemptyset(&m_signals);
        ::sigaddset(&m_signals, SIGPIPE);
        ::pthread_sigmask(SIG_BLOCK, &m_signals, &m_before);
    }
    ~BrokenPipesAreErrors()
    {
        timespec const now{};
        if (!::sigismember(&m_before, SIGPIPE))
            ::sigtimedwait(&m_signals, nullptr, &now);
        ::pthread_sigmask(SIG_SETMASK, &m_before, nullptr);
    }
    BrokenPipesAreErrors(BrokenPipesAreErrors const&) = delete;
    BrokenPipesAreErrors& operator=(BrokenPipesAreErrors const&) = delete;

private:
    sigset_t m_signals{};
    sigset_t m_before{};
};

} // namespace zel
