#include <zel/ipc/direct/ProcessLinkConfigurator.h>

#include <algorithm>
#include <chrono>
#include <utility>

namespace zel {
namespace {

using Lock = std::unique_lock<std::mutex>;

// A client ends with its thread, also with one that an exception or pthread_exit ended.
struct OfThisThread
{
    std::uint64_t client = 0;
    ~OfThisThread()
    {
        if (client != 0)
            ProcessLinkConfigurator::instance().detachClient(client);
    }
};
thread_local OfThisThread t_own;

template <typename Condition>
bool waitFor(std::condition_variable& news, Lock& lock, std::uint32_t milliseconds, Condition isMet)
{
    if (milliseconds != ProcessLinkConfigurator::kForever)
        return news.wait_for(lock, std::chrono::milliseconds(milliseconds), isMet);
    news.wait(lock, isMet);
    return true;
}

// 0 for what must not be lost.
std::size_t readingBytesOf(Message const& message)
{
    if (auto const* const update = dynamic_cast<DeviceUpdateEngineToClient const*>(&message))
        return update->bytes();
    if (auto const* const refusal = dynamic_cast<RequestRefusedEngineToClient const*>(&message))
        return refusal->bytes();
    return 0;
}

bool isListing(Message const& message)
{
    return message.typeCode() == EnumerationReturnedEngineToClient::kTypeCode;
}

bool hasChanges(Message const& message)
{
    return dynamic_cast<ChangesEngineToClient const*>(&message) != nullptr;
}

} // namespace

ProcessLinkConfigurator& ProcessLinkConfigurator::instance()
{
    static auto* const s_instance = new ProcessLinkConfigurator();
    return *s_instance;
}

// ---- the module's end

bool ProcessLinkConfigurator::openEngine()
{
    Lock const lock(m_mutex);
    if (m_client == 0)
        return false;
    m_engine = Engine::Open;
    return true;
}

void ProcessLinkConfigurator::setEngineIsReady()
{
    Lock const lock(m_mutex);
    if (m_engine == Engine::Ready)
        return;
    m_engine = Engine::Ready;
    m_answered.notify_all();
}

std::unique_ptr<ClientMessage>
ProcessLinkConfigurator::receiveMessageEngineFromClient(std::uint32_t milliseconds)
{
    Lock lock(m_mutex);
    waitFor(m_requested, lock, milliseconds, [this] { return !m_requests.empty() || m_client == 0; });
    if (m_requests.empty())
        return nullptr;
    auto message = std::move(m_requests.front());
    m_requests.pop_front();
    m_requestBytes -= message->bytes();
    return message;
}

void ProcessLinkConfigurator::sendMessageEngineToClient(std::unique_ptr<Message> message)
{
    std::vector<Waiting> dropped; // freed when others may go on
    Waiting waiting{std::move(message), 0};
    waiting.readingBytes = readingBytesOf(*waiting.message);
    Lock const lock(m_mutex);
    if (m_client == 0)
        return dropped.push_back(std::move(waiting));
    if (isListing(*waiting.message)) {
        dropUnreadListing(dropped);
        ++m_listings;
    }
    m_changes += hasChanges(*waiting.message) ? 1 : 0;
    m_readings += waiting.readingBytes > 0 ? 1 : 0;
    m_readingBytes += waiting.readingBytes;
    m_waiting.push_back(std::move(waiting));
    dropOldReadings(dropped);
    m_answered.notify_all();
}

// The newest stays, whatever its size. Few stand before the oldest reading: a listing and changes.
void ProcessLinkConfigurator::dropOldReadings(std::vector<Waiting>& dropped)
{
    while (m_readings > 1 && (m_readings > kMostReadings || m_readingBytes > kMostReadingBytes)) {
        auto const oldest = std::find_if(m_waiting.begin(), m_waiting.end(),
                                         [](auto const& one) { return one.readingBytes > 0; });
        forget(*oldest);
        dropped.push_back(std::move(*oldest));
        m_waiting.erase(oldest);
        ++m_lost;
    }
}

void ProcessLinkConfigurator::dropUnreadListing(std::vector<Waiting>& dropped)
{
    if (m_listings == 0)
        return;
    auto const unread = std::find_if(m_waiting.begin(), m_waiting.end(),
                                     [](auto const& one) { return isListing(*one.message); });
    forget(*unread);
    dropped.push_back(std::move(*unread));
    m_waiting.erase(unread);
}

void ProcessLinkConfigurator::forget(Waiting const& waiting)
{
    m_listings -= isListing(*waiting.message) ? 1 : 0;
    m_changes -= hasChanges(*waiting.message) ? 1 : 0;
    m_readings -= waiting.readingBytes > 0 ? 1 : 0;
    m_readingBytes -= waiting.readingBytes;
}

bool ProcessLinkConfigurator::hasUnreadChanges() const
{
    Lock const lock(m_mutex);
    return m_changes > 0;
}

bool ProcessLinkConfigurator::isStopWanted() const
{
    Lock const lock(m_mutex);
    return m_client == 0 || m_stopWanted;
}

void ProcessLinkConfigurator::closeEngine()
{
    Requests unheard;
    Lock const lock(m_mutex);
    m_engine = Engine::Closed;
    unheard.swap(m_requests);
    m_requestBytes = 0;
    m_answered.notify_all();
}

void ProcessLinkConfigurator::setEngineHasEnded(int status)
{
    closeEngine();
    Lock const lock(m_mutex);
    m_status = status;
    m_answered.notify_all();
}

// ---- the client's end

std::uint64_t ProcessLinkConfigurator::attachClient()
{
    Lock const lock(m_mutex);
    if (m_client != 0 || m_engine == Engine::Open || m_engine == Engine::Ready)
        return 0;
    m_engine = Engine::Awaited;
    m_status.reset();
    m_stopWanted = false;
    m_client = ++m_lastClient;
    t_own.client = m_client;
    return m_client;
}

void ProcessLinkConfigurator::detachClient(std::uint64_t client)
{
    Requests unheard;
    std::deque<Waiting> unread;
    Lock const lock(m_mutex);
    if (m_client != client)
        return;
    m_client = 0;
    unheard.swap(m_requests);
    unread.swap(m_waiting);
    m_requestBytes = m_readings = m_readingBytes = m_changes = m_listings = 0;
    m_lost = 0;
    m_requested.notify_all();
    m_answered.notify_all();
}

void ProcessLinkConfigurator::expectEngine()
{
    Lock const lock(m_mutex);
    if (m_engine != Engine::Closed)
        return;
    m_engine = Engine::Awaited;
    m_status.reset();
}

bool ProcessLinkConfigurator::waitUntilEngineIsReady(std::uint32_t milliseconds)
{
    Lock lock(m_mutex);
    waitFor(m_answered, lock, milliseconds,
            [this] { return m_engine == Engine::Ready || m_engine == Engine::Closed || m_client == 0; });
    return m_engine == Engine::Ready && m_client != 0;
}

bool ProcessLinkConfigurator::sendMessageClientToEngine(std::unique_ptr<ClientMessage> message)
{
    bool const isStop = message->endsModule();
    std::size_t const bytes = message->bytes();
    Lock const lock(m_mutex);
    if (m_client == 0 || m_engine == Engine::Closed)
        return false;
    if (isStop) {
        if (!std::exchange(m_stopWanted, true)) {
            m_requestBytes += bytes;
            m_requests.push_front(std::move(message));
        }
    } else if (m_requests.size() >= kMostRequests || m_requestBytes + bytes > kMostRequestBytes) {
        return false;
    } else {
        m_requestBytes += bytes;
        m_requests.push_back(std::move(message));
    }
    m_requested.notify_all();
    return true;
}

std::shared_ptr<Message> ProcessLinkConfigurator::receiveMessageClientFromEngine(std::uint32_t milliseconds)
{
    Lock lock(m_mutex);
    waitFor(m_answered, lock, milliseconds,
            [this] { return !m_waiting.empty() || m_lost > 0 || m_status || m_client == 0; });
    if (m_client == 0)
        return nullptr;
    if (std::uint64_t const lost = std::exchange(m_lost, 0))
        return std::make_shared<ReadingsLostEngineToClient>(lost);
    if (m_waiting.empty())
        return m_status ? std::make_shared<ModuleEndedEngineToClient>(*m_status) : nullptr;
    forget(m_waiting.front());
    auto message = std::move(m_waiting.front().message);
    m_waiting.pop_front();
    return message;
}

} // namespace zel
