// The kernel's device events: NETLINK_KOBJECT_UEVENT, group 1, "add@/devices/...\0ACTION=add\0SUBSYSTEM=hwmon\0...".
#include <sensors/DeviceEvents.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <linux/netlink.h>
#include <poll.h>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <unistd.h>

namespace krel5::modules::sensors {

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr milliseconds kSettle{300}; ///< a drive comes with its partitions, a chip with its device

int openSocket()
{
    int const socket =
        ::socket(AF_NETLINK, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, NETLINK_KOBJECT_UEVENT);
    if (socket < 0)
        return -1;
    sockaddr_nl address{};
    address.nl_family = AF_NETLINK;
    address.nl_groups = 1;
    if (bind(socket, reinterpret_cast<sockaddr const*>(&address), sizeof address) == 0)
        return socket;
    close(socket);
    return -1;
}

} // namespace

bool tellsOfChange(std::string_view message)
{
    bool isChange = false, isWatched = false;
    while (!message.empty()) {
        std::size_t const end = std::min(message.find('\0'), message.size());
        std::string_view const field = message.substr(0, end);
        message.remove_prefix(std::min(end + 1, message.size()));
        isChange |= field == "ACTION=add" || field == "ACTION=remove" || field == "ACTION=move" ||
                    field == "ACTION=online" || field == "ACTION=offline";
        for (char const* kind : {"hwmon", "power_supply", "thermal", "block", "net", "edac", "cpu", "memory"})
            isWatched |= field == std::string("SUBSYSTEM=") + kind;
    }
    return isChange && isWatched;
}

namespace {

/// Takes the messages that are there. True: something changed, or may have.
bool takeAll(int socket)
{
    constexpr int kMost = 10'000; // a flood is told of by one look
    bool isChanged = false;
    char buffer[8192];
    for (int i = 0; i < kMost; ++i) {
        sockaddr_nl from{};
        socklen_t length = sizeof from;
        ssize_t const got =
            recvfrom(socket, buffer, sizeof buffer, 0, reinterpret_cast<sockaddr*>(&from), &length);
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            return isChanged || errno == ENOBUFS; // messages were lost
        if (from.nl_pid == 0)                     // from the kernel: any program may send
            isChanged |= tellsOfChange({buffer, static_cast<std::size_t>(got)});
    }
    return true;
}

} // namespace

DeviceEvents::DeviceEvents(bool isLive) : m_socket(isLive ? openSocket() : -1) {}

DeviceEvents::~DeviceEvents()
{
    if (m_socket >= 0)
        close(m_socket);
}

void DeviceEvents::wait(milliseconds longest)
{
    auto end = Clock::now() + longest;
    bool isChanged = false;
    for (;;) {
        auto const left = std::chrono::duration_cast<milliseconds>(end - Clock::now());
        if (left.count() <= 0)
            return;
        pollfd one{m_socket, POLLIN, 0}; // a negative one is not looked at
        int const ready =
            poll(&one, 1, static_cast<int>(std::min<milliseconds::rep>(left.count() + 1, 1 << 30)));
        if (ready <= 0)
            continue;
        if (takeAll(m_socket) && !isChanged) {
            isChanged = true;
            end = std::min(end, Clock::now() + kSettle);
        }
    }
}

} // namespace krel5::modules::sensors
