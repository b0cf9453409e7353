// Fans, voltages and batteries on paper.
#include <modules/WarningHost.h>

#include <board/BatteryTest.h>
#include <board/Events.h>
#include <board/SensorTests.h>

#include <foundation/TemporaryFolder.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <map>

namespace krel5::modules::board {
namespace {

using test::keysOf;
using test::WarningHost;
using Files = std::map<std::string, std::string>;

struct PaperBoard
{
    ::test::TemporaryFolder root;
    std::string const folder;
    double time = 0;
    std::function<void(double)> happens = [](double) {};

    PaperBoard(std::string const& in, Files const& files) : folder(in)
    {
        std::filesystem::create_directories(root.path(folder));
        for (auto const& [name, text] : files)
            write(name, text);
    }
    void write(std::string const& name, std::string const& text) const
    {
        std::ofstream(root.path(folder + name)) << text << "\n";
    }
    Pace pace()
    {
        return {[this] { return time; },
                [this](std::chrono::milliseconds step) {
                    happens(time += 1e-3 * static_cast<double>(step.count()));
                }};
    }
};

constexpr char kChip[] = "sys/class/hwmon/hwmon0/";

TEST(BoardFans, turnWhileItIsHot)
{
    Files const cool = {{"name", "chip"},
                        {"temp1_input", "40000"},
                        {"fan1_input", "900"},
                        {"fan2_input", "0"},
                        {"fan2_label", "rear"}};
    auto const changed = [&](Files const& changes) {
        Files all = cool;
        for (auto const& [name, text] : changes)
            all[name] = text;
        return all;
    };
    struct Row
    {
        char const* what;
        Files files;
        char const *later, *text; ///< written after three seconds
        Outcome outcome;
        char const* says;
        bool isStrict = false;
    } const rows[] = {
        {"cool", cool, "", "", Outcome::Pass, ""},
        {"hot, a plug without a fan", changed({{"temp1_input", "75000"}}), "", "", Outcome::Pass,
         "BoardFanMaybe "},
        {"hot, one stops", changed({{"temp1_input", "75000"}, {"fan2_input", "800"}}), "fan1_input", "0",
         Outcome::Fail, "BoardFanStopped "},
        {"cool, one stops", changed({{"fan2_input", "800"}}), "fan1_input", "0", Outcome::Pass, ""},
        {"hot, all stand", changed({{"temp1_input", "85000"}, {"fan1_input", "0"}}), "", "", Outcome::Fail,
         "BoardFansStand "},
        {"hot, all stand, and an open sensor",
         changed({{"temp1_input", "85000"}, {"temp2_input", "127000"}, {"fan1_input", "0"}}), "", "",
         Outcome::Fail, "BoardFansStand "},
        {"hot by a broken sensor only",
         changed({{"temp2_input", "95000"}, {"temp2_fault", "1"}, {"fan1_input", "0"}}), "", "",
         Outcome::Pass, ""},
        {"warm, all rest", changed({{"temp1_input", "68000"}, {"fan1_input", "0"}}), "", "", Outcome::Pass,
         "BoardFanMaybe BoardFanMaybe "},
        {"hot, one begins late", changed({{"temp1_input", "85000"}, {"fan1_input", "0"}}), "fan1_input",
         "500", Outcome::Pass, "BoardFanMaybe "},
        {"below its limit", changed({{"fan1_min", "1000"}}), "", "", Outcome::Pass, "BoardFanBelow "},
        {"below its limit, which counts", changed({{"fan1_min", "1000"}}), "", "", Outcome::Fail,
         "BoardFanSlow ", true},
        {"a limit for no fan", changed({{"fan2_min", "1000"}}), "", "", Outcome::Pass, ""},
        {"reported as broken", changed({{"fan1_fault", "1"}}), "", "", Outcome::Fail, "BoardFanAlarm "},
        {"an open sensor", changed({{"temp1_input", "255000"}, {"fan1_input", "0"}}), "", "", Outcome::Pass,
         ""},
        {"nonsense", changed({{"fan1_input", "fast"}, {"fan2_input", "99999999999999999999"}}), "", "",
         Outcome::NotSupported, "BoardFanNone "},
        {"none", {{"name", "chip"}}, "", "", Outcome::NotSupported, "BoardFanNone "},
    };
    for (auto const& row : rows) {
        PaperBoard board(kChip, row.files);
        board.happens = [&](double time) {
            if (*row.later && time >= 3)
                board.write(row.later, row.text);
        };
        WarningHost host;
        FanSettings settings;
        settings.isLimitStrict = row.isStrict;
        EXPECT_EQ(row.outcome, runFanTest(host, MachineFolder(board.root.path()), board.pace(), settings))
            << row.what;
        EXPECT_EQ(row.says, keysOf(host)) << row.what;
    }
}

TEST(BoardFans, mayRestWhereItIsCooler)
{
    // Turns from 70 degrees on and rests below 62, which is hot as well; then it stands at 75.
    for (bool const fails : {false, true}) {
        PaperBoard board(kChip, {{"name", "chip"}, {"temp1_input", "68000"}, {"fan1_input", "0"}});
        board.happens = [&](double time) {
            bool const turns = time > 1 && time < 4;
            board.write("temp1_input", time < 1   ? "68000"
                                       : time < 3 ? "72000"
                                       : time < 6 ? "61000"
                                       : fails    ? "75000"
                                                  : "65000");
            board.write("fan1_input", turns ? "700" : "0");
        };
        WarningHost host;
        EXPECT_EQ(fails ? Outcome::Fail : Outcome::Pass,
                  runFanTest(host, MachineFolder(board.root.path()), board.pace(), {}));
        EXPECT_EQ(fails ? "BoardFanStopped " : "", keysOf(host));
    }
}

TEST(BoardFans, areNotBlamedForAMomentOrForAnotherPart)
{
    Files const hot = {
        {"name", "chip"}, {"temp1_input", "85000"}, {"fan1_input", "900"}, {"fan2_input", "800"}};
    {
        // One wrong reading, or heat that came just now, is no fan that stands.
        PaperBoard board(kChip, hot);
        board.happens = [&](double time) {
            board.write("fan1_input", time > 5 && time < 6 ? "0" : "900");
            board.write("fan2_input", time > 8.5 ? "0" : "800");
        };
        WarningHost host;
        EXPECT_EQ(Outcome::Pass, runFanTest(host, MachineFolder(board.root.path()), board.pace(), {}));
        EXPECT_EQ("", keysOf(host));
    }
    for (bool const isCard : {true, false}) {
        // The processor is hot; the card's fan rests, since the card is cool.
        PaperBoard board(kChip, hot);
        std::string const card = "../hwmon1/";
        std::filesystem::create_directories(board.root.path("sys/class/hwmon/hwmon1/device"));
        for (auto const& [name, text] : Files{{"name", "card"},
                                              {"temp1_input", "45000"},
                                              {"fan1_input", "700"},
                                              {"device/class", isCard ? "0x030000" : "0x060000"}})
            board.write(card + name, text);
        board.happens = [&](double time) {
            if (time > 2)
                board.write(card + "fan1_input", "0");
        };
        WarningHost host;
        EXPECT_EQ(isCard ? Outcome::Pass : Outcome::Fail,
                  runFanTest(host, MachineFolder(board.root.path()), board.pace(), {}));
        EXPECT_EQ(isCard ? "" : "BoardFanStopped ", keysOf(host));
        // Its only fan stands, and it is hot itself: others turn, but not on it.
        board.happens = [](double) {};
        board.write(card + "fan1_input", "0");
        board.write(card + "temp1_input", "90000");
        WarningHost second;
        EXPECT_EQ(isCard ? Outcome::Fail : Outcome::Pass,
                  runFanTest(second, MachineFolder(board.root.path()), board.pace(), {}));
        EXPECT_EQ(isCard ? "BoardFansStand " : "BoardFanMaybe ", keysOf(second));
    }
    PaperBoard board(kChip, hot);
    WarningHost stopped;
    stopped.m_pollsBeforeStop = 9;
    EXPECT_EQ(Outcome::Stopped, runFanTest(stopped, MachineFolder(board.root.path()), board.pace(), {}));
}

TEST(BoardVoltages, stayWhereTheyBelong)
{
    struct Row
    {
        char const* what;
        Files files;
        Outcome outcome;
        char const* says;
        bool isStrict = false;
    } const rows[] = {
        {"a rail", {{"in0_input", "12100"}, {"in0_label", "+12V"}}, Outcome::Pass, ""},
        {"a rail too low",
         {{"in0_input", "11300"}, {"in0_label", "+12V"}},
         Outcome::Fail,
         "BoardVoltageBad "},
        {"a rail too high",
         {{"in0_input", "5300"}, {"in0_label", "5VSB"}},
         Outcome::Fail,
         "BoardVoltageBad "},
        {"not scaled", {{"in0_input", "1008"}, {"in0_label", "+12V"}}, Outcome::Pass, "BoardVoltageAside "},
        {"critical",
         {{"in1_input", "1500"}, {"in1_lcrit", "900"}, {"in1_crit", "1400"}},
         Outcome::Fail,
         "BoardVoltageBad "},
        {"limits",
         {{"in1_input", "1500"}, {"in1_min", "900"}, {"in1_max", "1400"}},
         Outcome::Pass,
         "BoardVoltageAside "},
        {"limits that count",
         {{"in1_input", "1500"}, {"in1_min", "900"}, {"in1_max", "1400"}},
         Outcome::Fail,
         "BoardVoltageBad ",
         true},
        {"limits never set",
         {{"in1_input", "1500"}, {"in1_min", "0"}, {"in1_max", "0"}},
         Outcome::NotSupported,
         "BoardVoltageNone "},
        {"no limits", {{"in1_input", "1500"}}, Outcome::NotSupported, "BoardVoltageNone "},
        {"cannot be read",
         {{"in1_input", "-"}, {"in1_min", "900"}, {"in1_max", "1400"}},
         Outcome::NotSupported,
         "BoardVoltageNone "},
        {"no input",
         {{"intrusion0_alarm", "1"}, {"in_input", "1"}},
         Outcome::NotSupported,
         "BoardVoltageNone "},
    };
    for (auto const& row : rows) {
        PaperBoard board(kChip, row.files);
        WarningHost host;
        VoltageSettings settings;
        settings.isLimitStrict = row.isStrict;
        EXPECT_EQ(row.outcome, runVoltageTest(host, MachineFolder(board.root.path()), board.pace(), settings))
            << row.what;
        EXPECT_EQ(row.says, keysOf(host)) << row.what;
    }
    // What was bad for a moment was bad.
    PaperBoard board(kChip, {{"in0_input", "12000"}, {"in0_label", "+12V"}});
    board.happens = [&](double time) { board.write("in0_input", time > 2 && time < 3 ? "10900" : "12000"); };
    WarningHost host;
    EXPECT_EQ(Outcome::Fail, runVoltageTest(host, MachineFolder(board.root.path()), board.pace(), {}));
    EXPECT_EQ("10.900", test::valueOf(host.m_faults.at(0), "Volts"));
    // One reading alone may have been misread, be it the first or the last.
    for (double const at : {0.0, 2.0, 4.9}) {
        PaperBoard once(kChip, {{"in0_input", at > 0 ? "12000" : "10900"}, {"in0_label", "+12V"}});
        once.happens = [&](double time) {
            once.write("in0_input", time > at && time < at + 0.4 && at > 0 ? "10900" : "12000");
        };
        WarningHost warned;
        EXPECT_EQ(Outcome::Pass, runVoltageTest(warned, MachineFolder(once.root.path()), once.pace(), {}))
            << at;
        EXPECT_EQ("BoardVoltageOnce ", keysOf(warned)) << at;
    }
    // A reading that cannot be does not hide one that is bad.
    PaperBoard both(kChip, {{"in0_input", "10900"}, {"in0_label", "+12V"}});
    both.happens = [&](double time) { both.write("in0_input", time > 2 && time < 3 ? "0" : "10900"); };
    WarningHost told;
    EXPECT_EQ(Outcome::Fail, runVoltageTest(told, MachineFolder(both.root.path()), both.pace(), {}));
    EXPECT_EQ("BoardVoltageBad BoardVoltageAside ", keysOf(told));
}

TEST(BoardBattery, isWornOrSaysSo)
{
    Files const whole = {{"type", "Battery"},         {"present", "1"},
                         {"energy_full", "48000000"}, {"energy_full_design", "50000000"},
                         {"cycle_count", "120"},      {"health", "Good"}};
    auto const changed = [&](Files const& changes) {
        Files all = whole;
        for (auto const& [name, text] : changes)
            all[name] = text;
        return all;
    };
    struct Row
    {
        char const* what;
        Files files;
        Outcome outcome;
        char const* says;
    } const rows[] = {
        {"good", whole, Outcome::Pass, ""},
        {"more than new", changed({{"energy_full", "52000000"}}), Outcome::Pass, ""},
        {"worn", changed({{"energy_full", "20000000"}}), Outcome::Fail, "BoardBatteryWorn "},
        {"dead", changed({{"health", "Dead"}}), Outcome::Fail, "BoardBatteryBad "},
        {"hot", changed({{"health", "Overheat"}}), Outcome::Pass, "BoardBatteryNow "},
        {"in ampere hours",
         {{"type", "Battery"}, {"charge_full", "1000"}, {"charge_full_design", "4000"}},
         Outcome::Fail,
         "BoardBatteryWorn "},
        {"says nothing", {{"type", "Battery"}}, Outcome::NotSupported, "BoardBatteryUnknown "},
        {"far more than it can hold", changed({{"energy_full", "480000000"}}), Outcome::NotSupported,
         "BoardBatteryUnknown "},
        {"never had anything", changed({{"energy_full_design", "0"}}), Outcome::NotSupported,
         "BoardBatteryUnknown "},
        {"was taken out", changed({{"present", "0"}}), Outcome::NoDevice, "BoardBatteryNone "},
    };
    for (auto const& row : rows) {
        PaperBoard board("sys/class/power_supply/BAT0/", row.files);
        for (std::string const name : {"BAT0", "/sys/class/power_supply/BAT0"}) {
            WarningHost host;
            EXPECT_EQ(row.outcome, runBatteryTest(host, MachineFolder(board.root.path()), name, {}))
                << row.what;
            EXPECT_EQ(row.says, keysOf(host)) << row.what;
        }
    }
    WarningHost host;
    PaperBoard board("sys/class/power_supply/BAT0/", whole);
    for (std::string const name : {"", "..", "BAT1"})
        EXPECT_EQ(Outcome::NoDevice, runBatteryTest(host, MachineFolder(board.root.path()), name, {}))
            << name;
}

} // namespace
} // namespace krel5::modules::board
