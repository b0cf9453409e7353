#pragma once
// How a module talks to the outside world: an engine, a pair of pipes, a client in the same process, or a
// console.

#include <zel/foundation/String.h>

#include <memory>

namespace zel {
class AlertImp;
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
/// design. Test reports are about the current run of zel::TestRunManager.
///
/// Thread rule, behind each operation in three words:
/// - thread: *main*, or *any* - then several threads may be in the backend at once;
/// - lock: *mutex* - the caller holds the library mutex, or *no lock* - it holds none, and the backend takes the
///   library mutex itself for what it changes in the state manager;
/// - *quick* - hands over and returns, without asking or waiting for the other side; or *may wait* for an answer
///   (an engine's for up to two minutes), while other threads go on reporting. What may wait is never called
///   under the library mutex: who reads a device or reports progress meanwhile would wait as well, and so would
///   the thread that brings the answer.
class CommInterface
{
public:
    CommInterface() = default;
    CommInterface(CommInterface const&) = delete;
    CommInterface& operator=(CommInterface const&) = delete;
    virtual ~CommInterface();

    virtual bool openConnection();  ///< main, no lock, may wait
    virtual bool closeConnection(); ///< main, no lock, may wait
    /// Fills zel::TestRunManager. False when there is nothing to run. Main, no lock, may wait.
    virtual bool receiveTestRun();
    /// Fills the state manager's indicator runs, or processes what clients sent. Main, no lock, may wait.
    virtual bool receiveIndicatorMessages();
    virtual bool receiveIndicatorRun();          ///< main, no lock, may wait
    virtual void receiveDevices();               ///< main, no lock, may wait
    virtual void sendPercentDoneMessage();       ///< any, mutex, quick
    virtual void sendEstimatedTimeLeftMessage(); ///< any, mutex, quick
    /// Whether somebody outside asked the module to stop, or is gone. Any, mutex, quick: asked again and again
    /// while a test works, so it looks at what has come and waits for nothing.
    virtual bool receiveStopMessage();
    static constexpr unsigned kNoTimeOut = 0xFFFFFFFFu;   ///< seconds: for ever
    virtual void sendSetTimeOutMessage(unsigned seconds); ///< any, no lock, may wait
    virtual unsigned receiveGetTimeOutMessage();          ///< any, no lock, may wait
    virtual void sendClearTimeOutMessage();               ///< any, no lock, may wait
    virtual void sendProgressInformativeMessage();        ///< any, mutex, quick
    /// Takes the events from the current run and delivers them. Any, mutex, quick.
    virtual void sendEvent();
    virtual void sendVersion();                         ///< main, no lock, may wait
    virtual void sendAddDevice(zel::DeviceImp& device); ///< main, no lock, may wait
    virtual void sendAddDevices();                      ///< main, no lock, may wait
    virtual void sendEnumTests();                       ///< main, no lock, may wait
    virtual void sendEnumIndicators();                  ///< main, no lock, may wait
    /// The current run takes no reports any more, so nothing about it follows. Main, no lock, may wait.
    virtual void sendFinalResult();
    /// Gets the box its answer; leaves it without one when nobody can be asked. Any, no lock, may wait.
    virtual void sendMessageBox(zel::MessageBoxImp& box);
    /// Any, mutex, quick.
    virtual void sendDeviceUpdateMessage(IndicatorReturnData const& data, zel::DeviceImp& device);
    /// Owned by the backend and left alone by it until the next call; null when there is no engine. Any, no
    /// lock, may wait.
    virtual zel::StateManager* getCurrentStateManagerFromEngine();
    virtual bool isStandAlone() const = 0; ///< any, either, quick: never changes
    /// The changes of the inventory: any, mutex, quick.
    virtual void sendRequestDeviceAddition(zel::DeviceImp& device);
    virtual void sendRequestDeviceRemoval(zel::DeviceImp& device);
    virtual void sendRequestDevicePropertyAddition(zel::DeviceImp& device, zel::PropertyImp& property);
    virtual void sendRequestDevicePropertyRemoval(zel::DeviceImp& device, zel::PropertyImp& property);
    virtual void sendRequestAlertRemoval(zel::AlertImp const& alert);
    /// Takes the pending changes from the state manager and delivers them. Any, mutex, quick: of two threads that
    /// do so, the one that took later must not deliver earlier.
    virtual void propagateChanges();
    /// An assertion failure where it is not overridden. Any, either, quick.
    virtual bool hasReceivedMessage(int typeCode);
    virtual std::shared_ptr<CommMessageWaiter> createMessageWaiter(); ///< any, no lock, quick
    /// Any, no lock, may wait.
    virtual bool httpGetRequest(zel::String const& url, zel::String& response, zel::String const& options);
    /// Whether the devices are those that are found here, whatever is asked for; else the other side brings them. Main, either,
    /// quick: never changes.
    virtual bool findsDevicesHere() const { return isStandAlone(); }
    /// False when receiveDevices could not look everywhere, so that devices may be missing. Main, no lock, quick.
    virtual bool hasAllDevices() const { return true; }
    /// False when the other side has not said that it has the last listing or result, and should have. Main, either, quick.
    virtual bool isConfirmed() const { return true; }
    /// An error that ends the process, as the person at the console reads it. Any, either; waits for no answer,
    /// since it is also called in the report of a fault.
    virtual void sendInternalError(zel::String const& text);
    /// Shows an alert that the state manager holds by now; propagateChanges() is what delivers it. Any, mutex, quick.
    virtual void sendRequestAlertAddition(zel::AlertImp const& alert);
};

} // namespace krel5
