#include "../MemoryRoot.h"
#include "../SmbiosTable.h"

#include <zel/enumerator/memory/discover.h>
#include <zel/enumerator/system/discover.h>

#include <gtest/gtest.h>

using namespace zel;
using namespace zel::test;

namespace {

RecordingSink discovered(Root const& root)
{
    RecordingSink sink;
    discoverSystem(root, sink);
    return sink;
}

RecordingSink memoryOf(Root const& root)
{
    RecordingSink sink;
    discoverMemory(root, sink);
    return sink;
}

std::uint64_t bytes(RecordingSink const& sink, std::string_view key)
{
    if (DeviceDescription const* const memory = sink.at("Memory"))
        for (auto const& [name, value] : memory->properties)
            if (name == key)
                return value.discreteMeasurement().value();
    return 0;
}

constexpr char kTable[] = "sys/firmware/dmi/tables/DMI";

std::string fact(RecordingSink const& sink, char const* location, char const* key)
{
    return RecordingSink::property(sink.at(location), key);
}

MemoryRoot kernelCopy()
{
    MemoryRoot root;
    root.files("sys/class/dmi/id", {{"sys_vendor", "LENOVO\n"},
                                    {"product_name", "8741C4G\n"},
                                    {"product_version", "ThinkPad T60p\n"},
                                    {"product_serial", "L3AK195\n"},
                                    {"board_vendor", "LENOVO\n"},
                                    {"board_name", "8741C4G\n"},
                                    {"board_version", "Not Available\n"},
                                    {"bios_vendor", "LENOVO\n"},
                                    {"bios_version", "7IET31WW (1.12 )\n"},
                                    {"bios_date", "09/19/2007\n"},
                                    {"chassis_type", "10\n"},
                                    {"chassis_serial", "Not Available\n"},
                                    {"chassis_asset_tag", "No Asset Information\n"}});
    return root;
}

} // namespace

TEST(System, FromTheKernelsCopy)
{
    RecordingSink const sink = discovered(kernelCopy());
    ASSERT_EQ(sink.devices.size(), 4u);
    EXPECT_EQ(sink.at("System")->name.toUtf8(), "LENOVO ThinkPad T60p");
    EXPECT_EQ(fact(sink, "System", "Model"), "8741C4G");
    EXPECT_EQ(fact(sink, "System", "SerialNumber"), "L3AK195");
    EXPECT_EQ(fact(sink, "SMBIOS:2", "Model"), "8741C4G");
    EXPECT_EQ(fact(sink, "SMBIOS:2", "Version"), "-") << "a placeholder is no version";
    EXPECT_EQ(fact(sink, "SMBIOS:0", "FirmwareVersion"), "7IET31WW (1.12 )");
    EXPECT_EQ(fact(sink, "SMBIOS:0", "ReleaseDate"), "09/19/2007");
    EXPECT_EQ(fact(sink, "SMBIOS:3", "ChassisType"), "Notebook");
    EXPECT_EQ(fact(sink, "SMBIOS:3", "SerialNumber"), "-");
    EXPECT_EQ(fact(sink, "SMBIOS:3", "AssetTag"), "-");
    EXPECT_TRUE(sink.at("SMBIOS:3")->parentType == CapabilityImp::System());
}

TEST(System, NamesTypesAndVersionsAtTheirEnds)
{
    struct Case
    {
        char const *file, *content, *location, *key, *wanted;
    } const cases[] = {
        {"sys/class/dmi/id/chassis_type", "0\n", "SMBIOS:3", "ChassisType", "-"},
        {"sys/class/dmi/id/chassis_type", "3\n", "SMBIOS:3", "ChassisType", "Desktop"},
        {"sys/class/dmi/id/chassis_type", "131\n", "SMBIOS:3", "ChassisType", "Desktop"}, // with a lock
        {"sys/class/dmi/id/chassis_type", "259\n", "SMBIOS:3", "ChassisType", "-"},
        {"sys/class/dmi/id/chassis_type", "-1\n", "SMBIOS:3", "ChassisType", "-"},
        {"proc/version", "Linux version\n", "System", "KernelRelease", "-"},
        {"proc/version", "Linux release 6.1\n", "System", "KernelRelease", "-"},
        {"etc/os-release", "PRETTY_NAME=\"\"\n", "System", "OperatingSystemName", "-"},
        {"etc/os-release", "PRETTY_NAME='Alpine'\n", "System", "OperatingSystemName", "Alpine"},
        {"etc/os-release", "PRETTY_NAME=Void\n", "System", "OperatingSystemName", "Void"},
        {"etc/os-release", "PRETTY_NAME=\"Odd'\n", "System", "OperatingSystemName", "\"Odd'"},
    };
    for (Case const& c : cases) {
        RecordingSink const sink = discovered(kernelCopy().file(c.file, c.content));
        EXPECT_EQ(fact(sink, c.location, c.key), c.wanted) << c.file << " " << c.content;
    }
    MemoryRoot alike = kernelCopy();
    alike.file("sys/class/dmi/id/product_name", "8741C4G\n").file("sys/class/dmi/id/product_version", "\n");
    RecordingSink const sink = discovered(alike);
    EXPECT_EQ(sink.at("System")->name, String("LENOVO 8741C4G"));
    EXPECT_EQ(sink.at("SMBIOS:2")->name, String("LENOVO 8741C4G (System board)"));
    EXPECT_EQ(discovered(kernelCopy()).at("SMBIOS:2")->name, String("LENOVO 8741C4G"));
}

TEST(System, TableAndKernelsCopyGiveTheSameDevices)
{
    MemoryRoot root = kernelCopy();
    root.file("sys/firmware/dmi/tables/DMI",
              SmbiosTable()
                  .add(1, {1, 2, 3, 4}, {"LENOVO", "8741C4G", "ThinkPad T60p", "L3AK195"})
                  .add(2, {1, 2, 0, 0, 0}, {"LENOVO", "8741C4G"})
                  .add(0, {1, 2, 0, 0, 3}, {"LENOVO", "7IET31WW (1.12 )", "09/19/2007"})
                  .add(3, {0, 10, 0, 0, 0})
                  .bytes());
    RecordingSink const fromTable = discovered(root);
    RecordingSink const fromCopy = discovered(kernelCopy());
    ASSERT_EQ(fromTable.devices.size(), fromCopy.devices.size());
    for (std::size_t i = 0; i < fromTable.devices.size(); ++i) {
        EXPECT_EQ(fromTable.devices[i].hwLocator, fromCopy.devices[i].hwLocator);
        EXPECT_EQ(fromTable.devices[i].name, fromCopy.devices[i].name);
    }
    EXPECT_EQ(root.reads().count("sys/class/dmi/id/sys_vendor"), 0u) << "one source is enough";
}

TEST(System, SocketsStandOnTheFirstBoard)
{
    MemoryRoot root;
    root.file(kTable, SmbiosTable()
                          .add(2, {1, 2}, {"ACME", "Main"})
                          .add(2, {1, 2}, {"ACME", "Riser"})
                          .add(4, processorSocket(0x41))
                          .add(4, processorSocket(0)) // empty
                          .bytes());
    RecordingSink const sink = discovered(root);
    EXPECT_EQ(fact(sink, "SMBIOS:2", "ProcessorSockets"), "2");
    EXPECT_EQ(fact(sink, "SMBIOS:2:1", "ProcessorSockets"), "-");
}

TEST(Memory, Modules)
{
    MemoryRoot root;
    root.file("sys/firmware/dmi/tables/DMI",
              SmbiosTable()
                  .add(17, memoryDevice(8192), {"ChannelA", "BANK 0", "Samsung", "00000000", "M471A1K43CB1"})
                  .add(17, memoryDevice(0), {"ChannelB"})
                  .add(17, memoryDevice(4096), {"ChannelC", "BANK 1", "Undefined", "12AB34CD", "   "})
                  .bytes());
    RecordingSink const sink = memoryOf(root);
    ASSERT_EQ(sink.ofType(CapabilityImp::MemoryChip()).size(), 2u);
    EXPECT_EQ(fact(sink, "SMBIOS:17", "Size"), "8 GiB");
    EXPECT_EQ(fact(sink, "SMBIOS:17", "SerialNumber"), "-");
    EXPECT_EQ(fact(sink, "SMBIOS:17", "Speed"), "3200 MT/s") << "all digits";
    EXPECT_EQ(fact(sink, "SMBIOS:17", "ConfiguredSpeed"), "2933 MT/s");
    EXPECT_EQ(sink.at("SMBIOS:17")->parentLocator.toUtf8(), "Memory");
    EXPECT_EQ(fact(sink, "Memory", "Size"), "12 GiB") << "without anything from the kernel";
    EXPECT_EQ(fact(sink, "SMBIOS:17:2", "SerialNumber"), "12AB34CD");
    EXPECT_EQ(fact(sink, "SMBIOS:17:2", "Manufacturer"), "-");
    EXPECT_EQ(fact(sink, "SMBIOS:17:2", "PartNumber"), "-");
    EXPECT_EQ(sink.at("SMBIOS:17")->name.toUtf8(), "Samsung M471A1K43CB1 8 GiB DDR4 SODIMM");
    EXPECT_EQ(sink.at("SMBIOS:17:2")->name.toUtf8(), "4 GiB DDR4 SODIMM");
}

TEST(System, OperatingSystem)
{
    MemoryRoot root;
    root.file("proc/sys/kernel/hostname", "bench7\n")
        .file("proc/sys/kernel/ostype", "Linux\n")
        .file("proc/version", "Linux version 6.1.0-13-amd64 (debian-kernel@lists.debian.org) (gcc-12)\n")
        .link("etc/os-release", "../usr/lib/os-release")
        .file("usr/lib/os-release",
              "NAME=x\nPRETTY_NAME=\"Debian GNU/Linux 12 (bookworm)\"\nVERSION_ID=\"12\"\n")
        .file("proc/device-tree/model", std::string("Raspberry Pi 4 Model B Rev 1.4\0", 31));
    RecordingSink const sink = discovered(root);
    EXPECT_EQ(fact(sink, "System", "HostName"), "bench7");
    EXPECT_EQ(fact(sink, "System", "KernelRelease"), "6.1.0-13-amd64");
    EXPECT_EQ(fact(sink, "System", "OperatingSystemName"), "Debian GNU/Linux 12 (bookworm)");
    EXPECT_EQ(sink.at("System")->name.toUtf8(), "Raspberry Pi 4 Model B Rev 1.4");
    EXPECT_TRUE(discovered(MemoryRoot()).devices.empty()) << "a tree that tells nothing has no system";
}

TEST(Memory, NodesForWhoAsksForAll)
{
    MemoryRoot root;
    std::string const nodes = "sys/devices/system/node/";
    root.file("proc/meminfo", "MemTotal:       32777916 kB\n").file(nodes + "online", "0-2\n");
    root.file(nodes + "node0/cpulist", "0-7\n")
        .file(nodes + "node0/meminfo", "\nNode 0 MemTotal:       16777216 kB\n");
    root.file(nodes + "node10/cpulist", "\n").file(nodes + "node10/meminfo", "Node 10 MemTotal: much kB\n");
    root.file(nodes + "node2/cpulist", "\n").file(nodes + "node2/meminfo", "Node 2 MemTotal: 1024 kB\n");
    EXPECT_EQ(fact(memoryOf(root), "Memory", "NumaNodes"), "-");
    RecordingSink sink;
    sink.detail = true;
    discoverMemory(root, sink);
    EXPECT_EQ(fact(sink, "Memory", "NumaNodes"),
              "node 0: processors 0-7, node 2: no processors, node 10: no processors, memory unknown");
    EXPECT_EQ(fact(sink, "Memory", "NumaNodeSizes"), "16 GiB, 1 MiB");
}

TEST(Memory, CountsAreKibibytes)
{
    MemoryRoot root;
    root.file("proc/meminfo", "MemTotal:       32777916 kB\nMemAvailable:   30323716 kB\nSwapTotal: 0 kB\n"
                              "HugePages_Total:       0\nHugepagesize:       2048 kB\n");
    RecordingSink const sink = memoryOf(root);
    ASSERT_EQ(sink.devices.size(), 1u);
    EXPECT_EQ(bytes(sink, "UsableMemory"), 32777916ull * 1024);
    EXPECT_EQ(bytes(sink, "Size"), 32777916ull * 1024) << "where nothing tells what is built in";
    EXPECT_EQ(fact(sink, "Memory", "HugePageSize"), "2 MiB");

    for (char const* useless :
         {"", "MemTotal: many kB\n", "MemTotal: 12 GB\n", "MemTotal: 18446744073709551615 kB\n",
          "MemFree: 1 kB\n", "MemTotal: kB\n", "MemTotal:\n"}) {
        EXPECT_TRUE(memoryOf(MemoryRoot().file("proc/meminfo", useless)).devices.empty()) << useless;
    }
}

TEST(Memory, SizeIsWhatIsBuiltIn)
{
    constexpr std::uint64_t kMib = 1ull << 20;
    struct Case
    {
        char const* what;
        std::uint64_t usable, modules; ///< MiB; 0: not there
        unsigned blocks;
        char const* blockSize; ///< hexadecimal; null: not there
        std::uint64_t size;    ///< MiB; 0: no such property
    };
    Case const cases[] = {
        {"modules before blocks", 3900, 4096, 33, "8000000", 4096},
        {"blocks where there are no modules", 3900, 0, 32, "8000000", 4096},
        {"modules that cannot be all", 3900, 2048, 32, "8000000", 4096},
        {"all of it can be used", 4096, 4096, 33, "8000000", 4096},
        {"blocks that cannot be all", 3900, 0, 8, "8000000", 3900},
        {"blocks of unknown size", 3900, 0, 32, nullptr, 3900},
        {"nonsense", 3900, 0, 32, "-8000000", 3900},
        {"product that does not fit", 3900, 0, 32, "ffffffffffffffff", 3900},
        {"blocks alone", 0, 0, 32, "8000000", 4096},
        {"blocks of unknown size alone", 0, 0, 32, nullptr, 0},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(c.what);
        MemoryRoot root;
        if (c.usable)
            root.file("proc/meminfo", "MemTotal: " + std::to_string(c.usable * 1024) + " kB\n");
        if (c.modules)
            root.file(kTable,
                      SmbiosTable().add(17, memoryDevice(static_cast<std::uint16_t>(c.modules))).bytes());
        for (unsigned block = 0; block < c.blocks; ++block)
            root.file("sys/devices/system/memory/memory" + std::to_string(block * 3) + "/state", "online\n");
        root.file("sys/devices/system/memory/memory_failure/total", "0\n");
        if (c.blockSize)
            root.file("sys/devices/system/memory/block_size_bytes", c.blockSize + std::string("\n"));
        RecordingSink const sink = memoryOf(root);
        ASSERT_TRUE(sink.at("Memory"));
        EXPECT_EQ(bytes(sink, "Size"), c.size * kMib);
        EXPECT_EQ(bytes(sink, "UsableMemory"), c.usable * kMib);
        EXPECT_EQ(fact(sink, "Memory", "MemoryBlocks"), c.size ? "-" : "32");
    }
}

TEST(Memory, PagesThatTheKernelFound)
{
    struct Case
    {
        char const* what;
        std::uint64_t usable; ///< KiB; 0: not told
        std::uint64_t page;   ///< that programs are told; 0: not told
        char const* zones;
        std::uint64_t size; ///< KiB
    };
    constexpr char kZones[] =
        "Node 0, zone      DMA\n  pages free     3840\n        spanned  4095\n        "
        "present  3998\n        managed  3840\nNode 1, zone   Normal\n  pages free     10\n"
        "        spanned  1048576\n        present  1000000\n        managed  900000\n";
    Case const cases[] = {
        {"pages of 4 KiB, as programs are told", 3'900'000, 4096, kZones, 1003998 * 4},
        {"of 64 KiB", 60'000'000, 65536, kZones, 1003998 * 64},
        {"half of 64 KiB taken away from the machine", 20'000'000, 65536, kZones, 1003998 * 64},
        {"of 64 KiB, as the usable memory tells", 60'000'000, 0, kZones, 1003998 * 64},
        {"of 4 KiB, as the usable memory tells", 3'900'000, 0, kZones, 1003998 * 4},
        {"no page is that small", 3'900'000, 7, kZones, 1003998 * 4},
        {"nor that small", 3'900'000, 2048, kZones, 1003998 * 4},
        {"the largest page", 60'000'000, 1u << 20, kZones, 1003998 * 1024},
        {"no page is that large", 3'900'000, 1u << 21, kZones, 1003998 * 4},
        {"no such number of bytes", 3'900'000, 12288, kZones, 1003998 * 4},
        {"all pages are managed", 1003998 * 4, 0, kZones, 1003998 * 4},
        {"the largest page, as the usable memory tells", 1003998 * 1024 - 1000, 0, kZones, 1003998 * 1024},
        {"not all of it", 16'777'216, 4096, kZones, 67'108'864}, // the blocks stand
        {"nothing told", 3'900'000, 4096, "Node 0, zone DMA\n", 67'108'864},
        {"garbage", 3'900'000, 4096, "present x\npresent -1\npresent\n", 67'108'864},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(c.what);
        MemoryRoot root;
        root.file("proc/meminfo", "MemTotal: " + std::to_string(c.usable) + " kB\n");
        root.file("proc/zoneinfo", c.zones);
        if (c.page) {
            std::uint64_t const words[] = {16, 0xbfebfbff, 6, c.page}; // the end of the vector was cut off
            root.file("proc/self/auxv", std::string(reinterpret_cast<char const*>(words), sizeof words));
        }
        root.file("sys/devices/system/memory/memory0/state", "online\n")
            .file("sys/devices/system/memory/block_size_bytes", "1000000000\n"); // with holes
        EXPECT_EQ(bytes(memoryOf(root), "Size"), c.size * 1024);
    }
}

TEST(System, WhatTheTableSaysOfTheBoard)
{
    std::vector<std::uint8_t> bios(20, 0); // structure of 24 bytes
    bios[0x04 - 4] = 1;
    bios[0x14 - 4] = 5;
    bios[0x15 - 4] = 12;
    bios[0x16 - 4] = bios[0x17 - 4] = 0xFF; // no embedded controller
    std::vector<std::uint8_t> slot(13, 0);  // of 17 bytes
    slot[0] = 1;
    slot[0x07 - 4] = 4;
    slot[0x0F - 4] = 2;
    slot[0x10 - 4] = 0x09;
    auto free = slot;
    free[0x07 - 4] = 3;
    SmbiosTable table;
    table.add(0, bios, {"Maker", "1.0"})
        .add(2, {1, 2}, {"Maker", "Board"})
        .add(9, slot, {"PCIE1"})
        .add(9, free, {"PCIE2"})
        .add(9, {1, 0, 0, 5}, {"PCIE3"})
        .add(9, {1, 0, 0, 4}, {"OLD"})
        .add(9, {0, 0, 0, 4})
        .add(8, {1, 0, 2, 0, 0}, {"J3", "USB 3.0"})
        .add(8, {1, 0, 0, 0, 0}, {"FAN1"})
        .add(200, {}, {"  ", "of the maker"});
    MemoryRoot root;
    root.file(kTable, table.bytes());
    RecordingSink sink = discovered(root);
    EXPECT_EQ(fact(sink, "SMBIOS:0", "FirmwareRelease"), "5.12");
    EXPECT_EQ(fact(sink, "SMBIOS:0", "EmbeddedControllerRelease"), "-");
    EXPECT_EQ(fact(sink, "SMBIOS:0", "FirmwareTables"), "-") << "only who asks for all wants to read it";
    EXPECT_EQ(fact(sink, "SMBIOS:2", "ExpansionSlots"),
              "PCIE1: in use by 0000:02:01.1, PCIE2: free, PCIE3: not available, OLD: in use");
    EXPECT_EQ(fact(sink, "SMBIOS:2", "BoardConnectors"), "USB 3.0 (J3), FAN1");

    std::string header = "FACP";
    header += {0x14, 0x01, 0, 0, 6, 0};
    header += std::string("LENOVOTP-79   ") + std::string(12, '\0');
    root.file("sys/firmware/acpi/tables/FACP", header + std::string(240, 'x'))
        .file("sys/firmware/acpi/tables/SSDT1", "SSDT")
        .unreadable("sys/firmware/acpi/tables/DSDT")
        .file("sys/firmware/acpi/tables/data/BERT", "x");
    sink = RecordingSink();
    sink.detail = true;
    discoverSystem(root, sink);
    EXPECT_EQ(fact(sink, "SMBIOS:0", "AcpiTables"), "DSDT, FACP: 276 bytes, LENOVO TP-79, SSDT1");
    std::string const tables = fact(sink, "SMBIOS:0", "FirmwareTables");
    for (char const* const line : {"0x0000 BIOS (type 0, 24 bytes): Maker: Maker; Segment: 0x0000; Size: 64 "
                                   "KiB; Release: 5.12; texts: 1.0, ",
                                   "0x0002 System slot (type 9, 17 bytes): Name: PCIE1; Use: in use; ",
                                   "0x0009 Structure of the maker (type 200, 4 bytes): of the maker"})
        EXPECT_NE(tables.find(line), std::string::npos) << tables;
}
