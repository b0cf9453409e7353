// Clocks on paper: that stand, go back, run away, jump, and lose the date.
#include <modules/WarningHost.h>

#include <board/ClockTest.h>
#include <board/Events.h>
#include <board/RtcTest.h>

#include <foundation/TemporaryFolder.h>

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <sched.h>

namespace krel5::modules::board {
namespace {

using test::keysOf;
using test::WarningHost;

constexpr double kMegahertz = 2.5e9, kNow = 1.8e9; // ticks a second; seconds since 1970

/// Time goes on only while it is waited for. What each clock shows is a function of it.
struct PaperClocks
{
    double time = 0;
    std::function<double(double)> raw = [](double t) { return 100 + t; };
    std::function<std::optional<double>(double)> stamp = [](double t) { return kMegahertz * t; };
    std::function<std::optional<double>(double)> real = [](double t) { return kNow + 0.3 + t; };
    std::function<double(double)> pause = [](double) { return 0.0; }; ///< seconds that a wait lasts longer
    std::function<double(double)> late = [](double) {
        return 0.0;
    }; ///< seconds before the real-time clock is read
    std::function<double(double)> slept = [](double) { return 0.0; };
    bool hasReal = true;

    Clocks clocks()
    {
        Clocks all;
        all.raw = [this] { return raw(time); };
        all.stamp = [this]() -> std::optional<std::uint64_t> {
            auto const ticks = stamp(time += 1e-7);
            return ticks ? std::optional(static_cast<std::uint64_t>(*ticks)) : std::nullopt;
        };
        all.realTime = [this]() -> std::optional<std::int64_t> {
            auto const seconds = real(time += late(time));
            return seconds ? std::optional(static_cast<std::int64_t>(*seconds)) : std::nullopt;
        };
        all.hasRealTime = hasReal;
        all.slept = [this] { return slept(time); };
        all.wait = [this](std::chrono::milliseconds step) {
            time += 1e-3 * static_cast<double>(step.count()) + pause(time);
        };
        return all;
    }
};

struct Case
{
    char const* what;
    std::function<void(PaperClocks&)> change;
    Outcome outcome;
    char const* says;
};

TEST(BoardClocks, areComparedWithEachOther)
{
    auto const after = [](double when, double then) {
        return [when, then](double t) { return kNow + 0.3 + (t < when ? t : t + then); };
    };
    Case const cases[] = {
        {"sound", [](auto&) {}, Outcome::Pass, ""},
        {"off as crystals are", [](auto& c) { c.real = [](double t) { return kNow + t * (1 + 80e-6); }; },
         Outcome::Pass, ""},
        {"slow by 900 ppm", [](auto& c) { c.real = [](double t) { return kNow + t * (1 - 900e-6); }; },
         Outcome::Fail, "BoardClockDrift "},
        {"fast by 2000 ppm", [](auto& c) { c.real = [](double t) { return kNow + t * (1 + 2000e-6); }; },
         Outcome::Fail, "BoardClockDrift "},
        {"real-time clock stands", [](auto& c) { c.real = [](double t) { return kNow + std::min(t, 5.0); }; },
         Outcome::Fail, "BoardClockStands "},
        {"real-time clock goes back again and again",
         [](auto& c) { c.real = [](double t) { return kNow + t - 60 * std::floor(t / 9); }; }, Outcome::Fail,
         "BoardClockBack "},
        {"real-time clock jumps again and again",
         [](auto& c) { c.real = [](double t) { return kNow + t + 60 * std::floor(t / 9); }; }, Outcome::Fail,
         "BoardClockDrift "},
        // Once: the system has set it.
        {"real-time clock is set back", [&](auto& c) { c.real = after(9, -60); }, Outcome::Pass,
         "BoardClockSet "},
        {"real-time clock is set ahead", [&](auto& c) { c.real = after(9, 60); }, Outcome::Pass,
         "BoardClockSet "},
        {"real-time clock is set and cannot be read for a moment",
         [&, jump = after(9, -60)](auto& c) {
             c.real = [jump](double t) {
                 return t > 9.02 && t < 9.05 ? std::nullopt : std::optional(jump(t));
             };
         },
         Outcome::Pass, "BoardClockSet "},
        {"real-time clock is set by very little", [&](auto& c) { c.real = after(9, 0.04); }, Outcome::Pass,
         "BoardClockSet "},
        {"real-time clock is set ahead and stands",
         [](auto& c) { c.real = [](double t) { return kNow + (t < 9 ? t : 69); }; }, Outcome::Fail,
         "BoardClockStands "},
        {"counter stands", [](auto& c) { c.stamp = [](double t) { return kMegahertz * std::min(t, 7.0); }; },
         Outcome::Fail, "BoardClockStands "},
        {"counter goes back",
         [](auto& c) { c.stamp = [](double t) { return kMegahertz * (t < 7 ? t : t - 3); }; }, Outcome::Fail,
         "BoardClockBack "},
        {"counter slows down",
         [](auto& c) { c.stamp = [](double t) { return kMegahertz * (t < 20 ? t : 20 + (t - 20) * 0.99); }; },
         Outcome::Fail, "BoardClockUneven "},
        {"raw clock goes back", [](auto& c) { c.raw = [](double t) { return t < 7 ? t : t - 1; }; },
         Outcome::Fail, "BoardClockBack "},
        {"raw clock stands", [](auto& c) { c.raw = [](double t) { return std::min(t, 7.0); }; },
         Outcome::Fail, "BoardClockStands "},
        {"no real-time clock", [](auto& c) { c.hasReal = false; }, Outcome::Pass, ""},
        {"real-time clock cannot be read", [](auto& c) { c.real = [](double) { return std::nullopt; }; },
         Outcome::Fail, "BoardClockSilent "},
        {"real-time clock cannot be read any more",
         [](auto& c) { c.real = [](double t) { return t < 8 ? std::optional(kNow + t) : std::nullopt; }; },
         Outcome::Fail, "BoardClockSilent "},
        {"real-time clock cannot be read now and then", // at the second's beginning, as some refuse then
         [](auto& c) {
             c.real = [](double t) {
                 return t - std::floor(t) > 0.02 ? std::optional(kNow + t) : std::nullopt;
             };
         },
         Outcome::Pass, ""},
        {"a read is put off at an edge", // this program loses its processor, as on a machine under load
         [](auto& c) { c.late = [](double t) { return t > 0.67 && t < 0.7 ? 0.05 : 0.0; }; }, Outcome::Pass,
         ""},
        {"the last read is put off",
         [](auto& c) { c.late = [](double t) { return t > 29.68 && t < 29.7 ? 0.05 : 0.0; }; }, Outcome::Pass,
         ""},
        {"the machine sleeps", // the counter begins anew, the real-time clock goes on
         [](auto& c) {
             c.stamp = [](double t) { return kMegahertz * (t < 9 ? t : t - 9); };
             c.real = [](double t) { return kNow + (t < 9 ? t : t + 100); };
             c.slept = [](double t) { return t < 9 ? 5.0 : 105.0; };
         },
         Outcome::CannotRun, "BoardClockSlept "},
        {"no counter", [](auto& c) { c.stamp = [](double) { return std::nullopt; }; }, Outcome::Pass, ""},
        {"neither",
         [](auto& c) {
             c.stamp = [](double) { return std::nullopt; };
             c.hasReal = false;
         },
         Outcome::NotSupported, "BoardClockNone "},
        {"paused for long", // by Ctrl-Z or with its virtual machine: no clock is to blame
         [](auto& c) { c.pause = [](double t) { return t > 10 && t < 10.05 ? 7.7 : 0.0; }; }, Outcome::Pass,
         ""},
        {"paused all the time",
         [](auto& c) {
             c.stamp = [](double) { return std::nullopt; };
             c.pause = [](double) { return 0.9; };
         },
         Outcome::CannotRun, "BoardClockShort "},
    };
    for (Case const& one : cases) {
        PaperClocks paper;
        one.change(paper);
        WarningHost host;
        EXPECT_EQ(one.outcome, runClockTest(host, paper.clocks(), {})) << one.what;
        EXPECT_EQ(one.says, keysOf(host)) << one.what;
    }
}

TEST(BoardClocks, areReadOnOneProcessor)
{
    cpu_set_t before{}, during{}, after{};
    ASSERT_EQ(0, sched_getaffinity(0, sizeof before, &before));
    {
        MachineFolder const machine("/");
        Clocks const clocks = systemClocks(machine);
        ASSERT_EQ(0, sched_getaffinity(0, sizeof during, &during));
        EXPECT_EQ(1, CPU_COUNT(&during));
    }
    ASSERT_EQ(0, sched_getaffinity(0, sizeof after, &after));
    EXPECT_TRUE(CPU_EQUAL(&before, &after));
}

TEST(BoardClocks, driftIsToldWithWhatIsKnownOfIt)
{
    PaperClocks paper;
    paper.real = [](double t) { return kNow + t * (1 - 900e-6); };
    WarningHost host;
    runClockTest(host, paper.clocks(), {});
    ASSERT_EQ(1u, host.m_faults.size());
    EXPECT_NEAR(901, std::stod(test::valueOf(host.m_faults[0], "Ppm")), 60);
    EXPECT_LE(std::stod(test::valueOf(host.m_faults[0], "Uncertain")), 100);
    WarningHost stopped;
    stopped.m_pollsBeforeStop = 20;
    EXPECT_EQ(Outcome::Stopped, runClockTest(stopped, PaperClocks().clocks(), {}));
}

TEST(BoardRtc, runsAndKnowsTheDate)
{
    struct Row
    {
        char const* what;
        std::function<std::optional<double>(double)> real;
        char const* driver;
        Outcome outcome;
        char const* says;
    } const rows[] = {
        {"sound", [](double t) { return kNow + t; }, "batt_status\t: okay\n", Outcome::Pass, ""},
        {"in another zone", [](double t) { return kNow + 5.75 * 3600 + t; }, "", Outcome::Pass, ""},
        {"five minutes off", [](double t) { return kNow + 300 + t; }, "", Outcome::Pass, "BoardRtcAside "},
        {"years off", [](double t) { return kNow - 1e8 + t; }, "", Outcome::Pass, "BoardRtcAside "},
        {"reset", [](double t) { return 946'684'800 + t; }, "", Outcome::Fail, "BoardRtcLost "},
        {"dead battery", [](double t) { return kNow + t; }, "rtc_time\t: 1\nbatt_status\t: dead\n",
         Outcome::Fail, "BoardRtcBattery "},
        {"stands", [](double) { return kNow; }, "", Outcome::Fail, "BoardRtcStands "},
        {"runs away", [](double t) { return kNow + 3 * t; }, "", Outcome::Fail, "BoardRtcJumps "},
        {"is set by the system", [](double t) { return kNow + (t < 2 ? t : t + 7); }, "", Outcome::Pass,
         "BoardClockSet "},
        {"cannot be read", [](double) { return std::nullopt; }, "", Outcome::Fail, "BoardRtcUnread "},
        {"cannot be read any more", [](double t) { return t < 1 ? std::optional(kNow + t) : std::nullopt; },
         "", Outcome::Fail, "BoardRtcUnread "},
    };
    for (auto const& row : rows) {
        ::test::TemporaryFolder root;
        std::filesystem::create_directories(root.path("proc/driver"));
        root.write("proc/driver/rtc", row.driver);
        PaperClocks paper;
        paper.real = row.real;
        WarningHost host;
        EXPECT_EQ(row.outcome, runRtcTest(host, MachineFolder(root.path()), paper.clocks(),
                                          static_cast<std::int64_t>(kNow), {}))
            << row.what;
        EXPECT_EQ(row.says, keysOf(host)) << row.what;
    }
}

TEST(BoardRtc, isNotBlamedForSleepAndPauses)
{
    ::test::TemporaryFolder root;
    auto const run = [&](std::function<void(PaperClocks&)> const& change) {
        PaperClocks paper;
        change(paper);
        WarningHost host;
        auto const outcome =
            runRtcTest(host, MachineFolder(root.path()), paper.clocks(), static_cast<std::int64_t>(kNow), {});
        return std::pair(outcome, keysOf(host));
    };
    EXPECT_EQ(std::pair(Outcome::NotSupported, std::string("BoardRtcNone ")),
              run([](auto& c) { c.hasReal = false; }));
    EXPECT_EQ(std::pair(Outcome::Pass, std::string()),
              run([](auto& c) { c.pause = [](double t) { return t > 3.95 ? 9.0 : 0.0; }; }));
    EXPECT_EQ(std::pair(Outcome::Pass, std::string()), // before the last read
              run([](auto& c) { c.late = [](double t) { return t > 3.98 ? 9.0 : 0.0; }; }));
    EXPECT_EQ(std::pair(Outcome::CannotRun, std::string("BoardClockSlept ")), run([](auto& c) {
                  c.real = [](double t) { return kNow + (t < 2 ? t : t + 30); };
                  c.slept = [](double t) { return t < 2 ? 0.0 : 30.0; };
              }));
}

} // namespace
} // namespace krel5::modules::board
