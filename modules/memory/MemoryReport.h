#pragma once
// What the memory tests send through their host. The variables of each event are listed in memory.w4p.

#include <common/TestHost.h>
#include <memory/Checker.h>

#include <cstdint>

namespace krel5::modules::memory {

inline constexpr char kEventFault[] = "MemoryFault";
inline constexpr char kEventMoreFaults[] = "MemoryMoreFaults";
inline constexpr char kEventParameters[] = "MemoryParameters";
inline constexpr char kEventNoMemory[] = "MemoryUnavailable";
inline constexpr char kEventNotPermitted[] = "MemoryLockRefused";
inline constexpr char kEventRegion[] = "MemoryRegion";
inline constexpr char kEventSeed[] = "MemorySeed";

/// Sends each fault as a kEventFault with the address as offset into the region, as virtual and, where the
/// system tells, as physical address.
class MemoryReport : public FaultReporter
{
public:
    /// `words` is the start of the region; both outlive the report.
    MemoryReport(TestHost& host, std::uint64_t const* words) : m_host(host), m_words(words) {}

    void report(PassName const& pass, WordFault const& fault) override;
    /// Says so when `total` is more than was reported one by one.
    void summarize(std::uint64_t total);

private:
    TestHost& m_host;
    std::uint64_t const* m_words;
    std::uint64_t m_reported = 0;
};

} // namespace krel5::modules::memory
