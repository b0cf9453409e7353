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
    EXPECT_EQ(sink.at("CPU:0:L1i:1")->name.toUtf8(), "CPU 0 L1 instruction cache 1");
    EXPECT_EQ(sink.at("CPU:0:L1d:1")->name.toUtf8(), "CPU 0 L1 data cache 1");
    EXPECT_EQ(sink.at("CPU:0:L3:0")->name.toUtf8(), "CPU 0 L3 cache 0");
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
    MemoryRoot lone;
    addProcessor(lone, 0, 0x7FFFFFFF, 0x7FFFFFFF, "0", "0");
    RecordingSink const one = discovered(lone);
    EXPECT_FALSE(one.at("CPU:2147483647")->capabilities.isCapable(C::MultiCore()));
    EXPECT_EQ(fact(one, "CPU:2147483647", "PackageId"), "2147483647");
    EXPECT_EQ(fact(one, "CPU:2147483647:CORE:0", "CoreId"), "2147483647");

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
    old.file(kFolder + std::string("cpu0/topology/thread_siblings_list"), "x\n");
    EXPECT_EQ(discovered(old).ofType(C::CPUCore()).size(), 1u) << "the next file tells as well";
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
    for (char const* cpu : {"cpu1", "cpu3"}) // the other way round
        root.file(kFolder + std::string(cpu) + "/cpufreq/cpuinfo_max_freq", "3300000\n")
            .file(kFolder + std::string(cpu) + "/cpufreq/cpuinfo_min_freq", "900000\n");
    EXPECT_EQ(hertz(discovered(root), "CPU:0", "MinimumClock"), 800'000'000u);
    EXPECT_EQ(hertz(discovered(root), "CPU:0", "MaximumClock"), 3'300'000'000u);
    root.file(kFolder + std::string("cpu1/cpufreq/cpuinfo_max_freq"), "0\n");
    EXPECT_EQ(fact(discovered(root), "CPU:0:CORE:1", "MaximumClock"), "-");
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
        {"cpu0/cache/index0/level", "0\n"},
        {"cpu0/cache/index0/level", "10\n"},
        {"cpu0/cache/index0/coherency_line_size", "0\n"},
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
        EXPECT_TRUE(sink.at("CPU:0:L1i:0")) << damage.path << ": the cache behind it";
        if (std::string_view(damage.path).ends_with("level")) {
            EXPECT_EQ(sink.ofType(C::CPUCache()).size(), 6u) << damage.content;
        }
        if (std::string_view(damage.path).ends_with("line_size")) {
            EXPECT_EQ(fact(sink, "CPU:0:L1d:0", "CacheLineSize"), "-");
        }
        std::set<std::string> locations;
        for (DeviceDescription const& device : sink.devices)
            EXPECT_TRUE(locations.insert(device.hwLocator.toUtf8()).second)
                << damage.path << ": two at " << device.hwLocator.toUtf8();
    }
}

TEST(Processors, AHybridSaysWhatItIsMadeOf)
{
    MemoryRoot root = laptop(); // cores of processors 0 and 2, and 1 and 3
    root.file("sys/devices/cpu_core/cpus", "0,2\n").file("sys/devices/cpu_atom/cpus", "1,3\n");
    RecordingSink const x86 = discovered(root);
    EXPECT_EQ(fact(x86, "CPU:0", "CoreKinds"), "1 x Performance core, 1 x Efficient core");
    EXPECT_EQ(fact(x86, "CPU:0:CORE:1", "CoreKind"), "Efficient core");
    EXPECT_EQ(fact(discovered(laptop()), "CPU:0", "CoreKinds"), "-");
    MemoryRoot const alike = laptop().file("sys/devices/cpu_core/cpus", "0-3\n");
    EXPECT_EQ(fact(discovered(alike), "CPU:0", "CoreKinds"), "-") << "all of one kind";
    EXPECT_EQ(fact(discovered(laptop()), "CPU:0:CORE:1", "CoreKind"), "-");

    MemoryRoot arm;
    std::string info;
    for (unsigned cpu = 0; cpu < 6; ++cpu) {
        addProcessor(arm, cpu, 0, static_cast<int>(cpu), std::to_string(cpu), "0-5");
        info += "processor\t: " + std::to_string(cpu) + "\nCPU implementer\t: 0x41\nCPU architecture: 8\n" +
                "CPU part\t: " + (cpu < 4 ? "0xd03" : "0xd08") + "\n\n";
    }
    arm.file("proc/cpuinfo", info);
    RecordingSink const chip = discovered(arm);
    EXPECT_EQ(fact(chip, "CPU:0", "Model"), "Cortex-A53 + Cortex-A72");
    EXPECT_EQ(fact(chip, "CPU:0", "CoreKinds"), "4 x Cortex-A53, 2 x Cortex-A72");
    EXPECT_EQ(fact(chip, "CPU:0:CORE:5", "Model"), "Cortex-A72");
}

TEST(CpuInfo, ProcessorsOfEveryFamilyHaveAName)
{
    struct Case
    {
        char const* content;
        char const *model, *vendor, *architecture, *stepping, *lastFlag; ///< "-": none
        std::uint64_t megahertz;
    };
    Case const cases[] = {
        {"processor\t: 0\nFeatures\t: fp asimd\nCPU implementer\t: 0x41\nCPU architecture: 8\nCPU variant\t: "
         "0x1\n"
         "CPU part\t: 0xd4e\nCPU revision\t: 2\n",
         "Cortex-X3", "ARM", "ARMv8", "r1p2", "asimd", 0},
        {"processor\t: 0\nCPU implementer\t: 0x61\nCPU architecture: AArch64\nCPU part\t: 0x023\n",
         "Firestorm (M1)", "Apple", "ARMv8", "-", "-", 0},
        {"processor : 0\nCPU implementer : 0x53\nCPU part : 0x777\n", "Samsung part 0x777", "Samsung", "ARM",
         "-", "-", 0},
        {"processor : 0\nCPU implementer : 0x99\nCPU part : 0x777\n", "Processor part 0x777", "-", "ARM", "-",
         "-", 0},
        // 32-bit kernels, new and old: a board of four cores, and one of a single core without any number
        {"processor\t: 0\nmodel name\t: ARMv7 Processor rev 4 (v7l)\nFeatures\t: half thumb neon\n"
         "CPU implementer\t: 0x41\nCPU architecture: 7\nCPU variant\t: 0x0\nCPU part\t: 0xd03\nCPU "
         "revision\t: 4\n",
         "Cortex-A53", "ARM", "ARMv7", "r0p4", "neon", 0},
        {"Processor\t: ARMv7 Processor rev 10 (v7l)\nprocessor\t: 0\nBogoMIPS\t: 1581.05\n\nprocessor\t: 1\n"
         "BogoMIPS\t: 1581.05\n\nFeatures\t: swp half thumb\nCPU implementer\t: 0x41\nCPU architecture: 7\n"
         "CPU variant\t: 0x2\nCPU part\t: 0xc09\nCPU revision\t: 10\n\nHardware\t: Freescale i.MX 6Quad\n"
         "Revision\t: 63012\nSerial\t\t: 0000000000000000\n",
         "Cortex-A9", "ARM", "ARMv7", "r2p10", "thumb", 0},
        {"Processor\t: ARM926EJ-S rev 5 (v5l)\nBogoMIPS\t: 226.09\nFeatures\t: swp java\n\nHardware\t: "
         "Example\n",
         "ARM926EJ-S rev 5 (v5l)", "-", "-", "-", "java", 0},
        {"processor\t: 0\nhart\t\t: 2\nisa\t\t: rv64imafdc_zicsr_zba\nmmu\t\t: sv39\nuarch\t\t: "
         "sifive,u74-mc\n"
         "mvendorid\t: 0x489\nmarchid\t\t: 0x8000000000000007\n",
         "SiFive U74-MC", "SiFive", "RISC-V 64-bit", "-", "zba", 0},
        {"processor\t: 0\nisa\t\t: rv64imafdcv_sscofpmf\nmvendorid\t: 0x5b7\n", "T-Head RISC-V rv64imafdcv",
         "T-Head", "RISC-V 64-bit", "-", "sscofpmf", 0},
        {"processor\t: 0\nisa\t\t: rv64gc\nuarch\t\t: acme,az1\n", "acme AZ1", "-", "RISC-V 64-bit", "-",
         "rv64gc", 0},
        {"processor\t: 0\nisa\t\t: rv64gc\nuarch\t\t: acme,\n", "acme,", "-", "RISC-V 64-bit", "-", "rv64gc",
         0},
        {"processor\t: 0\nisa\t\t: rv64gc\nuarch\t\t: acme,x\n", "acme X", "-", "RISC-V 64-bit", "-",
         "rv64gc", 0},
        {"processor\t: 0\nisa\t\t: rv32imac\n", "RISC-V rv32imac", "-", "RISC-V 32-bit", "-", "rv32imac", 0},
        {"system type\t\t: generic-loongson-machine\n\nprocessor\t\t: 0\npackage\t\t\t: 0\ncore\t\t\t: 0\n"
         "CPU Family\t\t: Loongson-64bit\nModel Name\t\t: Loongson-3A5000-HV\nCPU MHz\t\t\t: 2500.00\n"
         "ISA\t\t\t: loongarch32 loongarch64\nFeatures\t\t: cpucfg lsx lasx\n",
         "Loongson-3A5000-HV", "Loongson", "LoongArch 64-bit", "-", "lasx", 2500},
        {"vendor_id       : IBM/S390\n# processors    : 2\nbogomips per cpu: 3033.00\nfeatures\t: esan3 "
         "zarch vx\n"
         "processor 0: version = FF,  identification = 0133E8,  machine = 2964\n"
         "processor 1: version = FF,  identification = 0133E8,  machine = 2964\n\ncpu number      : 0\n"
         "cpu MHz dynamic : 5000\ncpu MHz static  : 5000\n\n",
         "IBM z13", "IBM", "s390x", "-", "vx", 5000},
        {"cpu\t\t: UltraSparc T5 (Niagara5)\nfpu\t\t: UltraSparc T5 integrated FPU\ntype\t\t: sun4v\n"
         "ncpus active\t: 1\nCpu0ClkTck\t: 00000000d6924470\nState:\nCPU0:\t\tonline\n",
         "UltraSparc T5 (Niagara5)", "-", "SPARC", "-", "-", 3599},
        {"processor\t: 0\ncpu\t\t: POWER9, altivec supported\nclock\t\t: 2300.000000MHz\n"
         "revision\t: 2.2 (pvr 004e 1202)\n\ntimebase\t: 512000000\nplatform\t: PowerNV\n",
         "POWER9", "IBM", "PowerPC", "2.2", "-", 2300},
        {"system type\t\t: MT7621\nmachine\t\t\t: Router\nprocessor\t\t: 0\ncpu model\t\t: MIPS 1004Kc "
         "V2.15\n",
         "MIPS 1004Kc V2.15", "-", "MIPS", "-", "-", 0},
        {"processor\t: 0\nvendor_id\t: AuthenticAMD\ncpu family\t: 25\nmodel\t\t: 33\nmodel name\t: unknown\n"
         "stepping\t: 2\nflags\t\t: fpu lm sse2\n",
         "AuthenticAMD family 25 model 33", "AuthenticAMD", "x86-64", "2", "sse2", 0},
        {"processor\t: 0\nvendor_id\t: GenuineIntel\nmodel name\t: Pentium III\nflags\t\t: fpu sse\n",
         "Pentium III", "GenuineIntel", "x86", "-", "sse", 0},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(c.model);
        CpuInfo const info(c.content);
        CpuFacts const facts = info.facts(0);
        EXPECT_EQ(facts.model.value_or("-"), c.model);
        EXPECT_EQ(facts.vendor.value_or("-"), c.vendor);
        EXPECT_EQ(facts.architecture.value_or("-"), c.architecture);
        EXPECT_EQ(facts.stepping.value_or("-"), c.stepping);
        EXPECT_EQ(facts.flags.empty() ? "-" : facts.flags.back(), c.lastFlag);
        EXPECT_EQ(info.hertz(0).value_or(0) / 1'000'000, c.megahertz);
    }
    CpuInfo const numbered("processor : 0\nmodel name : Test\n\nprocessor : 1\nmodel name : Other\n");
    EXPECT_EQ(numbered.processors(), (std::vector<unsigned>{0, 1}));
    EXPECT_EQ(numbered.facts(7).model, std::nullopt);
}

TEST(CpuInfo, Garbage)
{
    for (char const* content :
         {"", "\n\n\n", "processor", "processor:\n\n", "processor : -1\n", "processor : 99999999\n", ":\n:\n",
          "processor : 0\ncpu MHz : nan\n", "processor : 0\ncpu MHz : 1e300\n",
          "processor : 0\ncpu MHz : 0\n", "processor : 0\ncpu MHz : 1000000\n",
          "processor : 0\nCpu0ClkTck : 0\n", "processor:0\ncpu MHz : -1\n"}) {
        CpuInfo const info(content);
        EXPECT_LE(info.processors().size(), 1u);
        EXPECT_EQ(info.hertz(0), std::nullopt) << content;
    }
    // One half says nothing without the other.
    auto const facts = [](char const* lines) {
        return CpuInfo(std::string("processor : 0\n") + lines).facts(0);
    };
    for (char const* const sizes : {"bits physical, bits virtual", "-1 bits physical, 0 bits virtual",
                                    "39 bits, 48", "1000 bits physical, 39.5 bits virtual"}) {
        CpuFacts const read = facts((std::string("address sizes : ") + sizes + "\n").c_str());
        EXPECT_FALSE(read.physicalAddressBits || read.virtualAddressBits) << sizes;
    }
    CpuFacts const loong = facts("Address Sizes : 48 bits physical, 47 bits virtual\n");
    EXPECT_EQ(loong.physicalAddressBits, 48u);
    EXPECT_EQ(loong.virtualAddressBits, 47u);
    EXPECT_EQ(facts("CPU architecture : 8\nCPU part : 0xd03\n").model, std::nullopt);
    EXPECT_EQ(facts("CPU architecture : 8\nCPU variant : 0x1\n").stepping, std::nullopt);
    EXPECT_EQ(facts("vendor_id : ACME\n").model, std::nullopt);
    EXPECT_EQ(facts("cpu : 7447A, altivec supported\n").vendor, std::nullopt);
    EXPECT_EQ(facts("type : x\nISA : x\ncpu model : R4000\n").architecture, "MIPS");
    EXPECT_EQ(CpuInfo("processor : 65535\n\nprocessor : 65536\n").processors(), std::vector<unsigned>{65535});
    EXPECT_EQ(CpuInfo("processor:1\ncpu MHz:2000\n").hertz(1), 2'000'000'000u) << "no blanks";
    // The number stands in one of the first four lines; looking further would cost more than all the rest.
    EXPECT_EQ(CpuInfo("a:\nb:\nc:\nprocessor : 3\n").processors(), std::vector<unsigned>{3});
    EXPECT_TRUE(CpuInfo("a:\nb:\nc:\nd:\nprocessor : 3\n").processors().empty());
}

TEST(Processors, ThrottlingAndVulnerabilities)
{
    MemoryRoot root = laptop();
    auto const throttle = [&root](char const* cpu, char const* name, char const* count) {
        root.file(kFolder + std::string(cpu) + "/thermal_throttle/" + name, count);
    };
    throttle("cpu0", "core_throttle_count", "3\n");
    throttle("cpu2", "core_throttle_count", "5\n"); // the other thread of the core
    throttle("cpu1", "count", "2\n");               // as old kernels call it
    throttle("cpu3", "core_throttle_count", "-1\n");
    throttle("cpu0", "package_throttle_count", "7\n");
    throttle("cpu3", "package_throttle_count", "9\n");
    root.files(kFolder + std::string("vulnerabilities"),
               {{"meltdown", "Mitigation: PTI\n"}, {"l1tf", "Not affected\n"}, {"mds", "\n"}});
    RecordingSink sink;
    discoverProcessors(root, sink);
    for (auto const& [location, wanted] :
         {std::pair{"CPU:0", "9"}, {"CPU:0:CORE:0", "5"}, {"CPU:0:CORE:1", "2"}})
        EXPECT_EQ(RecordingSink::property(sink.at(location), "ThrottleCount"), wanted) << location;
    EXPECT_EQ(RecordingSink::property(sink.at("CPU:0"), "Vulnerabilities"),
              "l1tf: Not affected, meltdown: Mitigation: PTI");
    RecordingSink silent;
    discoverProcessors(laptop(), silent);
    for (char const* key : {"ThrottleCount", "Vulnerabilities"})
        EXPECT_EQ(RecordingSink::property(silent.at("CPU:0"), key), "-");
}
