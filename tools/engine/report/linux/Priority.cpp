#include <engine/report/linux/Priority.h>

#include <cerrno>
#include <sched.h>
#include <sys/resource.h>

namespace engine {

void goBeforeModules() noexcept
{
    constexpr int kNice = -10;
    sched_param const none{};
    errno = 0;
    if (::getpriority(PRIO_PROCESS, 0) == 0 && errno == 0 &&
        ::sched_setscheduler(0, SCHED_OTHER | SCHED_RESET_ON_FORK, &none) == 0)
        ::setpriority(PRIO_PROCESS, 0, kNice); // of this thread alone, on Linux
}

} // namespace engine
