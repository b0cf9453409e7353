// A run against another side that answers late: which lock a report holds, and who waits for whom.
#include <krel5/internal/runs/TestBackend.h>

#include <libKrel5/internal/module/Factories.h>
#include <libKrel5/internal/module/ModuleCommon.h>

#include <krel5/krel5.h>

#include <zel/foundation/Locks.h>

#include <gtest/gtest.h>

#include <stdexcept>

using namespace krel5;
using test::TestBackend;

namespace {

constexpr std::uint32_t kLongEnough = 10000; // milliseconds; only a run that hangs waits for it

std::function<TestResult()> s_body; // what the test of the module does

TestResult callBody(DiagDevice const&) { return s_body(); }

class RunTest : public ::testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        s_test = DiagModule::createTest("t", DeviceCapability::HardDrive(), callBody);
        s_event = DiagModule::createEvent("e");
        s_text = DiagModule::createLocalizedString("Text.t", "working");
    }
    void SetUp() override
    {
        m_device = zel::DeviceImp::createGeneric(zel::CapabilityImp::HardDrive(), zel::CapabilityImp(),
                                                 "disk", "/dev/x", "a disk", "SATA:1", zel::CapabilityImp());
        auto backend = std::make_unique<TestBackend>(&s_test->imp(), m_device.get());
        m_backend = backend.get();
        ModuleCommon::setComm(std::move(backend));
    }
    void TearDown() override
    {
        zel::TestRunManager::instance().clear();
        zel::StateManager::instance().clear();
        ModuleCommon::setComm(nullptr);
    }

    static Test* s_test;
    static Event* s_event;
    static LocalizedString* s_text;
    std::unique_ptr<zel::DeviceImp> m_device;
    TestBackend* m_backend = nullptr;
};

Test* RunTest::s_test = nullptr;
Event* RunTest::s_event = nullptr;
LocalizedString* RunTest::s_text = nullptr;

} // namespace

TEST_F(RunTest, whatMayWaitIsCalledWithoutTheLibraryMutex)
{
    auto const everything = [] {
        DiagModule::percentDone(50);
        DiagModule::estimatedTimeLeft(1);
        DiagModule::progress(s_text);
        DiagModule::warning(s_event, "run_test.cpp", 1);
        DiagModule::checkForStop();
        DiagModule::setTimeOut(1);
        EXPECT_EQ(DiagModule::getTimeOut(), 7u);
        DiagModule::clearTimeOut();
        DiagModule::createMessageBox(MsgBoxType::OK, "title", "text");
        DiagModule::getCurrentStateManagerFromEngine(true);
    };
    s_body = [&] {
        everything();
        std::thread(everything).join();
        return TestResult::PASS();
    };
    EXPECT_EQ(DiagModule::enumTests(), TestResult::PASS());
    EXPECT_EQ(DiagModule::runTest(), TestResult::PASS());
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
    s_body = [&] {
        leftBehind = std::thread([&] {
            EXPECT_TRUE(inResult.wait(kLongEnough));
            DiagModule::percentDone(50);
            DiagModule::estimatedTimeLeft(1);
            DiagModule::error(s_event, "run_test.cpp", 1);
            EXPECT_FALSE(DiagModule::checkForStop());
            EXPECT_EQ(DiagModule::getCurrentTest(), nullptr);
            EXPECT_EQ(DiagDevice(m_device.get()).name(), KrelString("disk"));
            leftBehindIsThrough.post();
        });
        EXPECT_EQ(DiagModule::getCurrentTest(), s_test);
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
    EXPECT_EQ(DiagModule::runTest(), TestResult::PASS());
    leftBehind.join();
    EXPECT_FALSE(m_backend->wasCalled("sendEstimatedTimeLeftMessage")) << "a report after the last one";
    EXPECT_FALSE(m_backend->wasCalled("sendEvent")) << "a report after the last one";
    EXPECT_EQ(zel::TestRunManager::instance().current(), nullptr);
}

TEST_F(RunTest, aTestThatThrowsIsNoLongerCurrent)
{
    s_body = []() -> TestResult { throw std::runtime_error("broken"); };
    EXPECT_THROW(DiagModule::runTest(), std::runtime_error);
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
