#include <ipc/Link.h>

#include <zel/ipc/Frame.h>
#include <zel/ipc/linux/LoginArea.h>
#include <zel/ipc/linux/Socket.h>

#include <cstring>
#include <poll.h>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace zel::test {

std::string frameOf(int typeCode, std::string const& payload)
{
    FrameHeader header;
    header.typeCode = static_cast<std::uint16_t>(typeCode);
    header.payloadSize = static_cast<std::uint32_t>(payload.size());
    auto const bytes = header.bytes();
    return std::string(bytes.begin(), bytes.end()) + payload;
}

std::string frameOf(Message const& message) { return frameOf(message.typeCode(), message.serialize()); }

FakeEngine::FakeEngine()
{
    std::string folder = "/tmp/krel5-fake-XXXXXX";
    if (!::mkdtemp(folder.data()))
        throw std::runtime_error("no folder");
    m_folder = folder;
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strcpy(address.sun_path, (m_folder + "/s").c_str());
    m_socket = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (::bind(m_socket, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(m_socket, 1000) != 0)
        throw std::runtime_error("no socket");
    m_area = std::make_unique<LoginArea>(m_folder + "/s");
}

FakeEngine::~FakeEngine()
{
    ::close(m_socket);
    ::unlink((m_folder + "/s").c_str());
    ::rmdir(m_folder.c_str());
    m_area->remove();
}

int FakeEngine::accept() { return ::accept4(m_socket, nullptr, nullptr, SOCK_CLOEXEC); }

int connectRaw()
try {
    auto const content = LoginArea::read(LoginArea::nameOf(::getpid()));
    return connectTo(content.socketPath, std::chrono::steady_clock::now() + kPatience).release();
} catch (IPCException const&) {
    return -1;
}

bool sendRaw(int socket, std::string const& bytes)
{
    for (std::size_t sent = 0; sent < bytes.size();) {
        pollfd room{socket, POLLOUT, 0};
        if (::poll(&room, 1, 30000) != 1)
            return false;
        ssize_t const count = ::send(socket, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL);
        if (count <= 0)
            return false;
        sent += static_cast<std::size_t>(count);
    }
    return true;
}

bool isClosedByPeer(int socket)
{
    for (;;) {
        pollfd waiting{socket, POLLIN, 0};
        if (::poll(&waiting, 1, 30000) != 1)
            return false;
        char ignored[4096];
        if (::recv(socket, ignored, sizeof ignored, 0) <= 0)
            return true;
    }
}

} // namespace zel::test
