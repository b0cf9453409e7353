#pragma once
// The backend for a client in the same process, which hosts the module in a thread of its own.

#include <libKrel5/internal/backends/CommInterface.h>

namespace krel5 {

/// All that it has stands in zel::ProcessLinkConfigurator, behind whose other end the client is.
class CommDirectLink : public CommInterface
{
public:
    /// False, and told, when there is no client.
    bool openConnection() override;
    bool closeConnection() override;
    /// Does what the client asks for until it says nothing for 50 ms; then tells it what has changed.
    bool receiveIndicatorMessages() override;
    /// There always is one: the client says what is watched while the module runs. Finds devices as the console does.
    bool receiveIndicatorRun() override;
    void receiveDevices() override;
    bool findsDevicesHere() const override { return true; }
    bool hasAllDevices() const override;
    /// The client has asked for it, or is gone.
    bool receiveStopMessage() override;
    void sendEnumIndicators() override;
    /// Quick: a client that does not read loses the oldest readings, and is told so.
    void sendDeviceUpdateMessage(IndicatorReturnData const& data, zel::DeviceImp& device) override;
    bool isStandAlone() const override { return false; }
};

} // namespace krel5
