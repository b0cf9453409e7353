#include <zel/ipc/IPCClient.h>

#include <zel/foundation/Exception.h>
#include <zel/foundation/Logger.h>
#include <zel/foundation/System.h>
#include <zel/ipc/IPCServer.h>
#include <zel/ipc/linux/Connection.h>
#include <zel/ipc/linux/LinkThread.h>
#include <zel/ipc/linux/LoginArea.h>
#include <zel/ipc/linux/Socket.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <mutex>
#include <poll.h>
#include <sys/epoll.h>

namespace zel {
namespace {

using Clock = Connection::Clock;

constexpr std::chrono::seconds kLoginPatience{5};
constexpr std::chrono::seconds kLogoutPatience{2};
constexpr std::chrono::seconds kSendPatience{10};
constexpr std::int64_t kMostWait = 60'000; // milliseconds, in one call
constexpr std::size_t kReadBytes = std::size_t{64} << 10;

FileDescriptor connectToEngine(std::string const& name, Clock::time_point until)
{
    LoginArea::Content const area = LoginArea::read(name);
    FileDescriptor socket = connectTo(area.socketPath, until);
    PeerIdentity const peer = peerOf(socket.number());
    if (!isTrusted(peer) || peer.process != area.engine)
        throw IPCException("At " + String(area.socketPath) + " listens process " +
                           String::number(peer.process) + " of user " + String::number(peer.user) +
                           ", not the engine");
    return socket;
}

/// What tells the link's thread that there is something to read, but while another thread reads: that one alone is woken
/// then. Each word is given once: whoever has stopped reading asks for the next one.
class ReadWatch
{
public:
    explicit ReadWatch(int socket) : m_socket(socket), m_watch(::epoll_create1(EPOLL_CLOEXEC))
    {
        if (!m_watch.isOpen() || !control(EPOLL_CTL_ADD, EPOLLIN))
            throw IPCException("The engine link cannot be watched: " + System::errorText(errno));
    }
    int descriptor() const noexcept { return m_watch.number(); }
    /// Takes the word that descriptor() is readable for. False when somebody else reads by now.
    bool take() const noexcept
    {
        epoll_event found{};
        return ::epoll_wait(m_watch.number(), &found, 1, 0) > 0;
    }
    void start() const noexcept { control(EPOLL_CTL_MOD, EPOLLIN); }
    void stop() const noexcept { control(EPOLL_CTL_MOD, 0); }

private:
    bool control(int what, std::uint32_t events) const noexcept
    {
        epoll_event wanted{};
        wanted.events = events | EPOLLONESHOT;
        return ::epoll_ctl(m_watch.number(), what, m_socket, &wanted) == 0;
    }

    int m_socket;
    FileDescriptor m_watch;
};

} // namespace

/// From a login to its end.
struct IPCClient::Session
{
    explicit Session(FileDescriptor socket) : connection(std::move(socket)), watch(connection.descriptor()) {}

    /// False when the connection has ended. REQUIRES: `reading` is held.
    bool read(Connection::Received const& received)
    {
        return connection.receive({buffer.get(), kReadBytes}, received);
    }

    Connection connection;
    ReadWatch watch;
    /// Guards the buffer, and what the connection has of a message that is not whole yet. Who has held it calls watch.start()
    /// once it is given back: not before, or the link's thread would take the word, find that it may not read, and wait on.
    std::mutex reading;
    std::unique_ptr<char[]> buffer = std::make_unique_for_overwrite<char[]>(kReadBytes);
};

struct IPCClient::Link
{
    explicit Link(Handlers all) : handlers(std::move(all)) {}

    void run();
    bool step();
    bool read();
    void leave();
    std::shared_ptr<Session> current();
    bool queue(OutgoingFrame& frame);

    Handlers handlers;
    IPCCommMgr manager;
    String failure;
    LinkThread thread;
    std::atomic<bool> isLeaving{false};
    std::mutex mutex; // guards the pointer
    std::shared_ptr<Session> session;
};

std::shared_ptr<IPCClient::Session> IPCClient::Link::current()
{
    std::lock_guard<std::mutex> const guard(mutex);
    return session;
}

bool IPCClient::Link::step()
{
    Connection& connection = session->connection;
    std::array<pollfd, 3> waiting{{{session->watch.descriptor(), POLLIN, 0},
                                   {thread.wakeDescriptor(), POLLIN, 0},
                                   {connection.hasWaiting() ? connection.descriptor() : -1, POLLOUT, 0}}};
    if (retryOnInterrupt([&] { return ::poll(waiting.data(), waiting.size(), -1); }) < 0)
        return true; // no memory in the kernel: once more
    if (waiting[1].revents != 0)
        thread.takeWakes();
    if (waiting[2].revents != 0)
        connection.flush();
    return waiting[0].revents == 0 || !session->watch.take() || read();
}

// On the link's thread.
bool IPCClient::Link::read()
{
    std::unique_lock mayRead(session->reading, std::try_to_lock);
    if (!mayRead) // who may will ask for the next word
        return true;
    bool const isThere = session->read(handlers.received);
    mayRead.unlock();
    session->watch.start();
    return isThere;
}

IPCClient::Reading::Reading(IPCClient& client) : m_client(client)
{
    auto session = client.m_link->current();
    if (!session || !client.m_link->thread.isHere() || !session->reading.try_lock())
        return;
    session->watch.stop();
    m_session = std::move(session);
}

IPCClient::Reading::~Reading()
{
    if (!m_session)
        return;
    m_session->reading.unlock();
    m_session->watch.start();
}

bool IPCClient::Reading::wait(std::uint32_t milliseconds, std::function<bool()> const& isEnough)
{
    auto const until = Clock::now() + std::chrono::milliseconds(milliseconds);
    while (!isEnough()) {
        auto const left = std::chrono::ceil<std::chrono::milliseconds>(until - Clock::now()).count();
        if (left <= 0)
            return false;
        pollfd waiting{m_session->connection.descriptor(), POLLIN, 0};
        if (::poll(&waiting, 1, static_cast<int>(std::min<std::int64_t>(left, kMostWait))) <= 0)
            continue;
        if (!m_session->read(m_client.m_link->handlers.received)) {
            // The link's thread finds it as well, and tells who wants to know.
            m_client.m_link->manager.m_isRemoteRunning = false;
            return isEnough();
        }
    }
    return true;
}

void IPCClient::Link::run()
{
    while (!isLeaving && step()) {
    }
    manager.m_isRemoteRunning = false;
    if (isLeaving)
        return;
    String const why = session->connection.why();
    ZEL_LOG(linkLogger(), LogLevel::Warning) << "the engine is gone" << (why.empty() ? "" : ": ") << why;
    if (handlers.lost)
        handlers.lost();
}

void IPCClient::Link::leave()
{
    isLeaving = true;
    thread.wake();
    thread.join();
    if (auto const ended = current(); ended && thread.isHere()) {
        ended->connection.end(String());
        std::lock_guard const nobodyReads(ended->reading);
    }
    manager.m_isRemoteRunning = false;
    std::lock_guard<std::mutex> const guard(mutex);
    session.reset();
}

bool IPCClient::Link::queue(OutgoingFrame& frame)
{
    auto const engine = current();
    if (!engine || !thread.isHere()) // a process forked off must not speak in between
        return false;
    for (auto const until = Clock::now() + kSendPatience;;) {
        switch (engine->connection.queue(frame)) {
        case Connection::Queued::Waits:
            thread.wake();
            return true;
        case Connection::Queued::Sent:
        case Connection::Queued::Behind:
            return true;
        case Connection::Queued::Closed:
            return false;
        case Connection::Queued::TooMany:
            if (thread.isCurrent() || !engine->connection.waitForRoom(until)) {
                engine->connection.end("it does not read what it is sent");
                return false;
            }
        }
    }
}

IPCClient::IPCClient(Handlers handlers) : m_link(std::make_unique<Link>(std::move(handlers))) {}

IPCClient::~IPCClient()
{
    if (m_link->session)
        doLogout();
}

String IPCClient::getLoginSHMName() { return getLoginSHMName(System::parentProcessId()); }
String IPCClient::getLoginSHMName(std::int64_t engineProcessId) { return LoginArea::nameOf(engineProcessId); }

bool IPCClient::doLogin(String const& name)
{
    if (m_link->session)
        m_link->leave();
    m_link->failure = String();
    m_link->isLeaving = false;
    try {
        auto session =
            std::make_shared<Session>(connectToEngine(name.toUtf8(), Clock::now() + kLoginPatience));
        std::lock_guard<std::mutex> const guard(m_link->mutex);
        m_link->session = std::move(session);
    } catch (IPCException const& e) {
        m_link->failure = e.getMessage();
    }
    if (m_link->session) {
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
                        engine->connection.waitUntilSent(Clock::now() + kLogoutPatience);
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
           engine->connection.waitUntilSent(Clock::now() + std::chrono::milliseconds(milliseconds));
}

IPCCommMgr const& IPCClient::commMgr() const noexcept { return m_link->manager; }

} // namespace zel
