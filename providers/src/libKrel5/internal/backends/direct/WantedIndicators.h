#pragma once

#include <cstddef>

namespace zel {
class DeviceImp;
class IndicatorImp;
} // namespace zel

namespace krel5 {

/// The indicators that the other side has asked for: it cannot ask for those of a device that it does not know yet. Thread
/// rule: under the library mutex.
struct WantedIndicators
{
    /// How often, in seconds, counts for the first time.
    static void add(zel::IndicatorImp const& indicator, double interval);
    /// Of those there are; `indicator` may be null, for every one. How many it was.
    static std::size_t setInterval(zel::IndicatorImp const* indicator, double seconds);
    /// Those that have a run, as often as that.
    static void addThoseWithRuns();
    /// Gives the device runs of those of them that are tied to it.
    static void watch(zel::DeviceImp& device);
};

} // namespace krel5
