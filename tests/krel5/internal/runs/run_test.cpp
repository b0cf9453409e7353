// A run against another side that answers late: which lock a report holds, and who waits for whom.
#include <krel5/internal/runs/RunTest.h>

#include <zel/foundation/Locks.h>

#include <stdexcept>

using namespace krel5;
using test::RunTest;
using test::TestBackend;

namespace {
constexpr std::uint32_t kLongEnough = 10000; // milliseconds; only a run that hangs waits for it
}

TEST_F(RunTest, whatMayWaitIsCalledWithoutTheLibraryMutex)
{
    auto const everything = [] {
        DiagModule::percentDone(50);
        DiagModule::estimatedTimeLeft(1);
        DiagModule::progress(text());
        DiagModule::warning(event(), "run_test.cpp", 1);
        DiagModule::checkForStop();
        DiagModule::setTimeOut(1);
        EXPECT_EQ(DiagModule::getTimeOut(), 7u);
        DiagModule::clearTimeOut();
        DiagModule::createMessageBox(MsgBoxType::OK, "title", "text");
        DiagModule::getCurrentStateManagerFromEngine(true);
    };
    auto const fromTwoThreads = [&] {
        everything();
        std::thread(everything).join();
        return TestResult::PASS();
    };
    EXPECT_EQ(DiagModule::enumTests(), TestResult::PASS());
    EXPECT_EQ(run(fromTwoThreads), TestResult::PASS());
    EXPECT_EQ(m_backend->calls(), (std::set<TestBackend::Call>{
                                      {"openConnection", false},
                                      {"receiveDevices", false},
                                      {"sendEnumTests", false},
                                      {"receiveTestRun", false},
                                      {"sendPercentDoneMessage", true},
                                      {"sendEstimatedTimeLeftMessage", true},
                                      {"sendProgressInformativeMessage", true},
                                      {"sendEvent", true},
                                      {"receiveStopMessage", true},
                                      {"sendSetTimeOutMessage", false},
                                      {"receiveGetTimeOutMessage", false},
                                      {"sendClearTimeOutMessage", false},
                                      {"sendMessageBox", false},
                                      {"getCurrentStateManagerFromEngine", false},
                                      {"sendFinalResult", false},
                                      {"closeConnection", false},
                                  }));
}

TEST_F(RunTest, whileTheResultWaitsForItsAnswerNobodyElseWaitsAndNothingIsReported)
{
    zel::ManagedSemaphore inResult, leftBehindIsThrough;
    std::thread leftBehind;
    auto const leaveThread = [&] {
        leftBehind = std::thread([&] {
            EXPECT_TRUE(inResult.wait(kLongEnough));
            DiagModule::percentDone(50);
            DiagModule::estimatedTimeLeft(1);
            DiagModule::error(event(), "run_test.cpp", 1);
            EXPECT_FALSE(DiagModule::checkForStop());
            EXPECT_EQ(DiagModule::getCurrentTest(), nullptr);
            EXPECT_EQ(DiagDevice(m_device.get()).name(), KrelString("disk"));
            leftBehindIsThrough.post();
        });
        EXPECT_EQ(DiagModule::getCurrentTest(), &test());
        return TestResult::PASS();
    };
    m_backend->m_onFinalResult = [&] {
        zel::TestRunImp const* const run = zel::TestRunManager::instance().current();
        ASSERT_NE(run, nullptr) << "the result is about the current run";
        EXPECT_EQ(run->result(), zel::TestResultImp::PASS());
        EXPECT_EQ(run->state(), zel::TestStateImp::EXITED());
        inResult.post();
        EXPECT_TRUE(leftBehindIsThrough.wait(kLongEnough)) << "who reports waits for the result's answer";
        EXPECT_EQ(run->percentComplete(), 100);
    };
    EXPECT_EQ(run(leaveThread), TestResult::PASS());
    leftBehind.join();
    EXPECT_FALSE(m_backend->wasCalled("sendEstimatedTimeLeftMessage")) << "a report after the last one";
    EXPECT_FALSE(m_backend->wasCalled("sendEvent")) << "a report after the last one";
    EXPECT_EQ(zel::TestRunManager::instance().current(), nullptr);
}

TEST_F(RunTest, aTestThatThrowsIsNoLongerCurrent)
{
    EXPECT_THROW(run([]() -> TestResult { throw std::runtime_error("broken"); }), std::runtime_error);
    EXPECT_EQ(DiagModule::getCurrentTest(), nullptr);
    EXPECT_EQ(zel::TestRunManager::instance().current(), nullptr);
    DiagModule::estimatedTimeLeft(1);
    EXPECT_FALSE(m_backend->wasCalled("sendEstimatedTimeLeftMessage"));
}

// Who holds the mutex reads the module's state: the engine's may be fetched meanwhile, but not yet merged into it.
TEST_F(RunTest, theEnginesStateIsMergedUnderTheLibraryMutex)
{
    m_backend->m_state.addDevice(*m_device, nullptr);
    auto& own = zel::StateManager::instance();
    zel::ManagedSemaphore merged;
    std::thread merging;
    {
        zel::AutoMutex const guard(libraryMutex());
        merging = std::thread([&] {
            EXPECT_EQ(DiagModule::getCurrentStateManagerFromEngine(true), &m_backend->m_state);
            merged.post();
        });
        EXPECT_FALSE(merged.wait(200)) << "merged while another thread held the library mutex";
        EXPECT_EQ(own.deviceCount(), 0u);
    }
    merging.join();
    EXPECT_EQ(own.deviceCount(), 1u);
}
