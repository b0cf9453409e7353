#pragma once
// The processors that this process may use, and binding a thread to one of them.

#include <cstddef>
#include <vector>

namespace krel5::modules::cpu {

/// Thread rule: `pin` concerns the calling thread alone and may be called from any thread.
struct CpuAffinity
{
    virtual ~CpuAffinity() = default;
    /// Numbers of the logical processors that the process may use, ascending; empty when it cannot be told.
    virtual std::vector<unsigned> usable() = 0;
    /// How many logical processors the system runs on, usable here or not; 0 when it cannot be told.
    virtual std::size_t online() = 0;
    /// From its return on the calling thread runs on that processor only. Zero, or the errno value.
    virtual int pin(unsigned core) = 0;
};

/// The running system's.
CpuAffinity& systemAffinity();

} // namespace krel5::modules::cpu
