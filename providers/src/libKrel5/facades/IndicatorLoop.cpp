#include <libKrel5/facades/IndicatorLoop.h>

#include <libKrel5/basics/LibraryMutex.h>
#include <libKrel5/facades/DeviceFinding.h>
#include <libKrel5/internal/backends/CommInterface.h>
#include <libKrel5/internal/backends/StopRequest.h>
#include <libKrel5/internal/backends/direct/WantedIndicators.h>
#include <libKrel5/internal/module/ModuleCommon.h>
#include <libKrel5/objects/Factories.h>

#include <krel5/DiagDevice.h>
#include <krel5/IndicatorModule.h>

#include <zel/foundation/Exception.h>
#include <zel/foundation/System.h>
#include <zel/model/state/StateManager.h>

#include <algorithm>

namespace krel5 {
namespace {

zel::StateManager& manager() { return zel::StateManager::instance(); }

// Whether the run is to be called now, and if so, from when it waits for the next time. A forced call comes in between: the
// clock goes on.
bool take(zel::IndicatorRunImp& run, zel::Stopwatch::TimePoint now)
{
    if (!run.device())
        return true;
    bool const isDue = run.isDueAt(now);
    if (isDue)
        run.resetLastCallTime();
    bool const isTaken = isDue || run.hasUpdateBeenForced();
    if (isTaken)
        run.updateComplete();
    return isTaken;
}

} // namespace

TestResult IndicatorLoop::run()
{
    {
        zel::AutoMutex const guard(libraryMutex());
        WantedIndicators::addThoseWithRuns();
    }
    for (;;) {
        m_comm.receiveIndicatorMessages();
        pass();
        if (IndicatorModule::stopRequested())
            return TestResult::PASS();
        zel::System::sleepMilliseconds(kPause);
    }
}

void IndicatorLoop::pass()
{
    m_last = nullptr;
    m_ended.clear();
    bool ranFree = false;
    while (zel::IndicatorRunImp* const run = next()) {
        call(*run);
        ranFree |= !run->device();
        m_last = run;
        if (StopRequest::isMade()) // who has many slow indicators ends soon, too
            break;
    }
    if (ranFree)
        ModuleCommon::freeIndicatorsRan();
    zel::AutoMutex const guard(libraryMutex());
    if (manager().removedCount() == 0)
        return;
    DeviceFinding::endWalk();
    manager().releaseRemoved();
}

// The lock is taken and the clock read once for all that are not due.
zel::IndicatorRunImp* IndicatorLoop::next()
{
    zel::AutoMutex const guard(libraryMutex());
    auto const now = zel::Stopwatch::now();
    if (m_last && m_last->hasEnded())
        m_ended.push_back(m_last);
    for (std::size_t i = m_last ? manager().indicatorRunIndexBehind(*m_last) : 0;
         i < manager().indicatorRunCount(); ++i) {
        zel::IndicatorRunImp& run = manager().indicatorRunAtIndex(i);
        if (run.indicator().mayRun() && !wasCalledBefore(run) && take(run, now))
            return &run;
    }
    return nullptr;
}

// Under another record: the pass of a device that goes and comes back whenever it is read would have no end.
bool IndicatorLoop::wasCalledBefore(zel::IndicatorRunImp const& run) const
{
    return std::any_of(m_ended.begin(), m_ended.end(), [&run](zel::IndicatorRunImp const* one) {
        return &one->indicator() == &run.indicator() && one->deviceGuid() == run.deviceGuid();
    });
}

// A device that the function removes lives until the end of the pass.
void IndicatorLoop::call(zel::IndicatorRunImp& run)
{
    Indicator const* const indicator = Factories::indicators().find(run.indicator().keyInModule());
    ZEL_ASSERT(indicator != nullptr);
    if (!run.device()) {
        indicator->runIndicator();
        IndicatorModule::propagateChanges();
        return;
    }
    IndicatorReturnData const data = indicator->runIndicator(DiagDevice(run.device()));
    zel::AutoMutex const guard(libraryMutex());
    m_comm.sendDeviceUpdateMessage(data, *run.device());
}

void IndicatorLoop::tie(zel::DeviceImp& device)
{
    for (auto const& one : Factories::indicators()) {
        zel::IndicatorImp& indicator = one->imp();
        zel::DeviceImp* previous = nullptr;
        if (manager().isAssociated(device, indicator) ||
            !zel::IndicatorImp::canEnumerateOnDevice(indicator, device, manager(), &previous))
            continue;
        if (previous)
            manager().removeAssociation(*previous, indicator);
        manager().associate(device, indicator, true);
    }
}

void IndicatorLoop::watch(zel::DeviceImp& device)
{
    if (!ModuleCommon::comm()->isStandAlone())
        WantedIndicators::watch(device);
}

} // namespace krel5
