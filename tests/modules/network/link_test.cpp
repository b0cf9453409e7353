// What is made of a link that comes late, never, or not as it should, and of the driver's own test. What changes while it is
// watched is tried with the module itself (module.sh).
#include <modules/RecordingHost.h>

#include <network/Events.h>
#include <network/LinkTest.h>
#include <network/SelfTest.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <fstream>
#include <thread>

#include <foundation/TemporaryFolder.h>

namespace krel5::modules::network {
namespace {

using test::RecordingHost;
using test::valueOf;

/// An interface whose clock goes on only while it is waited for.
struct PaperInterface
{
    LinkState state;
    Abilities abilities;
    double time = 0;
    double linkComesAt = 0;

    PaperInterface()
    {
        state.isUp = true;
        state.megabits = 1000;
        state.duplex = Duplex::Full;
    }
    InterfaceAccess access()
    {
        return {[this] {
                    state.hasCarrier = time >= linkComesAt;
                    ++state.frames;
                    return state;
                },
                [this] { return abilities; },
                [this](std::chrono::milliseconds one) { time += 1e-3 * static_cast<double>(one.count()); },
                [this] { return time; }};
    }
};

std::string keysOf(std::vector<Report> const& reports)
{
    std::string keys;
    for (Report const& one : reports)
        keys += std::string(one.m_eventKey.text()) + " ";
    return keys;
}

struct WarningHost : RecordingHost
{
    void warning(Report const& report) override { warnings.push_back(report); }
    std::vector<Report> warnings;
};

TEST(LinkTest, aLinkThatComesLateIsWaitedFor)
{
    PaperInterface interface;
    interface.linkComesAt = 8;
    WarningHost host;
    EXPECT_EQ(Outcome::Pass, runLinkTest(host, "eth0", {}, interface.access()));
    EXPECT_NEAR(18, interface.time, 0.5) << "8 until it came, 10 to watch";
    EXPECT_NEAR(90, host.m_progress.at(host.m_progress.size() * 9 / 10), 2);

    interface = PaperInterface();
    interface.linkComesAt = 1000;
    WarningHost without;
    EXPECT_EQ(Outcome::CannotRun, runLinkTest(without, "eth0", {}, interface.access()));
    EXPECT_NEAR(10, interface.time, 0.5);
    EXPECT_EQ("NetworkNoLink ", keysOf(without.m_problems));

    interface.time = 0;
    WarningHost required;
    LinkSettings settings;
    settings.isRequired = true;
    EXPECT_EQ(Outcome::Fail, runLinkTest(required, "eth0", settings, interface.access()));
    EXPECT_EQ(1u, required.m_faults.size());
}

TEST(LinkTest, aLinkIsJudgedByWhatBothEndsCan)
{
    struct
    {
        char const* what;
        std::uint64_t megabits, common;
        Duplex duplex;
        bool mayBeHalf;
        char const* fault; // or none
    } const cases[] = {
        {"as offered", 1000, 1000, Duplex::Full, false, ""},
        {"a broken pair", 100, 1000, Duplex::Full, false, "NetworkSlow"},
        {"the other end's offer is not known", 100, 0, Duplex::Full, false, ""},
        {"more than offered, as with a fixed mode", 10000, 1000, Duplex::Full, false, ""},
        {"one end set by hand", 100, 0, Duplex::Half, false, "NetworkHalfDuplex"},
        {"a hub", 100, 0, Duplex::Half, true, ""},
        {"an old hub", 10, 0, Duplex::Half, false, ""},
        {"a driver that does not say", 0, 1000, Duplex::Unknown, false, ""},
    };
    for (auto const& one : cases) {
        PaperInterface interface;
        interface.state.megabits.reset();
        if (one.megabits > 0)
            interface.state.megabits = one.megabits;
        if (one.common > 0)
            interface.abilities.common = one.common;
        interface.state.duplex = one.duplex;
        LinkSettings settings;
        settings.mayBeHalfDuplex = one.mayBeHalf;
        WarningHost host;
        Outcome const outcome = runLinkTest(host, "eth0", settings, interface.access());
        EXPECT_EQ(*one.fault ? Outcome::Fail : Outcome::Pass, outcome) << one.what;
        EXPECT_EQ(*one.fault ? 1u : 0u, host.m_faults.size()) << one.what;
        if (!host.m_faults.empty()) {
            EXPECT_STREQ(one.fault, host.m_faults[0].m_eventKey.text()) << one.what;
        }
    }
}

TEST(LinkTest, aStopEndsItAndWhatWasFoundCounts)
{
    for (double const comes : {1000.0, 0.0})
        for (bool const isSlow : {false, true}) {
            PaperInterface interface;
            interface.linkComesAt = comes;
            if (isSlow)
                interface.abilities.common = 2500;
            WarningHost host;
            host.m_pollsBeforeStop = 20;
            Outcome const outcome = runLinkTest(host, "eth0", {}, interface.access());
            EXPECT_EQ(isSlow && comes == 0 ? Outcome::Fail : Outcome::Stopped, outcome);
            EXPECT_LT(interface.time, 0.7) << "20 looks, each 20 ms later than the one before";
        }
}

TEST(LinkTest, errorsOfTheLineBeforeTheTestAreAWarningAndSilenceIsTold)
{
    PaperInterface interface;
    for (std::size_t i = 0; i < kCounterCount; ++i)
        interface.state.counts[i] = 7;
    WarningHost host;
    EXPECT_EQ(Outcome::Pass, runLinkTest(host, "eth0", {}, interface.access()));
    std::size_t line = 0;
    for (CounterName const& one : kCounters)
        line += one.kind == CounterKind::Line;
    EXPECT_EQ(line, host.warnings.size()) << keysOf(host.warnings);

    InterfaceAccess access = interface.access();
    LinkState still = interface.state;
    still.counts = {};
    access.read = [still] { return still; };
    WarningHost silent;
    EXPECT_EQ(Outcome::Pass, runLinkTest(silent, "eth0", {}, access));
    EXPECT_EQ("NetworkNoTraffic ", keysOf(silent.warnings));
}

TEST(LinkTest, aLinkThatIsLostIsAFaultOfTheLineButNotOfARadio)
{
    for (bool const isRadio : {false, true}) {
        PaperInterface interface;
        interface.state.isRadio = isRadio;
        interface.state.losses = 0;
        InterfaceAccess access = interface.access();
        access.wait = [&, wait = access.wait](std::chrono::milliseconds step) {
            wait(step);
            interface.state.losses = interface.time > 4 ? 1 : 0;
        };
        WarningHost host;
        EXPECT_EQ(isRadio ? Outcome::Pass : Outcome::Fail, runLinkTest(host, "wlan0", {}, access));
        EXPECT_EQ(isRadio ? "NetworkLinkLost " : "", keysOf(host.warnings));
        EXPECT_EQ(isRadio ? 0u : 1u, host.m_faults.size());
    }
    PaperInterface gone;
    gone.state.isRadio = true;
    InterfaceAccess access = gone.access();
    access.read = [&] {
        gone.state.hasCarrier = gone.time < 4;
        return gone.state;
    };
    WarningHost host;
    EXPECT_EQ(Outcome::CannotRun, runLinkTest(host, "wlan0", {}, access)) << "it did not come back";
}

TEST(LinkTest, errorsAreCountedByTheirKindAndNoneTwice)
{
    using Counts = std::vector<std::pair<std::string_view, std::uint64_t>>;
    struct
    {
        char const* what;
        Counts before, after;
        std::uint64_t most;
        Outcome outcome;
        char const *faults, *warnings; // with their counter and count
        bool isRadio = false;
    } const rows[] = {
        {"the line",
         {},
         {{"rx_crc_errors", 3}, {"rx_errors", 3}},
         0,
         Outcome::Fail,
         "NetworkErrors rx_crc_errors 3 ",
         ""},
        {"a radio",
         {},
         {{"rx_crc_errors", 3}, {"rx_errors", 3}},
         0,
         Outcome::Pass,
         "",
         "NetworkErrors rx_crc_errors 3 ",
         true},
        {"fewer than may be",
         {},
         {{"rx_crc_errors", 3}, {"rx_errors", 3}},
         3,
         Outcome::Pass,
         "",
         "NetworkErrors rx_crc_errors 3 "},
        {"the computer",
         {},
         {{"rx_missed_errors", 5}, {"rx_errors", 5}},
         0,
         Outcome::Pass,
         "",
         "NetworkOverload rx_missed_errors 5 "},
        {"more than is known why",
         {},
         {{"rx_missed_errors", 5}, {"rx_errors", 7}},
         0,
         Outcome::Fail,
         "NetworkErrors rx_errors 2 ",
         "NetworkOverload rx_missed_errors 5 "},
        {"on the way out",
         {},
         {{"rx_missed_errors", 5}, {"tx_errors", 4}},
         0,
         Outcome::Fail,
         "NetworkErrors tx_errors 4 ",
         "NetworkOverload rx_missed_errors 5 "},
        {"counted anew",
         {{"rx_length_errors", 900}},
         {{"rx_length_errors", 2}},
         0,
         Outcome::Pass,
         "",
         "NetworkOddFrames rx_length_errors 2 "},
    };
    auto const set = [](LinkState& state, Counts const& counts) {
        for (std::size_t i = 0; i < kCounterCount; ++i)
            for (auto const& [name, count] : counts)
                if (name == kCounters[i].name)
                    state.counts[i] = count;
    };
    for (auto const& row : rows) {
        PaperInterface interface;
        for (auto& count : interface.state.counts)
            count = 0;
        set(interface.state, row.before);
        interface.state.isRadio = row.isRadio;
        InterfaceAccess access = interface.access();
        access.wait = [&, wait = access.wait](std::chrono::milliseconds step) {
            wait(step);
            if (interface.time > 4)
                set(interface.state, row.after);
        };
        LinkSettings settings;
        settings.mostErrors = row.most;
        WarningHost host;
        EXPECT_EQ(row.outcome, runLinkTest(host, "eth0", settings, access)) << row.what;
        std::string faults, warnings;
        for (Fault const& one : host.m_faults)
            faults += std::string(one.m_eventKey.text()) + " " + valueOf(one, "Counter") + " " +
                      valueOf(one, "Count") + " ";
        for (Report const& one : host.warnings)
            warnings += std::string(one.m_eventKey.text()) + " " + valueOf(one, "Counter") + " " +
                        valueOf(one, "Count") + " ";
        EXPECT_EQ(row.faults, faults) << row.what;
        EXPECT_EQ(row.warnings, warnings) << row.what;
    }
}

TEST(LinkTest, filesThatAreHostileAreNoLink)
{
    ::test::TemporaryFolder const root;
    std::string const folder = root.path("sys/class/net/eth0/");
    std::filesystem::create_directories(folder + "statistics");
    auto const read = [&] { return interfaceAccess("eth0", root.path()).read(); };
    EXPECT_EQ(ENODEV, read().error);
    auto const write = [&](char const* name, std::string const& text) {
        std::ofstream(folder + name) << text;
    };
    write("flags", "up and running");
    EXPECT_EQ(EIO, read().error);
    write("flags", "0x1003\n");
    write("carrier", "1\n");
    for (char const* const speed : {"-1\n", "0", "", "99999999999999999999", "1000 x", "4294967295"}) {
        write("speed", speed);
        EXPECT_FALSE(read().megabits) << speed;
    }
    write("duplex", std::string(100'000, 'f'));
    write("statistics/rx_errors", "18446744073709551615\n");
    LinkState const state = read();
    EXPECT_TRUE(state.isUp && state.hasCarrier);
    EXPECT_EQ(Duplex::Unknown, state.duplex);
    EXPECT_EQ(~std::uint64_t(0), state.counts[kCounterCount - 2]);
    for (char const* const name : {"", ".", "..", "../eth0", "a/b", "a b", "sixteen_letters_", "a:0"})
        EXPECT_EQ(ENODEV, interfaceAccess(name, root.path()).read().error) << name;
}

TEST(SelfTest, saysWhatTheDriverSays)
{
    using Part = SelfTestAnswer::Part;
    struct
    {
        bool isWhole;
        SelfTestAnswer answer;
        Outcome outcome;
        char const* said; // faults with their part, problems
    } const cases[] = {
        {false, {0, false, true, {{"Register test", 0}, {"Link test", 0}}}, Outcome::Pass, ""},
        {false,
         {0, true, true, {{"Register test", 0}, {"Link test", 1}}},
         Outcome::Fail,
         "NetworkSelfTestPart Link test "},
        // Parts that cannot be run, and a driver whose passed ones have a value.
        {true, {0, false, true, {{"Loop", 0}, {"Split header", -EOPNOTSUPP}}}, Outcome::Pass, ""},
        {true,
         {0, true, true, {{"Loop", -ETIMEDOUT}, {"Split header", -EOPNOTSUPP}, {"nvram", 1}}},
         Outcome::Fail,
         "NetworkSelfTestPart Loop "},
        // Without a link.
        {false,
         {0, true, false, {{"Register test", 0}, {"Link test   (on/offline)", 1}}},
         Outcome::CannotRun,
         "NetworkSelfTestNoLink"},
        {false,
         {0, true, false, {{"Register test", 5}, {"Link test", 1}}},
         Outcome::Fail,
         "NetworkSelfTestPart Register test NetworkSelfTestPart Link test "},
        // No part is named.
        {true, {0, true, true, {{"Register test", 0}}}, Outcome::Fail, "NetworkSelfTestFailed (none) "},
        {false, {0, true, true, {{"Register test", 0}}}, Outcome::CannotRun, "NetworkSelfTestNotRun"},
        {true, {0, true, false, {{"Register test", 0}}}, Outcome::CannotRun, "NetworkSelfTestNotRun"},
        {true, {EOPNOTSUPP, false, true, std::vector<Part>()}, Outcome::NotSupported, "NetworkSelfTestNone"},
        {true,
         {EPERM, false, true, std::vector<Part>()},
         Outcome::InsufficientPrivilege,
         "NetworkSelfTestRefused"},
        {true, {ENODEV, false, true, std::vector<Part>()}, Outcome::NoDevice, "NetworkGone"},
        {true, {EIO, false, true, std::vector<Part>()}, Outcome::CannotRun, "NetworkSelfTestRefused"},
    };
    for (auto const& one : cases) {
        RecordingHost host;
        EXPECT_EQ(one.outcome, runSelfTest(host, "eth0", one.isWhole, [&](bool) { return one.answer; }));
        std::string said;
        for (Fault const& fault : host.m_faults) {
            std::string const part = valueOf(fault, "Part");
            said += std::string(fault.m_eventKey.text()) + " " + part + (part.empty() ? "" : " ");
        }
        EXPECT_EQ(one.said, said + (host.m_problems.empty() ? "" : host.m_problems[0].m_eventKey.text()));
    }
}

TEST(SelfTest, aStopDoesNotWaitForTheDriver)
{
    auto const done = std::make_shared<std::atomic<bool>>(false);
    RecordingHost host;
    host.m_pollsBeforeStop = 2;
    auto const begin = std::chrono::steady_clock::now();
    EXPECT_EQ(Outcome::Stopped, runSelfTest(host, "eth0", true, [done](bool) {
                  while (!*done)
                      std::this_thread::sleep_for(std::chrono::milliseconds(5));
                  return SelfTestAnswer();
              }));
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::milliseconds(1000));
    *done = true;
}

} // namespace
} // namespace krel5::modules::network
