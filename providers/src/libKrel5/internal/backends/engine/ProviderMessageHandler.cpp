#include <libKrel5/internal/backends/engine/ProviderMessageHandler.h>

#include <libKrel5/basics/LibraryMutex.h>

#include <zel/foundation/Exception.h>
#include <zel/foundation/Logger.h>
#include <zel/ipc/Message.h>
#include <zel/model/state/StateManager.h>

namespace krel5 {
namespace {

using zel::LogLevel;

zel::Logger& logger()
{
    static zel::Logger& s_logger = zel::LogFactory::getLogger("krel5.Comm.Engine");
    return s_logger;
}

// What stands in the way of the request; empty: it is noted for the indicators that watch the device.
zel::String forceUpdate(zel::UpdateRequestBody const& request)
{
    if (request.device.empty())
        return "Cannot process RequestUpdateClientToEngineToIndicator when device guid is empty";
    zel::AutoMutex const guard(libraryMutex());
    zel::StateManager& manager = zel::StateManager::instance();
    zel::DeviceImp const* const device = manager.device(request.device);
    if (!device)
        return "Cannot find device guid: " + request.device + " in state manager";
    if (!device->property(request.property))
        return "Cannot find device prop: " + request.property + " on device: " + request.device;
    for (std::size_t i = 0; i < manager.indicatorRunCount(); ++i)
        if (zel::IndicatorRunImp& run = manager.indicatorRunAtIndex(i); run.device() == device)
            run.forceUpdate();
    return zel::String();
}

void updateIndicators(zel::Message const& message)
{
    auto const* const request = dynamic_cast<zel::RequestUpdateClientToEngineToIndicator const*>(&message);
    zel::String const refusal =
        request ? forceUpdate(request->body()) : "Invalid Message: " + message.toString();
    if (!refusal.empty())
        ZEL_LOG(logger(), LogLevel::Error) << refusal;
}

} // namespace

void ProviderMessageHandler::handle(MessagePointer const& message) noexcept
{
    try {
        if (!message)
            throw zel::InvalidArgumentException("Invalid Argument");
        ZEL_LOG(logger(), LogLevel::Debug) << "incoming_message_handler() received: " << message->toString();
        note(message->typeCode());
        if (message->typeCode() == zel::RequestUpdateClientToEngineToIndicator::kTypeCode)
            updateIndicators(*message);
        offer(message);
    } catch (std::exception const& e) { // the platform's are among them
        ZEL_LOG(logger(), LogLevel::Error) << "incoming_message_handler(): " << e.what();
    }
}

bool ProviderMessageHandler::hasReceived(int typeCode) const
{
    zel::ReadGuard const guard(m_typesLock);
    return m_receivedTypes.contains(typeCode);
}

void ProviderMessageHandler::note(int typeCode)
{
    if (hasReceived(typeCode))
        return;
    zel::WriteGuard const guard(m_typesLock);
    m_receivedTypes.insert(typeCode);
}

void ProviderMessageHandler::offer(MessagePointer const& message)
{
    zel::AutoMutex const guard(m_waitersMutex);
    for (auto const& waiter : m_waiters)
        waiter->wantThisMessage(message);
}

ProviderMessageHandler::Registration::Registration(ProviderMessageHandler& handler,
                                                   std::shared_ptr<CommMessageWaiter> waiter)
    : m_handler(handler), m_waiter(std::move(waiter))
{
    zel::AutoMutex const guard(m_handler.m_waitersMutex);
    m_handler.m_waiters.push_back(m_waiter);
}

ProviderMessageHandler::Registration::~Registration()
{
    zel::AutoMutex const guard(m_handler.m_waitersMutex);
    std::erase(m_handler.m_waiters, m_waiter);
}

} // namespace krel5
