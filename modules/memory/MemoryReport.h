#pragma once
// How the memory tests tell the faults that they find.

#include <common/TestHost.h>
#include <memory/Checker.h>
#include <memory/linux/MemoryModules.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>

namespace krel5::modules::memory {

/// Sends each fault as a kEventFault with the address as offset into the region, as virtual and, where the
/// system tells, as physical address and memory module; each page that broke as a kEventBrokenPage.
class MemoryReport : public FaultReporter
{
public:
    /// `words` is the start of the region; both outlive the report. `root` is "/" but for tests.
    MemoryReport(TestHost& host, std::uint64_t const* words, std::size_t pageBytes, std::string root = "/")
        : m_host(host), m_words(words), m_pageBytes(pageBytes), m_root(std::move(root))
    {}

    void report(PassName const& pass, WordFault const& fault) override;
    void report(PassName const& pass, BrokenPage const& page) override;
    /// A bit that flipped while two rows beside it were opened again and again: a fault or a warning.
    void reportFlip(WordFault const& flip, std::uint64_t const* first, std::uint64_t const* second,
                    bool isFault);
    /// Says so when `total` is more than was reported one by one.
    void summarize(std::uint64_t total);
    /// Says that so many broken pages were enough.
    void endedEarly(std::uint64_t pages);

private:
    TextValues place(PassName const& pass, std::uint64_t offset,
                     std::optional<std::uint64_t> physicalAddress);
    std::string moduleAt(std::optional<std::uint64_t> physicalAddress);

    TestHost& m_host;
    std::uint64_t const* m_words;
    std::size_t m_pageBytes;
    std::string m_root;
    std::optional<MemoryModules> m_modules; // read with the first fault
    std::uint64_t m_reported = 0;
};

} // namespace krel5::modules::memory
