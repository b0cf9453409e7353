// Devices are looked for again and again: when the kernel speaks of them, however much it says, and when a driver hangs.
#include "Machine.h"
#include "Tree.h"

#include <sensors/DeviceEvents.h>

#include <zel/enumerator/root/Root.h>

#include <atomic>
#include <condition_variable>
#include <fcntl.h>
#include <linux/netlink.h>
#include <mutex>
#include <random>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>

namespace krel5::modules::sensors {
namespace {

using namespace std::chrono_literals;
using test::Tree;
using Clock = std::chrono::steady_clock;

std::string uevent(std::string const& action, std::string const& subsystem)
{
    return action + "@/devices/x" + '\0' + "ACTION=" + action + '\0' + "DEVPATH=/devices/x" + '\0' +
           "SUBSYSTEM=" + subsystem + '\0' + "SEQNUM=4711" + '\0';
}

TEST(DeviceMessages, CountWhenADeviceOfAWatchedKindComesOrGoes)
{
    for (char const* action : {"add", "remove", "move", "online", "offline"})
        for (char const* kind : {"hwmon", "power_supply", "thermal", "block", "net", "edac", "cpu", "memory"})
            EXPECT_TRUE(tellsOfChange(uevent(action, kind))) << action << kind;
    EXPECT_FALSE(tellsOfChange(uevent("change", "block"))) << "a medium, a level: looked at anyway";
    EXPECT_FALSE(tellsOfChange(uevent("add", "tty")));
    EXPECT_FALSE(tellsOfChange(uevent("add", "blockade")));
    EXPECT_FALSE(tellsOfChange("add@/devices/x"));
    EXPECT_FALSE(tellsOfChange(""));
    EXPECT_TRUE(tellsOfChange("SUBSYSTEM=net" + std::string("\0ACTION=add", 11)))
        << "in any order, without an end";
    // damaged: cut anywhere, bytes changed, nothing but noise
    std::mt19937 random(11);
    std::string const whole = uevent("add", "hwmon");
    std::size_t told = 0;
    for (int i = 0; i < 20'000; ++i) {
        std::string message = whole.substr(0, random() % (whole.size() + 1));
        for (unsigned n = random() % 4; n > 0 && !message.empty(); --n)
            message[random() % message.size()] = static_cast<char>(random());
        told += tellsOfChange(message);
        bool const isWhole =
            message.find("ACTION=add") != message.npos && message.find("SUBSYSTEM=hwmon") != message.npos;
        EXPECT_TRUE(isWhole || !tellsOfChange(message));
    }
    EXPECT_GT(told, 0u);
}

/// As root: the kernel tells that the device came, once more.
bool pretendToAdd(char const* device)
{
    int const file = ::open((std::string(device) + "/uevent").c_str(), O_WRONLY | O_CLOEXEC);
    bool const isWritten = file >= 0 && ::write(file, "add", 3) == 3;
    if (file >= 0)
        ::close(file);
    return isWritten;
}

/// What another program sends to those who listen to the kernel.
void sendAsAnother(std::string const& message)
{
    int const socket = ::socket(AF_NETLINK, SOCK_DGRAM | SOCK_CLOEXEC, NETLINK_KOBJECT_UEVENT);
    sockaddr_nl all{};
    all.nl_family = AF_NETLINK;
    all.nl_groups = 1;
    (void)::sendto(socket, message.data(), message.size(), 0, reinterpret_cast<sockaddr*>(&all), sizeof all);
    ::close(socket);
}

// The kernel itself: one message, more than the socket holds, and one that it did not send.
TEST(DeviceMessages, OfThisKernelAreHeardAndOthersAreNot)
{
    constexpr char kDevice[] = "/sys/class/net/lo";
    DeviceEvents events(true);
    if (!pretendToAdd(kDevice))
        GTEST_SKIP() << "nobody may write " << kDevice << "/uevent here";
    auto const waited = [&events](std::chrono::milliseconds longest) {
        auto const from = Clock::now();
        events.wait(longest);
        return Clock::now() - from;
    };
    EXPECT_LT(waited(60s), 30s);
    for (int i = 0; i < 600; ++i)
        ASSERT_TRUE(pretendToAdd(kDevice));
    EXPECT_LT(waited(60s), 30s) << "also when messages were lost";
    bool isQuiet = false; // other devices may come at the same time
    for (int attempt = 0; attempt < 5 && !isQuiet; ++attempt) {
        sendAsAnother(uevent("add", "net"));
        isQuiet = waited(400ms) >= 400ms;
    }
    EXPECT_TRUE(isQuiet) << "all were taken, and who is not the kernel is not heard";
}

/// A machine of files of which one keeps its reader waiting while it is told to.
class HangingRoot final : public zel::Root
{
public:
    struct Gate
    {
        std::mutex lock;
        std::condition_variable opened;
        bool isShut = false;
        std::atomic<unsigned> looks{0}; ///< at the file
        void set(bool shut)
        {
            std::lock_guard const guard(lock);
            isShut = shut;
            opened.notify_all();
        }
    };
    HangingRoot(std::string const& folder, std::shared_ptr<Gate> gate)
        : m_root(zel::Root::open(folder)), m_gate(std::move(gate))
    {}
    bool isLive() const override { return false; }
    std::optional<std::string> read(std::string const& path, std::size_t limit) const override
    {
        if (path == kHanging) {
            std::unique_lock guard(m_gate->lock);
            ++m_gate->looks;
            m_gate->opened.wait(guard, [this] { return !m_gate->isShut; });
        }
        return m_root->read(path, limit);
    }
    std::vector<std::string> list(std::string const& path) const override { return m_root->list(path); }
    std::optional<std::string> resolve(std::string const& path) const override
    {
        return m_root->resolve(path);
    }
    std::optional<std::string> linkName(std::string const& path) const override
    {
        return m_root->linkName(path);
    }

    static constexpr char kHanging[] = "sys/class/hwmon/hwmon0/name";

private:
    std::unique_ptr<zel::Root> m_root;
    std::shared_ptr<Gate> m_gate;
};

void writeChip(Tree const& tree)
{
    tree.write(HangingRoot::kHanging, "board\n");
    tree.write("sys/class/hwmon/hwmon0/temp1_input", "30000\n");
}

TEST(Scanners, SayWhatTheyHangOn)
{
    Tree tree;
    writeChip(tree);
    auto const gate = std::make_shared<HangingRoot::Gate>();
    Scanner scanner(tree.root(), 50ms,
                    {.root = std::make_unique<HangingRoot>(tree.root(), gate), .deadline = 300ms});
    ASSERT_TRUE(scanner.take(30s));
    EXPECT_EQ(scanner.stuck(), "");
    gate->set(true);
    for (int i = 0; i < 1000 && scanner.stuck().empty(); ++i)
        std::this_thread::sleep_for(10ms);
    EXPECT_EQ(scanner.stuck(), std::string("/") + HangingRoot::kHanging + ": no answer");
    (void)scanner.take(0ms);
    gate->set(false);
    EXPECT_TRUE(scanner.take(30s)) << "goes on";
    for (int i = 0; i < 1000 && !scanner.stuck().empty(); ++i)
        std::this_thread::sleep_for(10ms);
    EXPECT_EQ(scanner.stuck(), "");
}

TEST(Scanners, DoNotHangOnADriverToLearnWhetherItHasAFile)
{
    Tree tree;
    writeChip(tree);
    tree.write("sys/class/power_supply/BAT0/type", "Battery\n");
    tree.write("sys/devices/system/edac/mc/mc0/dimm3/dimm_label", "A1\n");
    tree.fifo("sys/class/power_supply/BAT0/energy_now");
    tree.fifo("sys/devices/system/edac/mc/mc0/dimm3/dimm_ce_count");
    Scanner scanner(tree.root(), 1h);
    auto const found = scanner.take(20s);
    ASSERT_TRUE(found);
    EXPECT_GE(found->parts.size(), 2u);
}

// One that comes and goes all the time, a driver that shouts, and noise: a look a second, and the last change is seen.
TEST(Scanners, RestBetweenLooksHoweverMuchTheKernelSays)
{
    Tree tree;
    writeChip(tree);
    int ends[2];
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, ends), 0);
    auto const gate = std::make_shared<HangingRoot::Gate>();
    Scanner scanner(tree.root(), 1h,
                    {.root = std::make_unique<HangingRoot>(tree.root(), gate), .events = ends[0]});
    ASSERT_TRUE(scanner.take(30s));
    auto const send = [&](std::string const& message) {
        return ::send(ends[1], message.data(), message.size(), 0) == static_cast<ssize_t>(message.size());
    };
    std::size_t sent = 0;
    unsigned const readsOfOneLook = gate->looks;
    auto const begin = Clock::now();
    while (Clock::now() - begin < 1500ms) {
        sent += send(uevent("add", "block")) + send(uevent("remove", "net"));
        sent += send(std::string(9000, 'x')) + send("");
        if (sent % 64 == 0)
            std::this_thread::yield();
    }
    unsigned const looks = gate->looks / readsOfOneLook - 1;
    auto const lasted = std::chrono::duration_cast<std::chrono::seconds>(Clock::now() - begin).count();
    EXPECT_GT(sent, 1000u);
    EXPECT_GE(looks, 1u);
    EXPECT_LE(looks, 1 + static_cast<unsigned>(lasted)) << sent << " messages in " << lasted << " s";
    tree.write("sys/class/hwmon/hwmon1/name", "second\n");
    tree.write("sys/class/hwmon/hwmon1/temp1_input", "31000\n");
    while (!send(uevent("add", "hwmon")))
        std::this_thread::sleep_for(1ms);
    for (std::size_t count = 0; count < 2;) {
        auto const found = scanner.take(30s);
        ASSERT_TRUE(found) << "the last one is not missed";
        count = found->parts.size();
    }
    // the other end stays open: the thread that looks outlives its scanner
}

} // namespace
} // namespace krel5::modules::sensors
