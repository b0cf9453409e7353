#pragma once

#include <zel/enumerator/root/Root.h>

#include <string>
#include <vector>

namespace zel {

/// One line each: "node 0: processors 0-7, 16 GiB", of the memory nodes that the kernel manages, in the order of their numbers.
std::vector<std::string> numaNodes(Root const& root);

} // namespace zel
