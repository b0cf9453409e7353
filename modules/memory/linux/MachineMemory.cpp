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

unsigned usableProcessors()
{
    cpu_set_t set;
    if (sched_getaffinity(0, sizeof set, &set) == 0)
        return std::max(1u, static_cast<unsigned>(CPU_COUNT(&set)));
    return static_cast<unsigned>(std::max(1L, sysconf(_SC_NPROCESSORS_ONLN)));
}

} // namespace krel5::modules::memory
