// What a running module tells the engine, and what it asks the person behind the engine.
#include <libKrel5/internal/backends/engine/CommEngine.h>

#include <libKrel5/basics/LibraryMutex.h>
#include <libKrel5/internal/backends/StopRequest.h>

#include <krel5/IndicatorReturnData.h>

#include <zel/foundation/Logger.h>
#include <zel/model/runs/TestRunManager.h>
#include <zel/model/texts/GlobalParameters.h>
#include <zel/model/texts/LocalizedResource.h>

#include <algorithm>

namespace krel5 {
namespace {

using zel::LogLevel;
using What = zel::ProgressBody::What;
using Priority = zel::Message::Priority;

zel::Logger& logger()
{
    static zel::Logger& s_logger = zel::LogFactory::getLogger("krel5.Comm.Engine");
    return s_logger;
}

// The run now executing; null, with a line in the log, when there is none.
zel::TestRunImp* currentRun()
{
    zel::TestRunImp* const run = zel::TestRunManager::instance().current();
    if (!run)
        ZEL_LOG(logger(), LogLevel::Error) << "Invalid TestRun";
    return run;
}

// The engine has not this module's text files: the text goes along, and the variables stay what they are.
zel::LocalizedStringImp withText(zel::LocalizedStringImp text)
{
    if (!text.overrideText())
        if (auto const found = zel::LocalizedResource::find(text.moduleGuid(), text.key(),
                                                            zel::GlobalParameters::instance().language()))
            text.setOverride(*found);
    return text;
}

zel::TestRunEventImp withTexts(zel::TestRunEventImp const& event)
{
    zel::TestRunEventImp complete(event.type(), event.key(), event.eventCode(), event.eventCodeString(),
                                  withText(event.message()));
    complete.setSource(event.sourceFile(), event.sourceLine());
    if (event.device())
        complete.setDevice(*event.device());
    for (std::size_t i = 0; i < event.tipCount(); ++i)
        complete.addTip(withText(event.tip(i)));
    return complete;
}

zel::ProgressBody bodyOf(What what, zel::TestRunImp& run)
{
    zel::ProgressBody body;
    body.what = what;
    body.run = run.guid();
    body.state = run.state();
    body.result = run.result();
    body.resultNote = run.resultNote();
    body.isResultForced = run.isResultForced();
    body.pass = run.currentPass();
    body.percent = run.percentComplete();
    body.timeLeft = run.estimatedTimeLeft();
    body.information = run.progressInformation();
    body.hadErrors = run.hasErrors();
    if (what == What::Events)
        while (auto const event = run.nextEvent())
            body.events.push_back(withTexts(*event));
    return body;
}

std::shared_ptr<zel::StateManager const> stateWith(zel::DeviceImp const& device)
{
    auto state = std::make_shared<zel::StateManager>();
    for (std::size_t i = 0; i < device.propertyCount(); ++i)
        state->addPropertySpec(device.getProperty(i).spec(), false);
    state->addDevice(std::make_unique<zel::DeviceImp>(device), nullptr);
    return state;
}

// What was read now, and nothing that the device had before.
std::shared_ptr<zel::StateManager const> stateWith(zel::DeviceImp const& device,
                                                   IndicatorReturnData const& data)
{
    auto copy = std::make_unique<zel::DeviceImp>(device);
    while (copy->propertyCount() > 0)
        copy->removeProperty(copy->getProperty(copy->propertyCount() - 1).key());
    auto state = std::make_shared<zel::StateManager>();
    for (unsigned i = 0; i < data.propertyCount(); ++i) {
        zel::PropertyImp const& reading = data.propertyAtIndex(i).imp();
        state->addPropertySpec(reading.spec(), false);
        copy->addProperty(&reading).leaveGroups();
    }
    state->addDevice(std::move(copy), nullptr);
    return state;
}

// Changes are news to an engine that has given a run. Who only lists sends everything at the end.
bool hasRun() { return zel::StateManager::instance().hasHadIndicatorRuns() || currentRun(); }

bool isAnswerOf(zel::MessageBoxImp const& box, int code)
{
    return std::ranges::any_of(box.answers(), [code](auto const& one) { return one.code == code; });
}

} // namespace

// ---- the run

void CommEngine::sendProgress(What what, Priority priority)
{
    zel::TestRunImp* const run = currentRun();
    if (!run)
        return;
    zel::TestProgressProviderToEngine message(bodyOf(what, *run));
    message.setPriority(priority);
    if (what == What::Events)
        ZEL_LOG(logger(), LogLevel::Debug) << "sendEvent priority = " << static_cast<int>(message.priority());
    send(message);
}

void CommEngine::sendPercentDoneMessage() { sendProgress(What::PercentDone, Priority::Low); }
void CommEngine::sendEstimatedTimeLeftMessage() { sendProgress(What::TimeLeft, Priority::Low); }
void CommEngine::sendProgressInformativeMessage() { sendProgress(What::Information, Priority::Low); }
void CommEngine::sendEvent() { sendProgress(What::Events, Priority::Normal); }

// As urgent as a percentage: nothing about the run may come behind its result.
void CommEngine::sendFinalResult()
{
    zel::TestProgressProviderToEngine message;
    {
        zel::AutoMutex const guard(libraryMutex());
        zel::TestRunImp* const run = currentRun();
        if (!run)
            return;
        run->setState(zel::TestStateImp::EXITED());
        message.body() = bodyOf(What::FinalResult, *run);
    }
    message.setPriority(Priority::Low);
    confirm({"sendFinalResult", m_patience, 1, Ends::WithTheEngine}, std::move(message));
}

// ---- the person

// Answers find their question by its number, so several may stand at once, and none holds up an exchange.
void CommEngine::sendMessageBox(zel::MessageBoxImp& box)
{
    zel::MessageBoxBody body{.id = ++m_lastNumber, .run = zel::String(), .box = box};
    {
        zel::AutoMutex const guard(libraryMutex());
        zel::TestRunImp const* const run = currentRun();
        if (!run)
            return;
        body.run = run->guid();
    }
    std::uint64_t const number = body.id;
    auto const waiter = createMessageWaiter();
    ProviderMessageHandler::Registration const registration(m_handler, waiter);
    waiter->setWantedMessageType(zel::MessageBoxEngineToProvider::kTypeCode);
    if (!send(zel::MessageBoxProviderToEngine(std::move(body))))
        return box.cutShort();
    auto const isOver = [] { return StopRequest::isMade(); }; // also when the engine is gone
    while (auto const message = waiter->waitForMessage(CommMessageWaiter::kForever, isOver)) {
        auto const* const reply = dynamic_cast<zel::MessageBoxEngineToProvider const*>(message.get());
        if (!reply || reply->body().id != number)
            continue;
        if (!reply->body().cutShort && isAnswerOf(box, reply->body().code))
            return box.setAnswer(reply->body().code);
        ZEL_LOG(logger(), LogLevel::Warning) << "The question \"" << box.title() << "\" got no answer";
        break;
    }
    box.cutShort();
}

// ---- time-outs: nobody but the engine enforces them

void CommEngine::sendSetTimeOutMessage(unsigned seconds)
{
    m_timeOut = seconds;
    bool const isLimit = seconds != kNoTimeOut;
    send(zel::TimeOutProviderToEngine({isLimit ? std::optional(seconds) : std::nullopt}));
}

void CommEngine::sendClearTimeOutMessage()
{
    m_timeOut = 0;
    send(zel::TimeOutProviderToEngine({std::nullopt}));
}

// ---- changes of the inventory

void CommEngine::sendUpdate(zel::UpdatesBody body)
{
    send(zel::UpdatesProviderToEngineToUI(std::move(body)));
}

void CommEngine::sendDeviceUpdateMessage(IndicatorReturnData const& data, zel::DeviceImp& device)
{
    sendUpdate({zel::UpdatesBody::What::Readings, device.guid(), zel::String(), stateWith(device, data)});
}

// Who asked for it may have added it already.
void CommEngine::sendRequestDeviceAddition(zel::DeviceImp& device)
{
    if (!hasRun())
        return;
    auto const state = stateWith(device);
    zel::StateManager& own = zel::StateManager::instance();
    if (!own.device(device.guid()))
        own.addDevice(device, nullptr);
    own.mergePropertySpecs(*state);
    sendUpdate({zel::UpdatesBody::What::AddDevice, device.guid(), zel::String(), state});
}

void CommEngine::sendRequestDeviceRemoval(zel::DeviceImp& device)
{
    if (hasRun())
        sendUpdate({zel::UpdatesBody::What::RemoveDevice, device.guid(), zel::String(), nullptr});
}

void CommEngine::sendRequestDevicePropertyAddition(zel::DeviceImp& device, zel::PropertyImp& property)
{
    if (hasRun())
        sendUpdate({zel::UpdatesBody::What::AddProperty, device.guid(), property.key(), stateWith(device)});
}

void CommEngine::sendRequestDevicePropertyRemoval(zel::DeviceImp& device, zel::PropertyImp& property)
{
    if (hasRun())
        sendUpdate({zel::UpdatesBody::What::RemoveProperty, device.guid(), property.key(), nullptr});
}

void CommEngine::sendRequestAlertRemoval(zel::AlertImp const& alert)
{
    if (hasRun())
        sendUpdate(
            {zel::UpdatesBody::What::RemoveAlert, alert.deviceGuid(), alert.key(), nullptr, alert.guid()});
}

} // namespace krel5
