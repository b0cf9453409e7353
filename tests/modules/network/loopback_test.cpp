// A wire that the test bends: each fault is found, counted and called by its name, and a good wire is not called bad.
#include <modules/RecordingHost.h>

#include <network/Events.h>
#include <network/Loopback.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <deque>
#include <functional>
#include <vector>

namespace krel5::modules::network {
namespace {

using test::RecordingHost;
using test::valueOf;
using Frame = std::vector<std::byte>;

/// Frames come back a millisecond later; what was made of them, `bend` says.
struct PaperWire : Wire
{
    std::function<std::vector<Frame>(std::uint64_t number, Frame frame)> bend;
    std::function<int(std::uint64_t number)> refuse = [](std::uint64_t) { return 0; };
    std::size_t most = 1500;
    std::uint64_t sent = 0, tried = 0;
    std::size_t mostOnTheWay = 0;
    double time = 0;
    std::deque<Frame> coming;

    int send(std::span<std::byte const> payload) override
    {
        time += 1e-5;
        if (int const error = refuse(tried++); error != 0)
            return error;
        Frame frame(payload.begin(), payload.end());
        for (Frame& one : bend ? bend(sent, std::move(frame)) : std::vector<Frame>{std::move(frame)})
            coming.push_back(std::move(one));
        ++sent;
        mostOnTheWay = std::max(mostOnTheWay, coming.size());
        return 0;
    }
    Arrival receive(std::span<std::byte> into, std::chrono::milliseconds patience) override
    {
        if (coming.empty() || (patience.count() == 0 && coming.size() < 4)) { // a few are on their way
            time += 1e-3 * static_cast<double>(patience.count());
            return {EAGAIN, 0};
        }
        Frame const frame = std::move(coming.front());
        coming.pop_front();
        std::copy_n(frame.begin(), std::min(frame.size(), into.size()), into.begin());
        return {0, frame.size()};
    }
    std::size_t mostBytes() const override { return most; }
    double now() const override { return time; }
};

struct Bent
{
    char const* what;
    std::function<std::vector<Frame>(std::uint64_t, Frame)> bend;
    char const *fault, *count; ///< event, and its value of Count, where it has one
};

std::vector<Frame> only(Frame frame) { return {std::move(frame)}; }

Frame changed(Frame frame, std::size_t at, unsigned bits)
{
    frame.at(at) ^= std::byte(bits);
    return frame;
}

TEST(Loopback, everyFaultOfAWireIsFoundAndNamed)
{
    Frame kept;
    Bent const wires[] = {
        {"good", nullptr, "", ""},
        {"loses one", [](auto n, Frame f) { return n == 77 ? std::vector<Frame>() : only(f); }, "NetworkLost",
         "1"},
        {"loses the last", [](auto n, Frame f) { return n == 499 ? std::vector<Frame>() : only(f); },
         "NetworkLost", "1"},
        {"one bit of one frame",
         [](auto n, Frame f) { return only(n == 77 ? changed(f, f.size() - 1, 1) : f); }, "NetworkDamaged",
         ""},
        {"a byte too few",
         [](auto n, Frame f) { return n == 77 ? f.resize(f.size() - 1), only(f) : only(f); },
         "NetworkDamaged", ""},
        {"a byte too many",
         [](auto n, Frame f) { return n == 77 ? f.resize(f.size() + 1), only(f) : only(f); },
         "NetworkDamaged", ""},
        {"every frame's number", [](auto, Frame f) { return only(changed(f, 16, 0x80)); },
         "NetworkNothingBack", ""},
        {"one twice",
         [](auto n, Frame f) {
             return n == 77 ? std::vector<Frame>{f, f} : only(f);
         },
         "NetworkTwice", "1"},
        {"one overtaken",
         [&kept](auto n, Frame f) {
             if (n == 77)
                 return kept = f, std::vector<Frame>();
             return n == 78 ? std::vector<Frame>{f, kept} : only(f);
         },
         "NetworkOutOfOrder", "1"},
        {"silent", [](auto, Frame) { return std::vector<Frame>(); }, "NetworkNothingBack", ""},
        {"frames of others among them",
         [](auto, Frame f) {
             return std::vector<Frame>{Frame(60), f, Frame(3), changed(f, 8, 1)};
         },
         "", ""},
    };
    for (Bent const& one : wires)
        for (std::size_t const most : {std::size_t(64), std::size_t(1500), std::size_t(9000)}) {
            PaperWire wire;
            wire.bend = one.bend;
            wire.most = most;
            RecordingHost host;
            LoopbackSettings settings;
            settings.frames = 500;
            settings.seed = 42;
            Outcome const outcome = runLoopback(host, "eth0", settings, wire);
            EXPECT_EQ(*one.fault ? Outcome::Fail : Outcome::Pass, outcome) << one.what << " " << most;
            ASSERT_EQ(*one.fault ? 1u : 0u, host.m_faults.size()) << one.what << " " << most;
            EXPECT_LE(wire.mostOnTheWay, 4 * 32u) << one.what;
            if (!*one.fault)
                continue;
            EXPECT_STREQ(one.fault, host.m_faults[0].m_eventKey.text()) << one.what;
            if (*one.count) {
                EXPECT_EQ(one.count, valueOf(host.m_faults[0], "Count")) << one.what;
            }
        }
}

TEST(Loopback, aProgramThatIsPausedHasLostNothing)
{
    struct PausedWire : PaperWire
    {
        int calls = 0;
        Arrival receive(std::span<std::byte> into, std::chrono::milliseconds patience) override
        {
            bool const hasPaused = calls > 20;
            Arrival const one = PaperWire::receive(into, hasPaused ? std::chrono::milliseconds(1) : patience);
            if (one.error == EAGAIN && !coming.empty() && ++calls == 20)
                time += 5, ++calls; // right after nothing more had come; now all has
            return one;
        }
    } wire;
    RecordingHost host;
    EXPECT_EQ(Outcome::Pass, runLoopback(host, "eth0", {}, wire));
    EXPECT_GT(wire.time, 5);
}

TEST(Loopback, aDamagedByteIsToldWithItsPlace)
{
    PaperWire wire;
    wire.bend = [](auto n, Frame f) { return only(n == 5 ? changed(f, 40, 0xFF) : f); };
    RecordingHost host;
    EXPECT_EQ(Outcome::Fail, runLoopback(host, "eth0", {}, wire));
    ASSERT_EQ(1u, host.m_faults.size());
    EXPECT_EQ("5", valueOf(host.m_faults[0], "Frame"));
    EXPECT_EQ("40", valueOf(host.m_faults[0], "Offset"));
    auto const byte = [&](char const* name) {
        return std::stoul(valueOf(host.m_faults[0], name), nullptr, 16);
    };
    EXPECT_EQ(0xFFu, byte("Sent") ^ byte("Received"));
}

TEST(Loopback, aWireThatIsBadAllOverEndsInTimeAndTellsEnough)
{
    struct
    {
        char const* what;
        std::function<std::vector<Frame>(std::uint64_t, Frame)> bend;
        std::size_t faults;
        double seconds; ///< that it may take
    } const wires[] = {
        {"silent", [](auto, Frame) { return std::vector<Frame>(); }, 1, 3},
        {"all but the first are lost",
         [](auto n, Frame f) { return n == 0 ? only(f) : std::vector<Frame>(); }, 1, 30},
        {"all damaged", [](auto, Frame f) { return only(changed(f, f.size() - 1, 1)); }, 17, 30},
    };
    for (auto const& one : wires) {
        PaperWire wire;
        wire.bend = one.bend;
        RecordingHost host;
        LoopbackSettings settings;
        settings.frames = 100'000;
        EXPECT_EQ(Outcome::Fail, runLoopback(host, "eth0", settings, wire)) << one.what;
        EXPECT_EQ(one.faults, host.m_faults.size()) << one.what;
        EXPECT_LT(wire.time, one.seconds) << one.what;
    }
}

TEST(Loopback, whatTheSystemRefusesIsNoFaultOfTheWire)
{
    struct
    {
        int error;
        std::uint64_t from, until;
        Outcome outcome;
    } const cases[] = {
        {ENOBUFS, 10, 20, Outcome::Pass},
        {EAGAIN, 0, 10, Outcome::Pass},
        {ENETDOWN, 10, ~std::uint64_t(0), Outcome::CannotRun},
        {ENXIO, 10, ~std::uint64_t(0), Outcome::NoDevice},
    };
    for (auto const& one : cases) {
        PaperWire wire;
        wire.refuse = [&](std::uint64_t n) { return n >= one.from && n < one.until ? one.error : 0; };
        RecordingHost host;
        EXPECT_EQ(one.outcome, runLoopback(host, "eth0", {}, wire)) << one.error;
        EXPECT_EQ(one.outcome == Outcome::Pass ? 0u : 1u, host.m_problems.size());
        EXPECT_TRUE(host.m_faults.empty());
    }
}

TEST(Loopback, aStopEndsItAndALossBeforeItIsNotCounted)
{
    PaperWire wire;
    RecordingHost host;
    host.m_pollsBeforeStop = 100;
    EXPECT_EQ(Outcome::Stopped, runLoopback(host, "eth0", {}, wire));
    EXPECT_LE(wire.sent, 100u);

    PaperWire bad;
    bad.bend = [](auto n, Frame f) { return only(n == 5 ? changed(f, 40, 1) : f); };
    RecordingHost stopped;
    stopped.m_pollsBeforeStop = 100;
    EXPECT_EQ(Outcome::Fail, runLoopback(stopped, "eth0", {}, bad)) << "what was found before the stop";
    EXPECT_EQ(1u, stopped.m_faults.size());
}

TEST(Loopback, aSlowWireFailsWhereThatIsDemanded)
{
    for (double const floor : {0.0, 1.0, 1e9}) {
        PaperWire wire;
        RecordingHost host;
        LoopbackSettings settings;
        settings.floorMegabits = floor;
        EXPECT_EQ(floor > 1e6 ? Outcome::Fail : Outcome::Pass, runLoopback(host, "eth0", settings, wire));
    }
}

} // namespace
} // namespace krel5::modules::network
