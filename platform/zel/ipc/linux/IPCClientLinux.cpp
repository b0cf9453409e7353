#include <zel/ipc/IPCClient.h>

#include <zel/foundation/Exception.h>
#include <zel/foundation/Logger.h>
#include <zel/foundation/System.h>
#include <zel/ipc/IPCServer.h>
#include <zel/ipc/linux/Connection.h>
#include <zel/ipc/linux/LinkThread.h>
#include <zel/ipc/linux/LoginArea.h>
#include <zel/ipc/linux/Socket.h>

#include <array>
#include <atomic>
#include <mutex>
#include <poll.h>

namespace zel {
namespace {

using Clock = Connection::Clock;

constexpr std::chrono::seconds kLoginPatience{5};
constexpr std::chrono::seconds kLogoutPatience{2};
constexpr std::chrono::seconds kSendPatience{10};
constexpr std::size_t kReadBytes = std::size_t{64} << 10;

std::shared_ptr<Connection> connectToEngine(std::string const& name, Clock::time_point until)
{
    LoginArea::Content const area = LoginArea::read(name);
    FileDescriptor socket = connectTo(area.socketPath, until);
    PeerIdentity const peer = peerOf(socket.number());
    if (!isTrusted(peer) || peer.process != area.engine)
        throw IPCException("At " + String(area.socketPath) + " listens process " +
                           String::number(peer.process) + " of user " + String::number(peer.user) +
                           ", not the engine");
    return std::make_shared<Connection>(std::move(socket));
}

} // namespace

struct IPCClient::Link
{
    explicit Link(Handlers all) : handlers(std::move(all)) {}

    void run();
    bool step(std::span<char> buffer);
    void leave();
    std::shared_ptr<Connection> current();
    bool queue(OutgoingFrame& frame);

    Handlers handlers;
    IPCCommMgr manager;
    String failure;
    LinkThread thread;
    std::atomic<bool> isLeaving{false};
    std::mutex mutex; // guards the pointer
    std::shared_ptr<Connection> connection;
};

std::shared_ptr<Connection> IPCClient::Link::current()
{
    std::lock_guard<std::mutex> const guard(mutex);
    return connection;
}

bool IPCClient::Link::step(std::span<char> buffer)
{
    short const events = connection->hasWaiting() ? POLLIN | POLLOUT : POLLIN;
    std::array<pollfd, 2> waiting{
        {{connection->descriptor(), events, 0}, {thread.wakeDescriptor(), POLLIN, 0}}};
    if (retryOnInterrupt([&] { return ::poll(waiting.data(), waiting.size(), -1); }) < 0)
        return true; // no memory in the kernel: once more
    if (waiting[1].revents != 0)
        thread.takeWakes();
    if ((waiting[0].revents & POLLOUT) != 0)
        connection->flush();
    return (waiting[0].revents & ~POLLOUT) == 0 || connection->receive(buffer, handlers.received);
}

void IPCClient::Link::run()
{
    auto const buffer = std::make_unique_for_overwrite<char[]>(kReadBytes);
    while (!isLeaving && step({buffer.get(), kReadBytes})) {
    }
    manager.m_isRemoteRunning = false;
    if (isLeaving)
        return;
    String const why = connection->why();
    ZEL_LOG(linkLogger(), LogLevel::Warning) << "the engine is gone" << (why.empty() ? "" : ": ") << why;
    if (handlers.lost)
        handlers.lost();
}

void IPCClient::Link::leave()
{
    isLeaving = true;
    thread.wake();
    thread.join();
    if (auto const ended = current(); ended && thread.isHere())
        ended->end(String());
    manager.m_isRemoteRunning = false;
    std::lock_guard<std::mutex> const guard(mutex);
    connection.reset();
}

bool IPCClient::Link::queue(OutgoingFrame& frame)
{
    auto const engine = current();
    if (!engine || !thread.isHere()) // a process forked off must not speak in between
        return false;
    for (auto const until = Clock::now() + kSendPatience;;) {
        switch (engine->queue(frame)) {
        case Connection::Queued::Waits:
            thread.wake();
            return true;
        case Connection::Queued::Sent:
        case Connection::Queued::Behind:
            return true;
        case Connection::Queued::Closed:
            return false;
        case Connection::Queued::TooMany:
            if (thread.isCurrent() || !engine->waitForRoom(until)) {
                engine->end("it does not read what it is sent");
                return false;
            }
        }
    }
}

IPCClient::IPCClient(Handlers handlers) : m_link(std::make_unique<Link>(std::move(handlers))) {}

IPCClient::~IPCClient()
{
    if (m_link->connection)
        doLogout();
}

String IPCClient::getLoginSHMName() { return getLoginSHMName(System::parentProcessId()); }
String IPCClient::getLoginSHMName(std::int64_t engineProcessId) { return LoginArea::nameOf(engineProcessId); }

bool IPCClient::doLogin(String const& name)
{
    if (m_link->connection)
        m_link->leave();
    m_link->failure = String();
    m_link->isLeaving = false;
    try {
        auto connection = connectToEngine(name.toUtf8(), Clock::now() + kLoginPatience);
        std::lock_guard<std::mutex> const guard(m_link->mutex);
        m_link->connection = std::move(connection);
    } catch (IPCException const& e) {
        m_link->failure = e.getMessage();
    }
    if (m_link->connection) {
        m_link->manager.m_isRemoteRunning = true; // before the thread, which may find the end at once
        if (int const error = m_link->thread.start([link = m_link.get()] { link->run(); })) {
            m_link->failure = "No thread for the engine link: " + System::errorText(error);
            m_link->leave();
        }
    }
    if (!m_link->failure.empty())
        ZEL_LOG(linkLogger(), LogLevel::Error) << "no login: " << m_link->failure;
    return m_link->failure.empty();
}

bool IPCClient::doLogout()
{
    auto const engine = m_link->current();
    if (!engine)
        return false;
    bool const isSent = m_link->thread.isHere() && m_link->manager.isRemoteRunning() &&
                        engine->waitUntilSent(Clock::now() + kLogoutPatience);
    m_link->leave();
    return isSent;
}

String const& IPCClient::failure() const noexcept { return m_link->failure; }

bool IPCClient::queue(Message const& message)
try {
    OutgoingFrame frame = OutgoingFrame::of(message);
    return m_link->queue(frame);
} catch (InvalidArgumentException const& e) {
    ZEL_LOG(linkLogger(), LogLevel::Error) << e.getMessage();
    return false;
}

bool IPCClient::waitUntilSent(unsigned milliseconds)
{
    auto const engine = m_link->current();
    return engine && m_link->thread.isHere() &&
           engine->waitUntilSent(Clock::now() + std::chrono::milliseconds(milliseconds));
}

IPCCommMgr const& IPCClient::commMgr() const noexcept { return m_link->manager; }

} // namespace zel
