#include <zel/ipc/linux/Socket.h>

#include <zel/foundation/FileSystem.h>
#include <zel/foundation/System.h>
#include <zel/ipc/IPCServer.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace zel {
namespace {

constexpr std::string_view kFolderName = "/krel5-engine-";
constexpr std::string_view kSocketName = "/link";
constexpr unsigned kRetryMilliseconds = 10;

// /run goes with the machine's next start; a user has none of his own there.
std::string makeFolder()
{
    for (std::string_view const parent : {"/run", "/tmp"}) {
        if (parent == "/run" && !System::userIsAdministrator())
            continue;
        std::string folder = std::string(parent) + std::string(kFolderName) + "XXXXXX";
        if (::mkdtemp(folder.data()))
            return folder;
    }
    throw IPCException("No folder for the engine's socket can be made below /tmp: " +
                       System::errorText(errno));
}

sockaddr_un addressOf(std::string const& path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path)
        throw IPCException("The path of the socket is too long: " + String(path));
    std::memcpy(address.sun_path, path.data(), path.size());
    return address;
}

FileDescriptor makeSocket()
{
    FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!socket.isOpen())
        throw IPCException("No socket: " + System::errorText(errno));
    return socket;
}

} // namespace

Logger& linkLogger()
{
    static Logger& s_logger = LogFactory::getLogger("zel.ipc");
    return s_logger;
}

ListeningSocket::ListeningSocket() : m_socket(makeSocket()), m_path(makeFolder() + std::string(kSocketName))
{
    sockaddr_un const address = addressOf(m_path);
    if (::bind(m_socket.number(), reinterpret_cast<sockaddr const*>(&address), sizeof address) != 0 ||
        ::chmod(m_path.c_str(), 0600) != 0 || ::listen(m_socket.number(), SOMAXCONN) != 0) {
        int const error = errno;
        remove();
        throw IPCException("Socket " + String(m_path) + ": " + System::errorText(error));
    }
}

void ListeningSocket::remove() noexcept { removeSocket(m_path); }

void removeSocket(std::string const& path) noexcept
{
    if (!path.ends_with(kSocketName))
        return;
    std::string const folder = path.substr(0, path.size() - kSocketName.size());
    std::size_t const last = folder.rfind('/');
    if (last == std::string::npos || !std::string_view(folder).substr(last).starts_with(kFolderName))
        return;
    ::unlink(path.c_str());
    ::rmdir(folder.c_str());
}

// A stream socket of this kind is connected at once or, while more wait than the engine has let in, not at all.
FileDescriptor connectTo(std::string const& path, std::chrono::steady_clock::time_point until)
{
    FileDescriptor socket = makeSocket();
    sockaddr_un const address = addressOf(path);
    while (retryOnInterrupt([&] {
               return ::connect(socket.number(), reinterpret_cast<sockaddr const*>(&address), sizeof address);
           }) != 0) {
        if (errno != EAGAIN)
            throw IPCException("Nobody listens at " + String(path) + ": " + System::errorText(errno));
        if (std::chrono::steady_clock::now() >= until)
            throw IPCException("The engine at " + String(path) + " does not answer");
        System::sleepMilliseconds(kRetryMilliseconds);
    }
    return socket;
}

PeerIdentity peerOf(int socket) noexcept
{
    ucred peer{};
    socklen_t size = sizeof peer;
    if (::getsockopt(socket, SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0 || size != sizeof peer)
        return {};
    return {peer.pid, peer.uid};
}

bool isTrusted(PeerIdentity const& peer) noexcept
{
    return peer.user == 0 || peer.user == std::int64_t{::geteuid()};
}

} // namespace zel
