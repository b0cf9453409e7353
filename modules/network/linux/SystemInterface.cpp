// The state of an interface as the kernel's files have it, and what its driver answers to linux/ethtool.h.
#include <network/Interface.h>
#include <network/SelfTest.h>
#include <network/linux/Socket.h>

#include <cerrno>
#include <charconv>
#include <chrono>
#include <cstring>
#include <fcntl.h>
#include <linux/ethtool.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace krel5::modules::network {
namespace {

constexpr std::uint64_t kFlagUp = 0x1; // IFF_UP
constexpr std::uint64_t kMostMegabits = 10'000'000;
constexpr std::size_t kMostParts = 1000; // of a driver's self-test
constexpr int kMostWords = 127;          // of a mask of link modes: the kernel's own limit is a signed byte

struct Answer
{
    std::string text;
    int error = 0;
};

Answer readFile(std::string const& path)
{
    Socket const file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
    if (!file.isOpen())
        return {{}, errno};
    char buffer[128];
    ssize_t const count = ::read(file.number(), buffer, sizeof buffer);
    if (count < 0)
        return {{}, errno};
    std::string text(buffer, static_cast<std::size_t>(count));
    text.erase(text.find_last_not_of(" \n") + 1);
    return {text, 0};
}

std::optional<std::uint64_t> number(std::string_view text)
{
    bool const isHexadecimal = text.starts_with("0x");
    text.remove_prefix(isHexadecimal ? 2 : 0);
    std::uint64_t value = 0;
    auto const [end, error] =
        std::from_chars(text.data(), text.data() + text.size(), value, isHexadecimal ? 16 : 10);
    if (error != std::errc() || end != text.data() + text.size())
        return std::nullopt;
    return value;
}

LinkState readState(std::string const& folder)
{
    auto const numberIn = [&folder](std::string const& name) { return number(readFile(folder + name).text); };
    LinkState state;
    Answer const flags = readFile(folder + "flags");
    if (flags.error != 0) {
        state.error = flags.error == ENOENT || flags.error == ENOTDIR ? ENODEV : flags.error;
        return state;
    }
    auto const bits = number(flags.text);
    if (!bits) {
        state.error = EIO;
        return state;
    }
    state.isUp = (*bits & kFlagUp) != 0;
    state.isRadio = ::access((folder + "phy80211").c_str(), F_OK) == 0;
    state.hasCarrier = numberIn("carrier") == 1; // refused while the interface is down
    state.megabits = numberIn("speed");          // -1 where there is none
    if (state.megabits == 0 || state.megabits.value_or(0) > kMostMegabits)
        state.megabits.reset();
    std::string const duplex = readFile(folder + "duplex").text;
    state.duplex = duplex == "full" ? Duplex::Full : duplex == "half" ? Duplex::Half : Duplex::Unknown;
    state.losses = numberIn("carrier_down_count");
    for (std::size_t i = 0; i < kCounterCount; ++i)
        state.counts[i] = numberIn(std::string("statistics/") + kCounters[i].name);
    state.frames =
        numberIn("statistics/rx_packets").value_or(0) + numberIn("statistics/tx_packets").value_or(0);
    return state;
}

/// errno; 0: done.
int ask(std::string const& name, void* what)
{
    Socket const socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    if (!socket.isOpen())
        return errno;
    ifreq request{};
    name.copy(request.ifr_name, sizeof request.ifr_name - 1);
    request.ifr_data = static_cast<char*>(what);
    return ::ioctl(socket.number(), SIOCETHTOOL, &request) == 0 ? 0 : errno;
}

struct LinkMode
{
    unsigned bit;
    std::uint64_t megabits;
};

// Those of copper, fibre and backplanes that a computer has; an unknown one is as if it were not offered.
constexpr LinkMode kModes[] = {
#define MODE(name, megabits)                                                                                 \
    {                                                                                                        \
        ETHTOOL_LINK_MODE_##name##_BIT, megabits                                                             \
    }
    MODE(10baseT_Half, 10),           MODE(10baseT_Full, 10),
    MODE(100baseT_Half, 100),         MODE(100baseT_Full, 100),
    MODE(100baseT1_Full, 100),        MODE(1000baseT_Half, 1000),
    MODE(1000baseT_Full, 1000),       MODE(1000baseKX_Full, 1000),
    MODE(1000baseX_Full, 1000),       MODE(1000baseT1_Full, 1000),
    MODE(2500baseX_Full, 2500),       MODE(2500baseT_Full, 2500),
    MODE(5000baseT_Full, 5000),       MODE(10000baseT_Full, 10000),
    MODE(10000baseKX4_Full, 10000),   MODE(10000baseKR_Full, 10000),
    MODE(10000baseCR_Full, 10000),    MODE(10000baseSR_Full, 10000),
    MODE(10000baseLR_Full, 10000),    MODE(10000baseLRM_Full, 10000),
    MODE(10000baseER_Full, 10000),    MODE(25000baseCR_Full, 25000),
    MODE(25000baseKR_Full, 25000),    MODE(25000baseSR_Full, 25000),
    MODE(40000baseKR4_Full, 40000),   MODE(40000baseCR4_Full, 40000),
    MODE(40000baseSR4_Full, 40000),   MODE(40000baseLR4_Full, 40000),
    MODE(50000baseCR2_Full, 50000),   MODE(50000baseKR2_Full, 50000),
    MODE(50000baseSR2_Full, 50000),   MODE(50000baseKR_Full, 50000),
    MODE(50000baseSR_Full, 50000),    MODE(50000baseCR_Full, 50000),
    MODE(100000baseKR4_Full, 100000), MODE(100000baseSR4_Full, 100000),
    MODE(100000baseCR4_Full, 100000), MODE(100000baseLR4_ER4_Full, 100000),
    MODE(100000baseKR2_Full, 100000), MODE(100000baseSR2_Full, 100000),
    MODE(100000baseCR2_Full, 100000), MODE(200000baseKR4_Full, 200000),
    MODE(200000baseSR4_Full, 200000), MODE(200000baseCR4_Full, 200000),
#undef MODE
};

/// What both ends have offered; the other end's offer is there for copper that negotiates, mostly.
Abilities askAbilities(std::string const& name)
{
    std::vector<std::uint32_t> buffer(sizeof(ethtool_link_settings) / 4 + 3 * kMostWords);
    auto* const settings = reinterpret_cast<ethtool_link_settings*>(buffer.data());
    settings->cmd =
        ETHTOOL_GLINKSETTINGS; // with no words asked for, it answers how many there are, as a negative number
    if (ask(name, settings) != 0 || settings->link_mode_masks_nwords >= 0)
        return {};
    int const words = -settings->link_mode_masks_nwords;
    std::fill(buffer.begin(), buffer.end(), 0u);
    settings->cmd = ETHTOOL_GLINKSETTINGS;
    settings->link_mode_masks_nwords = static_cast<std::int8_t>(words);
    if (words > kMostWords || ask(name, settings) != 0 || settings->link_mode_masks_nwords != words)
        return {};
    if (settings->autoneg == AUTONEG_DISABLE) // a person has chosen the mode
        return {};
    std::uint32_t const* const masks = buffer.data() + sizeof(ethtool_link_settings) / 4;
    auto const has = [&](int mask, unsigned bit) { // supported, advertised, advertised by the other end
        return static_cast<int>(bit / 32) < words &&
               (masks[static_cast<unsigned>(mask * words) + bit / 32] >> bit % 32 & 1) != 0;
    };
    Abilities abilities;
    for (LinkMode const& mode : kModes)
        if (has(1, mode.bit) && has(2, mode.bit))
            abilities.common = std::max(abilities.common.value_or(0), mode.megabits);
    return abilities;
}

SelfTestAnswer test(std::string const& name, bool isWhole)
{
    SelfTestAnswer answer;
    ethtool_drvinfo driver{};
    driver.cmd = ETHTOOL_GDRVINFO;
    answer.error = ask(name, &driver);
    if (answer.error == 0 && driver.testinfo_len == 0)
        answer.error = EOPNOTSUPP;
    if (answer.error == 0 && driver.testinfo_len > kMostParts)
        answer.error = E2BIG;
    if (answer.error != 0)
        return answer;
    std::size_t const count = driver.testinfo_len;
    std::vector<std::uint64_t> names((sizeof(ethtool_gstrings) + count * ETH_GSTRING_LEN) / 8 + 1);
    auto* const strings = reinterpret_cast<ethtool_gstrings*>(names.data());
    strings->cmd = ETHTOOL_GSTRINGS;
    strings->string_set = ETH_SS_TEST;
    strings->len = static_cast<std::uint32_t>(count);
    bool const hasNames = ask(name, strings) == 0;
    std::vector<std::uint64_t> values(sizeof(ethtool_test) / 8 + 1 + count);
    auto* const run = reinterpret_cast<ethtool_test*>(values.data());
    run->cmd = ETHTOOL_TEST;
    run->len = static_cast<std::uint32_t>(count);
    run->flags = isWhole ? ETH_TEST_FL_OFFLINE : 0;
    answer.hasLink = readState("/sys/class/net/" + name + "/").hasCarrier;
    answer.error = ask(name, run);
    if (answer.error != 0)
        return answer;
    answer.hasFailed = (run->flags & ETH_TEST_FL_FAILED) != 0;
    char const* const text = reinterpret_cast<char const*>(names.data()) + sizeof(ethtool_gstrings);
    for (std::size_t i = 0; i < count; ++i) {
        std::int64_t value = 0;
        std::memcpy(&value, reinterpret_cast<char const*>(run) + sizeof *run + i * sizeof value,
                    sizeof value);
        std::string part = hasNames ? std::string(text + i * ETH_GSTRING_LEN,
                                                  ::strnlen(text + i * ETH_GSTRING_LEN, ETH_GSTRING_LEN))
                                    : std::to_string(i + 1);
        answer.parts.push_back({part, value});
    }
    return answer;
}

} // namespace

bool isInterfaceName(std::string_view name) noexcept
{
    return !name.empty() && name.size() < IFNAMSIZ && name != "." && name != ".." &&
           name.find_first_of("/: \t\n\v\f\r", 0) == name.npos && name.find('\0') == name.npos;
}

InterfaceAccess interfaceAccess(std::string const& name, std::string const& root)
{
    std::string const folder = root + "/sys/class/net/" + name + "/";
    InterfaceAccess access;
    access.read = [folder, name] {
        LinkState gone;
        gone.error = ENODEV;
        return isInterfaceName(name) ? readState(folder) : gone;
    };
    access.ask = [name, isHere = root == "/"] { return isHere ? askAbilities(name) : Abilities(); };
    access.wait = [](std::chrono::milliseconds time) { std::this_thread::sleep_for(time); };
    access.now = [] {
        return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
    };
    return access;
}

SelfTestCall selfTestOf(std::string const& name)
{
    return [name](bool isWhole) { return test(name, isWhole); };
}

} // namespace krel5::modules::network
