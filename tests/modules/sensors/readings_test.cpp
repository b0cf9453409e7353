// From files to readings: machines made by hand, this machine.
#include "Machine.h"
#include "Tree.h"

#include <cmath>
#include <cstdio>
#include <fcntl.h>
#include <functional>
#include <map>
#include <set>
#include <thread>
#include <unistd.h>

namespace krel5::modules::sensors {
namespace {

using namespace std::chrono_literals;
using test::Machine;
using test::Tree;

constexpr char kChip[] = "sys/class/hwmon/hwmon0/";

std::string chip(char const* file) { return std::string(kChip) + file; }

void writeChip(Tree const& tree)
{
    for (auto const& [file, content] : std::map<char const*, char const*>{{"name", "nct6775\n"},
                                                                          {"temp1_input", "45250\n"},
                                                                          {"temp1_max", "80000\n"},
                                                                          {"temp1_crit", "95000\n"},
                                                                          {"temp2_input", "-5000\n"},
                                                                          {"temp2_min", "70000\n"},
                                                                          {"temp2_max", "70000\n"},
                                                                          {"fan1_input", "1200\n"},
                                                                          {"fan1_min", "300\n"},
                                                                          {"in0_input", "3344\n"},
                                                                          {"curr1_input", "-1250\n"},
                                                                          {"power1_average", "12500000\n"},
                                                                          {"energy1_input", "7200000000\n"},
                                                                          {"humidity1_input", "43500\n"}})
        tree.write(chip(file), content);
}

TEST(SensorReadings, AreWhatTheFilesSayInBaseUnits)
{
    Tree tree;
    writeChip(tree);
    tree.write("sys/class/thermal/thermal_zone0/type", "acpitz\n");
    tree.write("sys/class/thermal/thermal_zone0/temp", "27800\n");
    std::string const battery = "sys/class/power_supply/BAT0/";
    for (auto const& [file, content] :
         std::map<char const*, char const*>{{"type", "Battery\n"},
                                            {"present", "1\n"},
                                            {"capacity", "73\n"},
                                            {"energy_full_design", "50000000\n"},
                                            {"energy_full", "40000000\n"},
                                            {"energy_now", "29200000\n"},
                                            {"voltage_now", "12345000\n"},
                                            {"power_now", "8500000\n"},
                                            {"temp", "312\n"}})
        tree.write(battery + file, content);
    tree.write("sys/block/md0/md/level", "raid1\n");
    tree.write("sys/block/md0/md/array_state", "clean\n");
    tree.write("sys/block/md0/md/degraded", "1\n");
    tree.write("sys/block/md0/md/mismatch_cnt", "128\n");
    std::string const module = "sys/devices/system/edac/mc/mc0/dimm3/";
    tree.write("sys/devices/system/edac/mc/mc0/ce_count", "5\n");
    tree.write("sys/devices/system/edac/mc/mc0/ue_count", "1\n");
    tree.write(module + "dimm_ce_count", "4\n");
    tree.write(module + "dimm_ue_count", "1\n");
    tree.write("proc/meminfo",
               "MemTotal: 1000 kB\nMemFree: 1 kB\nMemAvailable: 250 kB\nSwapTotal: 0 kB\nSwapFree: 0 kB\n");
    tree.write("proc/pressure/memory", "some avg10=1.25 avg60=0.00 avg300=0.00 total=1\n");
    Machine machine(tree.root());
    auto const all = machine.read();
    std::map<std::string, double> const expected{{chip("temp1_input Temperature"), 45.25},
                                                 {chip("temp2_input Temperature"), -5},
                                                 {chip("fan1_input FanSpeed"), 1200},
                                                 {chip("in0_input Voltage"), 3.344},
                                                 {chip("curr1_input Current"), -1.25},
                                                 {chip("power1_average Power"), 12.5},
                                                 {chip("energy1_input Energy"), 2},
                                                 {chip("humidity1_input Humidity"), 43.5},
                                                 {"sys/class/thermal/thermal_zone0/temp Temperature", 27.8},
                                                 {battery + " Charge", 73},
                                                 {battery + " Health", 80},
                                                 {battery + " Voltage", 12.345},
                                                 {battery + " Power", 8.5},
                                                 {battery + " Temperature", 31.2},
                                                 {"md0 MissingMembers", 1},
                                                 {"md0 MismatchCount", 128},
                                                 {" AvailableMemory", 256000},
                                                 {" MemoryUse", 75},
                                                 {" MemoryPressure", 1.25}};
    for (auto const& [key, value] : expected) {
        auto const found = all.find(key);
        ASSERT_NE(found, all.end()) << key;
        EXPECT_NEAR(found->second, value, 1e-9) << key;
    }
    double corrected = 0;
    for (auto const& part : machine.parts())
        if (part->name.starts_with("Memory errors")) {
            machine.poller().read(2s);
            corrected =
                machine.poller().take(part->guid)->readings.find(ReadingId::CorrectedErrors).value_or(-1);
        }
    EXPECT_EQ(corrected, 4) << "of the module, by its name";
    Part const& first = machine.part(chip("temp1_input"));
    EXPECT_EQ(first.limit("MaximumTemperature"), 80);
    EXPECT_EQ(first.limit("CriticalTemperature"), 95);
    EXPECT_EQ(machine.part(chip("temp2_input")).limits.size(), 0u) << "a range of nothing is no limit";
    EXPECT_EQ(machine.part(chip("fan1_input")).limit("MinimumFanSpeed"), 300);
}

TEST(SensorReadings, OfCountersAreRates)
{
    Counters counters;
    Poller::Clock::time_point const begin{1s};
    EXPECT_TRUE(counters.ratesTo({100, 5}, begin).empty()) << "nothing to compare with";
    EXPECT_EQ(counters.ratesTo({300, 5}, begin + 4s), (std::vector<double>{50, 0}));
    EXPECT_TRUE(counters.ratesTo({10, 5}, begin + 8s).empty()) << "began anew";
    EXPECT_TRUE(counters.ratesTo({20, 5}, begin + 8s).empty()) << "no time has passed";
    EXPECT_EQ(counters.ratesTo({30, 6}, begin + 9s), (std::vector<double>{10, 1}));
}

TEST(SensorReadings, OfGarbageAreNone)
{
    Tree tree;
    writeChip(tree);
    Machine machine(tree.root());
    ASSERT_EQ(machine.read().count(chip("temp1_input Temperature")), 1u);
    for (std::string const& garbage :
         {std::string(), std::string("hot\n"), std::string("99999999999999999999999\n"), std::string("1e400"),
          std::string("nan"), std::string(200, '\xFF'), std::string("65261850\n"), std::string("-273150\n"),
          std::string(10 << 20, '7')}) {
        tree.write(chip("temp1_input"), garbage);
        auto const all = machine.read();
        EXPECT_EQ(all.count(chip("temp1_input Temperature")), 0u) << garbage.substr(0, 40);
        EXPECT_EQ(all.count(chip("fan1_input FanSpeed")), 1u);
    }
    EXPECT_TRUE(machine.last(chip("temp1_input")).isSilent);
    EXPECT_TRUE(machine.last(chip("temp1_input")).hasAnswered);
    EXPECT_FALSE(machine.last(chip("fan1_input")).isSilent);
    tree.remove("sys"); // gone, while it is watched
    EXPECT_TRUE(machine.read().empty());
    for (char const* table : {"proc/stat", "proc/diskstats", "proc/meminfo"})
        tree.write(table, std::string(2 << 20, 'a') + "\n\n \n0 0\n");
    Machine(tree.root()).read();
}

TEST(SensorReadings, OfOthersComeWhileOneBlocks)
{
    Tree tree;
    writeChip(tree);
    tree.write("sys/class/hwmon/hwmon1/name", "slow\n");
    std::string const stuck = "sys/class/hwmon/hwmon1/temp1_input";
    tree.write(stuck, "30000\n");
    auto machine = std::make_unique<Machine>(tree.root());
    EXPECT_EQ(machine->read().count(stuck + " Temperature"), 1u);
    tree.fifo(stuck); // whoever opens it waits until somebody writes
    auto const begin = Poller::Clock::now();
    machine->poller().read(50ms);
    machine->poller().read(24h); // returns: who did not answer in time is not waited for again
    while (Poller::Clock::now() - begin < Poller::kDeadline + 100ms) {
        auto const all = machine->read();
        EXPECT_EQ(all.count(chip("temp1_input Temperature")), 1u);
        EXPECT_EQ(all.count(stuck + " Temperature"), 0u);
        std::this_thread::sleep_for(100ms);
    }
    auto const last = machine->last(stuck);
    EXPECT_TRUE(last.isSilent);
    EXPECT_TRUE(last.isBlocking);
    EXPECT_EQ(last.failure, "/" + stuck + ": no answer within 2 s");
    EXPECT_FALSE(machine->last(chip("temp1_input")).isSilent);
    int const writer = ::open(tree.path(stuck).c_str(), O_WRONLY);
    ASSERT_GE(writer, 0);
    ASSERT_EQ(::write(writer, "31000\n", 6), 6);
    ::close(writer);
    for (int i = 0; i < 300 && !machine->last(stuck).isNew; ++i)
        std::this_thread::sleep_for(20ms);
    EXPECT_EQ(machine->last(stuck).readings.find(ReadingId::Temperature), 31) << "it answered at last";
    tree.fifo(stuck);
    machine->poller().read(10ms);
    machine.reset(); // waits for nobody
}

// One input of a chip blocks: those behind it in the same folder are read in the same pass. Where three block the chip is taken to.
TEST(SensorReadings, OfTheSameChipComeWhileOneInputBlocks)
{
    Tree tree;
    tree.write(chip("name"), "board\n");
    std::vector<std::string> inputs;
    for (int i = 1; i <= 8; ++i) {
        inputs.push_back(chip(("temp" + std::to_string(i) + "_input").c_str()));
        tree.write(inputs.back(), std::to_string(30 + i) + "000\n");
    }
    Machine machine(tree.root());
    ASSERT_EQ(machine.read().size(), inputs.size());
    auto const answering = [&](std::chrono::milliseconds patience) {
        machine.poller().read(patience);
        std::size_t count = 0;
        for (std::string const& input : inputs)
            count += machine.last(input).isNew;
        return count;
    };
    tree.fifo(inputs[0]);
    EXPECT_EQ(answering(10s), 7u) << "in the very pass in which it got stuck";
    EXPECT_EQ(answering(10s), 7u);
    tree.fifo(inputs[3]);
    EXPECT_EQ(answering(10s), 6u);
    machine.poller().setParts(machine.parts()); // looked for again: who blocks is not put before the others
    EXPECT_EQ(answering(10s), 6u);
    tree.fifo(inputs[1]);
    EXPECT_LT(answering(200ms), 6u) << "no thread more for this chip";
    for (int i = 0; i < 300 && !machine.last(inputs[1]).isBlocking; ++i) {
        machine.poller().read(10ms);
        std::this_thread::sleep_for(20ms);
    }
    EXPECT_TRUE(machine.last(inputs[0]).isBlocking);
    EXPECT_TRUE(machine.last(inputs[1]).isBlocking);
    for (std::size_t const stuck : {0u, 1u, 3u}) { // let go of
        int const writer = ::open(tree.path(inputs[stuck]).c_str(), O_WRONLY);
        ASSERT_EQ(::write(writer, "50000\n", 6), 6);
        ::close(writer);
        tree.remove(inputs[stuck]);
        tree.write(inputs[stuck], "50000\n");
    }
    std::set<std::string> answered;
    for (int i = 0; i < 300 && answered.size() < inputs.size(); ++i) {
        machine.poller().read(10ms);
        for (std::string const& input : inputs)
            if (machine.last(input).isNew)
                answered.insert(input);
        std::this_thread::sleep_for(20ms);
    }
    EXPECT_EQ(answered.size(), inputs.size());
}

// As many lanes block as there are threads: who is not asked is not said to have given no answer.
TEST(SensorReadings, OfWhoIsNotAskedBlameNobody)
{
    Tree tree;
    auto const input = [](std::size_t i) {
        return "sys/class/hwmon/hwmon" + std::to_string(i) + "/temp1_input";
    };
    for (std::size_t i = 0; i <= Poller::kMostThreads; ++i) {
        tree.write("sys/class/hwmon/hwmon" + std::to_string(i) + "/name", "chip" + std::to_string(i) + "\n");
        tree.write(input(i), "30000\n");
    }
    Machine machine(tree.root());
    ASSERT_EQ(Poller::kMostThreads + 1, machine.parts().size());
    for (std::size_t i = 0; i <= Poller::kMostThreads; ++i)
        tree.fifo(input(i));
    auto const begin = Poller::Clock::now();
    while (Poller::Clock::now() - begin < 2 * Poller::kDeadline) {
        machine.poller().read(50ms);
        machine.poller().tend();
        std::this_thread::sleep_for(20ms);
    }
    std::size_t blocking = 0, unasked = 0;
    for (auto const& part : machine.parts()) {
        auto const last = machine.last(part->path);
        EXPECT_TRUE(last.isSilent) << part->path;
        blocking += last.isBlocking && last.failure.ends_with(": no answer within 2 s");
        unasked += !last.isBlocking && last.failure.ends_with(": not asked, since 32 others do not answer");
    }
    EXPECT_EQ(Poller::kMostThreads, blocking);
    EXPECT_EQ(1u, unasked);
}

TEST(SensorReadings, OfThisMachineAreThoseOfItsFiles)
{
    Machine machine("/");
    MachineFiles const files("/");
    machine.read();
    std::size_t compared = 0;
    for (auto const& part : machine.parts()) {
        auto const counted = [&](char const* ending, ReadingId id, double factor) {
            std::string const path = part->path + ending;
            for (int attempt = 0; attempt < 20; ++attempt) { // the file may change in between
                auto const before = numberIn(files.read(path).content);
                machine.poller().read(2s);
                auto const last = machine.poller().take(part->guid);
                if (!before || before != numberIn(files.read(path).content))
                    continue;
                ++compared;
                EXPECT_NEAR(last->readings.find(id).value_or(-1e9), *before * factor, 1e-9);
                return;
            }
        };
        if (part->path.ends_with("_input") && part->path.find("/temp") != std::string::npos)
            counted("", ReadingId::Temperature, 1e-3);
        else if (part->lane == "network") {
            std::string const folder = "sys/class/net/" + part->path + "/statistics/rx_errors";
            auto const last = machine.poller().take(part->guid);
            EXPECT_EQ(last->readings.find(ReadingId::ReceiveErrors), numberIn(files.read(folder).content));
            ++compared;
        } else if (part->name == "Memory") {
            auto const bytes = [&files](char const* row) {
                PassFiles now(files);
                return std::stod(now.row("proc/meminfo", 0, row).at(1)) * 1024;
            };
            double const before = bytes("MemAvailable:"), slack = bytes("MemTotal:") / 100;
            machine.poller().read(2s);
            auto const last = machine.poller().take(part->guid);
            double const after = bytes("MemAvailable:"),
                         said = last->readings.find(ReadingId::AvailableMemory).value_or(-1);
            EXPECT_GE(said, std::min(before, after) - slack) << "programs come and go meanwhile";
            EXPECT_LE(said, std::max(before, after) + slack);
            ++compared;
        }
    }
    EXPECT_GT(compared, 0u);
}

/// A counter, and when it was read.
struct Count
{
    double value = 0;
    Poller::Clock::time_point time = Poller::Clock::now();
};

double secondsBetween(Count const& from, Count const& to)
{
    return std::chrono::duration<double>(to.time - from.time).count();
}

// What is written and sent a second lies between what the counters of the kernel say right before and behind the two readings.
TEST(SensorReadings, OfRatesLieWhereTheCountersOfThisMachineHaveThem)
{
    Machine machine("/");
    MachineFiles const files("/");
    struct Rate
    {
        Part const* part;
        ReadingId id;
        std::function<Count()> count; // in bits
        Count before[2], behind[2];
    };
    std::vector<Rate> rates;
    for (auto const& part : machine.parts())
        if (part->lane == "network") {
            std::string const path = "sys/class/net/" + part->path + "/statistics/rx_bytes";
            rates.push_back(
                {part.get(),
                 ReadingId::ReceiveRate,
                 [&files, path] { return Count{numberIn(files.read(path).content).value_or(-1) * 8}; },
                 {},
                 {}});
        } else if (!part->isHealth && files.isFolder("sys/block/" + part->path + "/queue")) {
            rates.push_back({part.get(),
                             ReadingId::WriteRate,
                             [&files, name = part->path] {
                                 PassFiles now(files);
                                 return Count{std::stod(now.row("proc/diskstats", 2, name).at(9)) * 512 * 8};
                             },
                             {},
                             {}});
        }
    Tree const tree;
    for (int pass = 0; pass < 2; ++pass) {
        for (Rate& rate : rates)
            rate.before[pass] = rate.count();
        machine.poller().read(2s);
        for (Rate& rate : rates)
            rate.behind[pass] = rate.count();
        tree.write("some", std::string(4 << 20, static_cast<char>('a' + pass)));
        int const file = ::open(tree.path("some").c_str(), O_RDONLY | O_CLOEXEC);
        ::fsync(file);
        ::close(file);
        std::this_thread::sleep_for(200ms);
    }
    for (Rate const& rate : rates) {
        double const said = machine.poller().take(rate.part->id())->readings.find(rate.id).value_or(-1);
        double const least =
            (rate.before[1].value - rate.behind[0].value) / secondsBetween(rate.before[0], rate.behind[1]);
        double const most =
            (rate.behind[1].value - rate.before[0].value) / secondsBetween(rate.behind[0], rate.before[1]);
        EXPECT_GE(said, least * 0.999) << rate.part->path;
        EXPECT_LE(said, most * 1.001) << rate.part->path;
        std::printf("%s: %.0f bit/s, between %.0f and %.0f\n", rate.part->path.c_str(), said, least, most);
    }
    if (rates.empty())
        GTEST_SKIP() << "neither drive nor network card";
}

} // namespace
} // namespace krel5::modules::sensors
