#include <internal/ProgressFilter.h>

namespace krel5 {

namespace {
constexpr int kTenthsBetweenReports = 5;
}

ProgressFilter::Decision ProgressFilter::decide(int percent, int lastSent)
{
    if (!m_sinceLast)
        m_sinceLast.emplace();
    bool const tooSoon = static_cast<int>(m_sinceLast->getElapsed() * 10) < kTenthsBetweenReports;
    if (!m_reportNext && tooSoon && percent != 0 && percent != 100)
        return {};
    if (percent <= lastSent || percent > 100)
        return {};
    m_sinceLast->reset();
    m_reportNext = false;
    return {lastSent == -1 && percent >= 1, true};
}

} // namespace krel5
