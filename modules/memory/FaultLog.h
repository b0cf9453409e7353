#pragma once
// Words that read wrong: all are counted, the first few of a pass are kept.
// Thread rule: `record` from any thread; everything else from one thread while no worker runs.

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <utility>
#include <vector>

namespace krel5::modules::memory {

struct WordFault
{
    std::size_t m_index = 0; ///< of the word in the region
    std::uint64_t m_expected = 0;
    std::uint64_t m_actual = 0;
};

class FaultLog
{
public:
    /// Of one pass over one data background, however many threads find them.
    static constexpr std::size_t kKeptPerPass = 10;

    void record(WordFault const& fault)
    {
        std::lock_guard lock(m_mutex);
        ++m_total;
        if (m_keptInPass < kKeptPerPass) {
            ++m_keptInPass;
            m_kept.push_back(fault);
        }
    }

    /// The kept ones since the last call.
    std::vector<WordFault> take()
    {
        std::lock_guard lock(m_mutex);
        return std::exchange(m_kept, {});
    }

    void beginPass()
    {
        std::lock_guard lock(m_mutex);
        m_keptInPass = 0;
    }

    std::uint64_t total() const
    {
        std::lock_guard lock(m_mutex);
        return m_total;
    }

private:
    mutable std::mutex m_mutex; // guards all below
    std::vector<WordFault> m_kept;
    std::size_t m_keptInPass = 0;
    std::uint64_t m_total = 0;
};

} // namespace krel5::modules::memory
