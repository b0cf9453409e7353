#include <memory/linux/MachineMemory.h>

#include <memory/linux/ControlGroups.h>
#include <memory/linux/KernelText.h>

#include <algorithm>
#include <sched.h>
#include <unistd.h>

namespace krel5::modules::memory {
namespace {

/// Bytes; 0 when it cannot be told.
std::uint64_t meminfo(std::string const& root, std::string_view name)
{
    auto const kibibytes = numberIn(root + "proc/meminfo", name);
    return kibibytes && *kibibytes <= UINT64_MAX / 1024 ? *kibibytes * 1024 : 0;
}

} // namespace

std::uint64_t availableMemory(std::string const& root)
{
    return std::min(meminfo(root, "MemAvailable:"), leftByControlGroups(root).value_or(UINT64_MAX));
}

std::uint64_t totalMemory(std::string const& root) { return meminfo(root, "MemTotal:"); }

std::uint64_t largestCache()
{
    long largest = 0;
    for (int const level : {_SC_LEVEL2_CACHE_SIZE, _SC_LEVEL3_CACHE_SIZE, _SC_LEVEL4_CACHE_SIZE})
        largest = std::max(largest, sysconf(level));
    return static_cast<std::uint64_t>(largest);
}

unsigned usableProcessors()
{
    cpu_set_t set;
    if (sched_getaffinity(0, sizeof set, &set) == 0)
        return std::max(1u, static_cast<unsigned>(CPU_COUNT(&set)));
    return static_cast<unsigned>(std::max(1L, sysconf(_SC_NPROCESSORS_ONLN)));
}

} // namespace krel5::modules::memory
