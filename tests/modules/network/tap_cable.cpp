// A cable with a loopback plug at its other end, for an interface of the kernel: what the interface sends comes back, with the
// faults that are asked for.
//   tap_cable NAME FAULT    makes the interface and says "ready"; FAULT: none lose damage cut double swap silent
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <linux/if_tun.h>
#include <net/if.h>
#include <string>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <unistd.h>
#include <vector>

int main(int argc, char** argv)
{
    if (argc != 3)
        return 2;
    std::string const fault = argv[2];
    int const tap = ::open("/dev/net/tun", O_RDWR | O_CLOEXEC);
    ifreq request{};
    std::strncpy(request.ifr_name, argv[1], sizeof request.ifr_name - 1);
    request.ifr_flags = IFF_TAP | IFF_NO_PI;
    if (tap < 0 || ::ioctl(tap, TUNSETIFF, &request) != 0)
        return 77; // no such interfaces here
    int const any = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    request.ifr_flags = IFF_UP;
    if (fault != "down" && ::ioctl(any, SIOCSIFFLAGS, &request) != 0)
        return 77;
    std::puts("ready");
    std::fflush(stdout);
    std::vector<char> frame(65536), kept;
    constexpr std::size_t kProtocolAt = 12;
    for (long number = 0;;) {
        ssize_t count = ::read(tap, frame.data(), frame.size());
        if (count <= 0)
            return 0;
        if (count < 16 || frame[kProtocolAt] != '\x88' || frame[kProtocolAt + 1] != '\xB5')
            continue;                              // what the system says by itself
        bool const isChosen = ++number % 50 == 25; // not the last, whose copy nobody might wait for
        if (fault == "silent" || (fault == "lose" && isChosen))
            continue;
        if (fault == "damage" && isChosen)
            frame[static_cast<std::size_t>(count) - 3] ^= 0x10;
        if (fault == "cut" && isChosen)
            --count;
        if (fault == "swap" && isChosen) {
            kept.assign(frame.begin(), frame.begin() + count);
            continue;
        }
        for (int i = 0; i < (fault == "double" && isChosen ? 2 : 1); ++i)
            if (::write(tap, frame.data(), static_cast<std::size_t>(count)) != count)
                return 1;
        if (!kept.empty() && ::write(tap, kept.data(), kept.size()) < 0)
            return 1;
        kept.clear();
    }
}
