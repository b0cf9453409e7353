#pragma once
// The backend for another process that hands over what it knows of the machine and takes back what the module found:
// a state as one document each way, over two pipes whose numbers stand on the command line.

#include <libKrel5/internal/backends/CommInterface.h>

namespace krel5 {

/// Whatever fails is logged and costs no more: the module works on, and reports, the state that it has. A stop
/// request ends a wait for the other process.
class CommXml : public CommInterface
{
public:
    /// `mergesReceived`: whether received devices become devices of this process, or only their property
    /// specifications.
    explicit CommXml(bool mergesReceived = true) : m_mergesReceived(mergesReceived) {}

    bool openConnection() override;
    bool closeConnection() override;
    /// None: what goes through the pipes has no run in it, and the person at the console is told so.
    bool receiveTestRun() override;
    void receiveDevices() override;
    void sendPercentDoneMessage() override;
    bool receiveStopMessage() override;
    void sendVersion() override;
    /// Nothing, which is told as well.
    void sendEnumTests() override;
    void sendAddDevice(zel::DeviceImp& device) override;
    /// To the pipe; where there is none, for people on standard output.
    void sendAddDevices() override;
    void sendEnumIndicators() override { sendAddDevices(); } ///< the document holds both
    bool isStandAlone() const override { return false; }

private:
    bool m_mergesReceived;
};

} // namespace krel5
