#pragma once
// The backend for a test engine: logs in to the process that started the module, gets the run from it, reports to it
// while the test works, and hears from it that it should stop.

#include <libKrel5/internal/backends/CommInterface.h>
#include <libKrel5/internal/backends/engine/ProviderMessageHandler.h>

#include <zel/ipc/IPCClient.h>

#include <atomic>

namespace krel5 {

/// One exchange of request and reply at a time; questions and reports go past it. What is sent when the engine is gone is
/// logged and dropped. An engine that goes away counts as a stop request, and a module that does not end for it is ended.
/// Thread rule: that of CommInterface.
class CommEngine : public CommInterface
{
public:
    /// `patience`: milliseconds; for a reply that may take work.
    explicit CommEngine(std::uint32_t patience = 120'000);
    ~CommEngine() override;

    bool openConnection() override;
    bool closeConnection() override;
    bool receiveTestRun() override;
    bool receiveIndicatorRun() override;
    void receiveDevices() override;
    bool hasAllDevices() const override { return m_hasDevices; }
    void sendPercentDoneMessage() override;
    void sendEstimatedTimeLeftMessage() override;
    bool receiveStopMessage() override;
    void sendSetTimeOutMessage(unsigned seconds) override;
    unsigned receiveGetTimeOutMessage() override { return m_timeOut; }
    void sendClearTimeOutMessage() override;
    void sendProgressInformativeMessage() override;
    void sendEvent() override;
    void sendVersion() override;
    void sendAddDevices() override;
    void sendEnumTests() override;
    void sendEnumIndicators() override;
    void sendFinalResult() override;
    void sendMessageBox(zel::MessageBoxImp& box) override;
    void sendDeviceUpdateMessage(IndicatorReturnData const& data, zel::DeviceImp& device) override;
    zel::StateManager* getCurrentStateManagerFromEngine() override;
    bool isStandAlone() const override { return false; }
    void sendRequestDeviceAddition(zel::DeviceImp& device) override;
    void sendRequestDeviceRemoval(zel::DeviceImp& device) override;
    void sendRequestDevicePropertyAddition(zel::DeviceImp& device, zel::PropertyImp& property) override;
    void sendRequestDevicePropertyRemoval(zel::DeviceImp& device, zel::PropertyImp& property) override;
    void sendRequestAlertRemoval(zel::AlertImp const& alert) override;
    void propagateChanges() override;
    bool hasReceivedMessage(int typeCode) override;
    std::shared_ptr<CommMessageWaiter> createMessageWaiter() override;
    bool httpGetRequest(zel::String const& url, zel::String& response, zel::String const& options) override;
    bool isConfirmed() const override { return m_isConfirmed; }
    void sendInternalError(zel::String const& text) override;

private:
    using MessagePointer = CommMessageWaiter::MessagePointer;
    enum class Ends { WithTheEngine, WithAStop }; ///< a wait, early; the latter also with the former

    struct Exchange
    {
        char const* operation;
        std::uint32_t milliseconds; ///< of one try
        unsigned tries;             ///< of waiting; the request goes out once
        Ends ends;
    };
    /// Sends the request, with a number, and waits for the reply that has the same. Null, with a line in the log, when none
    /// came.
    template <typename Reply>
    std::shared_ptr<Reply const> exchange(Exchange const& how, zel::Message&& request);
    MessagePointer waitFor(CommMessageWaiter& waiter, Exchange const& how, unsigned& tries,
                           zel::IPCClient::Reading& reading);
    void logSilence(Exchange const& how, int typeCode) const;
    bool confirm(Exchange const& how, zel::Message&& request);

    bool send(zel::Message const& message);
    void sendProgress(zel::ProgressBody::What what, zel::Message::Priority priority);
    void sendUpdate(zel::UpdatesBody body);
    bool isEngineGone() const noexcept { return !m_engine.isRemoteRunning(); }
    void endWithoutEngine();

    std::uint32_t const m_patience;
    ProviderMessageHandler m_handler;
    zel::Mutex m_exchangeMutex; // one request in flight at a time; taken before the library mutex
    std::unique_ptr<zel::StateManager> m_engineState; // of the last request for it; under m_exchangeMutex
    zel::String m_run; // guid, once one was received; main thread, before threads
    bool m_hasDevices = true;
    std::atomic<bool> m_isConfirmed{true};
    std::atomic<unsigned> m_timeOut{0};         // seconds
    std::atomic<unsigned> m_shutdownSeconds;    // how long a test may take to end without an engine
    std::atomic<std::uint64_t> m_lastNumber{0}; // of questions and requests
    std::atomic<std::int64_t> m_process{
        0}; // which one logged in: a child that came out of fork has no part in the link
    zel::ManagedSemaphore m_isEnding; // posted when the connection is about to be closed
    zel::IPCClient m_client;          // last: its thread uses all of the above
    zel::IPCCommMgr const& m_engine;
};

} // namespace krel5
