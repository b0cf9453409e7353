// Cores that multiply wrongly: one element, one bit, one rounding, one operand, one lane; and a machine that becomes hot meanwhile.
#include <modules/WarningHost.h>

#include <cpu/Events.h>
#include <cpu/load/LoadTest.h>
#include <cpu/load/LoadWatch.h>
#include <cpu/load/MatrixProduct.h>

#include <foundation/TemporaryFolder.h>

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <filesystem>
#include <iostream>
#include <limits>

namespace krel5::modules::cpu {
namespace {

using test::valueOf;
using test::WarningHost;

/// What one core's multiplier does to one tile in so many.
using Deed = void (*)(double* c, std::size_t stride);
Deed s_deed = nullptr;
std::atomic<int> s_tilesLeft{0};

template <std::size_t kIndex>
void badMultiply(double const* a, double const* b, std::size_t depth, double* c, std::size_t stride) noexcept
{
    matrixKernels()[kIndex].multiply(a, b, depth, c, stride);
    if (--s_tilesLeft == 0)
        s_deed(c, stride);
}

MatrixKernel broken(std::size_t index)
{
    MatrixKernel kernel = matrixKernels()[index];
    kernel.multiply = index == 0 ? badMultiply<0> : index == 1 ? badMultiply<1> : badMultiply<2>;
    return kernel;
}

struct Fault
{
    char const* what;
    Deed deed;
} const kFaults[] = {
    {"lowest bit of an element", [](double* c, std::size_t stride) { c[stride] += 1; }},
    {"sign", [](double* c, std::size_t) { c[2] = -c[2] - (c[2] == 0); }},
    {"rounding", [](double* c, std::size_t) { c[1] = std::nextafter(c[1], 1e300); }},
    {"not a number", [](double* c, std::size_t) { c[0] = std::numeric_limits<double>::quiet_NaN(); }},
    {"infinite", [](double* c, std::size_t) { c[0] = std::numeric_limits<double>::infinity(); }},
    {"two of a row that cancel each other", [](double* c, std::size_t) { c[0] += 8, c[1] -= 8; }},
    {"lanes changed places",
     [](double* c, std::size_t stride) {
         std::swap(c[0], c[stride + 1]);
         c[0] += c[0] == c[stride + 1];
     }},
    {"an operand off by one, in a whole row",
     [](double* c, std::size_t) { c[0] += 3, c[1] += 5, c[2] -= 2, c[3] += 7; }},
};

TEST(MatrixProduct, isExactWithEveryKernelAndEachFaultIsFound)
{
    std::size_t found = 0, tried = 0;
    for (std::size_t i = 0; i < matrixKernels().size(); ++i) {
        if (!hasFeature(matrixKernels()[i].feature))
            continue;
        MatrixProduct sound(matrixKernels()[i], 7);
        for (int turn = 0; turn < 3; ++turn) {
            sound.draw();
            ASSERT_TRUE(sound.multiply([] { return false; }));
            EXPECT_FALSE(sound.firstWrong()) << matrixKernels()[i].name;
        }
        EXPECT_EQ(9u, sound.seed());
        MatrixProduct bad(broken(i), 7);
        for (Fault const& fault : kFaults) {
            s_deed = fault.deed;
            s_tilesLeft = 17;
            bad.draw();
            bad.multiply([] { return false; });
            auto const wrong = bad.firstWrong();
            ++tried;
            found += wrong.has_value();
            ASSERT_TRUE(wrong) << fault.what << ", " << matrixKernels()[i].name;
            EXPECT_LT(wrong->row, MatrixProduct::kRows) << fault.what;
            EXPECT_LE(wrong->count, 4u) << fault.what;
        }
    }
    std::cout << "faults in matrix products: " << found << " of " << tried << " found\n";
}

/// Two cores, which are one for the system.
struct PaperCores : CpuAffinity
{
    std::vector<unsigned> usable() override { return m_cores; }
    std::size_t online() override { return m_cores.size(); }
    int pin(unsigned core) override { return core == m_refused ? EINVAL : 0; }
    std::vector<unsigned> m_cores = {3, 8};
    unsigned m_refused = 99;
};

LoadOptions briefly()
{
    LoadOptions options;
    options.m_seconds = 0.05;
    options.m_peakSeconds = 0.01;
    options.m_seed = 42;
    return options;
}

TEST(LoadTest, namesTheCoreTheElementAndTheSeed)
{
    ::test::TemporaryFolder root;
    PaperCores cores;
    LoadOptions options = briefly();
    s_deed = [](double* c, std::size_t) { c[0] += 1; };
    s_tilesLeft = 1;
    std::size_t const best = static_cast<std::size_t>(&bestMatrixKernel() - matrixKernels().data());
    options.m_kernelOf = [best](unsigned core) { return core == 8 ? broken(best) : bestMatrixKernel(); };
    WarningHost host;
    EXPECT_EQ(Outcome::Fail, runLoadTest(host, cores, MachineFolder(root.path()), options));
    ASSERT_EQ("CpuLoadWrong ", test::keysOf(host));
    modules::Fault const& fault = host.m_faults[0];
    EXPECT_EQ("8", valueOf(fault, "Core"));
    EXPECT_EQ("0", valueOf(fault, "Row"));
    EXPECT_EQ("0", valueOf(fault, "Column"));
    EXPECT_EQ("1", valueOf(fault, "Count"));
    EXPECT_EQ("42", valueOf(fault, "Seed"));
    EXPECT_EQ(std::stod(valueOf(fault, "Expected")) + 1, std::stod(valueOf(fault, "Actual")));
}

TEST(LoadTest, endsAsItShould)
{
    ::test::TemporaryFolder root;
    MachineFolder const machine(root.path());
    PaperCores cores;
    WarningHost sound;
    EXPECT_EQ(Outcome::Pass, runLoadTest(sound, cores, machine, briefly()));
    ASSERT_FALSE(sound.m_notes.empty());
    EXPECT_GT(std::stoi(valueOf(sound.m_notes.back(), "Products")), 1);
    EXPECT_EQ(100, sound.m_progress.back());

    LoadOptions longer = briefly();
    longer.m_seconds = 600;
    WarningHost stopped;
    stopped.m_pollsBeforeStop = 20;
    EXPECT_EQ(Outcome::Stopped, runLoadTest(stopped, cores, machine, longer));
    cores.m_refused = 8;
    WarningHost refused;
    EXPECT_EQ(Outcome::CannotRun, runLoadTest(refused, cores, machine, longer));
    EXPECT_EQ("CpuCoreNotUsable ", test::keysOf(refused));
    cores.m_cores.clear();
    EXPECT_EQ(Outcome::CannotRun, runLoadTest(refused, cores, machine, longer));
}

TEST(LoadWatch, tellsHowHotItBecame)
{
    ::test::TemporaryFolder root;
    auto const write = [&](std::string const& path, std::string const& text) {
        std::filesystem::create_directories(std::filesystem::path(root.path(path)).parent_path());
        root.write(path, text + "\n");
    };
    std::string const chip = "sys/class/hwmon/hwmon0/";
    write(chip + "name", "k10temp");
    write(chip + "temp1_label", "Tctl");
    write(chip + "temp1_input", "40000");
    write(chip + "temp2_input", "broken");
    write(chip + "fan1_input", "900");
    write("sys/devices/system/cpu/cpu0/cpufreq/scaling_cur_freq", "3000000");
    write("sys/devices/system/cpu/cpu1/cpufreq/scaling_cur_freq", "2000000");
    write("sys/devices/system/cpu/cpu0/thermal_throttle/core_throttle_count", "2");
    write("sys/devices/system/cpu/cpu1/thermal_throttle/core_throttle_count", "7");
    MachineFolder const machine(root.path());
    LoadWatch watch(machine);
    watch.look();
    write(chip + "temp1_input", "91000");
    write("sys/devices/system/cpu/cpu1/cpufreq/scaling_cur_freq", "1000000");
    write("sys/devices/system/cpu/cpu1/thermal_throttle/core_throttle_count", "19");
    watch.look();
    write(chip + "temp1_input", "85000");
    std::filesystem::remove(root.path(chip + "fan1_input")); // what goes away was seen all the same
    watch.look();
    std::string all;
    for (Seen const& one : watch.seen())
        all += one.what + " " + std::to_string(std::lround(one.first)) + " " +
               std::to_string(std::lround(one.least)) + " " + std::to_string(std::lround(one.most)) + " " +
               std::to_string(std::lround(one.last)) + " " + one.unit + "\n";
    EXPECT_EQ(
        "k10temp Tctl 40 40 91 85 °C\nk10temp fan1 900 900 900 900 1/min\n2 CPU 2500 2000 2500 2000 MHz\n"
        "core_throttle_count 7 7 19 19 ×\n",
        all);
}

} // namespace
} // namespace krel5::modules::cpu
