#pragma once
// An engine's end of the engine link: the login area, the socket, and one connection for each module.

#include <zel/ipc/Message.h>

#include <zel/foundation/Exception.h>

#include <cstdint>
#include <functional>
#include <memory>

namespace zel {

/// Thread rule: queue() and disconnect() are anybody's. The handlers are called on the one thread that the server
/// owns, one at a time, and not after the destructor has begun to return; a handler that takes its time holds up what it
/// hears, and so whoever speaks: that is how a module that floods is slowed down.
class ZEL_EXPORT IPCServer
{
public:
    using Peer = std::uint64_t; ///< a connection; never used again for another one

    struct Handlers
    {
        /// Whether the process may connect; its user has been checked. Otherwise it is sent away, with a line in the log.
        std::function<bool(std::int64_t processId)> accepts;
        std::function<void(Peer, std::int64_t processId)> connected;
        std::function<void(Peer, std::shared_ptr<Message const>)> received;
        /// The connection ended: the module logged out, died, or broke the rules (`reason`; empty: it just ended).
        /// Everything that it sent before has been handed to `received`.
        std::function<void(Peer, String const& reason)> disconnected;
    };

    /// Opens the login area of this process and listens. Removes what an engine of the same process id left behind.
    /// Throws IPCException, naming the file, when that is not possible.
    explicit IPCServer(Handlers handlers);
    /// Closes all connections, and removes area, socket and folder.
    ~IPCServer();
    IPCServer(IPCServer const&) = delete;
    IPCServer& operator=(IPCServer const&) = delete;

    /// Hands a message over to be sent. False when there is no such connection (any more), or when the module does not
    /// read: more than 32 MiB waiting end the connection. Or when the message is larger than one may be.
    bool queue(Peer peer, Message const& message);
    /// `disconnected` is called for it as for any other; until then what it had sent may still be heard.
    void disconnect(Peer peer);

private:
    struct Link;
    std::unique_ptr<Link> m_link;
};

class ZEL_EXPORT IPCException : public Exception
{
public:
    explicit IPCException(String const& message);
};

} // namespace zel
