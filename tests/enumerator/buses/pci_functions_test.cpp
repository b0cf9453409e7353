// Facts about PCI functions.

#include "../HardwareMachine.h"

#include <gtest/gtest.h>

using namespace zel;
using namespace zel::test;
using namespace std::string_literals;
using C = CapabilityImp;

TEST(Hardware, VideoMemory)
{
    std::string const card = "sys/devices/pci0000:00/0000:09:00.0";
    for (auto const& [content, wanted] :
         {std::pair{"4294967296\n", "4 GiB"}, {"-1\n", "-"}, {"99999999999999999999\n", "-"}}) {
        MemoryRoot root;
        pci(root, card, "30000", "1002:67DF");
        root.file(card + "/mem_info_vram_total", content);
        EXPECT_EQ(RecordingSink::property(known(scan(root), "0000:09:00.0"), "VideoMemory"), wanted);
    }
}
