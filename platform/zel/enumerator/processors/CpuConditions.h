#pragma once

#include <zel/enumerator/processors/CpuTopology.h>

#include <zel/foundation/String.h>

namespace zel {

/// How often a core or a package was slowed down because it was hot, since the system started: each of its
/// processors counts for itself, the highest count stands.
std::optional<std::uint64_t> coreThrottleCount(Root const& root, Processors const& processors);
std::optional<std::uint64_t> packageThrottleCount(Root const& root, Processors const& processors);

/// "meltdown: Mitigation: PTI", one line a weakness that the kernel knows of, also those that the processors do
/// not have; of all processors together.
std::vector<String> vulnerabilities(Root const& root);

} // namespace zel
