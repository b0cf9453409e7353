#pragma once
// How much memory a run takes, in MiB. Locked memory cannot be swapped out, and the system has no way to get
// it back but to kill: some of what is available is never taken.

#include <algorithm>
#include <cstdint>

namespace krel5::modules::memory {

/// What a run must leave of `available`: for page tables, for what other programs want while it runs.
constexpr std::uint64_t marginMebibytes(std::uint64_t available) noexcept
{
    constexpr std::uint64_t kLeast = 128;
    return std::max(kLeast, available / 16);
}

/// What must be left of it at any time while a run takes its memory. Half of the margin, as the system's own
/// figures are never exact, and the largest size leaves no more than the margin.
constexpr std::uint64_t floorMebibytes(std::uint64_t available) noexcept
{
    return marginMebibytes(available) / 2;
}

/// The largest size that can be asked for; 0 when there is none.
constexpr std::uint64_t mostMebibytes(std::uint64_t available) noexcept
{
    return available - std::min(available, marginMebibytes(available));
}

/// The size where none was asked for: half of what is available, but no more for each thread than the
/// thorough test passes in a minute or two, as it is what one thread has to do that the run time depends on.
constexpr std::uint64_t defaultMebibytes(std::uint64_t available, unsigned threads) noexcept
{
    constexpr std::uint64_t kMostForEachThread = 2048;
    return std::min({available / 2, mostMebibytes(available), kMostForEachThread * threads});
}

} // namespace krel5::modules::memory
