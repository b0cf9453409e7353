#pragma once

#include <zel/foundation/String.h>

namespace zel {

/// What a client in the same process may have done to the module whose indicators it drives. Devices are named by guid,
/// indicators by guid or key. Thread rule: the module's main flow. What cannot be done throws InvalidArgumentException, whose
/// text is for the client, and nothing has changed.
class IndicatorContext
{
public:
    virtual ~IndicatorContext() = default;

    /// The indicator looks at the device from now on. An empty device: at all that it is for, and those that come later; an
    /// empty indicator: each one does so.
    virtual void watch(String const& device, String const& indicator) = 0;
    /// The indicators that look at the device, or that one, are called in the next pass, due or not.
    virtual void forceUpdate(String const& device, String const& indicator) = 0;
    /// Seconds between two calls. An empty text stands for every one; when both are empty, of those to come as well.
    virtual void setUpdateInterval(String const& device, String const& indicator, double seconds) = 0;
    /// The client gets an EnumerationReturnedEngineToClient.
    virtual void sendListing() = 0;
    /// The module ends well.
    virtual void stop() = 0;
};

} // namespace zel
