#pragma once

#include <zel/foundation/Stopwatch.h>
#include <zel/model/devices/DeviceImp.h>
#include <zel/model/module/IndicatorImp.h>

namespace zel {

/// One indicator on one device (or on none), with the clock that says when it is due. The two are its
/// identity; it has no guid.
class ZEL_EXPORT IndicatorRunImp
{
public:
    /// Seconds from one call to the next, none of it waited yet.
    IndicatorRunImp(IndicatorImp& indicator, DeviceImp* device, double updateIntervalSeconds)
        : m_indicator(&indicator), m_device(device), m_updateInterval(updateIntervalSeconds)
    {}

    /// A run that was made elsewhere: it names its indicator by guid, or by key in the module, and its device
    /// by guid (empty: none). Until bind() it has neither.
    static IndicatorRunImp restored(String const& indicatorGuidOrKey, String const& deviceGuid,
                                    double updateIntervalSeconds);
    /// A call that happened elsewhere, so many seconds ago.
    void restoreLastCall(double secondsAgo) noexcept { restoreClock(secondsAgo, true); }
    /// Likewise, or, not called yet, so many seconds waited.
    void restoreClock(double secondsAgo, bool isCalled) noexcept;
    /// From here on the run is of this indicator and this device. Throws StateException, and the run stays as
    /// it is, when it names another indicator or device.
    void bind(IndicatorImp& indicator, DeviceImp* device);
    bool isBound() const noexcept { return m_indicator != nullptr; }
    /// What the run names, bound or not.
    String const& indicatorGuidOrKey() const noexcept
    {
        return m_indicator ? m_indicator->guid() : m_indicatorName;
    }
    String const& deviceGuid() const noexcept { return m_device ? m_device->guid() : m_deviceName; }

    /// Throws AssertionException for a run that is not bound.
    IndicatorImp& indicator() const;
    DeviceImp* device() const noexcept { return m_device; }             ///< null for a free indicator
    double updateInterval() const noexcept { return m_updateInterval; } ///< seconds
    /// Counts for the call that is awaited, too. Not negative.
    void setUpdateInterval(double seconds) noexcept { m_updateInterval = seconds; }
    /// Seconds since the last call; before the first, since the run was made.
    double elapsedSinceLastCall() const noexcept { return m_before + m_sinceLastCall.getElapsed(); }
    bool hasBeenCalled() const noexcept { return m_called; }
    /// Whether so many seconds without a call are enough: more than the interval, or never called.
    bool isDueAfter(double seconds) const noexcept { return !m_called || seconds > m_updateInterval; }
    bool isDueAt(Stopwatch::TimePoint now) const noexcept
    {
        return isDueAfter(m_before + m_sinceLastCall.getElapsed(now));
    }
    void resetLastCallTime() noexcept { restoreLastCall(0); }
    bool hasUpdateBeenForced() const noexcept { return m_forced; }
    void forceUpdate() noexcept { m_forced = true; }
    void updateComplete() noexcept { m_forced = false; }

    /// Its device is gone: nothing is called for it any more. What its last call returned may still be sent.
    bool hasEnded() const noexcept { return m_ended; }
    void end() noexcept { m_ended = true; }

    /// Place in its state manager's order of addition. It stays while others go.
    std::uint64_t place() const noexcept { return m_place; }
    void setPlace(std::uint64_t place) noexcept { m_place = place; }

private:
    IndicatorRunImp() = default;

    IndicatorImp* m_indicator = nullptr;
    DeviceImp* m_device = nullptr;
    String m_indicatorName, m_deviceName; // of a restored run
    double m_updateInterval = 0;
    double m_before = 0; // seconds of the clock that passed elsewhere
    Stopwatch m_sinceLastCall;
    bool m_called = false;
    bool m_forced = false;
    bool m_ended = false;
    std::uint64_t m_place = 0;
};

} // namespace zel
