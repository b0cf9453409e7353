// Which memory module an address lies in, from written tables.

#include <memory/Events.h>
#include <memory/MemoryReport.h>
#include <memory/linux/MemoryModules.h>
#include <modules/RecordingHost.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>

namespace krel5::modules::memory::test {
namespace {

using modules::test::RecordingHost;
using modules::test::valueOf;

std::string littleEndian(std::uint64_t number, int size)
{
    std::string bytes;
    for (int i = 0; i < size; ++i)
        bytes += static_cast<char>(number >> 8 * i & 0xFF);
    return bytes;
}

class MemoryModulesTest : public testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_NE(mkdtemp(m_root.data()), nullptr);
        m_root += "/";
    }
    ~MemoryModulesTest() override { std::filesystem::remove_all(m_root); }

    void write(std::string const& path, std::string const& bytes)
    {
        std::filesystem::create_directories(std::filesystem::path(m_root + path).parent_path());
        std::ofstream(m_root + path, std::ios::binary) << bytes;
    }
    /// Type 17 with handle 0x100 + `number`.
    void device(int number, unsigned sizeMiB, std::string const& slot, std::string const& bank,
                unsigned array = 0)
    {
        std::string strings;
        auto numberOf = [&strings, count = 0](std::string const& text) mutable {
            strings += text.empty() ? text : text + '\0';
            return static_cast<char>(text.empty() ? 0 : ++count);
        };
        std::string bytes = littleEndian(0x1C11, 2) +
                            littleEndian(0x100u + static_cast<unsigned>(number), 2) + littleEndian(array, 2) +
                            std::string(6, '\0') + littleEndian(sizeMiB, 2) + std::string(2, '\0');
        bytes += numberOf(slot);
        bytes += numberOf(bank);
        bytes.resize(0x1C);
        write("sys/firmware/dmi/entries/17-" + std::to_string(number) + "/raw", bytes + strings + '\0');
    }
    /// Type 20: that module holds [first, last), in MiB.
    void mapped(int number, int module, std::uint64_t first, std::uint64_t last, bool extended,
                char interleavePosition = 0)
    {
        std::string bytes = littleEndian(0x2314, 2) +
                            littleEndian(0x200u + static_cast<unsigned>(number), 2) +
                            littleEndian(extended ? UINT32_MAX : first << 10, 4) +
                            littleEndian(extended ? UINT32_MAX : (last << 10) - 1, 4) +
                            littleEndian(0x100u + static_cast<unsigned>(module), 2);
        bytes.resize(0x11);
        bytes += std::string{interleavePosition, 0};
        bytes += littleEndian(first << 20, 8) + littleEndian((last << 20) - 1, 8);
        write("sys/firmware/dmi/entries/20-" + std::to_string(number) + "/raw", bytes + std::string(2, '\0'));
    }
    /// Type 19: that array holds [first, last), in MiB.
    void arrayMapped(int number, unsigned array, std::uint64_t first, std::uint64_t last)
    {
        write("sys/firmware/dmi/entries/19-" + std::to_string(number) + "/raw",
              littleEndian(0x0F13, 2) + littleEndian(0x300, 2) + littleEndian(first << 10, 4) +
                  littleEndian((last << 10) - 1, 4) + littleEndian(array, 2) + std::string("\1\0\0", 3));
    }
    void edac(std::string const& part, std::string const& size, std::string const& label,
              std::string const& location)
    {
        std::string const folder = "sys/devices/system/edac/mc/" + part + "/";
        write(folder + "size", size + "\n");
        write(folder + "dimm_label", label + "\n");
        write(folder + "dimm_location", location + "\n");
    }
    std::vector<std::string> at(std::uint64_t mebibyte) const
    {
        return MemoryModules(m_root).at(mebibyte << 20).m_names;
    }

    std::string m_root = testing::TempDir() + "modules.XXXXXX";
};

using Names = std::vector<std::string>;

TEST_F(MemoryModulesTest, RangesOfTheirOwnNameOneModuleAndSharedOnesSeveral)
{
    device(0, 4096, "DIMM_A1", "BANK 0");
    device(1, 4096, "DIMM_B1", "DIMM_B1");
    device(2, 0, "DIMM_C1", "BANK 2");
    device(3, 8192, "", "BANK 3");
    mapped(0, 0, 0, 4096, false);
    mapped(1, 1, 4096, 8192, true);
    mapped(2, 0, 8192, 16384, true);
    mapped(3, 3, 8192, 16384, true);
    EXPECT_EQ(at(0), Names{"DIMM_A1 (BANK 0)"});
    EXPECT_EQ(at(4095), Names{"DIMM_A1 (BANK 0)"});
    EXPECT_EQ(at(4096), Names{"DIMM_B1"});
    EXPECT_EQ(at(8192), (Names{"DIMM_A1 (BANK 0)", "BANK 3"})) << "interleaved";
    EXPECT_EQ(at(16384), (Names{"DIMM_A1 (BANK 0)", "DIMM_B1", "BANK 3"})) << "said nowhere: no empty slot";
}

TEST_F(MemoryModulesTest, OneRangeAloneIsNotBelievedWhereItIsInterleavedOrLargerThanItsModule)
{
    device(0, 4096, "A1", "", 0x10);
    device(1, 4096, "A2", "", 0x10);
    device(2, 4096, "B1", "", 0x11);
    mapped(0, 0, 0, 4096, false, 1);
    mapped(1, 1, 4096, 8192, true, '\xFF');
    mapped(2, 2, 8192, 12289, true);
    mapped(3, 9, 20480, 24576, true); // of a module that is not in the table
    mapped(4, 2, 20480, 24576, true);
    for (std::uint64_t const mebibyte : {0u, 4096u, 8192u, 20480u})
        EXPECT_EQ(at(mebibyte), (Names{"A1", "A2", "B1"})) << mebibyte;
    arrayMapped(0, 0x10, 0, 8192);
    EXPECT_EQ(at(0), (Names{"A1", "A2"})) << "its array is known";
    EXPECT_EQ(at(8192), (Names{"A1", "A2", "B1"}));
    arrayMapped(1, 0x11, 8192, 16384);
    EXPECT_EQ(at(16383), Names{"B1"}) << "the only one of its array";
    EXPECT_EQ(at(16384), (Names{"A1", "A2", "B1"}));
}

TEST_F(MemoryModulesTest, RangesThatEndBeforeTheMemoryAreNotBelieved)
{
    device(0, 4096, "A1", "", 0x10);
    device(1, 4096, "B1", "", 0x11);
    mapped(0, 0, 0, 4096, false);
    mapped(1, 1, 4096, 8192, true);
    arrayMapped(0, 0x10, 0, 4096);
    arrayMapped(1, 0x11, 4096, 8192);
    write("proc/iomem", "00100000-bfffffff : System RAM\n100000000-1ffffffff : System RAM\n");
    EXPECT_EQ(at(4096), Names{"B1"});
    write("proc/iomem", "00100000-bfffffff : System RAM\n100000000-23fffffff : System RAM\n");
    EXPECT_EQ(at(4096), (Names{"A1", "B1"})) << "A1 holds what lies behind the gap";
    EXPECT_EQ(at(1), (Names{"A1", "B1"}));
}

TEST_F(MemoryModulesTest, DriverSaysWhereAModuleIsAndNamesThemWhereTheFirmwareDoesNot)
{
    edac("mc0/dimm0", "8192", "CPU0 a1", "channel 0 slot 0");
    edac("mc0/dimm1", "0", "A2", "channel 0 slot 1");
    edac("mc1/rank0", "2048", "B1", "csrow 0 channel 0");
    edac("mc1/rank1", "2048", "B1", "csrow 1 channel 0");
    edac("mc1/rank2", "2048\n9", "", "");
    EXPECT_EQ(at(0), (Names{"CPU0 a1 (mc0 channel 0 slot 0)",
                            "B1 (mc1 csrow 0 channel 0; mc1 csrow 1 channel 0)", "mc1 rank2"}));
    device(0, 4096, "A1", "CPU0");
    device(1, 4096, "B1", "");
    device(2, 4096, "A2", "");
    EXPECT_EQ(at(0), (Names{"A1 (CPU0; mc0 channel 0 slot 0)",
                            "B1 (mc1 csrow 0 channel 0; mc1 csrow 1 channel 0)", "A2"}));
}

TEST_F(MemoryModulesTest, TablesThatAreCutOrMissingNameNothingThatTheyDoNotSay)
{
    EXPECT_EQ(at(1), Names{});
    device(0, 4096, "DIMM_A1", "");
    write("sys/firmware/dmi/entries/17-1/raw", "\x11");
    write("sys/firmware/dmi/entries/17-2/raw", std::string("\x11\xFF\1\1", 4));
    write("sys/firmware/dmi/entries/20-0/raw", std::string("\x14\x08\0\0\0\0\0\0", 8));
    write("sys/firmware/dmi/entries/20-1/raw", "");
    EXPECT_EQ(at(1), Names{"DIMM_A1"});
}

TEST_F(MemoryModulesTest, NodeIsThatOfTheBlockWhereThereAreSeveral)
{
    write("sys/devices/system/memory/block_size_bytes", "8000000\n"); // 128 MiB
    write("sys/devices/system/node/node0/memory0/state", "");
    write("sys/devices/system/node/node0/memory1/state", "");
    EXPECT_EQ(MemoryModules(m_root).at(0).m_node, std::nullopt) << "only one";
    write("sys/devices/system/node/node1/memory2/state", "");
    EXPECT_EQ(MemoryModules(m_root).at(255 << 20).m_node, 0u);
    EXPECT_EQ(MemoryModules(m_root).at(256 << 20).m_node, 1u);
    EXPECT_EQ(MemoryModules(m_root).at(std::uint64_t{999} << 30).m_node, std::nullopt);
}

TEST_F(MemoryModulesTest, BrokenPageNamesItsModule)
{
    device(0, 4096, "DIMM_A1", "");
    device(1, 4096, "DIMM_B1", "");
    mapped(0, 0, 0, 4096, false);
    write("sys/devices/system/memory/block_size_bytes", "8000000\n");
    write("sys/devices/system/node/node1/memory40/state", "");
    auto const moduleOf = [this](std::optional<std::uint64_t> address) {
        RecordingHost host;
        MemoryReport report(host, nullptr, 4096, m_root);
        report.report({"March C-", "up(r0,w1)", 0}, BrokenPage{0, address});
        return valueOf(host.m_faults.at(0), "Module");
    };
    EXPECT_EQ(moduleOf(1 << 20), "DIMM_A1");
    EXPECT_EQ(moduleOf(std::uint64_t{5} << 30), "one of DIMM_A1, DIMM_B1, node 1");
    EXPECT_EQ(moduleOf(std::nullopt), "unknown");
}

} // namespace
} // namespace krel5::modules::memory::test
