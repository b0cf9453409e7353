#include <libKrel5/internal/backends/engine/ProviderMessageHandler.h>

#include <libKrel5/basics/LibraryMutex.h>

#include <zel/foundation/Exception.h>
#include <zel/foundation/Logger.h>
#include <zel/ipc/Message.h>
#include <zel/model/state/StateManager.h>

#include <mutex>

namespace krel5 {
namespace {

using zel::LogLevel;

zel::Logger& logger()
{
    static zel::Logger& s_logger = zel::LogFactory::getLogger("krel5.Comm.Engine");
    return s_logger;
}

using Update = zel::RequestUpdateClientToEngineToIndicator;

// What stands in the way of the request; empty: it is noted for the indicators that watch the device. REQUIRES: the library
// mutex.
zel::String forceUpdate(zel::UpdateRequestBody const& request)
{
    zel::StateManager& manager = zel::StateManager::instance();
    zel::DeviceImp const* const device = manager.device(request.device);
    if (!device)
        return "Cannot find device guid: " + request.device + " in state manager";
    if (!device->property(request.property))
        return "Cannot find device prop: " + request.property + " on device: " + request.device;
    bool isWatched = false;
    for (std::size_t i = 0; i < manager.indicatorRunCount(); ++i)
        if (zel::IndicatorRunImp& run = manager.indicatorRunAtIndex(i); run.device() == device) {
            run.forceUpdate();
            isWatched = true;
        }
    return isWatched ? zel::String() : "No indicator watches device guid: " + request.device;
}

void refuse(zel::String const& reason)
{
    if (!reason.empty())
        ZEL_LOG(logger(), LogLevel::Error) << reason;
}

} // namespace

void ProviderMessageHandler::handle(MessagePointer const& message) noexcept
{
    try {
        if (!message)
            throw zel::InvalidArgumentException("Invalid Argument");
        ZEL_LOG(logger(), LogLevel::Debug) << "incoming_message_handler() received: " << message->toString();
        note(message->typeCode());
        if (message->typeCode() == Update::kTypeCode)
            update(*message);
        offer(message);
    } catch (std::exception const& e) { // the platform's are among them
        ZEL_LOG(logger(), LogLevel::Error) << "incoming_message_handler(): " << e.what();
    }
}

// Who holds the library mutex may be waiting for room on the link, which only this thread can make: it waits for nothing.
void ProviderMessageHandler::update(zel::Message const& message)
{
    auto const* const request = dynamic_cast<Update const*>(&message);
    if (!request)
        return refuse("Invalid Message: " + message.toString());
    if (request->body().device.empty())
        return refuse("Cannot process RequestUpdateClientToEngineToIndicator when device guid is empty");
    {
        zel::AutoMutex const guard(m_updatesMutex);
        if (m_updates.size() == kMostUpdates) {
            ZEL_LOG(logger(), LogLevel::Warning) << "Requests for updates come faster than they can be met";
            return;
        }
        m_updates.push_back(request->body());
    }
    if (libraryMutex().try_lock()) {
        std::lock_guard<zel::Mutex> const guard(libraryMutex(), std::adopt_lock);
        applyUpdates();
    }
}

void ProviderMessageHandler::applyUpdates()
{
    std::vector<zel::UpdateRequestBody> requests;
    {
        zel::AutoMutex const guard(m_updatesMutex);
        requests.swap(m_updates);
    }
    for (zel::UpdateRequestBody const& request : requests)
        refuse(forceUpdate(request));
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
