#pragma once

#include <chrono>

namespace zel {

/// Measures elapsed time on the steady clock, from its making or its last reset.
class Stopwatch
{
public:
    void reset() noexcept { m_start = std::chrono::steady_clock::now(); }
    /// Seconds.
    double getElapsed() const noexcept
    {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - m_start).count();
    }

private:
    std::chrono::steady_clock::time_point m_start = std::chrono::steady_clock::now();
};

} // namespace zel
