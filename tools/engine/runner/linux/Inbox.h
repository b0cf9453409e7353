#pragma once
// What modules say, from the link's thread to the main thread, which waits for that and for more.

#include <zel/foundation/linux/FileDescriptor.h>
#include <zel/ipc/IPCServer.h>

#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <set>

namespace engine {

struct News
{
    enum class Kind { Connected, Said, Gone };

    Kind kind = Kind::Said;
    zel::IPCServer::Peer peer = 0;
    std::int64_t process = 0;                    ///< of what connected
    std::shared_ptr<zel::Message const> message; ///< of what was said
    zel::String reason;                          ///< of who is gone; empty: it just ended
};

/// Holds a bounded number, and bounded bytes beside one message: who says more waits, and so does the link, which does not read on meanwhile. Thread rule: put() and
/// accepts() are the link's thread's, the others the main thread's.
class Inbox
{
public:
    Inbox();

    /// The handlers of a server; the inbox outlives it, and is closed before the server is destroyed.
    zel::IPCServer::Handlers handlers();
    /// While it is held, nobody is let in: the process that is just being started is not known yet.
    std::unique_lock<std::mutex> hold() { return std::unique_lock<std::mutex>(m_doorMutex); }
    void know(std::int64_t process) { m_known.insert(process); } ///< REQUIRES: held
    void forget(std::int64_t process);

    /// Readable while there is something.
    int descriptor() const { return m_bell.number(); }
    std::optional<News> take();
    /// Nothing more is kept, and nobody waits.
    void close();

private:
    void put(News news);
    void ring() const;

    zel::FileDescriptor m_bell;
    std::mutex m_doorMutex; // guards m_known
    std::set<std::int64_t> m_known;
    std::mutex m_mutex; // guards what follows
    std::condition_variable m_roomMade;
    std::deque<News> m_news;
    std::size_t m_bytes = 0; // of them
    bool m_isClosed = false;
};

} // namespace engine
