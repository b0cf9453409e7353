#pragma once
// How a module talks to the outside world: an engine, a pair of pipes, a client in the same process, or a
// console.

#include <zel/foundation/String.h>

#include <memory>

namespace zel {
class DeviceImp;
class MessageBoxImp;
class PropertyImp;
class StateManager;
} // namespace zel

namespace krel5 {

class CommMessageWaiter;
class IndicatorReturnData;
class TestResult;

/// Chosen once by the start sequence, which owns it. A backend overrides what it needs; what it leaves alone
/// traces its name on "krel5.Comm.Interface" and does nothing. The order of the operations is part of the
/// design. Test reports are about the current run of zel::TestRunManager. Thread rule: main flow, unless a
/// backend says otherwise; reports may come from any thread, under the library mutex.
class CommInterface
{
public:
    CommInterface() = default;
    CommInterface(CommInterface const&) = delete;
    CommInterface& operator=(CommInterface const&) = delete;
    virtual ~CommInterface();

    virtual bool openConnection();
    virtual bool closeConnection();
    /// Fills zel::TestRunManager. False when there is nothing to run.
    virtual bool receiveTestRun();
    /// Fills the state manager's indicator runs, or processes what clients sent.
    virtual bool receiveIndicatorMessages();
    virtual bool receiveIndicatorRun();
    virtual void receiveDevices();
    virtual void sendPercentDoneMessage();
    virtual void sendEstimatedTimeLeftMessage();
    /// Whether somebody outside asked the module to stop, or is gone.
    virtual bool receiveStopMessage();
    virtual void sendSetTimeOutMessage(unsigned seconds);
    virtual unsigned receiveGetTimeOutMessage();
    virtual void sendClearTimeOutMessage();
    virtual void sendProgressInformativeMessage();
    /// Takes the events from the current run and delivers them.
    virtual void sendEvent();
    virtual void sendVersion();
    virtual void sendAddDevice(zel::DeviceImp& device);
    virtual void sendAddDevices();
    virtual void sendEnumTests();
    virtual void sendEnumIndicators();
    virtual void sendFinalResult();
    /// Gets the box its answer.
    virtual void sendMessageBox(zel::MessageBoxImp& box);
    virtual void sendDeviceUpdateMessage(IndicatorReturnData const& data, zel::DeviceImp& device);
    /// Owned by the backend; null when there is no engine.
    virtual zel::StateManager* getCurrentStateManagerFromEngine();
    virtual bool isStandAlone() const = 0;
    virtual void sendRequestDeviceAddition(zel::DeviceImp& device);
    virtual void sendRequestDeviceRemoval(zel::DeviceImp& device);
    virtual void sendRequestDevicePropertyAddition(zel::DeviceImp& device, zel::PropertyImp& property);
    virtual void sendRequestDevicePropertyRemoval(zel::DeviceImp& device, zel::PropertyImp& property);
    virtual void sendRequestAlertRemoval(zel::String const& alertKey);
    virtual void propagateChanges();
    /// An assertion failure where it is not overridden.
    virtual bool hasReceivedMessage(int typeCode);
    virtual std::shared_ptr<CommMessageWaiter> createMessageWaiter();
    virtual bool httpGetRequest(zel::String const& url, zel::String& response, zel::String const& options);
};

} // namespace krel5
