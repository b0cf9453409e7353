#pragma once
// Pages of the region under test that the hardware itself declared broken while the test ran. Each was given
// up: what lies at its place since then is another page, which nobody filled, so that reads there say nothing.
//
// Thread rule: `add`, `contains` and `isFull` from any thread and from a signal handler; `take` from one thread
// while no worker runs.

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace krel5::modules::memory {

struct BrokenPage
{
    std::uint64_t m_offset = 0; ///< bytes from the start of the region to the start of the page
    std::optional<std::uint64_t> m_physicalAddress;
};

class BrokenPages
{
public:
    /// A machine that loses more than that in one run is not worth going on with.
    static constexpr std::size_t kMost = 1024;

    explicit BrokenPages(std::size_t pageBytes) : m_pageBytes(pageBytes) {}

    std::size_t pageBytes() const noexcept { return m_pageBytes; }

    /// `offset` is anywhere in the page. A page that is known already is not added again.
    void add(std::uint64_t offset, std::optional<std::uint64_t> physicalAddress) noexcept
    {
        std::uint64_t const mark = markOf(offset);
        for (Slot& slot : m_slots) {
            std::uint64_t found = 0;
            if (slot.m_mark.compare_exchange_strong(found, mark)) {
                slot.m_physicalAddress = physicalAddress.value_or(kUnknown);
                return;
            }
            if (found == mark)
                return;
        }
        m_isFull = true;
    }

    /// Whether the page with that offset was given up. When there were more than could be kept: true for all.
    bool contains(std::uint64_t offset) const noexcept
    {
        if (m_isFull)
            return true;
        for (Slot const& slot : m_slots) {
            std::uint64_t const mark = slot.m_mark;
            if (mark == 0 || mark == markOf(offset))
                return mark != 0;
        }
        return false;
    }

    bool isFull() const noexcept { return m_isFull; }

    std::size_t total() const noexcept
    {
        auto const isTaken = [](Slot const& slot) { return slot.m_mark != 0; };
        return static_cast<std::size_t>(std::count_if(m_slots.begin(), m_slots.end(), isTaken));
    }

    /// Those that were added since the last call.
    std::vector<BrokenPage> take()
    {
        std::vector<BrokenPage> pages;
        for (std::size_t const known = total(); m_taken < known; ++m_taken) {
            std::uint64_t const physical = m_slots[m_taken].m_physicalAddress;
            pages.push_back({(m_slots[m_taken].m_mark - 1) * m_pageBytes, {}});
            if (physical != kUnknown)
                pages.back().m_physicalAddress = physical;
        }
        return pages;
    }

private:
    static constexpr std::uint64_t kUnknown = UINT64_MAX;
    static_assert(std::atomic<std::uint64_t>::is_always_lock_free, "a signal handler writes it");

    struct Slot
    {
        std::atomic<std::uint64_t> m_mark{0}; // number of the page in the region, from one on; 0: free
        std::atomic<std::uint64_t> m_physicalAddress{kUnknown};
    };

    std::uint64_t markOf(std::uint64_t offset) const noexcept { return offset / m_pageBytes + 1; }

    std::size_t m_pageBytes;
    std::array<Slot, kMost> m_slots; // taken one after another
    std::atomic<bool> m_isFull{false};
    std::size_t m_taken = 0;
};

} // namespace krel5::modules::memory
