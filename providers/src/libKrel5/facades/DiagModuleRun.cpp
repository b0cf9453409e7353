#include <libKrel5/facades/DiagModuleRun.h>

#include <libKrel5/basics/LibraryMutex.h>
#include <libKrel5/facades/CurrentRun.h>
#include <libKrel5/internal/module/ErrorReporting.h>
#include <libKrel5/internal/runs/RunAccount.h>
#include <libKrel5/internal/settings/SettingsRefusal.h>
#include <libKrel5/objects/Factories.h>

#include <krel5/DiagDevice.h>
#include <krel5/DiagModule.h>
#include <krel5/InternalException.h>
#include <krel5/KrelString.h>

#include <zel/foundation/Logger.h>
#include <zel/foundation/Stopwatch.h>
#include <zel/foundation/System.h>
#include <zel/model/runs/TestRunManager.h>
#include <zel/model/state/StateManager.h>

#include <algorithm>
#include <chrono>
#include <span>

namespace krel5 {
namespace {

using zel::LogLevel;

zel::Logger& logger()
{
    static zel::Logger& s_logger = zel::LogFactory::getLogger("krel5.DiagModule");
    return s_logger;
}

zel::Stopwatch s_sinceFirstPass; // of the run in minimum-time mode; guarded by the library mutex

std::uint64_t steadyMilliseconds()
{
    auto const now = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::milliseconds>(now).count());
}

void setBeginningTime(zel::TestRunImp& run)
{
    zel::AutoMutex const guard(libraryMutex());
    run.setBeginningTime(steadyMilliseconds());
}

// The event that says why an interactive test cannot be repeated; it belongs to the library, not to a module.
Event const& interactiveMinTimeErrorEvent()
{
    static auto* const s_event = [] {
        auto* event = new Event("InteractiveMinTimeErrorEvent", 0);
        event->imp().setMessage(
            zel::LocalizedStringImp("Event.InteractiveMinTimeErrorEvent.Message",
                                    "An interactive test cannot run for a minimum time."));
        return event;
    }();
    return *s_event;
}

// Lines of the settings that force something: " (mymod.w4i:3: Test.memory.ForceResult.value=PASS)".
zel::String inBrackets(std::span<zel::String const> forcingLines)
{
    zel::String text;
    for (zel::String const& line : forcingLines)
        text += (text.empty() ? zel::String(" (") : zel::String(", ")) + line;
    return text.empty() ? text : text + ")";
}

/// How many of them, the first ones, are about the result and not about events.
std::size_t resultLines(zel::TestImp const& test)
{
    return std::min<std::size_t>(test.forcedResult() ? 1 : 0, test.forcingLines().size());
}

} // namespace

TestResult DiagModuleRun::runAll(CommInterface& comm)
{
    zel::TestRunManager& queue = zel::TestRunManager::instance();
    ZEL_LOG(logger(), LogLevel::Information)
        << "StateManager::instance().testRunCount() = " << static_cast<std::uint64_t>(queue.testRunCount());
    if (queue.testRunCount() == 0) { // an engine that sent none; nothing tested is nothing passed
        if (DiagModule::checkForStop())
            return TestResult::USERABORTED();
        ZEL_LOG(logger(), LogLevel::Error) << "There is no test to run";
        ErrorReporting::tell("There is no test to run");
        return TestResult::CANNOTRUN();
    }
    TestResult overall = TestResult::PASS();
    RunAccount account(queue.testRunCount(), comm.isStandAlone());
    for (std::size_t i = 0; i < queue.testRunCount(); ++i) {
        zel::TestRunImp& run = queue.testRunAtIndex(i);
        account.begin(run);
        TestResult const result = runOne(comm, run);
        account.end(result);
        if (overall == TestResult::PASS())
            overall = result;
        if (!DiagModule::checkForStop()) {
            if (overall == TestResult::PASS() && !comm.isConfirmed())
                overall = TestResult::CANNOTRUN();
            continue;
        }
        if (overall == TestResult::PASS())
            overall = TestResult::USERABORTED();
        break;
    }
    return overall;
}

Test& DiagModuleRun::testOf(zel::TestRunImp& run)
{
    if (!run.test())
        throw InternalException(zel::String("TestRun returned NULL TestImp"));
    if (!run.device())
        throw InternalException(zel::String("TestRun returned NULL DeviceImp"));
    Test* const test = Factories::tests().find(run.test()->keyInModule());
    if (!test)
        throw InternalException(zel::String("TestRun is of the unknown test \"") + run.test()->keyInModule() +
                                "\"");
    return *test;
}

CurrentRun DiagModuleRun::begin(zel::TestRunImp& run)
{
    zel::AutoMutex const guard(libraryMutex());
    DiagModule::s_minTimePerTestMode = run.minTime() != 0;
    s_sinceFirstPass.reset();
    DiagModule::resetPercentDone();
    for (auto const& parameter : Factories::parameters())
        parameter->resetForTestRun(run);
    run.setState(zel::TestStateImp::RUNNING());
    return CurrentRun(run);
}

TestResult DiagModuleRun::runOne(CommInterface& comm, zel::TestRunImp& run)
{
    ZEL_LOG(logger(), LogLevel::Information) << "running TestRun"
                                             << ", guid = " << run.guid();
    Test& test = testOf(run);
    ZEL_LOG(logger(), LogLevel::Information) << "pass: " << run.currentPass();
    ZEL_LOG(logger(), LogLevel::Information)
        << "Running " << run.test()->keyInModule() << " on " << run.device()->name();
    CurrentRun current = begin(run);
    zel::Stopwatch const elapsed;
    TestResult const result = runUnlessRefused(run, test);
    end(current, run, result, elapsed.getElapsed());
    comm.sendFinalResult(); // may wait for its answer, so without the mutex
    DiagModule::notifyResult(test, result);
    return result;
}

// One test's bad line costs the others nothing.
TestResult DiagModuleRun::runUnlessRefused(zel::TestRunImp& run, Test& test)
{
    if (refusesRunsOf(test.imp()))
        return TestResult::INTERNALERROR();
    TestResult const result =
        DiagModule::s_minTimePerTestMode ? runForMinimumTime(run, test) : runOnce(run, test);
    DiagModule::doPercentDone(100);
    return result;
}

// A thread that the test left behind may still report: it is heard before the result, or not at all.
void DiagModuleRun::end(CurrentRun& current, zel::TestRunImp& run, TestResult const& result, double seconds)
{
    zel::AutoMutex const guard(libraryMutex());
    current.closeForReports();
    DiagModule::s_minTimePerTestMode = false;
    run.setFinalResult(result.imp());
    ZEL_LOG(logger(), result == TestResult::PASS() ? LogLevel::Information : LogLevel::Error)
        << "Final result of " << run.toString() << ": " << result.toString().zelString();
    if (run.hasErrors() && result == TestResult::PASS()) {
        zel::String const text = "the test \"" + run.test()->keyInModule() +
                                 "\" reported an error and returned PASS, which counts";
        ZEL_LOG(logger(), LogLevel::Warning) << text;
        ErrorReporting::tell("WARNING: " + text);
    }
    ZEL_LOG(logger(), LogLevel::Information) << "test done elapsed time: " << seconds;
    run.setState(zel::TestStateImp::EXITED());
}

TestResult DiagModuleRun::callTest(zel::TestRunImp& run, Test& test)
{
    // Somebody who asked to stop while devices were still being looked for must not see a test start.
    if (DiagModule::checkForStop())
        return TestResult::USERABORTED();
    auto const endIfChild = [process = zel::System::processId()] {
        if (zel::System::processId() == process)
            return;
        ErrorReporting::tell("A child process of the test came back from it; it ends without a verdict.");
        zel::System::exitProcess(TestResult::INTERNALERROR().value());
    };
    TestResult result;
    try {
        result = test.runTest(DiagDevice(run.device()));
    } catch (...) {
        endIfChild();
        throw;
    }
    endIfChild();
    ZEL_LOG_LINE(logger(), LogLevel::Information, 345)
        << "test returned result: " << result.toString().zelString();
    bool const isStopped = result == TestResult::PASS() && DiagModule::checkForStop();
    zel::AutoMutex const guard(libraryMutex());
    return isStopped || run.isInterrupted() ? TestResult::USERABORTED() : result;
}

// A verdict that nobody came to by testing says so wherever it stands, in the coarsest log too.
void DiagModuleRun::note(zel::TestRunImp& run, zel::String const& text)
{
    logger().logAlways(
        LogLevel::Warning,
        (zel::String::number(std::int64_t{__LINE__}) + " " + run.toString() + ": " + text).toUtf8());
    zel::AutoMutex const guard(libraryMutex());
    zel::String const line = text.withoutControls(false);
    run.setResultNote(run.resultNote().empty() ? line : run.resultNote() + "\n" + line);
}

TestResult DiagModuleRun::runOnce(zel::TestRunImp& run, Test& test)
{
    ZEL_LOG(logger(), LogLevel::Information) << "NOT min time per test mode.";
    setBeginningTime(run);
    TestResult result;
    bool const isForced = test.getForcedResult(result);
    run.setResultForced(isForced);
    if (isForced) {
        DiagModule::doPercentDone(0);
        ZEL_LOG_LINE(logger(), LogLevel::Information, 336)
            << "forced result: " << result.toString().zelString();
        ErrorReporting::tell("WARNING: the settings force the result " + result.toString().zelString() +
                             "; the test \"" + test.imp().keyInModule() + "\" does not run");
        note(run,
             "Forced result: " + result.toString().zelString() + "; the test did not run" +
                 inBrackets(
                     std::span<zel::String const>(test.imp().forcingLines()).first(resultLines(test.imp()))));
    } else {
        result = callTest(run, test);
    }
    sendForcedEvents(run, test);
    return result;
}

// They look like any other event, so it is said first that the test has no part in them.
void DiagModuleRun::sendForcedEvents(zel::TestRunImp& run, Test& test)
{
    if (!test.imp().forcedEvent() && !test.imp().getForceAllEvents())
        return;
    zel::String const text =
        "Forced events: not reported by the test" +
        inBrackets(std::span<zel::String const>(test.imp().forcingLines()).subspan(resultLines(test.imp())));
    ErrorReporting::tell("WARNING: " + text);
    note(run, text);
    if (zel::TestRunEventImp forced; test.getForcedEvent(forced))
        DiagModule::sendPreparedEvent(std::move(forced));
    if (!test.imp().getForceAllEvents())
        return;
    ZEL_LOG_LINE(logger(), LogLevel::Information, 354) << "ForceAllEvents activated";
    for (auto const& event : Factories::events())
        DiagModule::sendEventImp(*event, zel::EventTypeImp::INFORMATIVE(), __FILE_NAME__, __LINE__);
}

// The missing blank before "and the device" is how this line has always read.
void DiagModuleRun::associateTests(zel::DeviceImp& device)
{
    zel::StateManager& manager = zel::StateManager::instance();
    for (auto const& one : Factories::tests()) {
        zel::TestImp& test = one->imp();
        zel::DeviceImp* previous = nullptr;
        if (!zel::TestImp::canEnumerateOnDevice(test, device, manager, &previous))
            continue;
        if (previous) {
            ZEL_LOG_LINE(logger(), LogLevel::Debug, 458)
                << "doTestEnumeration: removing association between test " << test.guid() << "and the device "
                << previous->guid();
            manager.removeAssociation(*previous, test);
        }
        ZEL_LOG_LINE(logger(), LogLevel::Debug, 462)
            << "doTestEnumeration: associating " << device.guid() << " with " << test.guid();
        manager.associate(device, test, true);
    }
}

int DiagModuleRun::minimumTimePercent()
{
    zel::AutoMutex const guard(libraryMutex());
    unsigned const seconds = DiagModule::s_testRunImp ? DiagModule::s_testRunImp->minTime() : 0;
    if (seconds == 0)
        return 100;
    return static_cast<int>(std::min(100.0, 100.0 * s_sinceFirstPass.getElapsed() / seconds));
}

TestResult DiagModuleRun::runForMinimumTime(zel::TestRunImp& run, Test& test)
{
    ZEL_LOG(logger(), LogLevel::Information) << "min time per test mode: min time = " << run.minTime();
    if (test.imp().flags().interactive) {
        DiagModule::sendEventImp(interactiveMinTimeErrorEvent(), zel::EventTypeImp::WARNING(), __FILE_NAME__,
                                 __LINE__);
        return TestResult::BADPARAMS();
    }
    if (zel::String const lines = inBrackets(test.imp().forcingLines()); !lines.empty()) {
        zel::String const text = "Nothing is forced in minimum-time mode; the test runs" + lines;
        ErrorReporting::tell("WARNING: " + text);
        note(run, text);
    }
    for (;;) {
        setBeginningTime(run);
        TestResult const result = callTest(run, test);
        if (result != TestResult::PASS()) {
            ZEL_LOG(logger(), LogLevel::Information)
                << "test didn't pass - returned result: " << result.toString().zelString();
            return result;
        }
        {
            zel::AutoMutex const guard(libraryMutex());
            run.clearEvents();
            if (s_sinceFirstPass.getElapsed() >= run.minTime())
                return result;
            run.setCurrentPass(run.currentPass() + 1);
        }
        DiagModule::doPercentDone(minimumTimePercent());
    }
}

} // namespace krel5
