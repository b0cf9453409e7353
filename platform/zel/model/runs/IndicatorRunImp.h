#pragma once

#include <zel/foundation/Stopwatch.h>
#include <zel/model/devices/DeviceImp.h>
#include <zel/model/module/IndicatorImp.h>

namespace zel {

/// One indicator on one device (or on none), with the clock that says when it is due.
class IndicatorRunImp
{
public:
    IndicatorRunImp(IndicatorImp& indicator, DeviceImp* device, double updateIntervalSeconds)
        : m_indicator(&indicator), m_device(device), m_updateInterval(updateIntervalSeconds)
    {}

    IndicatorImp& indicator() const noexcept { return *m_indicator; }
    DeviceImp* device() const noexcept { return m_device; } ///< null for a free indicator
    double updateInterval() const noexcept { return m_updateInterval; }
    double elapsedSinceLastCall() const noexcept { return m_sinceLastCall.getElapsed(); }
    bool hasBeenCalled() const noexcept { return m_called; }
    void resetLastCallTime() noexcept
    {
        m_sinceLastCall.reset();
        m_called = true;
    }
    bool hasUpdateBeenForced() const noexcept { return m_forced; }
    void forceUpdate() noexcept { m_forced = true; }
    void updateComplete() noexcept { m_forced = false; }

private:
    IndicatorImp* m_indicator;
    DeviceImp* m_device;
    double m_updateInterval;
    Stopwatch m_sinceLastCall;
    bool m_called = false;
    bool m_forced = false;
};

} // namespace zel
