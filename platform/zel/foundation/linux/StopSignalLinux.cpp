#include <zel/foundation/StopSignal.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <poll.h>
#include <string_view>
#include <unistd.h>

namespace zel {
namespace {

std::atomic<bool> s_requested{false};
std::atomic<int> s_exitStatus{1};
static_assert(std::atomic<bool>::is_always_lock_free && std::atomic<int>::is_always_lock_free);

void say(std::string_view text) noexcept
{
    int const keep = errno;
    pollfd one{STDERR_FILENO, POLLOUT, 0};
    if (::poll(&one, 1, 0) > 0) // a terminal that is stopped must not hold up the stop
        [[maybe_unused]]
        auto const written = ::write(STDERR_FILENO, text.data(), text.size());
    errno = keep;
}

void onSignal(int number) noexcept
{
    bool const isSecond = s_requested.exchange(true);
    if (isSecond && number == SIGHUP)
        return;
    if (isSecond)
        ::_exit(s_exitStatus.load());
    say("\nStopping. Press Ctrl-C again to end at once.\n");
}

} // namespace

// Without SA_RESTART, so that a wait for the person's answer ends with EINTR.
void StopSignal::install(int exitStatusOfSecond)
{
    s_exitStatus = exitStatusOfSecond;
    for (int const number : {SIGINT, SIGTERM, SIGHUP}) {
        struct sigaction current;
        if (::sigaction(number, nullptr, &current) == 0 && current.sa_handler == SIG_IGN)
            continue;
        struct sigaction action = {};
        action.sa_handler = onSignal;
        ::sigemptyset(&action.sa_mask);
        ::sigaction(number, &action, nullptr);
    }
}

bool StopSignal::requested() noexcept { return s_requested.load(std::memory_order_relaxed); }

} // namespace zel
