// A bus on paper: devices that go, that no longer answer, that come, and that may.
#include <modules/WarningHost.h>

#include <common/evidence/Shortage.h>
#include <pcie/BusTest.h>

#include <foundation/TemporaryFolder.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <sys/resource.h>

namespace krel5::modules::pcie {
namespace {

namespace fs = std::filesystem;
constexpr char kCard[] = "0000:03:00.0", kOther[] = "0000:04:00.0";

struct PaperBus
{
    ::test::TemporaryFolder root;
    double time = 0;

    PaperBus()
    {
        add(kCard);
        add(kOther);
    }
    std::string folder(std::string const& name) const { return "sys/bus/pci/devices/" + name + "/"; }
    void add(std::string const& name)
    {
        fs::create_directories(root.path(folder(name)));
        root.write(folder(name) + "vendor", "0x144d\n");
        root.write(folder(name) + "config", std::string(64, '\1'));
    }
    Outcome run(
        test::WarningHost& host, std::function<void(double)> const& happens = [](double) {})
    {
        MachineFolder const machine(root.path());
        auto const before = functionsOf(machine);
        happens(0);
        Load clock;
        clock.now = [this] { return time; };
        clock.wait = [&](auto step) { happens(time += 1e-3 * static_cast<double>(step.count())); };
        return evidence::unlessShort(host, machine, runBusTest(host, machine, before, 3, clock));
    }
};

TEST(PcieBus, saysWhatFellOff)
{
    struct
    {
        char const* what;
        std::function<void(PaperBus&)> change; // after a second
        Outcome outcome;
        char const* says;
        double when = 1;
    } const rows[] = {
        {"nothing", [](auto&) {}, Outcome::Pass, ""},
        {"is gone", [](auto& b) { fs::remove_all(b.root.path(b.folder(kCard))); }, Outcome::Fail,
         "PcieGone "},
        {"went between two scans", [](auto& b) { fs::remove_all(b.root.path(b.folder(kCard))); },
         Outcome::Fail, "PcieGone ", 0},
        {"gives ones", [](auto& b) { b.root.write(b.folder(kCard) + "config", std::string(64, '\xFF')); },
         Outcome::Fail, "PcieGone "},
        {"is reset by its driver",
         [](auto& b) {
             b.root.write(b.folder(kCard) + "config", std::string(64, b.time < 1.8 ? '\xFF' : '\1'));
         },
         Outcome::Pass, ""},
        {"comes", [](auto& b) { b.add("0000:05:00.0"); }, Outcome::Pass, ""},
        {"a virtual one comes and goes",
         [](auto& b) {
             fs::create_directories(b.root.path(b.folder("0000:03:00.1") + "physfn"));
             if (b.time > 2)
                 fs::remove_all(b.root.path(b.folder("0000:03:00.1")));
         },
         Outcome::Pass, ""},
    };
    for (auto const& row : rows) {
        PaperBus bus;
        test::WarningHost host;
        EXPECT_EQ(row.outcome, bus.run(host, [&](double time) {
            if (time >= row.when)
                row.change(bus);
        })) << row.what;
        EXPECT_EQ(row.says, test::keysOf(host)) << row.what;
        if (row.outcome == Outcome::Fail) {
            EXPECT_EQ(kCard, test::valueOf(host.m_faults.at(0), "Function")) << row.what;
        }
    }
}

// A process that sees no file because it may open none has not seen a device go.
TEST(PcieBus, isNotBlamedForAProcessWithoutDescriptors)
{
    rlimit before{};
    ASSERT_EQ(0, ::getrlimit(RLIMIT_NOFILE, &before));
    for (double const until : {1.6, 10.0}) {
        PaperBus bus;
        test::WarningHost host;
        EXPECT_EQ(Outcome::CannotRun, bus.run(host, [&](double time) {
            rlimit const now{time >= 1 && time < until ? 3 : before.rlim_cur, before.rlim_max};
            EXPECT_EQ(0, ::setrlimit(RLIMIT_NOFILE, &now));
        }));
        ::setrlimit(RLIMIT_NOFILE, &before);
        EXPECT_EQ("EvidenceFilesUnread ", test::keysOf(host));
    }
}

TEST(PcieBus, mayNotBeThereAndHeedsAStop)
{
    PaperBus none;
    fs::remove_all(none.root.path("sys"));
    test::WarningHost host;
    EXPECT_EQ(Outcome::NotSupported, none.run(host));
    EXPECT_EQ("PcieNoBus ", test::keysOf(host));
    PaperBus bus;
    test::WarningHost stopped;
    stopped.m_pollsBeforeStop = 3;
    EXPECT_EQ(Outcome::Stopped, bus.run(stopped));
    EXPECT_LT(bus.time, 0.2);
}

} // namespace
} // namespace krel5::modules::pcie
