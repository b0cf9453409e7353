#pragma once
// How the memory tests tell the faults that they find.

#include <common/TestHost.h>
#include <memory/Checker.h>

#include <cstdint>

namespace krel5::modules::memory {

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
