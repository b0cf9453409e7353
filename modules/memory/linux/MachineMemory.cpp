#include <memory/linux/MachineMemory.h>

#include <memory/linux/ControlGroups.h>
#include <memory/linux/KernelText.h>

#include <algorithm>
#include <charconv>
#include <fstream>
#include <sched.h>
#include <string_view>
#include <system_error>
#include <unistd.h>

namespace krel5::modules::memory {
namespace {

/// Bytes; 0 when it cannot be told.
std::uint64_t meminfo(std::string const& root, std::string_view name)
{
    auto const kibibytes = numberIn(root + "proc/meminfo", name);
    return kibibytes && *kibibytes <= UINT64_MAX / 1024 ? *kibibytes * 1024 : 0;
}

struct Ram
{
    std::uint64_t m_bytes = 0; ///< 0 for who may not know: all addresses then read as zero
    std::uint64_t m_end = 0;   ///< of what stands in no device
};

/// Inner ranges are indented and follow the outer one; memory of an expander or one that a virtual machine was given
/// later stands inside of its device, as "System RAM (kmem)".
Ram systemRam(std::string const& root)
{
    constexpr std::string_view kName = " : System RAM";
    Ram ram;
    std::uint64_t counted = 0; // up to that address
    std::ifstream file(root + "proc/iomem");
    for (std::string line; std::getline(file, line);) {
        bool const isInner = line.starts_with(' ');
        line.erase(0, line.find_first_not_of(' '));
        std::uint64_t first = 0, last = 0;
        char const* const end = line.data() + line.size();
        auto const begin = std::from_chars(line.data(), end, first, 16);
        if (begin.ec != std::errc() || begin.ptr == end || *begin.ptr != '-')
            continue;
        auto const rest = std::from_chars(begin.ptr + 1, end, last, 16);
        std::string_view const name(rest.ptr, end);
        if (rest.ec != std::errc() || first >= last || first < counted ||
            (name != kName && !name.starts_with(std::string(kName) + " (")))
            continue;
        ram.m_bytes += last - first + 1;
        counted = last + 1;
        if (!isInner)
            ram.m_end = counted;
    }
    return ram;
}

} // namespace

std::uint64_t availableMemory(std::string const& root)
{
    return std::min(meminfo(root, "MemAvailable:"), leftByControlGroups(root).value_or(UINT64_MAX));
}

std::uint64_t totalMemory(std::string const& root)
{
    std::uint64_t const ram = systemRam(root).m_bytes;
    return ram ? ram : meminfo(root, "MemTotal:");
}

std::uint64_t endOfMemory(std::string const& root) { return systemRam(root).m_end; }

unsigned usableProcessors()
{
    cpu_set_t set;
    if (sched_getaffinity(0, sizeof set, &set) == 0)
        return std::max(1u, static_cast<unsigned>(CPU_COUNT(&set)));
    return static_cast<unsigned>(std::max(1L, sysconf(_SC_NPROCESSORS_ONLN)));
}

} // namespace krel5::modules::memory
