#pragma once
// What this machine has: free memory, processors.

#include <cstddef>
#include <cstdint>
#include <string>

namespace krel5::modules::memory {

/// Bytes that this process can take without driving others out: MemAvailable of /proc/meminfo, or what the
/// process's control groups leave, if that is less. 0 when it cannot be told. `root` is "/" but for tests.
std::uint64_t availableMemory(std::string const& root = "/");

/// Bytes of main memory that the machine has at all: the system RAM of /proc/iomem, which an administrator can
/// read; for others MemTotal of /proc/meminfo, which leaves out what the kernel took for itself. 0 when it cannot
/// be told.
std::uint64_t totalMemory(std::string const& root = "/");

/// Address behind the last byte of system RAM, without that of expanders; 0 when it cannot be told.
std::uint64_t endOfMemory(std::string const& root = "/");

/// Processors that this process may run on; at least 1.
unsigned usableProcessors();

} // namespace krel5::modules::memory
