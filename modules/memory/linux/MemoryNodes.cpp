#include <memory/linux/MemoryNodes.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <climits>
#include <fstream>
#include <linux/mempolicy.h>
#include <sys/syscall.h>
#include <system_error>
#include <unistd.h>

namespace krel5::modules::memory {
namespace {

constexpr unsigned kMostNodes = 1024; // CONFIG_NODES_SHIFT is 10 at most

bool readNumber(std::string_view& text, unsigned& number)
{
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    return error == std::errc() && number < kMostNodes;
}

} // namespace

std::vector<unsigned> nodeList(std::string_view text)
{
    std::vector<unsigned> nodes;
    while (!text.empty()) {
        unsigned first = 0;
        if (!readNumber(text, first))
            return {};
        unsigned last = first;
        if (text.starts_with('-')) {
            text.remove_prefix(1);
            if (!readNumber(text, last) || last < first)
                return {};
        }
        if (!text.empty() && text.front() != ',')
            return {};
        text.remove_prefix(text.empty() ? 0 : 1);
        for (unsigned node = first; node <= last && nodes.size() < kMostNodes; ++node)
            nodes.push_back(node);
    }
    return nodes;
}

std::vector<unsigned> memoryNodes(std::string const& root)
{
    std::ifstream file(root + "sys/devices/system/node/has_memory");
    std::string line;
    std::getline(file, line);
    return nodeList(line);
}

bool spreadOverNodes(void* begin, std::size_t bytes, std::vector<unsigned> const& nodes)
{
    constexpr unsigned kBits = sizeof(unsigned long) * CHAR_BIT;
    std::array<unsigned long, kMostNodes / kBits> mask{};
    for (unsigned const node : nodes)
        mask[node / kBits] |= 1ul << node % kBits;
    // mbind(2) takes one bit less than it is told.
    return syscall(SYS_mbind, begin, bytes, MPOL_INTERLEAVE, mask.data(), kMostNodes + 1, 0u) == 0;
}

} // namespace krel5::modules::memory
