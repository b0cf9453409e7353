#pragma once
// A DiagHost that also says how long the test will still take; see TimeLeft.h.
//
// Thread rule: as for DiagHost.

#include <common/DiagHost.h>

#include <common/Stopwatch.h>
#include <common/TimeLeft.h>
#include <krel5/DiagModule.h>
#include <krel5/TestResult.h>

namespace krel5::modules {

class TimedHost : public DiagHost
{
public:
    using DiagHost::run;
    TestResult run(std::function<Outcome(TestHost&)> const& check) override
    {
        m_left.beginRun();
        return DiagHost::run(check);
    }

    void progress(int percent) override
    {
        DiagHost::progress(percent);
        if (auto const seconds = m_left.tell(percent, m_clock.getElapsed()))
            DiagModule::estimatedTimeLeft(*seconds);
    }

private:
    TimeLeft m_left;
    Stopwatch m_clock;
};

} // namespace krel5::modules
