#include <engine/runner/linux/Keeper.h>

#include <zel/foundation/System.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <fcntl.h>
#include <fstream>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace engine {
namespace {

constexpr std::size_t kMostGroups = 1024; // at once

/// In the process: a copy of one that has threads, so nothing but system calls.
[[noreturn]] void keep(int pipe)
{
    ::setsid(); // whoever ends a terminal's programs, or a group, does not end it
    for (int const number : {SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGTSTP})
        ::signal(number, SIG_IGN);
    ::dup2(pipe, STDIN_FILENO);
    ::close_range(STDIN_FILENO + 1, ~0u, 0); // the report's lock among them
    std::array<pid_t, kMostGroups> groups{};
    for (pid_t number = 0; zel::retryOnInterrupt([&] {
                               return ::read(STDIN_FILENO, &number, sizeof number);
                           }) == sizeof number;) {
        auto place = std::find(groups.begin(), groups.end(), number < 0 ? -number : number);
        if (place == groups.end() && number > 0)
            place = std::find(groups.begin(), groups.end(), 0);
        if (place != groups.end())
            *place = std::max(number, 0);
    }
    for (pid_t const group : groups)
        if (group > 0)
            ::kill(-group, SIGKILL);
    ::_exit(0);
}

// Orphans are given to the first thread that lives, which is the main thread; and nobody else starts programs here.
std::set<pid_t> children()
{
    std::set<pid_t> all;
    std::ifstream list("/proc/thread-self/children");
    for (pid_t one = 0; list >> one;)
        all.insert(one);
    return all;
}

} // namespace

Keeper::Keeper() : m_others(children()) { ::prctl(PR_SET_CHILD_SUBREAPER, 1); }

// Beside the module, which has not got to its main function yet.
void Keeper::begin()
{
    m_hasBegun = true;
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) == 0) {
        zel::FileDescriptor const reading(ends[0]);
        m_pipe = zel::FileDescriptor(ends[1]);
        m_process = ::fork();
        if (m_process == 0)
            keep(reading.number());
        if (m_process > 0)
            m_others.insert(m_process);
    }
}

Keeper::~Keeper()
{
    ::prctl(PR_SET_CHILD_SUBREAPER, 0);
    release();
    if (m_process > 0)
        zel::retryOnInterrupt([&] { return ::waitpid(m_process, nullptr, 0); });
}

void Keeper::tell(pid_t number) const
{
    std::size_t written = 0;
    if (m_process > 0)
        zel::writeAll(m_pipe.number(), reinterpret_cast<char const*>(&number), sizeof number, written, false);
}

void Keeper::watch(pid_t module)
{
    if (!m_hasBegun)
        begin();
    tell(module);
}
void Keeper::forget(pid_t module) { tell(-module); }

// Those of an orphan that is ended come here in their turn.
void Keeper::endOrphans() const
{
    constexpr int kTries = 200;
    for (int i = 0; i < kTries; ++i) {
        bool isAny = false;
        for (pid_t const one : children())
            if (m_others.count(one) == 0) {
                isAny = true;
                ::kill(one, SIGKILL);
                ::waitpid(one, nullptr, WNOHANG);
            }
        if (!isAny)
            return;
        zel::System::sleepMilliseconds(1);
    }
}

} // namespace engine
