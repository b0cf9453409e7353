#include <cpu/ThreadTime.h>

#include <ctime>

namespace krel5::modules::cpu {

double threadTime() noexcept
{
    timespec used{};
    (void)clock_gettime(CLOCK_THREAD_CPUTIME_ID, &used); // cannot fail for the calling thread
    return static_cast<double>(used.tv_sec) + static_cast<double>(used.tv_nsec) / 1e9;
}

} // namespace krel5::modules::cpu
