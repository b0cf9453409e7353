// A run against another side that answers late: which lock a report holds, and who waits for whom.
#include <krel5/internal/runs/RunTest.h>

#include <foundation/TemporaryFolder.h>

#include <zel/foundation/Locks.h>
#include <zel/model/settings/SettingsResource.h>

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
    EXPECT_EQ(DiagModule::getCurrentStateManagerFromEngine(false), &m_backend->m_state);
    EXPECT_EQ(own.deviceCount(), 0u) << "merged without being asked to";
    EXPECT_FALSE(DiagModule::isStandAlone());
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

TEST(CommInterface, withNothingOfItsOwnHasNothingToRunAndNothingToSay)
{
    struct : CommInterface
    {
        bool isStandAlone() const override { return false; }
    } none;
    zel::String response;
    EXPECT_TRUE(none.openConnection() && none.closeConnection());
    EXPECT_FALSE(none.receiveTestRun() || none.receiveStopMessage() || none.receiveIndicatorRun());
    EXPECT_FALSE(none.receiveIndicatorMessages() || none.httpGetRequest("", response, ""));
}

TEST_F(RunTest, nothingRunsWithoutAConnection)
{
    m_backend->m_opens = false;
    bool hasRun = false;
    EXPECT_EQ(run([&] { return hasRun = true, TestResult::PASS(); }), TestResult::CANNOTRUN());
    EXPECT_EQ(DiagModule::enumTests(), TestResult::CANNOTRUN());
    EXPECT_FALSE(hasRun || m_backend->wasCalled("receiveDevices") || m_backend->wasCalled("closeConnection"));
}

// What an engine may send that this module cannot run.
TEST_F(RunTest, aRunOfNothingKnownIsAnInternalError)
{
    zel::TestImp stranger("stranger", zel::CapabilityImp::HardDrive());
    struct Case
    {
        zel::TestImp* test;
        zel::DeviceImp* device;
        char const* what;
    };
    for (Case const& one : std::initializer_list<Case>{{nullptr, m_device.get(), "NULL TestImp"},
                                                       {&test().imp(), nullptr, "NULL DeviceImp"},
                                                       {&stranger, m_device.get(), "test \"stranger\""}}) {
        zel::TestRunManager::instance().clear();
        ModuleCommon::setComm(std::make_unique<TestBackend>(one.test, one.device));
        try {
            run([] { return TestResult::PASS(); });
            ADD_FAILURE() << one.what;
        } catch (InternalException const& e) {
            EXPECT_NE(e.toString().zelString().toUtf8().find(one.what), std::string::npos);
        }
    }
}

TEST_F(RunTest, anObserverHearsEachReportOnceWhileItIsRegistered)
{
    struct : TestObserver
    {
        void onProgress(KrelString const&) override { ++texts; }
        int texts = 0;
    } observer;
    DiagModule::registerObserver(&observer);
    DiagModule::registerObserver(&observer);
    run([&] {
        EXPECT_EQ(DiagModule::getCurrentPass(), 1u);
        DiagModule::progressTimed(60000, text());
        DiagModule::progressTimed(60000, text());
        DiagModule::unregisterObserver(&observer);
        DiagModule::progressTimed(60000, text());
        return TestResult::PASS();
    });
    EXPECT_EQ(observer.texts, 2);
    EXPECT_EQ(m_backend->m_progressTexts, 3) << "none is held back";
    EXPECT_EQ(DiagModule::getCurrentPass(), 0u);
}

TEST_F(RunTest, aTimeOutIsTheTestsOwnOrThatOfTheSettings)
{
    test::TemporaryFolder folder;
    for (auto const& [line, seconds] :
         {std::pair<char const*, unsigned>{"TimeOut.value=5m\n", 300}, {"", DiagModule::INFINITE_TIMEOUT}}) {
        folder.write("mod.w4i", line);
        zel::SettingsResource::setSearchFolders({folder.path()});
        DiagModule::setTimeOut(DiagModule::FROM_SETTINGS_FILE);
        EXPECT_EQ(m_backend->m_timeOut, seconds) << line;
        DiagModule::setTimeOut(8);
        EXPECT_EQ(m_backend->m_timeOut, 8u);
    }
    zel::SettingsResource::setSearchFolders({});
}
