#pragma once
// A backend that stands in for the other side: hands over one run and notes how each operation is called.

#include <libKrel5/basics/LibraryMutex.h>
#include <libKrel5/internal/backends/CommInterface.h>

#include <zel/model/runs/MessageBoxImp.h>
#include <zel/model/runs/TestRunManager.h>
#include <zel/model/state/StateManager.h>

#include <atomic>
#include <functional>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <utility>

namespace test {

/// Whether a thread holds the library mutex, seen from another one.
inline bool isLibraryMutexHeld()
{
    bool isFree = false;
    std::thread([&] {
        isFree = krel5::libraryMutex().try_lock();
        if (isFree)
            krel5::libraryMutex().unlock();
    }).join();
    return !isFree;
}

class TestBackend : public krel5::CommInterface
{
public:
    /// Neither is owned; `device` may be null.
    TestBackend(zel::TestImp* test, zel::DeviceImp* device) : m_test(test), m_device(device) {}

    bool openConnection() override { return note("openConnection"), m_opens; }
    bool closeConnection() override { return note("closeConnection"), true; }
    bool receiveTestRun() override
    {
        note("receiveTestRun");
        zel::TestRunManager::instance().addTestRun(zel::TestRunImp(m_test, m_device));
        return true;
    }
    void receiveDevices() override { note("receiveDevices"); }
    void sendPercentDoneMessage() override { note("sendPercentDoneMessage"); }
    void sendEstimatedTimeLeftMessage() override { note("sendEstimatedTimeLeftMessage"); }
    bool receiveStopMessage() override { return note("receiveStopMessage"), false; }
    void sendSetTimeOutMessage(unsigned seconds) override
    {
        note("sendSetTimeOutMessage");
        m_timeOut = seconds;
    }
    unsigned receiveGetTimeOutMessage() override { return note("receiveGetTimeOutMessage"), 7u; }
    void sendClearTimeOutMessage() override { note("sendClearTimeOutMessage"); }
    void sendProgressInformativeMessage() override
    {
        note("sendProgressInformativeMessage");
        ++m_progressTexts; // under the library mutex
    }
    void sendEvent() override { note("sendEvent"); }
    void sendEnumTests() override { note("sendEnumTests"); }
    void sendFinalResult() override
    {
        note("sendFinalResult");
        if (m_onFinalResult)
            m_onFinalResult();
    }
    void sendMessageBox(zel::MessageBoxImp& box) override
    {
        note("sendMessageBox");
        if (m_onMessageBox)
            m_onMessageBox(box);
    }
    zel::StateManager* getCurrentStateManagerFromEngine() override
    {
        note("getCurrentStateManagerFromEngine");
        return &m_state;
    }
    bool isStandAlone() const override { return false; }

    using Call = std::pair<std::string, bool>; ///< operation, and whether the library mutex was held
    std::set<Call> calls() const
    {
        std::lock_guard const guard(m_mutex);
        return m_calls;
    }
    bool wasCalled(std::string const& operation) const
    {
        return calls().contains({operation, true}) || calls().contains({operation, false});
    }

    bool m_opens = true;
    int m_progressTexts = 0;
    std::atomic<unsigned> m_timeOut{0};
    std::function<void()> m_onFinalResult;
    std::function<void(zel::MessageBoxImp&)> m_onMessageBox;
    zel::StateManager m_state; ///< the engine's

private:
    void note(char const* operation)
    {
        bool const isHeld = isLibraryMutexHeld();
        std::lock_guard const guard(m_mutex);
        m_calls.emplace(operation, isHeld);
    }

    zel::TestImp* m_test;
    zel::DeviceImp* m_device;
    mutable std::mutex m_mutex; // guards m_calls
    std::set<Call> m_calls;
};

} // namespace test
