#pragma once

#include <chrono>

namespace krel5::modules {

/// Seconds since it was made or last reset, on the steady clock.
class Stopwatch
{
public:
    void reset() noexcept { m_start = std::chrono::steady_clock::now(); }
    double getElapsed() const noexcept
    {
        return std::chrono::duration<double>(std::chrono::steady_clock::now() - m_start).count();
    }

private:
    std::chrono::steady_clock::time_point m_start = std::chrono::steady_clock::now();
};

} // namespace krel5::modules
