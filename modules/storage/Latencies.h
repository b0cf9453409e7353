#pragma once
// How long reads took, without keeping each of them.
//
//     Latencies latencies;
//     latencies.add(0.0123);
//     double const most = latencies.percentile(99.9);
//
// Thread rule: one thread.

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>

namespace krel5::modules::storage {

/// Counts in classes that are an eighth of a power of two wide: what it answers is at most 9 % too much.
class Latencies
{
public:
    void add(double seconds) noexcept
    {
        ++m_counts[classOf(seconds)];
        ++m_count;
        m_most = std::max(m_most, seconds);
    }

    /// Seconds within which `percent` of all were done, 0 to 100; 0 when there were none.
    double percentile(double percent) const noexcept
    {
        auto const wanted =
            static_cast<std::uint64_t>(std::ceil(static_cast<double>(m_count) * percent / 100));
        std::uint64_t seen = 0;
        for (std::size_t i = 0; i < m_counts.size(); ++i)
            if ((seen += m_counts[i]) >= wanted && seen > 0)
                return std::min(kLeast * std::exp2(static_cast<double>(i) / kParts), m_most);
        return m_most;
    }

private:
    static constexpr double kLeast = 1e-6;        // seconds
    static constexpr int kParts = 8;              // of a power of two
    static constexpr std::size_t kDoublings = 34; // some four hours

    static std::size_t classOf(double seconds) noexcept
    {
        if (!(seconds > kLeast))
            return 0;
        double const place = std::ceil(std::log2(seconds / kLeast) * kParts);
        return static_cast<std::size_t>(std::min(place, double(kDoublings * kParts)));
    }

    std::array<std::uint64_t, kDoublings * kParts + 1> m_counts{};
    std::uint64_t m_count = 0;
    double m_most = 0;
};

} // namespace krel5::modules::storage
