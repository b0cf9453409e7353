#include <zel/foundation/ExitGuard.h>

#include <zel/foundation/System.h>

#include <atomic>
#include <cstdlib>

namespace zel {
namespace {

std::atomic<bool> s_armed{false};
std::atomic<int> s_exitStatus{1};
std::atomic<void (*)()> s_notice{nullptr};
std::atomic<decltype(System::processId())> s_process{0};

// A child process that came out of fork inherits the guard; its end is its own business.
void onExit()
{
    if (s_process != System::processId() || !s_armed.exchange(false))
        return;
    s_notice.load()();
    System::exitProcess(s_exitStatus);
}

} // namespace

void ExitGuard::arm(int exitStatus, void (*notice)())
{
    static bool const s_registered = std::atexit(onExit) == 0 && std::at_quick_exit(onExit) == 0;
    s_exitStatus = exitStatus;
    s_notice = notice;
    s_process = System::processId();
    s_armed = s_registered;
}

void ExitGuard::disarm() noexcept { s_armed = false; }

} // namespace zel
