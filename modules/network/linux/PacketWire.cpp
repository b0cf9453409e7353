// A wire made of packet sockets, see packet(7).
#include <network/Interface.h>
#include <network/Loopback.h>
#include <network/linux/Socket.h>

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <linux/if_packet.h>
#include <net/ethernet.h>
#include <net/if.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

namespace krel5::modules::network {
namespace {

constexpr std::uint16_t kProtocol =
    0x88B5; // for local experiments, IEEE 802, clause 9.2.4: no bridge or host takes it for its own
constexpr std::size_t kMostPayload = 9000; // a larger one is no more of a test
constexpr std::size_t kLeastPayload = 64;  // of the frames that are sent
constexpr int kBufferBytes = 1 << 20;

struct Port
{
    Socket socket;
    int index = 0;
    sockaddr_ll address{};
    std::size_t mostBytes = 0;
    int error = 0;
};

int openPort(std::string const& name, Port& port)
{
    if (!isInterfaceName(name))
        return ENODEV;
    port.socket = Socket(::socket(AF_PACKET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!port.socket.isOpen())
        return errno;
    int const socket = port.socket.number();
    ifreq request{};
    name.copy(request.ifr_name, sizeof request.ifr_name - 1);
    if (::ioctl(socket, SIOCGIFINDEX, &request) != 0)
        return errno;
    port.index = request.ifr_ifindex;
    if (::ioctl(socket, SIOCGIFFLAGS, &request) != 0)
        return errno;
    if ((request.ifr_flags & IFF_UP) == 0)
        return ENETDOWN;
    if (::ioctl(socket, SIOCGIFMTU, &request) != 0)
        return errno;
    port.mostBytes = static_cast<std::size_t>(std::max(request.ifr_mtu, 0));
    if (port.mostBytes < kLeastPayload)
        return EMSGSIZE;
    if (::ioctl(socket, SIOCGIFHWADDR, &request) != 0)
        return errno;
    port.address.sll_family = AF_PACKET;
    port.address.sll_protocol = htons(kProtocol);
    port.address.sll_ifindex = port.index;
    port.address.sll_halen = ETH_ALEN;
    std::memcpy(port.address.sll_addr, request.ifr_hwaddr.sa_data, ETH_ALEN);
    return 0;
}

/// Hears what arrives at the port, for whomever, but not what leaves it.
int hear(Port& port)
{
    int const socket = port.socket.number(), yes = 1;
    packet_mreq all{};
    all.mr_ifindex = port.index;
    all.mr_type = PACKET_MR_PROMISC;
    if (::setsockopt(socket, SOL_PACKET, PACKET_ADD_MEMBERSHIP, &all, sizeof all) != 0)
        return errno;
    ::setsockopt(socket, SOL_PACKET, PACKET_IGNORE_OUTGOING, &yes,
                 sizeof yes); // before Linux 4.20 there is none
    ::setsockopt(socket, SOL_SOCKET, SO_RCVBUF, &kBufferBytes, sizeof kBufferBytes);
    return ::bind(socket, reinterpret_cast<sockaddr const*>(&port.address), sizeof port.address) == 0 ? 0
                                                                                                      : errno;
}

class PacketWire : public Wire
{
public:
    PacketWire(Port out, Port in)
        : m_out(std::move(out)), m_in(std::move(in)), m_clock(interfaceAccess("").now)
    {}

    int send(std::span<std::byte const> payload) override
    {
        auto const* const to =
            reinterpret_cast<sockaddr const*>(&m_in.address); // through this end's interface
        sockaddr_ll target;
        std::memcpy(&target, to, sizeof target);
        target.sll_ifindex = m_out.index;
        ssize_t const count = ::sendto(m_out.socket.number(), payload.data(), payload.size(), 0,
                                       reinterpret_cast<sockaddr const*>(&target), sizeof target);
        return count >= 0 ? 0 : errno;
    }

    Arrival receive(std::span<std::byte> into, std::chrono::milliseconds patience) override
    {
        for (;;) {
            sockaddr_ll from{};
            socklen_t length = sizeof from;
            ssize_t const count = ::recvfrom(m_in.socket.number(), into.data(), into.size(), MSG_TRUNC,
                                             reinterpret_cast<sockaddr*>(&from), &length);
            if (count >= 0 && from.sll_pkttype != PACKET_OUTGOING)
                return {0, static_cast<std::size_t>(count)};
            if (count >= 0 || errno == EINTR)
                continue;
            if (errno != EAGAIN || patience.count() == 0)
                return {errno, 0};
            pollfd waiting{m_in.socket.number(), POLLIN, 0};
            if (::poll(&waiting, 1, static_cast<int>(patience.count())) == 0)
                return {EAGAIN, 0};
            patience = std::chrono::milliseconds(0);
        }
    }
    std::size_t mostBytes() const override
    {
        return std::min({m_out.mostBytes, m_in.mostBytes, kMostPayload});
    }
    double now() const override { return m_clock(); }

private:
    Port m_out, m_in;
    std::function<double()> m_clock;
};

} // namespace

OpenedWire openWire(std::string const& out, std::string const& in)
{
    std::string const& other = in.empty() ? out : in;
    Port sending, hearing;
    if (int const error = openPort(out, sending); error != 0)
        return {nullptr, error, out};
    int error = openPort(other, hearing);
    error = error != 0 ? error : hear(hearing);
    if (error != 0)
        return {nullptr, error, other};
    return {std::make_unique<PacketWire>(std::move(sending), std::move(hearing)), 0};
}

} // namespace krel5::modules::network
