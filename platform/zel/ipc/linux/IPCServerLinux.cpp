#include <zel/ipc/IPCServer.h>

#include <zel/foundation/Logger.h>
#include <zel/foundation/System.h>
#include <zel/ipc/linux/Connection.h>
#include <zel/ipc/linux/LinkThread.h>
#include <zel/ipc/linux/LoginArea.h>
#include <zel/ipc/linux/Socket.h>

#include <atomic>
#include <cerrno>
#include <map>
#include <mutex>
#include <poll.h>
#include <sys/socket.h>
#include <utility>
#include <vector>

namespace zel {
namespace {

constexpr std::size_t kReadBytes = std::size_t{64} << 10;
constexpr int kAcceptedAtOnce = 64;
// No descriptors or no memory: whoever waits to be let in waits on, and the others are heard meanwhile.
constexpr int kPauseMilliseconds = 100;
// Nobody has said anything for so long: time to look for what dead engines have left.
constexpr int kTidyMilliseconds = 20;

bool isShortage(int error)
{
    switch (error) {
    case EMFILE:
    case ENFILE:
    case ENOBUFS:
    case ENOMEM:
        return true;
    }
    return false;
}

LoginArea areaFor(ListeningSocket& socket)
try {
    return LoginArea(socket.path());
} catch (IPCException const&) {
    socket.remove();
    throw;
}

} // namespace

IPCException::IPCException(String const& message) : Exception(message) {}

struct IPCServer::Link
{
    using Modules = std::map<Peer, std::shared_ptr<Connection>>;

    explicit Link(Handlers all) : handlers(std::move(all)) {}

    void run();
    void wait(std::vector<pollfd>& waiting);
    void serve(std::vector<pollfd> const& waiting, std::span<char> buffer);
    void accept();
    void admit(FileDescriptor socket);
    void part(Peer peer, Connection const& module);
    std::shared_ptr<Connection> find(Peer peer);

    Handlers handlers;
    ListeningSocket socket;
    LoginArea area{areaFor(socket)};
    LinkThread thread;
    std::atomic<bool> isEnding{false};
    std::mutex
        mutex; // guards the map: the link's thread alone changes it, and holds this for that; others to look
    Modules modules;
    Peer last = 0;
    bool isShort = false; // of descriptors or memory
    bool isTidy = false;  // nothing of a dead engine is left
};

std::shared_ptr<Connection> IPCServer::Link::find(Peer peer)
{
    std::lock_guard<std::mutex> const guard(mutex);
    auto const found = modules.find(peer);
    return found == modules.end() ? nullptr : found->second;
}

void IPCServer::Link::run()
{
    auto const buffer = std::make_unique_for_overwrite<char[]>(kReadBytes);
    std::vector<pollfd> waiting;
    while (!isEnding) {
        wait(waiting);
        if (waiting[0].revents != 0)
            thread.takeWakes();
        serve(waiting, {buffer.get(), kReadBytes});
        if (isShort || waiting[1].revents != 0)
            accept();
    }
}

// First the wakes, then who wants to be let in, then the modules in their order.
void IPCServer::Link::wait(std::vector<pollfd>& waiting)
{
    waiting.clear();
    waiting.push_back({thread.wakeDescriptor(), POLLIN, 0});
    waiting.push_back({isShort ? -1 : socket.descriptor(), POLLIN, 0});
    for (auto const& one : modules)
        waiting.push_back({one.second->descriptor(),
                           static_cast<short>(one.second->hasWaiting() ? POLLIN | POLLOUT : POLLIN), 0});
    int const patience = isShort ? kPauseMilliseconds : isTidy ? -1 : kTidyMilliseconds;
    int const found = ::poll(waiting.data(), waiting.size(), patience);
    if (found < 0)
        for (pollfd& one : waiting)
            one.revents = 0;
    if (found == 0 && !isTidy) {
        LoginArea::removeStale();
        isTidy = true;
    }
}

void IPCServer::Link::serve(std::vector<pollfd> const& waiting, std::span<char> buffer)
{
    std::size_t i = 2;
    for (auto next = modules.begin(); next != modules.end();) {
        auto const [peer, module] = *next++; // it may part
        short const found = waiting[i++].revents;
        if ((found & POLLOUT) != 0)
            module->flush();
        if (isEnding || (found & ~POLLOUT) == 0)
            continue;
        auto const received = [this, id = peer](std::shared_ptr<Message const> message) {
            if (handlers.received)
                handlers.received(id, std::move(message));
        };
        if (!module->receive(buffer, received))
            part(peer, *module);
    }
}

void IPCServer::Link::part(Peer peer, Connection const& module)
{
    String const why = module.why();
    if (why.empty())
        ZEL_LOG(linkLogger(), LogLevel::Debug) << "connection " << peer << " ended";
    else
        ZEL_LOG(linkLogger(), LogLevel::Warning) << "connection " << peer << " is closed: " << why;
    {
        std::lock_guard<std::mutex> const guard(mutex);
        modules.erase(peer);
    }
    if (handlers.disconnected)
        handlers.disconnected(peer, why);
}

void IPCServer::Link::accept()
{
    for (int i = 0; i < kAcceptedAtOnce; ++i) {
        FileDescriptor module(::accept4(socket.descriptor(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
        if (!module.isOpen()) {
            int const error = errno;
            if (error == ECONNABORTED || error == EINTR)
                continue;
            if (isShortage(error) && !isShort)
                ZEL_LOG(linkLogger(), LogLevel::Error)
                    << "nobody can be let in: " << System::errorText(error);
            isShort = isShortage(error);
            return;
        }
        isShort = false;
        admit(std::move(module));
    }
}

void IPCServer::Link::admit(FileDescriptor module)
{
    PeerIdentity const peer = peerOf(module.number());
    if (!isTrusted(peer) || (handlers.accepts && !handlers.accepts(peer.process))) {
        ZEL_LOG(linkLogger(), LogLevel::Warning)
            << "process " << peer.process << " of user " << peer.user << " wanted to connect, and may not";
        return;
    }
    Peer const id = ++last;
    {
        std::lock_guard<std::mutex> const guard(mutex);
        modules.emplace(id, std::make_shared<Connection>(std::move(module)));
    }
    if (handlers.connected)
        handlers.connected(id, peer.process);
}

IPCServer::IPCServer(Handlers handlers)
{
    m_link = std::make_unique<Link>(std::move(handlers));
    if (int const error = m_link->thread.start([link = m_link.get()] { link->run(); })) {
        m_link->area.remove();
        m_link->socket.remove();
        throw IPCException("No thread for the engine link: " + System::errorText(error));
    }
}

// A process forked off has no thread to end, and what stands in the file system is its parent's.
IPCServer::~IPCServer()
{
    if (!m_link->thread.isHere()) {
        static_cast<void>(m_link.release());
        return;
    }
    m_link->isEnding = true;
    m_link->thread.wake();
    m_link->thread.join();
    m_link->area.remove();
    m_link->socket.remove();
}

bool IPCServer::queue(Peer peer, Message const& message)
try {
    auto const module = m_link->thread.isHere() ? m_link->find(peer) : nullptr;
    if (!module)
        return false;
    OutgoingFrame frame = OutgoingFrame::of(message);
    switch (module->queue(frame)) {
    case Connection::Queued::Waits:
        m_link->thread.wake();
        return true;
    case Connection::Queued::Sent:
    case Connection::Queued::Behind:
        return true;
    case Connection::Queued::TooMany:
        module->end("it does not read what it is sent");
        break;
    case Connection::Queued::Closed:
        break;
    }
    return false;
} catch (InvalidArgumentException const& e) {
    ZEL_LOG(linkLogger(), LogLevel::Error) << e.getMessage();
    return false;
}

void IPCServer::disconnect(Peer peer)
{
    if (auto const module = m_link->thread.isHere() ? m_link->find(peer) : nullptr)
        module->end(String());
}

} // namespace zel
