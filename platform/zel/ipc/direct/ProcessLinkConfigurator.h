#pragma once
// The link between a module and a client in the same process: one queue each way.

#include <zel/ipc/direct/DirectMessages.h>

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>

namespace zel {

/// Neither side grows because the other one does not listen. Requests beyond a limit are not taken, and the client is told so.
/// Of readings and refusals the oldest go, and the client is told how many. An unread listing gives way to a newer
/// one. Changes are sent only when none wait unread (hasUnreadChanges()): until then they stay where they are kept as their net.
/// Thread rule: any thread; nothing but the operations that take a time waits for anybody.
class ZEL_EXPORT ProcessLinkConfigurator
{
public:
    static constexpr std::size_t kMostRequests = 1024;
    static constexpr std::size_t kMostRequestBytes = std::size_t{1} << 20;
    static constexpr std::size_t kMostReadings = 8192;
    static constexpr std::size_t kMostReadingBytes = std::size_t{16} << 20;
    static constexpr std::uint32_t kForever = std::numeric_limits<std::uint32_t>::max(); ///< milliseconds

    static ProcessLinkConfigurator& instance();

    // ---- the module's end
    /// False when there is no client.
    bool openEngine();
    /// From now on the client is heard.
    void setEngineIsReady();
    /// The next request; null when none comes in that time, or the client is gone.
    std::unique_ptr<ClientMessage> receiveMessageEngineFromClient(std::uint32_t milliseconds);
    /// Nothing happens when the client is gone.
    void sendMessageEngineToClient(std::unique_ptr<Message> message);
    bool hasUnreadChanges() const;
    /// The client asks for the end of the module, or is gone.
    bool isStopWanted() const;
    /// No request is taken from now on.
    void closeEngine();
    /// Nothing follows what the client has not read yet.
    void setEngineHasEnded(int status);

    // ---- the client's end
    /// The client is there from now on, until detachClient() or the end of the calling thread. Its number; 0 when there is
    /// another one, or the module of the last one has not ended yet.
    std::uint64_t attachClient();
    /// What the module has to say to it is dropped. Nothing happens for the number of one that is gone.
    void detachClient(std::uint64_t client);
    /// Another module is to come; for a client that has seen one end.
    void expectEngine();
    /// False when the module has not become ready in that time, or has ended.
    bool waitUntilEngineIsReady(std::uint32_t milliseconds);
    /// False when the module has ended, or does not take its requests. A request before the module is ready waits for it.
    bool sendMessageClientToEngine(std::unique_ptr<ClientMessage> message);
    /// The next message; ModuleEndedEngineToClient each time when there is nothing more to come. Null when nothing comes in
    /// that time, or the client is gone.
    std::shared_ptr<Message> receiveMessageClientFromEngine(std::uint32_t milliseconds);

private:
    enum class Engine { Awaited, Open, Ready, Closed };
    struct Waiting
    {
        std::shared_ptr<Message> message;
        std::size_t readingBytes; // 0: not one of those that may be dropped
    };
    using Requests = std::deque<std::unique_ptr<ClientMessage>>;

    ProcessLinkConfigurator() = default;
    void dropOldReadings(std::vector<Waiting>& dropped);
    void dropUnreadListing(std::vector<Waiting>& dropped);
    void forget(Waiting const& waiting);

    mutable std::mutex m_mutex; // guards everything below
    std::condition_variable m_requested, m_answered;
    std::uint64_t m_client = 0, m_lastClient = 0;
    Engine m_engine = Engine::Awaited;
    std::optional<int> m_status; // of the module that has ended
    bool m_stopWanted = false;
    Requests m_requests;
    std::size_t m_requestBytes = 0;
    std::deque<Waiting> m_waiting; // for the client
    std::size_t m_readings = 0, m_readingBytes = 0;
    std::size_t m_changes = 0, m_listings = 0; // among those that wait
    std::uint64_t m_lost = 0;
};

} // namespace zel
