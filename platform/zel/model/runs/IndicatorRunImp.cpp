#include <zel/model/runs/IndicatorRunImp.h>

#include <zel/foundation/Exception.h>

namespace zel {

IndicatorRunImp IndicatorRunImp::restored(String const& indicatorGuidOrKey, String const& deviceGuid,
                                          double updateIntervalSeconds)
{
    IndicatorRunImp run;
    run.m_indicatorName = indicatorGuidOrKey;
    run.m_deviceName = deviceGuid;
    run.m_updateInterval = updateIntervalSeconds;
    return run;
}

void IndicatorRunImp::restoreClock(double secondsAgo, bool isCalled) noexcept
{
    m_before = secondsAgo;
    m_sinceLastCall.reset();
    m_called = isCalled;
}

void IndicatorRunImp::bind(IndicatorImp& indicator, DeviceImp* device)
{
    String const& known = indicatorGuidOrKey();
    if (known != indicator.guid() && known != indicator.keyInModule())
        throw StateException("Indicator run is of the indicator \"" + known + "\", not of \"" +
                             indicator.guid() + "\"");
    String const place = device ? device->guid() : String();
    if (deviceGuid() != place)
        throw StateException("Indicator run of \"" + known + "\" is of the device \"" + deviceGuid() +
                             "\", not of \"" + place + "\"");
    m_indicator = &indicator;
    m_device = device;
}

IndicatorImp& IndicatorRunImp::indicator() const
{
    ZEL_ASSERT(isBound());
    return *m_indicator;
}

} // namespace zel
