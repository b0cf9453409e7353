#include "../MemoryRoot.h"
#include "../SmbiosTable.h"

#include <zel/enumerator/processors/CpuInfo.h>
#include <zel/enumerator/processors/discover.h>

#include <gtest/gtest.h>

using namespace zel;
using namespace zel::test;

namespace {

using C = CapabilityImp;

constexpr char kFolder[] = "sys/devices/system/cpu/";

void addProcessor(MemoryRoot& root, unsigned number, int package, int core, std::string const& siblings,
                  std::string const& inPackage)
{
    std::string const topology = kFolder + ("cpu" + std::to_string(number)) + "/topology";
    root.files(topology, {{"physical_package_id", std::to_string(package) + "\n"},
                          {"core_id", std::to_string(core) + "\n"},
                          {"thread_siblings_list", siblings + "\n"},
                          {"core_siblings_list", inPackage + "\n"}});
}

void addCache(MemoryRoot& root, unsigned number, unsigned index, unsigned level, char const* type,
              char const* size, char const* sharedBy)
{
    root.files(kFolder + ("cpu" + std::to_string(number)) + "/cache/index" + std::to_string(index),
               {{"level", std::to_string(level) + "\n"},
                {"type", type + std::string("\n")},
                {"size", size + std::string("\n")},
                {"coherency_line_size", "64\n"},
                {"shared_cpu_list", sharedBy + std::string("\n")}});
}

/// One package, two cores of two threads, caches of three levels, one more processor that is offline.
MemoryRoot laptop()
{
    MemoryRoot root;
    for (unsigned cpu = 0; cpu < 4; ++cpu) {
        char const* const siblings = cpu % 2 == 0 ? "0,2" : "1,3";
        addProcessor(root, cpu, 0, cpu % 2 == 0 ? 0 : 2, siblings, "0-3");
        addCache(root, cpu, 0, 1, "Data", "32K", siblings);
        addCache(root, cpu, 1, 1, "Instruction", "32K", siblings);
        addCache(root, cpu, 2, 2, "Unified", "256K", siblings);
        addCache(root, cpu, 3, 3, "Unified", "3072K", "0-3");
        root.file(kFolder + ("cpu" + std::to_string(cpu)) + "/cpufreq/cpuinfo_max_freq", "2667000\n");
    }
    root.file(kFolder + std::string("cpu4/uevent"), "");
    root.file(kFolder + std::string("online"), "0-3\n");
    std::string info;
    for (int cpu = 0; cpu < 4; ++cpu)
        info += "processor\t: " + std::to_string(cpu) +
                "\nvendor_id\t: GenuineIntel\ncpu family\t: 6\nmodel\t\t: 37\n"
                "model name\t: Intel(R) Core(TM) i5 CPU       M 560  @ 2.67GHz\nstepping\t: 5\n"
                "cpu MHz\t\t: 1199.000\nflags\t\t: fpu mmx sse sse2 ht pni pse36\n\n";
    root.file("proc/cpuinfo", info);
    return root;
}

RecordingSink discovered(Root const& root)
{
    RecordingSink sink;
    discoverProcessors(root, sink);
    return sink;
}

std::string fact(RecordingSink const& sink, char const* location, char const* key)
{
    return RecordingSink::property(sink.at(location), key);
}

std::uint64_t hertz(RecordingSink const& sink, char const* location, std::string_view key)
{
    if (DeviceDescription const* const device = sink.at(location))
        for (auto const& [name, value] : device->properties)
            if (name == key)
                return value.discreteMeasurement().value();
    return 0;
}

} // namespace

TEST(Processors, PackageCoresThreadsAndCaches)
{
    MemoryRoot const root = laptop();
    RecordingSink const sink = discovered(root);
    ASSERT_EQ(sink.ofType(C::CPU()).size(), 1u);
    EXPECT_EQ(sink.ofType(C::CPUCore()).size(), 2u);
    EXPECT_EQ(sink.ofType(C::CPUThread()).size(), 4u) << "the fifth is offline";
    EXPECT_EQ(sink.ofType(C::CPUCache()).size(), 7u) << "each shared cache once";

    DeviceDescription const& package = *sink.at("CPU:0");
    EXPECT_EQ(package.name.toUtf8(), "Intel(R) Core(TM) i5 CPU M 560 @ 2.67GHz");
    C const expected = C::MMX() | C::SSE() | C::SSE2() | C::SSE3() | C::PSE36() | C::HT() | C::MultiCore();
    EXPECT_TRUE(package.capabilities.isCapable(expected)) << package.capabilities.toString().toUtf8();
    EXPECT_FALSE(package.capabilities.intersects(C::SSSE3() | C::AMD3DNOW()));
    EXPECT_EQ(fact(sink, "CPU:0", "CoreCount"), "2");
    EXPECT_EQ(fact(sink, "CPU:0", "ThreadCount"), "4");
    EXPECT_EQ(fact(sink, "CPU:0", "Stepping"), "5");
    EXPECT_EQ(fact(sink, "CPU:0:CORE:1", "LogicalProcessors"), "1, 3");
    EXPECT_EQ(hertz(sink, "CPU:0:CORE:1", "MaximumClock"), 2'667'000'000u) << "cpufreq counts in kHz";
    EXPECT_EQ(hertz(sink, "CPU:0:THREAD:3", "CurrentClock"), 1'199'000'000u);
    EXPECT_EQ(sink.at("CPU:0:THREAD:3")->parentLocator.toUtf8(), "CPU:0:CORE:1");
    EXPECT_EQ(fact(sink, "CPU:0:L3:0", "Size"), "3 MiB");
    EXPECT_EQ(sink.at("CPU:0:L3:0")->parentLocator.toUtf8(), "CPU:0") << "shared by both cores";
    EXPECT_EQ(sink.at("CPU:0:L1d:1")->parentLocator.toUtf8(), "CPU:0:CORE:1");
    EXPECT_EQ(sink.at("CPU:0:L1i:1")->osLocator.toUtf8(), "cpu1,3");
    for (auto const& [path, count] : root.reads())
        EXPECT_EQ(count, 1) << path << " read more than once";
}

TEST(Processors, GroupingSurvivesOddFirmware)
{
    // Two packages whose cores have the same ids.
    MemoryRoot twin;
    for (unsigned cpu = 0; cpu < 4; ++cpu)
        addProcessor(twin, cpu, static_cast<int>(cpu % 2), static_cast<int>(cpu / 2), std::to_string(cpu),
                     "0-3");
    RecordingSink const two = discovered(twin);
    EXPECT_EQ(two.ofType(C::CPU()).size(), 2u);
    EXPECT_EQ(two.ofType(C::CPUCore()).size(), 4u);
    EXPECT_FALSE(two.at("CPU:1")->capabilities.isCapable(C::HT()));

    // Packages without ids are told apart by who belongs together.
    MemoryRoot power;
    for (unsigned cpu = 0; cpu < 8; ++cpu)
        addProcessor(power, cpu, -1, static_cast<int>(cpu / 4 * 4), cpu < 4 ? "0-3" : "4-7",
                     cpu < 4 ? "0-3" : "4-7");
    power.file("proc/cpuinfo",
               "processor\t: 0\ncpu\t\t: POWER7 (architected), altivec supported\n"
               "clock\t\t: 3000.000000MHz\n\ntimebase\t: 512000000\nmodel\t\t: IBM,8233-E8B\n");
    RecordingSink const unnumbered = discovered(power);
    EXPECT_EQ(unnumbered.ofType(C::CPU()).size(), 2u);
    EXPECT_EQ(unnumbered.ofType(C::CPUCore()).size(), 2u);
    EXPECT_EQ(unnumbered.at("CPU:0")->name.toUtf8(), "POWER7 (architected)");
    EXPECT_EQ(fact(unnumbered, "CPU:0:THREAD:0", "CurrentClock"), "3 GHz");
    EXPECT_EQ(fact(unnumbered, "CPU:0", "PackageId"), "-");

    // Masks, on kernels without lists.
    MemoryRoot old;
    for (unsigned cpu = 0; cpu < 2; ++cpu)
        old.files(kFolder + ("cpu" + std::to_string(cpu)) + "/topology",
                  {{"physical_package_id", "0\n"}, {"thread_siblings", "00000000,00000003\n"}});
    EXPECT_EQ(discovered(old).ofType(C::CPUCore()).size(), 1u);
}

TEST(Processors, CoresWithoutListsOfSiblings)
{
    // Two dies of two clusters of two cores of two threads: the numbers of cores begin again in each.
    MemoryRoot root;
    for (unsigned cpu = 0; cpu < 16; ++cpu)
        root.files(kFolder + ("cpu" + std::to_string(cpu)) + "/topology",
                   {{"physical_package_id", "0\n"},
                    {"die_id", std::to_string(cpu / 8) + "\n"},
                    {"cluster_id", std::to_string(cpu / 4 % 2) + "\n"},
                    {"core_id", std::to_string(cpu / 2 % 2) + "\n"}});
    RecordingSink const sink = discovered(root);
    ASSERT_EQ(sink.ofType(C::CPUCore()).size(), 8u);
    EXPECT_EQ(fact(sink, "CPU:0:CORE:14", "LogicalProcessors"), "14, 15");
    EXPECT_EQ(fact(sink, "CPU:0:CORE:14", "CoreId"), "1");

    for (unsigned cpu = 0; cpu < 16; ++cpu) // what the firmware does not number
        root.file(kFolder + ("cpu" + std::to_string(cpu)) + "/topology/core_id", "-1\n");
    EXPECT_TRUE(discovered(root).ofType(C::CPUCore()).empty());
}

TEST(Processors, FromCpuinfoAlone)
{
    std::string info;
    for (int cpu = 0; cpu < 4; ++cpu)
        info += "processor : " + std::to_string(cpu) + "\nphysical id : " + std::to_string(cpu / 2) +
                "\ncore id : 0\nmodel name : Test\n\n";
    MemoryRoot root;
    root.file("proc/cpuinfo", info);
    RecordingSink const sink = discovered(root);
    EXPECT_EQ(sink.ofType(C::CPU()).size(), 2u);
    EXPECT_EQ(sink.ofType(C::CPUCore()).size(), 2u);
    EXPECT_TRUE(sink.at("CPU:1")->capabilities.isCapable(C::HT()));
    EXPECT_TRUE(discovered(MemoryRoot()).devices.empty());
}

TEST(Processors, ClocksOfCoresThatDiffer)
{
    MemoryRoot root = laptop();
    for (unsigned cpu = 0; cpu < 4; ++cpu)
        root.file(kFolder + ("cpu" + std::to_string(cpu)) + "/cpufreq/cpuinfo_min_freq",
                  cpu % 2 == 0 ? "800000\n" : "400000\n");
    root.file(kFolder + std::string("cpu0/cpufreq/cpuinfo_max_freq"), "3100000\n");
    RecordingSink const sink = discovered(root);
    EXPECT_EQ(hertz(sink, "CPU:0", "MinimumClock"), 400'000'000u);
    EXPECT_EQ(hertz(sink, "CPU:0", "MaximumClock"), 3'100'000'000u);
    EXPECT_EQ(hertz(sink, "CPU:0:CORE:0", "MinimumClock"), 800'000'000u);
    EXPECT_EQ(hertz(sink, "CPU:0:CORE:1", "MaximumClock"), 2'667'000'000u);
}

TEST(Processors, SocketsOfTheFirmware)
{
    constexpr std::uint8_t kEmpty = 0, kEnabled = 0x41, kFailed = 0x43;
    struct Case
    {
        char const* what;
        unsigned packages; ///< of the kernel
        std::vector<std::uint8_t> sockets;
        std::vector<char const*> wanted; ///< "location socket" of every processor, as found
    };
    Case const cases[] = {
        {"in order, over an empty one", 2, {kEnabled, kEmpty, kEnabled}, {"CPU:0 S0", "CPU:1 S2"}},
        {"one failed", 1, {kFailed, kEnabled}, {"CPU:0 S1", "SMBIOS:4 S0"}},
        {"numbers differ: no order", 2, {kEnabled}, {"CPU:0 -", "CPU:1 -"}},
        {"the kernel tells none", 0, {kEnabled, kEmpty, kFailed}, {"SMBIOS:4 S0", "SMBIOS:4:2 S2"}},
        {"no table", 1, {}, {"CPU:0 -"}},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(c.what);
        MemoryRoot root;
        // The second package has the lower processors, as some boards count.
        for (unsigned cpu = 0; cpu < c.packages; ++cpu)
            addProcessor(root, cpu, static_cast<int>(c.packages - 1 - cpu), 0, std::to_string(cpu),
                         std::to_string(cpu));
        SmbiosTable table;
        for (std::size_t i = 0; i < c.sockets.size(); ++i)
            table.add(4, processorSocket(c.sockets[i]), {"S" + std::to_string(i), "Intel", "Xeon"});
        root.file("sys/firmware/dmi/tables/DMI", table.bytes());
        RecordingSink const sink = discovered(root);
        std::vector<std::string> found;
        for (DeviceDescription const* device : sink.ofType(C::CPU())) {
            found.push_back(device->hwLocator.toUtf8() + " " + RecordingSink::property(device, "Socket"));
            bool const failed =
                RecordingSink::property(device, "Status") == "Disabled by firmware (self-test failed)";
            EXPECT_EQ(device->state == DeviceStateImp::DISABLED(), failed);
        }
        EXPECT_EQ(found, std::vector<std::string>(c.wanted.begin(), c.wanted.end()));
    }
}

TEST(Processors, DamagedAttributesCostFactsOnly)
{
    struct Damage
    {
        char const* path;
        char const* content; ///< null: cannot be read
    };
    Damage const damages[] = {
        {"cpu0/topology/thread_siblings_list", "0-4294967295\n"},
        {"cpu0/topology/thread_siblings_list", "1,3\n"}, // its own processor is missing
        {"cpu1/topology/physical_package_id", "999999999999999999999\n"},
        {"cpu1/topology/physical_package_id", nullptr},
        {"cpu0/cache/index0/level", "-1\n"},
        {"cpu0/cache/index3/shared_cpu_list", "garbage\n"},
        {"cpu0/cache/index3/size", "99999999999999999999K\n"},
        {"online", "0-\n"},
        {"online", nullptr},
    };
    for (Damage const& damage : damages) {
        MemoryRoot root = laptop();
        if (damage.content)
            root.file(kFolder + std::string(damage.path), damage.content);
        else
            root.unreadable(kFolder + std::string(damage.path));
        RecordingSink const sink = discovered(root);
        EXPECT_GE(sink.ofType(C::CPUThread()).size(), 4u) << damage.path;
        std::set<std::string> locations;
        for (DeviceDescription const& device : sink.devices)
            EXPECT_TRUE(locations.insert(device.hwLocator.toUtf8()).second)
                << damage.path << ": two at " << device.hwLocator.toUtf8();
    }
}

TEST(CpuInfo, Arm)
{
    CpuInfo const info("processor\t: 0\nFeatures\t: fp asimd\nCPU implementer\t: 0x41\nCPU architecture: 8\n"
                       "CPU part\t: 0xd4e\nCPU revision\t: 1\n\nprocessor\t: 1\nCPU implementer\t: 0x51\nCPU "
                       "part : 0x001\n");
    EXPECT_EQ(info.processors(), (std::vector<unsigned>{0, 1}));
    CpuFacts const facts = info.facts(0);
    EXPECT_EQ(facts.model, "Cortex-X3");
    EXPECT_EQ(facts.vendor, "ARM");
    EXPECT_EQ(facts.architecture, "ARMv8");
    EXPECT_EQ(facts.stepping, 1);
    EXPECT_EQ(facts.flags, (std::vector<std::string>{"fp", "asimd"}));
    EXPECT_EQ(info.facts(1).vendor, "Qualcomm");
    EXPECT_EQ(info.model(1), "Processor part 0x001");
    EXPECT_EQ(info.facts(7).model, std::nullopt);
}

TEST(CpuInfo, Garbage)
{
    for (char const* content :
         {"", "\n\n\n", "processor", "processor:\n\n", "processor : -1\n", "processor : 99999999\n", ":\n:\n",
          "processor : 0\ncpu MHz : nan\n", "processor : 0\ncpu MHz : 1e300\n"}) {
        CpuInfo const info(content);
        EXPECT_LE(info.processors().size(), 1u);
        EXPECT_EQ(info.hertz(0), std::nullopt) << content;
    }
}
