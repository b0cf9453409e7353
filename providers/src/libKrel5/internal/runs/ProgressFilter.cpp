#include <libKrel5/internal/runs/ProgressFilter.h>

#include <zel/foundation/Stopwatch.h>

namespace krel5 {

namespace {
constexpr int kTenthsBetweenReports = 5;
}

ProgressFilter::ProgressFilter() : m_clock([watch = zel::Stopwatch()] { return watch.getElapsed(); }) {}

ProgressFilter::Decision ProgressFilter::decide(int percent, int lastSent)
{
    double const now = m_clock();
    if (!m_last)
        m_last = now;
    bool const tooSoon = static_cast<int>((now - *m_last) * 10) < kTenthsBetweenReports;
    if (!m_reportNext && tooSoon && percent != 0 && percent != 100)
        return {};
    if (percent <= lastSent || percent > 100)
        return {};
    m_last = now;
    m_reportNext = false;
    return {lastSent == -1 && percent >= 1, true};
}

} // namespace krel5
