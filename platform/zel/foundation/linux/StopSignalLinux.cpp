#include <zel/foundation/StopSignal.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <poll.h>
#include <string_view>
#include <time.h>
#include <unistd.h>

namespace zel {
namespace {

std::atomic<bool> s_requested{false};
std::atomic<int> s_exitStatus{1};
std::atomic<std::int64_t> s_firstAt{0}; // milliseconds, in or after the first signal's handler
static_assert(std::atomic<bool>::is_always_lock_free && std::atomic<int>::is_always_lock_free &&
              std::atomic<std::int64_t>::is_always_lock_free);

constexpr std::int64_t kOneRequest =
    300; // milliseconds: timeout(1) signals the process, then its group, which it is in

std::int64_t now() noexcept
{
    timespec time{};
    ::clock_gettime(CLOCK_MONOTONIC, &time);
    return std::int64_t{time.tv_sec} * 1000 + time.tv_nsec / 1000000;
}

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
    if (s_requested.exchange(true)) {
        std::int64_t const first = s_firstAt.load(); // none yet: another thread is about to say
        if (number != SIGHUP && first != 0 && now() - first >= kOneRequest)
            ::_exit(s_exitStatus.load());
        return;
    }
    s_firstAt = now();
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
