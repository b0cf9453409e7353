#pragma once

#include <zel/foundation/Stopwatch.h>

#include <optional>

namespace krel5 {

/// Decides which percentages go out: only growing ones, at most two a second, 0 and 100 whatever the time.
/// Thread rule: guarded by the library mutex.
class ProgressFilter
{
public:
    /// What to send for a report, in order: nothing, the value, or 0 and the value.
    struct Decision
    {
        bool sendZeroFirst = false;
        bool send = false;
    };
    /// `lastSent` is -1 when nothing was sent.
    Decision decide(int percent, int lastSent);
    /// The next report goes out whatever the time.
    void reset() { m_reportNext = true; }

private:
    bool m_reportNext = true;
    std::optional<zel::Stopwatch> m_sinceLast; // made on the first report
};

} // namespace krel5
