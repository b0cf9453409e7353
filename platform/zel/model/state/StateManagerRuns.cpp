// Runs of the indicators, and the binding of runs that were made elsewhere.
#include <zel/model/state/StateManager.h>

#include <zel/foundation/Exception.h>
#include <zel/foundation/Index.h>
#include <zel/model/runs/TestRunManager.h>

#include <algorithm>

namespace zel {

IndicatorRunImp* StateManager::indicatorRun(IndicatorImp const& indicator, DeviceImp const* device) const
{
    auto const found = m_runIndex.find({indicator.guid(), device ? device->guid() : String()});
    return found == m_runIndex.end() ? nullptr : found->second;
}

IndicatorRunImp& StateManager::addIndicatorRun(IndicatorRunImp run)
{
    if (IndicatorRunImp* const known = indicatorRun(run.indicator(), run.device()))
        return *known;
    m_indicatorRuns.push_back(std::make_unique<IndicatorRunImp>(std::move(run)));
    IndicatorRunImp& added = *m_indicatorRuns.back();
    added.setPlace(++m_lastRunPlace);
    m_runIndex[{added.indicator().guid(), added.deviceGuid()}] = &added;
    m_hasHadIndicatorRuns = true;
    return added;
}

IndicatorRunImp& StateManager::indicatorRunAtIndex(std::size_t index) const
{
    checkIndex(index, m_indicatorRuns.size());
    return *m_indicatorRuns[index];
}

std::size_t StateManager::indicatorRunIndexBehind(IndicatorRunImp const& run) const
{
    auto const behind =
        std::upper_bound(m_indicatorRuns.begin(), m_indicatorRuns.end(), run.place(),
                         [](std::uint64_t place, auto const& one) { return place < one->place(); });
    return static_cast<std::size_t>(behind - m_indicatorRuns.begin());
}

void StateManager::endRunsOf(DeviceImp const& device)
{
    auto const ended = std::stable_partition(m_indicatorRuns.begin(), m_indicatorRuns.end(),
                                             [&device](auto const& run) { return run->device() != &device; });
    for (auto one = ended; one != m_indicatorRuns.end(); ++one) {
        (*one)->end();
        m_runIndex.erase({(*one)->indicator().guid(), device.guid()});
        m_endedRuns.push_back(std::move(*one));
    }
    m_indicatorRuns.erase(ended, m_indicatorRuns.end());
}

std::size_t StateManager::testRunCount() const
{
    return this == &instance() ? TestRunManager::instance().testRunCount() : m_testRuns.size();
}

TestRunImp& StateManager::testRunAtIndex(std::size_t index) const
{
    if (this == &instance())
        return TestRunManager::instance().testRunAtIndex(index);
    checkIndex(index, m_testRuns.size());
    return *m_testRuns[index];
}

TestRunImp& StateManager::addTestRun(TestRunImp run)
{
    if (this == &instance())
        return TestRunManager::instance().addTestRun(std::move(run));
    m_testRuns.push_back(std::make_unique<TestRunImp>(std::move(run)));
    return *m_testRuns.back();
}

void StateManager::bind(TestRunImp& run) const
{
    TestImp* const test = this->test(run.testGuidOrKey());
    DeviceImp* const device = m_devices.find(run.deviceGuid());
    if (!test)
        throw StateException("Test run \"" + run.guid() + "\" is of the test \"" + run.testGuidOrKey() +
                             "\", which is not known");
    if (!device)
        throw StateException("Test run \"" + run.guid() + "\" is of the device \"" + run.deviceGuid() +
                             "\", which is not known");
    run.bind(*test, *device);
}

void StateManager::bind(IndicatorRunImp& run) const
{
    IndicatorImp* const indicator = this->indicator(run.indicatorGuidOrKey());
    DeviceImp* const device = m_devices.find(run.deviceGuid());
    if (!indicator)
        throw StateException("Indicator run is of the indicator \"" + run.indicatorGuidOrKey() +
                             "\", which is not known");
    if (!device && !run.deviceGuid().empty())
        throw StateException("Indicator run of \"" + run.indicatorGuidOrKey() + "\" is of the device \"" +
                             run.deviceGuid() + "\", which is not known");
    run.bind(*indicator, device);
}

} // namespace zel
