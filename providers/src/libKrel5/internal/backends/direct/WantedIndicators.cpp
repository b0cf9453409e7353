#include <libKrel5/internal/backends/direct/WantedIndicators.h>

#include <zel/model/state/StateManager.h>

#include <unordered_map>

namespace krel5 {
namespace {

zel::StateManager& manager() { return zel::StateManager::instance(); }

std::unordered_map<zel::IndicatorImp const*, double>& wanted()
{
    static auto* const s_wanted = new std::unordered_map<zel::IndicatorImp const*, double>();
    return *s_wanted;
}

} // namespace

void WantedIndicators::add(zel::IndicatorImp const& indicator, double interval)
{
    wanted().emplace(&indicator, interval);
}

std::size_t WantedIndicators::setInterval(zel::IndicatorImp const* indicator, double seconds)
{
    std::size_t count = 0;
    for (auto& [one, interval] : wanted()) {
        if (indicator && indicator != one)
            continue;
        interval = seconds;
        ++count;
    }
    return count;
}

void WantedIndicators::addThoseWithRuns()
{
    for (std::size_t i = 0; i < manager().indicatorRunCount(); ++i)
        add(manager().indicatorRunAtIndex(i).indicator(), manager().indicatorRunAtIndex(i).updateInterval());
}

void WantedIndicators::watch(zel::DeviceImp& device)
{
    for (zel::IndicatorImp* const indicator : manager().indicatorsOf(device))
        if (auto const asked = wanted().find(indicator); asked != wanted().end())
            manager().addIndicatorRun(zel::IndicatorRunImp(*indicator, &device, asked->second));
}

} // namespace krel5
