#pragma once

#include <chrono>

namespace zel {

/// Measures elapsed time on the steady clock, from its making or its last reset.
class Stopwatch
{
public:
    void reset() noexcept { m_start = now(); }
    using TimePoint = std::chrono::steady_clock::time_point;
    static TimePoint now() noexcept { return std::chrono::steady_clock::now(); }

    /// Seconds.
    double getElapsed() const noexcept { return getElapsed(now()); }
    /// The same for many watches at one moment: the clock is read once.
    double getElapsed(TimePoint now) const noexcept
    {
        return std::chrono::duration<double>(now - m_start).count();
    }

private:
    TimePoint m_start = now();
};

} // namespace zel
