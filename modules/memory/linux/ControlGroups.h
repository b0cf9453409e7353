#pragma once
// What the control groups that this process is in leave it of the machine's memory: version 1, version 2, or
// both side by side.

#include <cstdint>
#include <optional>
#include <string>

namespace krel5::modules::memory {

/// Bytes: the tightest of the process's group and the groups above it. Cached files that the kernel would drop
/// first count as free. Absent where no group limits memory. `root` is "/" but for tests.
std::optional<std::uint64_t> leftByControlGroups(std::string const& root);

} // namespace krel5::modules::memory
