#pragma once
// How long a run will still take, from how long it took so far.
//
//     TimeLeft left;
//     left.beginRun();
//     if (auto const seconds = left.tell(percent, clock.getElapsed()))
//         show(*seconds);
//
// Thread rule: one thread.

#include <optional>

namespace krel5::modules {

class TimeLeft
{
public:
    /// What came before belongs to another run, even when the first percentage of this one is not lower.
    void beginRun() { *this = TimeLeft(); }

    /// `percent` done at `now`, in seconds on a clock that never goes back; a percentage below the last one
    /// begins a new run. The seconds left, when it is time to say so: not before the run has shown its pace,
    /// as the first percent says little about the rest, and not with every call.
    std::optional<unsigned> tell(int percent, double now)
    {
        if (percent < m_percent || m_percent < 0)
            m_start = now;
        m_percent = percent;
        double const elapsed = now - m_start;
        bool const early = percent < kFirstPercent || elapsed < kFirstSeconds;
        if (early || percent >= 100 || now - m_told < kSecondsBetween)
            return std::nullopt;
        m_told = now;
        return static_cast<unsigned>(elapsed * (100 - percent) / percent + 0.5);
    }

private:
    static constexpr int kFirstPercent = 5;
    static constexpr double kFirstSeconds = 5.0;
    static constexpr double kSecondsBetween = 2.0;
    static_assert(kSecondsBetween < kFirstSeconds, "what a former run was told is then older than that");

    int m_percent = -1;
    double m_start = 0;
    double m_told = 0; // when it was last told
};

} // namespace krel5::modules
