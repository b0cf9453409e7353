// What a running test reports: progress, events; and who hears it.
#include <krel5/DiagModule.h>

#include <libKrel5/basics/Arguments.h>
#include <libKrel5/basics/LibraryMutex.h>
#include <libKrel5/basics/OwnProcess.h>
#include <libKrel5/facades/DiagModuleRun.h>
#include <libKrel5/internal/backends/CommInterface.h>
#include <libKrel5/internal/backends/StopRequest.h>
#include <libKrel5/internal/backends/console/CommStandAloneText.h>
#include <libKrel5/internal/module/ErrorReporting.h>
#include <libKrel5/internal/module/ModuleCommon.h>
#include <libKrel5/internal/runs/ProgressFilter.h>
#include <libKrel5/objects/Factories.h>

#include <krel5/Event.h>
#include <krel5/EventType.h>
#include <krel5/LocalizedString.h>
#include <krel5/TestObserver.h>

#include <zel/foundation/Logger.h>
#include <zel/foundation/Stopwatch.h>
#include <zel/model/runs/TestRunImp.h>

#include <algorithm>
#include <vector>

namespace krel5 {

namespace {

using zel::LogLevel;

zel::Logger& logger()
{
    static zel::Logger& s_logger = zel::LogFactory::getLogger("krel5.DiagModule");
    return s_logger;
}

constexpr char kPercentDone[] = "TestObserver::onPercentDone(...)";

// Guarded by the library mutex.
ProgressFilter s_progressFilter;
std::vector<TestObserver*> s_observers;

// An observer has no part in the run: by the time it hears of a report, that has gone out, and a verdict that was
// told cannot be taken back for what somebody who only watches threw.
void tellWhatAnObserverThrew(KrelException const& error)
{
    ZEL_LOG(logger(), LogLevel::Error) << error.toString().zelString();
    ErrorReporting::tell(ErrorReporting::withoutStackTrace(error.toString().zelString()));
}

template <typename Call>
void notify(char const* operation, Call call)
{
    // A copy: one may unregister itself, and none is called under a lock.
    std::vector<TestObserver*> observers;
    {
        zel::AutoMutex const guard(libraryMutex());
        observers = s_observers;
    }
    for (TestObserver* const observer : observers)
        guarded(
            operation, [&] { call(*observer); }, tellWhatAnObserverThrew);
}

CommInterface* commOfRunningTest(zel::TestRunImp const* run, char const* operation)
{
    OwnProcess::prepareThread();
    CommInterface* const comm = run ? ModuleCommon::comm() : nullptr;
    if (!comm)
        ZEL_LOG(logger(), LogLevel::Error) << operation << ": no test is running, the report is dropped";
    return comm;
}

} // namespace

// ---- stopping

bool DiagModule::checkForStop()
{
    OwnProcess::prepareThread(); // workers of a test ask here
    return StopRequest::isMade();
}

void DiagModule::requestAbort() { StopRequest::make(); }

// ---- progress

void DiagModule::percentDone(int percent)
{
    {
        zel::AutoMutex const guard(libraryMutex());
        // While a test is repeated for a minimum time, its own percentages would start over with each pass.
        if (s_minTimePerTestMode)
            percent = DiagModuleRun::minimumTimePercent();
    }
    doPercentDone(percent);
}

void DiagModule::doPercentDone(int percent)
{
    ProgressFilter::Decision decision;
    {
        zel::AutoMutex const guard(libraryMutex());
        CommInterface* const comm = commOfRunningTest(s_testRunImp, "percentDone");
        if (comm)
            decision = s_progressFilter.decide(percent, s_percentComplete);
        if (!decision.send)
            return;
        if (decision.sendZeroFirst) {
            s_testRunImp->setPercentComplete(0);
            comm->sendPercentDoneMessage();
        }
        s_testRunImp->setPercentComplete(percent);
        comm->sendPercentDoneMessage();
        s_percentComplete = percent;
    }
    if (decision.sendZeroFirst)
        notify(kPercentDone, [](TestObserver& observer) { observer.onPercentDone(0); });
    notify(kPercentDone, [percent](TestObserver& observer) { observer.onPercentDone(percent); });
}

void DiagModule::resetPercentDone()
{
    zel::AutoMutex const guard(libraryMutex());
    s_percentComplete = -1;
    s_progressTimedStarted = false;
}

void DiagModule::estimatedTimeLeft(unsigned int seconds)
{
    zel::AutoMutex const guard(libraryMutex());
    CommInterface* const comm = commOfRunningTest(s_testRunImp, "estimatedTimeLeft");
    if (!comm)
        return;
    s_testRunImp->setEstimatedTimeLeft(seconds);
    comm->sendEstimatedTimeLeftMessage();
}

void DiagModule::progress(Event const* event)
{
    requireArgument(event != nullptr, "event", "DiagModule::progress(...)");
    sendEventImp(*event, zel::EventTypeImp::PROGRESS(), "", 0);
}

void DiagModule::progress(LocalizedString const* text)
{
    requireArgument(text != nullptr, "text", "DiagModule::progress(...)");
    zel::String const resolved = text->imp().resolve();
    {
        zel::AutoMutex const guard(libraryMutex());
        CommInterface* const comm = commOfRunningTest(s_testRunImp, "progress");
        if (!comm)
            return;
        s_testRunImp->setProgressInformation(shownText(text->imp()));
        comm->sendProgressInformativeMessage();
    }
    notify("TestObserver::onProgress(...)",
           [&](TestObserver& observer) { observer.onProgress(KrelString(resolved)); });
}

// Nothing ever sets s_progressTimedStarted, so every text goes out at once; modules rely on it.
void DiagModule::progressTimed(double milliseconds, LocalizedString const* text)
{
    {
        zel::AutoMutex const guard(libraryMutex());
        static zel::Stopwatch s_sinceText; // since the last one
        if (s_progressTimedStarted && s_sinceText.getElapsed() <= milliseconds / 1000)
            return;
        s_sinceText.reset();
    }
    progress(text);
}

// ---- events

void DiagModule::sendEvent(Event const* event, EventType const& type, KrelString const& file, int line)
{
    requireArgument(event != nullptr, "event", "DiagModule::sendEvent(...)");
    sendEventImp(*event, type.imp(), file.zelString(), line);
}

void DiagModule::informative(Event const* event, KrelString const& file, int line)
{
    sendEvent(event, EventType::INFORMATIVE(), file, line);
}

void DiagModule::warning(Event const* event, KrelString const& file, int line)
{
    sendEvent(event, EventType::WARNING(), file, line);
}

void DiagModule::error(Event const* event, KrelString const& file, int line)
{
    sendEvent(event, EventType::ERR(), file, line);
}

void DiagModule::sendEventImp(Event const& event, zel::EventTypeImp const& type, zel::String const& file,
                              int line)
{
    sendPreparedEvent(event.createEventToSend(type, ModuleCommon::module().guid(), file, line));
}

void DiagModule::sendPreparedEvent(zel::TestRunEventImp event)
{
    zel::String const message = event.message().resolve();
    // At the default threshold the log of a failed run says what failed.
    ZEL_LOG(logger(), event.type() == zel::EventTypeImp::ERR() ? LogLevel::Error : LogLevel::Information)
        << event.type().toString() << " event " << event.key() << ": " << message;
    zel::String const type = event.type().toString(), key = event.key();
    {
        zel::AutoMutex const guard(libraryMutex());
        CommInterface* const comm = commOfRunningTest(s_testRunImp, "sendEvent");
        if (!comm)
            return;
        if (zel::DeviceImp const* const device = s_testRunImp->device())
            event.setDevice({device->guid(), device->name(), device->description()});
        s_testRunImp->addEvent(std::move(event));
        comm->sendEvent();
    }
    notify("TestObserver::onEvent(...)", [&](TestObserver& observer) {
        observer.onEvent(KrelString(type), KrelString(key), KrelString(message));
    });
}

// ---- observers

void DiagModule::registerObserver(TestObserver* observer)
{
    requireArgument(observer != nullptr, "observer", "DiagModule::registerObserver(...)");
    zel::AutoMutex const guard(libraryMutex());
    if (std::find(s_observers.begin(), s_observers.end(), observer) == s_observers.end())
        s_observers.push_back(observer);
}

void DiagModule::unregisterObserver(TestObserver* observer)
{
    zel::AutoMutex const guard(libraryMutex());
    std::erase(s_observers, observer);
}

void DiagModule::notifyResult(Test const& test, TestResult const& result)
{
    notify("TestObserver::onResult(...)", [&](TestObserver& observer) { observer.onResult(test, result); });
}

} // namespace krel5
