#include <memory/linux/MachineMemory.h>

#include <algorithm>
#include <charconv>
#include <fstream>
#include <optional>
#include <sched.h>
#include <string_view>
#include <unistd.h>

namespace krel5::modules::memory {
namespace {

/// The number at the start of `text`, blanks before it skipped; absent for "max" and for garbage.
std::optional<std::uint64_t> leadingNumber(std::string_view text)
{
    text.remove_prefix(std::min(text.find_first_not_of(" \t"), text.size()));
    std::uint64_t number = 0;
    auto const result = std::from_chars(text.data(), text.data() + text.size(), number);
    if (result.ec != std::errc())
        return std::nullopt;
    return number;
}

/// What follows `prefix` on the first line that starts with it.
std::optional<std::string> lineAfter(std::string const& path, std::string_view prefix)
{
    std::ifstream file(path);
    std::string line;
    while (std::getline(file, line)) {
        if (line.starts_with(prefix))
            return line.substr(prefix.size());
    }
    return std::nullopt;
}

std::optional<std::uint64_t> numberIn(std::string const& path, std::string_view prefix = "")
{
    auto const text = lineAfter(path, prefix);
    return text ? leadingNumber(*text) : std::nullopt;
}

/// Bytes; 0 when it cannot be told.
std::uint64_t meminfo(std::string const& root, std::string_view name)
{
    auto const kibibytes = numberIn(root + "proc/meminfo", name);
    return kibibytes && *kibibytes <= UINT64_MAX / 1024 ? *kibibytes * 1024 : 0;
}

/// The tightest of the process's control group and the groups above it.
std::optional<std::uint64_t> leftByControlGroups(std::string const& root)
{
    auto const group = lineAfter(root + "proc/self/cgroup", "0::/");
    if (!group)
        return std::nullopt;
    std::optional<std::uint64_t> left;
    for (std::string path = *group;;) {
        auto const folder = root + "sys/fs/cgroup/" + path;
        auto const limit = numberIn(folder + "/memory.max");
        auto const used = numberIn(folder + "/memory.current");
        if (limit && used)
            left = std::min(left.value_or(UINT64_MAX), *limit - std::min(*limit, *used));
        if (path.empty())
            return left;
        auto const slash = path.rfind('/');
        path.resize(slash == path.npos ? 0 : slash);
    }
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
