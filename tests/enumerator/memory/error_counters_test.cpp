// Errors of memory modules, and slots without one.

#include "../MemoryRoot.h"
#include "../SmbiosTable.h"

#include <zel/enumerator/memory/discover.h>

#include <gtest/gtest.h>

using namespace zel;
using namespace zel::test;

namespace {

constexpr char kTable[] = "sys/firmware/dmi/tables/DMI";
std::string const kController = "sys/devices/system/edac/mc/mc0";

RecordingSink memoryOf(Root const& root)
{
    RecordingSink sink;
    discoverMemory(root, sink);
    return sink;
}

std::string errors(RecordingSink const& sink, char const* location)
{
    return RecordingSink::property(sink.at(location), "CorrectedErrors") + " " +
           RecordingSink::property(sink.at(location), "UncorrectedErrors");
}

void addCounter(MemoryRoot& root, std::string const& name, char const* label, char const* corrected,
                char const* uncorrected)
{
    root.files(kController + "/" + name, {{"dimm_label", label + std::string("\n")},
                                          {"dimm_location", "channel 1 slot 0 \n"},
                                          {"dimm_mem_type", "Registered-DDR4\n"},
                                          {"size", "16384\n"},
                                          {"dimm_ce_count", corrected},
                                          {"dimm_ue_count", uncorrected}});
}

} // namespace

TEST(MemoryErrors, StandOnTheModuleThatTheLabelNames)
{
    MemoryRoot root;
    root.file("proc/meminfo", "MemTotal: 1024 kB\n")
        .file(kTable, SmbiosTable()
                          .add(17, memoryDevice(8192), {"DIMM_A1", "CPU0"})
                          .add(17, memoryDevice(8192), {"DIMM_B1", "CPU0"})
                          .add(17, memoryDevice(8192), {"DIMM_A1", "CPU1"})
                          .add(17, memoryDevice(8192), {"DIMM_C1", "CPU1"})
                          .bytes())
        .files(kController, {{"ce_count", "17\n"}, {"ue_count", "1\n"}})
        .files("sys/devices/system/edac/mc/mc1", {{"ce_count", "4\n"}, {"ue_count", "none\n"}});
    addCounter(root, "dimm0", "cpu0 dimm_a1", "3\n", "1\n"); // bank and slot, in whichever case
    addCounter(root, "dimm1", "DIMM_A1", "5\n", "0\n");      // of two processors: whose is it?
    addCounter(root, "dimm2", "mc#0memory#2", "-1\n", "2\n");
    addCounter(root, "rank3", "DIMM_B1", "2\n", "0\n");
    addCounter(root, "rank4", "DIMM_B1", "4\n", "0\n");
    root.files(kController + "/csrow0", {{"ch0_ce_count", "99\n"}}); // the same modules once more
    RecordingSink const sink = memoryOf(root);
    EXPECT_EQ(errors(sink, "Memory"), "21 1");
    EXPECT_EQ(errors(sink, "SMBIOS:17"), "3 1");
    EXPECT_EQ(errors(sink, "SMBIOS:17:1"), "6 0") << "both ranks";
    EXPECT_EQ(errors(sink, "SMBIOS:17:2"), "- -");
    EXPECT_EQ(errors(sink, "SMBIOS:17:3"), "- -");
    EXPECT_EQ(errors(sink, "EDAC:mc0:dimm1"), "5 0");
    EXPECT_EQ(errors(sink, "EDAC:mc0:dimm2"), "- 2");
    EXPECT_EQ(sink.at("EDAC:mc0:dimm0"), nullptr);
    EXPECT_EQ(sink.at("EDAC:mc0:csrow0-ch0"), nullptr);
    DeviceDescription const* const other = sink.at("EDAC:mc0:dimm2");
    EXPECT_EQ(other->name, String("Memory errors of mc#0memory#2"));
    EXPECT_EQ(other->parentLocator, String("Memory"));
    for (auto const& [key, wanted] : {std::pair{"Size", "16 GiB"},
                                      {"BankLocator", "channel 1 slot 0"},
                                      {"MemoryType", "Registered-DDR4"}})
        EXPECT_EQ(RecordingSink::property(other, key), wanted);
}

TEST(MemoryErrors, RowsOfOldKernels)
{
    MemoryRoot root;
    root.files(kController + "/csrow0", {{"ue_count", "1\n"},
                                         {"mem_type", "Unbuffered-DDR2\n"},
                                         {"ch0_ce_count", "7\n"},
                                         {"ch0_dimm_label", "\n"},
                                         {"ch1_ce_count", "0\n"}})
        .files(kController + "/csrow1",
               {{"ue_count", "2\n"}, {"ch0_ce_count", "1\n"}, {"chx_ce_count", "1\n"}});
    RecordingSink const sink = memoryOf(root);
    ASSERT_EQ(sink.devices.size(), 3u);
    EXPECT_EQ(errors(sink, "EDAC:mc0:csrow0-ch0"), "7 -") << "which of the two channels failed is not told";
    EXPECT_EQ(errors(sink, "EDAC:mc0:csrow0-ch1"), "0 -");
    EXPECT_EQ(errors(sink, "EDAC:mc0:csrow1-ch0"), "1 2");
    EXPECT_EQ(sink.devices[0].name, String("Memory errors of mc0 csrow0-ch0"));
}

TEST(Memory, EmptySlotsByName)
{
    MemoryRoot root;
    root.file(kTable, SmbiosTable()
                          .add(16, memoryArray(1 << 25, 4)) // handle 0: system memory
                          .add(16, memoryArray(1 << 25, 1, 5))
                          .add(17, memoryDevice(8192, 0, 0), {"DIMM_A1", "CPU0"})
                          .add(17, memoryDevice(0, 0, 0), {"DIMM_B1", "CPU0"})
                          .add(17, memoryDevice(0, 0, 0), {"DIMM_A1", "CPU1"})
                          .add(17, memoryDevice(0, 0, 0), {"Not Specified", "CPU1"})
                          .add(17, memoryDevice(0, 0, 1), {"FLASH"}) // of the other array
                          .bytes());
    RecordingSink const sink = memoryOf(root);
    EXPECT_EQ(RecordingSink::property(sink.at("Memory"), "EmptyMemorySlots"), "DIMM_B1, CPU1 DIMM_A1");
    root.file(kTable, SmbiosTable().add(17, memoryDevice(8192), {"A"}).bytes());
    EXPECT_EQ(RecordingSink::property(memoryOf(root).at("Memory"), "EmptyMemorySlots"), "-");
}
