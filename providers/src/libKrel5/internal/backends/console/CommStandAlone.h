#pragma once
// The console runner: finds devices itself, picks devices, tests and indicators by number, prints what
// happens.

#include <libKrel5/internal/backends/CommInterface.h>

namespace krel5 {

/// What it shows is in the process's state manager and test-run manager; of its own it knows only whether the
/// last text left its line open, and of which devices and indicators it has made runs.
/// Thread rule: that of CommInterface; it starts no thread.
class CommStandAlone : public CommInterface
{
public:
    bool openConnection() override { return true; }
    bool closeConnection() override { return true; }
    bool receiveTestRun() override;
    bool receiveIndicatorMessages() override;
    bool receiveIndicatorRun() override;
    void receiveDevices() override;
    bool hasAllDevices() const override;
    void sendPercentDoneMessage() override;
    void sendEstimatedTimeLeftMessage() override;
    bool receiveStopMessage() override { return false; }
    void sendSetTimeOutMessage(unsigned) override {}
    unsigned receiveGetTimeOutMessage() override { return 0; }
    void sendClearTimeOutMessage() override {}
    void sendProgressInformativeMessage() override;
    void sendEvent() override;
    void sendVersion() override;
    void sendAddDevice(zel::DeviceImp& device) override;
    void sendAddDevices() override;
    void sendEnumTests() override;
    void sendEnumIndicators() override;
    void sendFinalResult() override;
    void sendMessageBox(zel::MessageBoxImp& box) override;
    void sendDeviceUpdateMessage(IndicatorReturnData const& data, zel::DeviceImp& device) override;
    zel::StateManager* getCurrentStateManagerFromEngine() override { return nullptr; }
    bool isStandAlone() const override { return true; }
    void sendRequestDeviceAddition(zel::DeviceImp& device) override;
    void sendRequestDeviceRemoval(zel::DeviceImp& device) override;
    void sendRequestDevicePropertyAddition(zel::DeviceImp& device, zel::PropertyImp& property) override;
    void sendRequestDevicePropertyRemoval(zel::DeviceImp& device, zel::PropertyImp& property) override;
    void sendRequestAlertRemoval(zel::AlertImp const& alert) override;
    void sendRequestAlertAddition(zel::AlertImp const& alert) override;
    bool httpGetRequest(zel::String const&, zel::String& response, zel::String const&) override
    {
        response = "only an engine fetches anything";
        return false;
    }

private:
    void receiveDiagnosticDevices();
    void printLine(zel::String const& line);
    void printText(zel::String const& text);
    void endOpenLine();

    std::uint64_t m_associationChanges = 0; // when the list of runs was last made; under the library mutex
    bool m_lineIsOpen =
        false; // under the library mutex, as the reports are; the final result comes behind them
};

} // namespace krel5
