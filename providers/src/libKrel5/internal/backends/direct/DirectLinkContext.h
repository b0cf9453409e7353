#pragma once
// What the requests of a client in the same process do to this module.

#include <zel/ipc/direct/IndicatorContext.h>

namespace krel5 {

/// Each operation takes the library mutex.
class DirectLinkContext : public zel::IndicatorContext
{
public:
    void watch(zel::String const& device, zel::String const& indicator) override;
    void forceUpdate(zel::String const& device, zel::String const& indicator) override;
    void setUpdateInterval(zel::String const& device, zel::String const& indicator, double seconds) override;
    void sendListing() override;
    void stop() override;
};

} // namespace krel5
