// Reads, in /sys/devices/system/cpu, vulnerabilities/* and cpu*/thermal_throttle/{core_throttle_count,
// package_throttle_count} (Documentation/ABI/testing/sysfs-devices-system-cpu; before Linux 2.6.32 `count`).
#include <zel/enumerator/processors/CpuConditions.h>

#include <zel/enumerator/records/Describe.h>
#include <zel/enumerator/root/Text.h>

#include <algorithm>

namespace zel {

namespace {

constexpr char kFolder[] = "sys/devices/system/cpu/";

std::optional<std::uint64_t> throttleCount(Root const& root, unsigned processor, char const* name)
{
    return counter(
        root.number(std::string(kFolder) + "cpu" + std::to_string(processor) + "/thermal_throttle/" + name));
}

} // namespace

std::optional<std::uint64_t> coreThrottleCount(Root const& root, Processors const& processors)
{
    std::optional<std::uint64_t> highest;
    for (unsigned const processor : processors) {
        auto count = throttleCount(root, processor, "core_throttle_count");
        if (!count)
            count = throttleCount(root, processor, "count");
        highest = std::max(highest, count);
    }
    return highest;
}

std::optional<std::uint64_t> packageThrottleCount(Root const& root, Processors const& processors)
{
    std::optional<std::uint64_t> highest;
    for (unsigned const processor : processors)
        highest = std::max(highest, throttleCount(root, processor, "package_throttle_count"));
    return highest;
}

std::vector<String> vulnerabilities(Root const& root)
{
    constexpr std::size_t kMostSigns = 512;
    std::string const folder = std::string(kFolder) + "vulnerabilities";
    std::vector<String> lines;
    for (std::string const& name : root.list(folder))
        if (auto const state = text::meaningful(root.text(folder + "/" + name)))
            lines.emplace_back(name + ": " + state->substr(0, kMostSigns));
    return lines;
}

} // namespace zel
