// Memory as a whole. Reads /proc/meminfo, whose counts are in KiB though it says kB.

#include <zel/enumerator/Describe.h>
#include <zel/enumerator/Discoverers.h>
#include <zel/enumerator/Measures.h>
#include <zel/enumerator/Text.h>

namespace zel {

namespace {

using Lines = std::map<std::string, std::string, std::less<>>;

measure::Amount amountOf(Lines const& lines, char const* key)
{
    auto const found = lines.find(key);
    if (found == lines.end())
        return std::nullopt;
    std::string_view line = found->second;
    if (line.size() < 3 || line.substr(line.size() - 3) != " kB")
        return std::nullopt;
    return measure::bytes(measure::scaled(text::toUnsigned(line.substr(0, line.size() - 3)), 1024));
}

} // namespace

void discoverMemory(Root const& root, DeviceSink& sink)
{
    auto const content = root.read("proc/meminfo", 1u << 16);
    if (!content)
        return;
    Lines const lines = text::keyValueLines(*content, ':');
    auto const total = amountOf(lines, "MemTotal");
    if (!total)
        return;
    DeviceDescription memory;
    memory.type = CapabilityImp::Memory();
    memory.capabilities = CapabilityImp::Memory() | CapabilityImp::Hardware();
    memory.name = "Memory";
    memory.description = "System memory";
    memory.osLocator = "/proc/meminfo";
    placeAt(memory, location::memory());
    placeBelowSystem(memory);
    memory.add("Size", total);
    memory.add("AvailableMemory", amountOf(lines, "MemAvailable"));
    memory.add("SwapSize", amountOf(lines, "SwapTotal"));
    memory.add("HugePageSize", amountOf(lines, "Hugepagesize"));
    sink.add(std::move(memory));
}

} // namespace zel
