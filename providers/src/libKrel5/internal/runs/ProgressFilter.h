#pragma once

#include <functional>
#include <optional>

namespace krel5 {

/// Decides which percentages go out: only growing ones, at most two a second, 0 and 100 whatever the time.
/// Thread rule: guarded by the library mutex.
class ProgressFilter
{
public:
    /// Seconds that never run backwards.
    using Clock = std::function<double()>;
    /// The process's steady clock.
    ProgressFilter();
    explicit ProgressFilter(Clock clock) : m_clock(std::move(clock)) {}

    /// What to send for a report, in order: nothing, the value, or 0 and the value.
    struct Decision
    {
        bool sendZeroFirst = false;
        bool send = false;
        bool operator==(Decision const&) const = default;
    };
    /// `lastSent` is -1 when nothing was sent.
    Decision decide(int percent, int lastSent);

private:
    Clock m_clock;
    bool m_reportNext = true;     // until the first report is out
    std::optional<double> m_last; // when the last report went out; set by the first that is asked for
};

} // namespace krel5
