// Reads cpulist and meminfo of each folder /sys/devices/system/node/node*; a node may have memory only, or processors only.
#include <zel/enumerator/memory/NumaNodes.h>

#include <zel/enumerator/records/Lines.h>
#include <zel/enumerator/root/Text.h>

#include <algorithm>

namespace zel {

namespace {

constexpr char kNodes[] = "sys/devices/system/node";

/// "Node 0 MemTotal:       24684084 kB", in KiB though it says kB.
measure::Amount memoryOf(Root const& root, std::string const& folder)
{
    auto const content = root.read(folder + "/meminfo", 1u << 16);
    for (std::string_view const line :
         text::split(content ? std::string_view(*content) : std::string_view(), '\n')) {
        constexpr std::string_view kTotal = " MemTotal:", kUnit = " kB";
        std::size_t const at = line.find(kTotal);
        if (at == std::string_view::npos || !line.ends_with(kUnit))
            continue;
        std::string_view count = line.substr(at + kTotal.size());
        count.remove_suffix(kUnit.size());
        return measure::bytes(measure::scaled(text::toUnsigned(count), 1024));
    }
    return std::nullopt;
}

} // namespace

std::vector<NumaNode> numaNodes(Root const& root)
{
    std::vector<std::string> names = root.list(kNodes);
    std::sort(names.begin(), names.end(), text::naturalLess);
    std::vector<NumaNode> nodes;
    for (std::string const& name : names)
        if (auto const number = text::indexAfter(name, "node")) {
            std::string const folder = std::string(kNodes) + "/" + name;
            nodes.push_back({*number, root.text(folder + "/cpulist").value_or(""), memoryOf(root, folder)});
        }
    return nodes;
}

void addNumaNodes(Root const& root, DeviceDescription& memory)
{
    std::vector<std::string> lines;
    std::vector<DiscreteMeasurement> sizes;
    for (NumaNode const& node : numaNodes(root)) {
        std::string line = "node " + std::to_string(node.number) + ": " +
                           (node.processors.empty() ? "no processors" : "processors " + node.processors);
        if (node.memory)
            sizes.push_back(*node.memory);
        else
            line += ", memory unknown";
        lines.push_back(std::move(line));
    }
    addLines(memory, "NumaNodes", lines);
    if (!sizes.empty())
        memory.properties.emplace_back("NumaNodeSizes", ValueImp(std::move(sizes)));
}

} // namespace zel
