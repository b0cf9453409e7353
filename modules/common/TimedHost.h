#pragma once
// A DiagHost that also says how long the test will still take, from how long it took so far.
//
// Thread rule: as for DiagHost.

#include <common/DiagHost.h>

#include <common/Stopwatch.h>
#include <krel5/DiagModule.h>

namespace krel5::modules {

class TimedHost : public DiagHost
{
public:
    void progress(int percent) override
    {
        if (percent < m_percent) { // a new run
            m_run.reset();
            m_told.reset();
        }
        m_percent = percent;
        DiagHost::progress(percent);
        double const elapsed = m_run.getElapsed();
        if (percent < 1 || percent > 99 || m_told.getElapsed() < kSecondsBetween)
            return;
        DiagModule::estimatedTimeLeft(static_cast<unsigned>(elapsed * (100 - percent) / percent + 0.5));
        m_told.reset();
    }

private:
    static constexpr double kSecondsBetween = 2.0;

    int m_percent = -1;
    Stopwatch m_run;
    Stopwatch m_told;
};

} // namespace krel5::modules
