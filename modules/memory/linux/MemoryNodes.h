#pragma once
// NUMA nodes: where the pages of a region lie. Without a policy all would lie on the node of the thread that locks them.

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace krel5::modules::memory {

/// The numbers of a list as the kernel writes it, "0-2,7"; empty for garbage and for numbers above 1023.
std::vector<unsigned> nodeList(std::string_view text);

/// The machine's nodes that have memory, from sys/devices/system/node/has_memory below `root`; empty where the
/// kernel does not tell.
std::vector<unsigned> memoryNodes(std::string const& root);

/// The pages of the region, none of them present yet, come from these nodes in turn; from the others where one is
/// full. False where the system refuses; then they come from where it likes. `begin` is at a page's start.
bool spreadOverNodes(void* begin, std::size_t bytes, std::vector<unsigned> const& nodes);

} // namespace krel5::modules::memory
