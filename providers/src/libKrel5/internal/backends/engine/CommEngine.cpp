// Login, and what is asked of the engine.
#include <libKrel5/internal/backends/engine/CommEngine.h>

#include <libKrel5/basics/LibraryMutex.h>
#include <libKrel5/internal/backends/StopRequest.h>
#include <libKrel5/internal/module/CommandLine.h>
#include <libKrel5/internal/module/ErrorReporting.h>
#include <libKrel5/internal/module/ModuleCommon.h>

#include <zel/foundation/Logger.h>
#include <zel/foundation/System.h>
#include <zel/model/runs/TestRunManager.h>
#include <zel/model/texts/GlobalParameters.h>

#include <algorithm>

namespace krel5 {
namespace {

using zel::LogLevel;

constexpr std::uint32_t kOneTry = 100; // milliseconds
constexpr unsigned kTries = 120;

zel::Logger& logger()
{
    static zel::Logger& s_logger = zel::LogFactory::getLogger("krel5.Comm.Engine");
    return s_logger;
}

zel::StateManager& manager() { return zel::StateManager::instance(); }

zel::ModuleBody ownModule()
{
    zel::ModuleImp const& module = ModuleCommon::module();
    return {.guid = module.guid(),
            .type = module.type().toString(),
            .version = module.version().toString(),
            .libraryVersion = zel::GlobalParameters::engineVersion().toString(),
            .processId = zel::System::processId()};
}

/// Of a reply: what it must have. A message that came over the link has it.
zel::StateManager const& stateOf(std::shared_ptr<zel::StateManager const> const& state)
{
    if (!state)
        throw zel::InvalidArgumentException("Invalid StateManager");
    return *state;
}

void requireModule(zel::StateManager const& state, char const* otherwise)
{
    if (!state.nextModule(nullptr))
        throw zel::NullPointerException(otherwise);
}

void merge(zel::StateManager const& received)
{
    zel::AutoMutex const guard(libraryMutex());
    manager().mergeWithTracking(received);
    manager().mergePropertySpecs(received);
}

std::shared_ptr<zel::StateManager const> copyOfState()
{
    auto copy = std::make_shared<zel::StateManager>();
    zel::AutoMutex const guard(libraryMutex());
    copy->mergeWithTracking(manager());
    return copy;
}

} // namespace

CommEngine::CommEngine(std::uint32_t patience)
    : m_patience(patience), m_shutdownSeconds(zel::TestImp::kDefaultMinShutdownSeconds),
      m_client({.received = [this](MessagePointer message) { m_handler.handle(message); },
                .lost = [this] { endWithoutEngine(); }}),
      m_engine(m_client.commMgr())
{}

CommEngine::~CommEngine() { m_isEnding.post(); }

// ---- the connection

bool CommEngine::openConnection()
{
    zel::TraceScope const trace(logger(), "openConnection", __LINE__);
    while (m_isEnding.wait(0)) { // of an earlier connection
    }
    m_process = zel::System::processId();
    auto const engine = CommandLine::engineProcessId();
    if (m_client.doLogin(engine ? zel::IPCClient::getLoginSHMName(*engine)
                                : zel::IPCClient::getLoginSHMName()))
        return true;
    ErrorReporting::tell(m_client.failure()); // the link has logged it
    return false;
}

bool CommEngine::closeConnection()
{
    zel::TraceScope const trace(logger(), "closeConnection", __LINE__);
    m_isEnding.post();
    return m_client.doLogout();
}

bool CommEngine::send(zel::Message const& message)
{
    if (zel::System::processId() != m_process)
        return false;
    if (m_client.queue(message))
        return true;
    ZEL_LOG(logger(), LogLevel::Warning) << "not sent: " << message.toString();
    return false;
}

// On the thread of the link, which has nothing else to do any more. Who polls for a stop learns of it there and ends, and
// then the connection is closed. Code that never asks would go on testing for nobody, and perhaps for ever.
void CommEngine::endWithoutEngine()
{
    ZEL_LOG(logger(), LogLevel::Error) << "The engine is gone";
    constexpr unsigned kMost = CommMessageWaiter::kForever / 1000 - 1;
    unsigned const seconds = std::min(m_shutdownSeconds.load(), kMost);
    if (m_isEnding.wait(seconds * 1000))
        return;
    zel::String const text = "The engine is gone, and the module did not end within " +
                             zel::String::number(std::uint64_t{seconds}) + " seconds; it is ended";
    ZEL_LOG(logger(), LogLevel::Error) << text;
    ErrorReporting::tell(text);
    zel::System::exitProcessAtOnce(TestResult::USERABORTED().value());
}

// ---- stop

// Asked in every pass of a loop: what could not be noted when it came is noted now.
bool CommEngine::receiveStopMessage()
{
    {
        zel::AutoMutex const guard(libraryMutex());
        m_handler.applyUpdates();
    }
    return isEngineGone() || hasReceivedMessage(zel::StopTestEngineToProvider::kTypeCode);
}

bool CommEngine::hasReceivedMessage(int typeCode) { return m_handler.hasReceived(typeCode); }

// ---- request and reply

std::shared_ptr<CommMessageWaiter> CommEngine::createMessageWaiter()
{
    return std::make_shared<CommMessageWaiter>();
}

CommEngine::MessagePointer CommEngine::waitFor(CommMessageWaiter& waiter, Exchange const& how,
                                               unsigned& tries, zel::IPCClient::Reading& reading)
{
    auto const isOver = [&] {
        return isEngineGone() || (how.ends == Ends::WithAStop && StopRequest::isMade());
    };
    CommMessageWaiter::Receive receive;
    if (reading.isOurs())
        receive = [&](std::uint32_t milliseconds, std::function<bool()> const& isTaken) {
            return reading.wait(milliseconds, isTaken);
        };
    MessagePointer message;
    for (bool wasOver = false; !message && !wasOver && tries > 0;) {
        wasOver = isOver();
        message = waiter.waitForMessage(how.milliseconds, isOver, receive);
        if (!message) // what came may be another request's, and the own one is behind it
            --tries;
    }
    return message;
}

template <typename Reply>
std::shared_ptr<Reply const> CommEngine::exchange(Exchange const& how, zel::Message&& request)
{
    zel::AutoMutex const guard(m_exchangeMutex);
    std::uint64_t const number = ++m_lastNumber;
    request.setNumber(number);
    auto const waiter = createMessageWaiter();
    ProviderMessageHandler::Registration const registration(m_handler, waiter);
    waiter->setWantedMessageType(Reply::kTypeCode);
    zel::IPCClient::Reading reading(m_client); // the reply is here one thread sooner
    unsigned tries = send(request) ? how.tries : 0;
    while (auto const message = waitFor(*waiter, how, tries, reading)) {
        ZEL_LOG(logger(), LogLevel::Information) << how.operation << "(): received: " << message->toString();
        auto const reply = std::dynamic_pointer_cast<Reply const>(message);
        if (!reply)
            ZEL_LOG(logger(), LogLevel::Error) << "Invalid Message";
        else if (reply->number() == number)
            return reply;
        else // to one that was given up, most likely
            ZEL_LOG(logger(), LogLevel::Warning) << how.operation << "(): dropped: the reply to request "
                                                 << reply->number() << ", this is " << number;
    }
    logSilence(how, Reply::kTypeCode);
    return nullptr;
}

void CommEngine::logSilence(Exchange const& how, int typeCode) const
{
    zel::String const operation = how.operation;
    if (operation == "httpGetRequest")
        ZEL_LOG(logger(), LogLevel::Error)
            << operation << "(): Did not receive message of type: " << typeCode
            << " in the alloted retries: " << how.tries; // spelled so since ever; tools look for it
    else
        ZEL_LOG(logger(), LogLevel::Error)
            << (operation.startsWith("receive") ? zel::String() : operation + "(): ")
            << "Did not receive any message of type: " << typeCode;
}

// ---- what to do

bool CommEngine::receiveTestRun()
{
    auto const reply = exchange<zel::RunTestEngineToProvider>(
        {"receiveTestRun", m_patience, 1, Ends::WithAStop}, zel::ModuleStarted(ownModule()));
    if (!reply)
        return false;
    zel::StateManager const& received = stateOf(reply->body().state);
    requireModule(received, "CommEngine: No Module in StateManager");
    if (!reply->body().run)
        throw zel::NullPointerException("CommEngine: engine returned null TestRunImp");
    zel::TestRunImp run = *reply->body().run;
    if (!received.device(run.deviceGuid()))
        throw zel::NullPointerException("CommEngine: engine returned null DeviceImp");
    merge(received);
    {
        zel::AutoMutex const guard(libraryMutex());
        manager().bind(run);
        m_run = run.guid();
        m_shutdownSeconds = run.test()->flags().minShutdownSeconds;
        zel::TestRunManager::instance().addTestRun(std::move(run));
    }
    return true;
}

void CommEngine::receiveDevices()
{
    auto const reply = exchange<zel::EnumerationReturnedEngineToClient>(
        {"receiveDevices", m_patience, 1, Ends::WithAStop}, zel::ModuleStarted(ownModule()));
    m_hasDevices = reply != nullptr;
    if (reply)
        merge(stateOf(reply->body().state));
}

bool CommEngine::receiveIndicatorRun()
{
    auto const reply = exchange<zel::RunIndicatorEngineToProvider>(
        {"receiveIndicatorRun", m_patience, 1, Ends::WithAStop}, zel::ModuleStarted(ownModule()));
    if (!reply)
        return false;
    zel::StateManager const& received = stateOf(reply->body().state);
    requireModule(received, "No module in StateManager");
    if (!reply->body().run)
        throw zel::InvalidArgumentException("Invalid Argument");
    zel::IndicatorRunImp run = *reply->body().run;
    if (!run.deviceGuid().empty() && !received.device(run.deviceGuid()))
        throw zel::NullPointerException("CommEngine: engine returned null DeviceImp");
    merge(received);
    zel::AutoMutex const guard(libraryMutex());
    manager().bind(run);
    m_shutdownSeconds = run.indicator().flags().minShutdownSeconds;
    manager().addIndicatorRun(std::move(run));
    return true;
}

zel::StateManager* CommEngine::getCurrentStateManagerFromEngine()
{
    zel::AutoMutex const guard(m_exchangeMutex);
    auto const reply = exchange<zel::InventoryTestEngineToProvider>(
        {"getCurrentStateManagerFromEngine", kOneTry, kTries, Ends::WithTheEngine},
        zel::EnumerationMessage());
    if (!reply)
        return nullptr;
    auto state = std::make_unique<zel::StateManager>(); // the caller's to change, the message's is not
    state->mergeWithTracking(stateOf(reply->body().state));
    m_engineState = std::move(state);
    return m_engineState.get();
}

bool CommEngine::httpGetRequest(zel::String const& url, zel::String& response, zel::String const& options)
{
    auto const reply = exchange<zel::HttpGetResponseEngineToProvider>(
        {"httpGetRequest", kOneTry, kTries, Ends::WithTheEngine},
        zel::HttpGetRequestProviderToEngine({.url = url, .options = options}));
    if (!reply)
        return false;
    response = reply->body().response;
    return reply->body().succeeded;
}

// ---- who speaks

void CommEngine::sendVersion()
{
    ZEL_LOG(logger(), LogLevel::Information) << ModuleCommon::module().version().toString();
    send(zel::VersionProviderToEngine(ownModule()));
}

void CommEngine::sendInternalError(zel::String const& text)
{
    constexpr unsigned kMost = 1000; // milliseconds; a fault's report has five seconds in all
    if (send(zel::InternalErrorProviderToEngine({.run = m_run, .text = text})))
        m_client.waitUntilSent(kMost);
}

// ---- what must have arrived

bool CommEngine::confirm(Exchange const& how, zel::Message&& request)
{
    m_isConfirmed = exchange<zel::AcknowledgeEngineToProvider>(how, std::move(request)) != nullptr;
    return m_isConfirmed;
}

void CommEngine::sendEnumTests()
{
    confirm({"sendEnumTests", m_patience, 1, Ends::WithAStop},
            zel::EnumerationReturnedProviderToEngine({copyOfState()}));
}

void CommEngine::sendEnumIndicators()
{
    confirm({"sendEnumIndicators", m_patience, 1, Ends::WithAStop},
            zel::EnumerationReturnedProviderToEngine({copyOfState()}));
}

void CommEngine::sendAddDevices()
{
    confirm({"sendAddDevices", m_patience, 1, Ends::WithAStop},
            zel::EnumerationReturnedProviderToEngine({copyOfState()}));
}

void CommEngine::propagateChanges()
{
    ZEL_LOG(logger(), LogLevel::Debug) << "propagateChanges";
    zel::AutoMutex const guard(libraryMutex());
    if (manager().takeChanges().empty())
        return;
    zel::UpdatesBody body;
    body.state = copyOfState();
    sendUpdate(std::move(body));
}

} // namespace krel5
