#pragma once
// Which logical processors share a core, a package and a cache, from /sys/devices/system/cpu.

#include <zel/enumerator/processors/CpuInfo.h>
#include <zel/enumerator/root/Root.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace zel {

using Processors = std::vector<unsigned>; ///< logical numbers, ascending

struct CpuCore
{
    Processors threads;
    std::optional<std::int64_t> id; ///< the firmware's number; not unique over packages or clusters
    char const* kind = nullptr;     ///< "Performance core"; null where all are of one kind
};

struct CpuCache
{
    unsigned level = 0;
    std::string type; ///< "Data", "Instruction", "Unified"
    Processors sharedBy;
    std::optional<std::uint64_t> bytes, lineSize;
    std::optional<std::int64_t> ways, sets;
};

struct CpuPackage
{
    unsigned number = 0;            ///< unique on the machine
    std::optional<std::int64_t> id; ///< the firmware's number, where it is known
    Processors threads;
    std::vector<CpuCore> cores; ///< empty when the machine does not tell which processors share a core
    std::vector<CpuCache> caches;
};

/// Packages by ascending lowest processor; processors that are offline have no topology and do not appear.
std::vector<CpuPackage> readCpuTopology(Root const& root, CpuInfo const& info);

} // namespace zel
