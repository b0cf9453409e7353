#pragma once
// A module's end of the engine link.

#include <zel/ipc/IPCCommMgr.h>
#include <zel/ipc/Message.h>

#include <cstdint>
#include <functional>
#include <memory>

namespace zel {

/// Thread rule: doLogin and doLogout are the main flow's; queue() and a Reading are anybody's. The handlers are called on the
/// one thread that the link owns, `received` also on one that waits in a Reading; one at a time, and not after doLogout has
/// returned. Of all that they use queue() only.
class ZEL_EXPORT IPCClient
{
    struct Link;
    struct Session; // from a login to its end

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

    /// For who asks the engine and waits for the reply: made before the request is sent, it has this thread take what the engine
    /// says, in place of the link's own, which would have to be woken first and then to wake this one. While it lives nobody
    /// else takes anything: it is for the time of one wait. On the thread that made it it ends before
    /// the client and before a logout.
    class ZEL_EXPORT Reading
    {
    public:
        explicit Reading(IPCClient& client);
        ~Reading();
        Reading(Reading const&) = delete;
        Reading& operator=(Reading const&) = delete;

        /// False when another thread reads already, which hands on whatever comes, or when there is no connection.
        bool isOurs() const noexcept { return m_session != nullptr; }
        /// Hands on what comes until `isEnough`, which is asked before the first message and after each, says so; at most so long,
        /// and not after the connection's end. What it said last. REQUIRES: isOurs()
        bool wait(std::uint32_t milliseconds, std::function<bool()> const& isEnough);

    private:
        IPCClient& m_client;
        std::shared_ptr<Session> m_session;
    };

    IPCCommMgr const& commMgr() const noexcept;

private:
    std::unique_ptr<Link> m_link;
};

} // namespace zel
