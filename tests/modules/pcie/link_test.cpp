// Links on paper: narrow, slow, losing lanes, gone, and files that say nonsense.
#include <modules/RecordingHost.h>

#include <pcie/Events.h>
#include <pcie/LinkTest.h>

#include <foundation/TemporaryFolder.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>

namespace krel5::modules::pcie {
namespace {

namespace fs = std::filesystem;

struct WarningHost : test::RecordingHost
{
    void warning(Report const& report) override { warnings.push_back(report); }
    std::vector<Report> warnings;
};

/// A card behind a bridge, and a clock that goes on only while the card is waited for or works.
struct PaperCard
{
    ::test::TemporaryFolder root;
    std::string const bridge = "sys/devices/pci0000:00/0000:00:01.0/", card = bridge + "0000:03:00.0/";
    double time = 0;
    std::function<void(double time)> happens = [](double) {};

    PaperCard()
    {
        fs::create_directories(root.path(card));
        fs::create_directories(root.path("sys/bus/pci/devices"));
        fs::create_directory_symlink("../../../devices/pci0000:00/0000:00:01.0/0000:03:00.0",
                                     root.path("sys/bus/pci/devices/0000:03:00.0"));
        for (std::string const& end : {bridge, card}) {
            write(end, "max_link_width", "8\n");
            write(end, "max_link_speed", "16.0 GT/s PCIe\n");
            write(end, "current_link_width", "8\n");
            write(end, "current_link_speed", "16.0 GT/s PCIe\n");
            write(end, "vendor", "0x144d\n");
            write(end, "config", std::string("\x4D\x14\x0A\xA8", 4) + std::string(60, '\0'));
        }
    }
    void write(std::string const& end, char const* name, std::string const& text) const
    {
        std::ofstream(root.path(end + name), std::ios::binary) << text;
    }
    void write(char const* name, std::string const& text) const { write(card, name, text); }
    Load load(bool works)
    {
        Load load;
        load.now = [this] { return time; };
        load.wait = [this](std::chrono::milliseconds step) {
            happens(time += 1e-3 * static_cast<double>(step.count()));
        };
        if (works) {
            load.what = "nvme0n1";
            load.once = [this] { return happens(time += 0.01), true; };
        }
        return load;
    }
    Outcome run(WarningHost& host, bool works = true, LinkSettings const& settings = {})
    {
        MachineFolder const machine(root.path());
        return runLinkTest(host, machine, "0000:03:00.0", settings, load(works));
    }
};

std::string keysOf(std::vector<Report> const& reports)
{
    std::string keys;
    for (Report const& one : reports)
        keys += std::string(one.m_eventKey.text()) + " ";
    return keys;
}
std::string keysOf(std::vector<Fault> const& faults)
{
    return keysOf(std::vector<Report>(faults.begin(), faults.end()));
}

struct Case
{
    char const* what;
    std::function<void(PaperCard&)> change;
    bool works;
    Outcome outcome;
    char const* says; // faults, warnings, problems
};

TEST(PcieLink, isJudgedByWhatBothEndsCan)
{
    auto const after = [](double when, auto deed) {
        return [when, deed](PaperCard& card) {
            card.happens = [&card, when, deed](double time) {
                if (time >= when)
                    deed(card);
            };
        };
    };
    Case const cases[] = {
        {"whole", [](auto&) {}, true, Outcome::Pass, ""},
        {"fewer lanes", [](auto& c) { c.write("current_link_width", "4\n"); }, true, Outcome::Fail,
         "PcieNarrow "},
        {"fewer lanes at rest", [](auto& c) { c.write("current_link_width", "4\n"); }, false, Outcome::Fail,
         "PcieNarrow "},
        {"a graphics card with fewer lanes at rest",
         [](auto& c) { c.write("class", "0x030000\n"), c.write("current_link_width", "4\n"); }, false,
         Outcome::Pass, "PcieMaybeNarrow "},
        {"a bridge with a graphics card behind it, with fewer lanes at rest",
         [](auto& c) {
             fs::create_directories(c.root.path(c.card + "0000:04:00.0"));
             c.write("0000:04:00.0/class", "0x038000\n"), c.write("current_link_width", "4\n");
         },
         false, Outcome::Pass, "PcieMaybeNarrow "},
        {"a graphics card that goes to rest",
         [&](auto& c) {
             c.write("class", "0x030000\n");
             after(1, [](auto& d) { d.write("current_link_width", "1\n"); })(c);
         },
         false, Outcome::Pass, ""},
        {"a slot with fewer lanes",
         [](auto& c) { c.write(c.bridge, "max_link_width", "4\n"), c.write("current_link_width", "4\n"); },
         true, Outcome::Pass, ""},
        {"slower", [](auto& c) { c.write("current_link_speed", "2.5 GT/s PCIe\n"); }, true, Outcome::Fail,
         "PcieSlow "},
        {"slower at rest", [](auto& c) { c.write("current_link_speed", "2.5 GT/s PCIe\n"); }, false,
         Outcome::Pass, "PcieMaybeSlow "},
        {"a slower slot, by an old kernel",
         [](auto& c) {
             c.write(c.bridge, "max_link_speed", "8 GT/s\n");
             c.write("current_link_speed", "8.0 GT/s\n");
         },
         true, Outcome::Pass, ""},
        {"wakes up",
         [&](auto& c) {
             c.write("current_link_speed", "2.5 GT/s PCIe\n");
             after(1, [](auto& d) { d.write("current_link_speed", "16.0 GT/s PCIe\n"); })(c);
         },
         true, Outcome::Pass, ""},
        {"loses lanes", after(1, [](auto& c) { c.write("current_link_width", "1\n"); }), true, Outcome::Fail,
         "PcieChanged "},
        {"falls off", after(1, [](auto& c) { c.write("config", std::string(64, '\xFF')); }), true,
         Outcome::Fail, "PcieGone "},
        {"is gone", after(1, [](auto& c) { fs::remove_all(c.root.path(c.card)); }), true, Outcome::Fail,
         "PcieGone "},
        {"was off before", [](auto& c) { c.write("config", std::string(64, '\xFF')); }, true, Outcome::Fail,
         "PcieGone "},
        {"sleeps",
         [](auto& c) {
             fs::create_directory(c.root.path(c.card + "power"));
             c.write("power/runtime_status", "suspended\n");
             c.write("config", std::string(64, '\xFF'));
         },
         true, Outcome::Pass, ""},
        {"one that its card makes up", // which gives ones for its maker, and has no link of its own
         [](auto& c) {
             fs::create_directory(c.root.path(c.card + "physfn"));
             c.write("config", std::string(64, '\xFF')), c.write("current_link_width", "0\n");
         },
         true, Outcome::NotApplicable, "PcieNoLink "},
        {"had errors",
         [](auto& c) {
             c.write("aer_dev_correctable", "RxErr 2\nTOTAL_ERR_COR 3\n");
             c.write("aer_dev_nonfatal", "TOTAL_ERR_NONFATAL 0\n");
             c.write("aer_dev_fatal", "TOTAL_ERR_FATAL 18446744073709551616\n");
         },
         true, Outcome::Pass, "PcieEarlierErrors "},
        {"no link", [](auto& c) { fs::remove(c.root.path(c.card + "max_link_width")); }, true,
         Outcome::NotApplicable, "PcieNoLink "},
        {"nothing known above", [](auto& c) { c.write(c.bridge, "max_link_width", "255\n"); }, true,
         Outcome::NotApplicable, "PcieNoLink "},
        {"speeds that are none",
         [](auto& c) {
             c.write("current_link_speed", "Unknown\n"), c.write("max_link_speed", "1e300 GT/s\n");
         },
         true, Outcome::Pass, ""},
        {"not there at all", [](auto& c) { fs::remove(c.root.path("sys/bus/pci/devices/0000:03:00.0")); },
         true, Outcome::NoDevice, "PcieNotThere "},
    };
    for (Case const& one : cases) {
        PaperCard card;
        one.change(card);
        WarningHost host;
        EXPECT_EQ(one.outcome, card.run(host, one.works)) << one.what;
        EXPECT_EQ(one.says, keysOf(host.m_faults) + keysOf(host.warnings) + keysOf(host.m_problems))
            << one.what;
        EXPECT_LT(card.time, 6) << one.what;
    }
}

TEST(PcieLink, thatStaysSlowFailsWhereSpeedIsRequired)
{
    PaperCard card;
    card.write("current_link_speed", "8.0 GT/s PCIe\n");
    WarningHost host;
    LinkSettings settings;
    settings.isSpeedRequired = true;
    EXPECT_EQ(Outcome::Fail, card.run(host, false, settings));
    EXPECT_EQ("8.0", test::valueOf(host.m_faults.at(0), "Speed"));
    EXPECT_EQ("16.0", test::valueOf(host.m_faults.at(0), "Common"));
}

TEST(PcieLink, heedsAStopAndNoPath)
{
    PaperCard card;
    WarningHost host;
    host.m_pollsBeforeStop = 3;
    EXPECT_EQ(Outcome::Stopped, card.run(host));
    EXPECT_LT(card.time, 0.1);
    MachineFolder const machine(card.root.path());
    for (char const* const name : {"", "..", "../devices/0000:03:00.0", "./0000:03:00.0"}) {
        WarningHost other;
        EXPECT_EQ(Outcome::NoDevice, runLinkTest(other, machine, name, {}, card.load(true))) << name;
    }
}

} // namespace
} // namespace krel5::modules::pcie
