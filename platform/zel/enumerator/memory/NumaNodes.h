#pragma once

#include <zel/enumerator/records/DeviceSink.h>
#include <zel/enumerator/records/Measures.h>
#include <zel/enumerator/root/Root.h>

#include <string>
#include <vector>

namespace zel {

/// A part of the memory with the processors that are near to it; each may be missing.
struct NumaNode
{
    unsigned number = 0;
    std::string processors; ///< "0-7"; empty: none
    measure::Amount memory; ///< absent: not told
};

/// The memory nodes that the kernel manages, in the order of their numbers.
std::vector<NumaNode> numaNodes(Root const& root);

/// A line for each, "node 0: processors 0-7", and how much memory each has, in the same order. A line says of a node
/// "memory unknown" when it has no size among those.
void addNumaNodes(Root const& root, DeviceDescription& memory);

} // namespace zel
