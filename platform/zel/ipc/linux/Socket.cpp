#include <zel/ipc/linux/Socket.h>

#include <zel/foundation/FileSystem.h>
#include <zel/foundation/System.h>
#include <zel/ipc/IPCServer.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <dirent.h>
#include <memory>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>
#include <vector>

namespace zel {
namespace {

constexpr std::string_view kFolderName = "/krel5-engine-";
constexpr std::string_view kSocketName = "/link";
constexpr std::string_view kFolderPattern = "XXXXXX";
constexpr std::time_t kSettled = 60; // seconds: an engine that begins makes one, and listens a moment later
constexpr unsigned kRetryMilliseconds = 10;

// /run goes with the machine's next start; a user has none of his own there.
std::vector<std::string_view> parents()
{
    return System::userIsAdministrator() ? std::vector<std::string_view>{"/run", "/tmp"}
                                         : std::vector<std::string_view>{"/tmp"};
}

std::string makeFolder()
{
    for (std::string_view const parent : parents()) {
        std::string folder = std::string(parent) + std::string(kFolderName) + std::string(kFolderPattern);
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

namespace {

bool isSettledAndOwn(std::string const& folder)
{
    struct stat status;
    return ::lstat(folder.c_str(), &status) == 0 && S_ISDIR(status.st_mode) && status.st_uid == ::geteuid() &&
           (status.st_mode & 07777) == 0700 && status.st_mtime + kSettled < std::time(nullptr);
}

bool isDead(std::string const& path)
{
    FileDescriptor const socket = makeSocket();
    sockaddr_un const address = addressOf(path);
    return ::connect(socket.number(), reinterpret_cast<sockaddr const*>(&address), sizeof address) != 0 &&
           (errno == ECONNREFUSED || errno == ENOENT);
}

} // namespace

void removeStaleSockets(std::set<std::string> const& used)
try {
    for (std::string_view const parent : parents()) {
        std::unique_ptr<DIR, int (*)(DIR*)> const all(::opendir(parent.data()), ::closedir);
        if (!all)
            continue;
        while (dirent const* const entry = ::readdir(all.get())) {
            std::string const name = std::string("/") + entry->d_name;
            if (name.size() != kFolderName.size() + kFolderPattern.size() || !name.starts_with(kFolderName))
                continue;
            std::string const folder = std::string(parent) + name;
            std::string const path = folder + std::string(kSocketName);
            if (used.count(path) != 0 || !isSettledAndOwn(folder) || !isDead(path))
                continue;
            ZEL_LOG(linkLogger(), LogLevel::Information)
                << "removes the socket " << path << " of a dead engine";
            removeSocket(path);
        }
    }
} catch (IPCException const& e) { // then they stay
    ZEL_LOG(linkLogger(), LogLevel::Warning) << e.getMessage();
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
