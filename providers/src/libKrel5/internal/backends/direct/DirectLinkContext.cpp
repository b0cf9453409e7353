#include <libKrel5/internal/backends/direct/DirectLinkContext.h>

#include <libKrel5/basics/LibraryMutex.h>
#include <libKrel5/internal/backends/StopRequest.h>
#include <libKrel5/internal/backends/direct/WantedIndicators.h>
#include <libKrel5/objects/UpdateInterval.h>

#include <zel/foundation/Exception.h>
#include <zel/ipc/direct/ProcessLinkConfigurator.h>
#include <zel/model/state/StateManager.h>

#include <cmath>
#include <vector>

namespace krel5 {
namespace {

zel::StateManager& manager() { return zel::StateManager::instance(); }

[[noreturn]] void refuse(zel::String const& reason) { throw zel::InvalidArgumentException(reason); }

// Null for an empty text.
zel::DeviceImp* deviceOf(zel::String const& guid)
{
    zel::DeviceImp* const device = manager().device(guid);
    if (!device && !guid.empty())
        refuse("Cannot find device guid: " + guid + " in state manager");
    return device;
}

zel::IndicatorImp* indicatorOf(zel::String const& guidOrKey)
{
    zel::IndicatorImp* const indicator = guidOrKey.empty() ? nullptr : manager().indicator(guidOrKey);
    if (!indicator && !guidOrKey.empty())
        refuse("Cannot find indicator: " + guidOrKey + " in state manager");
    return indicator;
}

template <typename Action>
std::size_t forRuns(zel::DeviceImp const* device, zel::IndicatorImp const* indicator, Action action)
{
    std::size_t count = 0;
    for (std::size_t i = 0; i < manager().indicatorRunCount(); ++i) {
        zel::IndicatorRunImp& run = manager().indicatorRunAtIndex(i);
        if ((device && run.device() != device) || (indicator && &run.indicator() != indicator))
            continue;
        action(run);
        ++count;
    }
    return count;
}

zel::String named(zel::String const& device, zel::String const& indicator)
{
    return (indicator.empty() ? zel::String("no indicator") : "not the indicator: " + indicator) +
           (device.empty() ? zel::String() : " on device guid: " + device);
}

void addRun(zel::IndicatorImp& indicator, zel::DeviceImp* device)
{
    manager().addIndicatorRun(zel::IndicatorRunImp(indicator, device, updateInterval()));
}

// On every device that it is for, now and later.
void watchAll(zel::IndicatorImp& indicator)
{
    WantedIndicators::add(indicator, updateInterval());
    if (indicator.isFree())
        addRun(indicator, nullptr);
    for (std::size_t i = 0; i < manager().deviceCountByIndicator(indicator); ++i)
        addRun(indicator, manager().deviceByIndicatorAtIndex(indicator, i));
}

} // namespace

void DirectLinkContext::watch(zel::String const& device, zel::String const& indicator)
{
    zel::AutoMutex const guard(libraryMutex());
    zel::DeviceImp* const where = deviceOf(device);
    zel::IndicatorImp* const which = indicatorOf(indicator);
    std::vector<zel::IndicatorImp*> chosen;
    for (std::size_t i = 0; i < manager().indicatorCount(); ++i) {
        zel::IndicatorImp* const one = manager().indicatorAtIndex(i);
        if ((!which || which == one) && (!where || manager().isAssociated(*where, *one)))
            chosen.push_back(one);
    }
    if (chosen.empty())
        refuse("Cannot watch: there is " + named(device, indicator));
    for (zel::IndicatorImp* const one : chosen)
        where ? addRun(*one, where) : watchAll(*one);
}

// As under an engine, nobody asks for everything at once: a client that did so in a loop would keep a slow bus busy for ever.
void DirectLinkContext::forceUpdate(zel::String const& device, zel::String const& indicator)
{
    if (device.empty())
        refuse("Cannot process an update request when device guid is empty");
    zel::AutoMutex const guard(libraryMutex());
    if (forRuns(deviceOf(device), indicatorOf(indicator), [](auto& run) { run.forceUpdate(); }) == 0)
        refuse("Cannot update: watching is " + named(device, indicator));
}

void DirectLinkContext::setUpdateInterval(zel::String const& device, zel::String const& indicator,
                                          double seconds)
{
    zel::AutoMutex const guard(libraryMutex());
    if (!std::isfinite(seconds) || seconds < 0)
        refuse("Cannot set an update interval of " + zel::String::number(seconds) + " seconds");
    zel::DeviceImp* const where = deviceOf(device);
    zel::IndicatorImp* const which = indicatorOf(indicator);
    bool const isForAll = !where && !which;
    if (isForAll)
        if (auto const error = updateIntervalParameter().setValue(
                zel::ValueImp(seconds, zel::DataTypeImp::DOUBLE()), zel::ParameterSourceImp::CLIENT()))
            refuse(error->toString());
    std::size_t const later = where ? 0 : WantedIndicators::setInterval(which, seconds);
    auto const set = [seconds](zel::IndicatorRunImp& run) { run.setUpdateInterval(seconds); };
    if (forRuns(where, which, set) + later == 0 && !isForAll)
        refuse("Cannot set an update interval: watching is " + named(device, indicator));
}

void DirectLinkContext::sendListing()
{
    auto state = std::make_shared<zel::StateManager>();
    {
        zel::AutoMutex const guard(libraryMutex());
        state->mergeWithTracking(manager());
    }
    zel::ProcessLinkConfigurator::instance().sendMessageEngineToClient(
        std::make_unique<zel::EnumerationReturnedEngineToClient>(zel::StateBody{std::move(state)}));
}

void DirectLinkContext::stop() { StopRequest::make(); }

} // namespace krel5
