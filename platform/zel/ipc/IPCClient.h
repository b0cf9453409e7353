#pragma once
// A module's end of the engine link.

#include <zel/ipc/IPCCommMgr.h>
#include <zel/ipc/Message.h>

#include <cstdint>
#include <functional>
#include <memory>

namespace zel {

/// Thread rule: doLogin and doLogout are the main flow's; queue() is anybody's. The handlers are called on the one
/// thread that the link owns, one at a time, and not after doLogout has returned; they call neither of the two.
class ZEL_EXPORT IPCClient
{
public:
    struct Handlers
    {
        /// Each message that came and could be read.
        std::function<void(std::shared_ptr<Message const>)> received;
        /// The engine went away, or broke the rules, without a logout of ours. At most once a login.
        std::function<void()> lost;
    };

    explicit IPCClient(Handlers handlers);
    /// Logs out.
    ~IPCClient();
    IPCClient(IPCClient const&) = delete;
    IPCClient& operator=(IPCClient const&) = delete;

    /// Name of the login area of the engine: of this process id, by default of the parent of this process.
    static String getLoginSHMName();
    static String getLoginSHMName(std::int64_t engineProcessId);

    /// Finds the engine in the login area of that name and connects to it. False, with the reason in the log and in
    /// failure(), when there is no such area, when it is not an engine's of this user or of root, when nobody listens,
    /// or when the other end is not that engine. Takes at most 5 seconds.
    bool doLogin(String const& name);
    /// Sends what is queued, for at most 2 seconds, and closes. False when there was no connection any more.
    bool doLogout();
    /// Why the last doLogin failed; empty when it did not.
    String const& failure() const noexcept;

    /// Hands a message over to be sent, and returns: what does not fit into the socket is sent by the link's thread.
    /// False when there is no connection, or the message is larger than one may be. While more than 1 MiB waits, a
    /// percentage, a time or a text of progress replaces the waiting one of its run. More than 32 MiB waiting means
    /// that the engine does not read: then anything else waits up to 10 seconds, and then ends the connection.
    bool queue(Message const& message);
    /// Until what was handed over has been sent; for who is about to end without a logout. False when it does not come to that
    /// in time, or there is no connection. Anybody's.
    bool waitUntilSent(unsigned milliseconds);

    IPCCommMgr const& commMgr() const noexcept;

private:
    struct Link;
    std::unique_ptr<Link> m_link;
};

} // namespace zel
