// Facts about PCI functions.

#include "../HardwareMachine.h"

#include <zel/enumerator/buses/PciCapabilities.h>

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

TEST(Hardware, WhatBothEndsOfALinkCanDo)
{
    struct Case
    {
        char const *slotWidth, *slotSpeed, *cardWidth, *cardSpeed, *width, *speed;
    } const cases[] = {
        {"8\n", "5.0 GT/s PCIe\n", "16\n", "16.0 GT/s PCIe\n", "8", "5.0 GT/s"},
        {"16\n", "16.0 GT/s PCIe\n", "4\n", "8 GT/s\n", "4", "8.0 GT/s"},
        {"16\n", "2.5 GT/s\n", "1\n", "2.5 GT/s PCIe\n", "1", "2.5 GT/s"},
        {"255\n", "Unknown speed\n", "4\n", "8 GT/s\n", "-", "-"}, // only one end is known
        {"4\n", "fast GT/s\n", "4\n", ". GT/s\n", "4", "-"},
        {"32\n", "1024.5 GT/s\n", "32\n", "1024.26 GT/s\n", "32", "1024.3 GT/s"},
        {"33\n", "10240 GT/s\n", "4\n", "8 GT/s\n", "-", "-"},
        {"0\n", "8 GT/s x\n", "4\n", "8 GT/s\n", "-", "8.0 GT/s"},
        {"4\n", "8.0\n", "4\n", "8.0\n", "4", "-"},
        {"4\n", ".5 GT/s\n", "4\n", ".5 GT/s\n", "4", "-"},
        {"4\n", "8.0.1 GT/s\n", "4\n", "8.0 GT/s\n", "4", "-"},
        {"4\n", "-8.0 GT/s\n", "4\n", "8.0 GT/s\n", "4", "-"},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(c.slotSpeed);
        MemoryRoot root = machine();
        root.files(kBridge, {{"max_link_width", c.slotWidth}, {"max_link_speed", c.slotSpeed}})
            .files(kNic, {{"max_link_width", c.cardWidth}, {"max_link_speed", c.cardSpeed}});
        RecordingSink const sink = scan(root);
        EXPECT_EQ(RecordingSink::property(known(sink, "0000:02:00.0"), "CommonLinkWidth"), c.width);
        EXPECT_EQ(RecordingSink::property(known(sink, "0000:02:00.0"), "CommonLinkSpeed"), c.speed);
        EXPECT_EQ(RecordingSink::property(known(sink, "0000:00:1c.0"), "CommonLinkWidth"), "-")
            << "what is above the first bridge is no link";
    }
}

TEST(Hardware, BusErrorsMemoryNodeAndSlot)
{
    MemoryRoot root = machine();
    root.files(kNic, {{"numa_node", "1\n"},
                      {"aer_dev_correctable", "RxErr 3\nBadTLP 0\nTOTAL_ERR_COR 4294967299\n"},
                      {"aer_dev_nonfatal", "Undefined 0\nTOTAL_ERR_NONFATAL 2\n"},
                      {"aer_dev_fatal", "Undefined 1\nTOTAL_ERR_FATAL many\n"}})
        .file(kAhci + "/numa_node"s, "-1\n")
        .file(kXhci + "/numa_node"s, "1024\n")
        .file("sys/bus/pci/slots/0/address", "0000:02:00\n")
        .file("sys/bus/pci/slots/4-1/address", "0000:1f:00\n");
    RecordingSink const sink = scan(root);
    DeviceDescription const* const card = known(sink, "0000:02:00.0");
    for (auto const& [key, wanted] : {std::pair{"NumaNode", "1"},
                                      {"SlotName", "0"},
                                      {"CorrectableBusErrors", "4294967299"},
                                      {"NonFatalBusErrors", "2"},
                                      {"FatalBusErrors", "-"}})
        EXPECT_EQ(RecordingSink::property(card, key), wanted) << key;
    for (char const* other : {"0000:00:1f.2", "0000:00:14.0"})
        for (char const* key : {"NumaNode", "SlotName", "CorrectableBusErrors"})
            EXPECT_EQ(RecordingSink::property(known(sink, other), key), "-") << other << " " << key;
}

TEST(Hardware, IdsAndClassesOfFunctions)
{
    struct Case
    {
        char const *uevent, *device, *subsystem, *classCode;
        bool isExpress;
    } const cases[] = {
        {"PCI_CLASS=20000\nPCI_ID=8086:10D3\nPCI_SUBSYS_ID=8086:A01F\n", "10d3", "a01f", "020000", false},
        {"PCI_CLASS=FFFFFF\nPCI_ID=8086:FFFF\nPCI_SUBSYS_ID=0000:0000\n", "ffff", "-", "ffffff", false},
        {"PCI_CLASS=1000000\nPCI_ID=8086:10000\n", "-", "-", "-", false},
        {"PCI_CLASS=20000\nPCI_ID=8086\n", "-", "-", "020000", false},
        {"DRIVER=e1000e\n", "10d3", "-", "020000", true}, // the single files
        {"PCI_CLASS=20000\nPCI_ID=8086:x\n", "10d3", "-", "020000", true},
        {"PCI_CLASS=20000\nPCI_ID=x:10D3\n", "10d3", "-", "020000", true},
    };
    for (Case const& c : cases) {
        std::string const card = "sys/devices/pci0000:00/0000:09:00.0";
        MemoryRoot root;
        node(root, "sys/bus/pci/devices", card, {{"uevent", c.uevent}});
        if (c.isExpress)
            root.files(card, {{"vendor", "0x8086\n"},
                              {"device", "0x10d3\n"},
                              {"class", "0x020000\n"},
                              {"max_link_width", "4\n"}});
        RecordingSink const sink = scan(root);
        DeviceDescription const* const function = known(sink, "0000:09:00.0");
        ASSERT_TRUE(function) << c.uevent;
        EXPECT_EQ(RecordingSink::property(function, "DeviceId"), c.device) << c.uevent;
        EXPECT_EQ(RecordingSink::property(function, "SubsystemDeviceId"), c.subsystem) << c.uevent;
        EXPECT_EQ(RecordingSink::property(function, "ClassCode"), c.classCode) << c.uevent;
        EXPECT_EQ(function->capabilities.isCapable(C::PCIExpress()), c.isExpress) << c.uevent;
        EXPECT_EQ(function->name,
                  c.device == "-"s ? function->description : String("PCI device 8086:"s + c.device));
    }
}

namespace {

/// A configuration space of `size` bytes, in which the numbers stand at their offsets as far as it goes.
std::string space(std::size_t size, std::vector<std::pair<std::size_t, int>> const& bytes)
{
    std::string text(size, '\0');
    for (auto const& [offset, byte] : bytes)
        if (offset < size)
            text[offset] = static_cast<char>(byte);
    return text;
}

} // namespace

TEST(PciCapabilities, AreReadAsFarAsTheSpaceGoes)
{
    using List = std::vector<std::string>;
    std::vector<std::pair<std::size_t, int>> const two{{0x06, 0x10}, {0x34, 0x40}, {0x40, 0x01},
                                                       {0x41, 0x50}, {0x50, 0x10}, {0x51, 0}};
    EXPECT_EQ(pciCapabilitiesIn(space(256, two)), (List{"0x40 Power management", "0x50 PCI Express"}));
    EXPECT_EQ(pciCapabilitiesIn(space(64, two)), List{}) << "all that is shown without privilege";
    EXPECT_EQ(pciCapabilitiesIn(space(0x42, two)), List{"0x40 Power management"});
    EXPECT_EQ(pciCapabilitiesIn(""), List{});
    auto more = two;
    more.insert(more.end(), {{0x100, 0x01}, {0x102, 0x01}, {0x103, 0x14}, {0x140, 0x77}, {0x142, 0x01}});
    EXPECT_EQ(pciCapabilitiesIn(space(4096, more)),
              (List{"0x40 Power management", "0x50 PCI Express", "0x100 Advanced error reporting",
                    "0x140 capability 0x77"}));
    auto ring = two;
    ring.push_back({0x51, 0x40});
    EXPECT_EQ(pciCapabilitiesIn(space(256, ring)).size(), 2u) << "a list that leads back ends";
    EXPECT_EQ(pciCapabilitiesIn(space(256, {{0x34, 0x40}, {0x40, 1}})), List{}) << "says that it has no list";
    EXPECT_EQ(pciCapabilitiesIn(space(256, {{0x06, 0x10}, {0x0E, 2}, {0x14, 0x80}, {0x80, 5}})),
              List{"0x80 Message signaled interrupts (MSI)"})
        << "CardBus has its list elsewhere";
    EXPECT_EQ(pciCapabilitiesIn(std::string(4096, '\xFF')), List{}) << "a device that is gone answers ones";
}

TEST(Hardware, CapabilitiesAreLookedForWhenDetailIsWantedAndTheDeviceIsAwake)
{
    MemoryRoot root = machine();
    root.file(std::string(kNic) + "/config", space(256, {{0x06, 0x10}, {0x34, 0x40}, {0x40, 0x01}}));
    auto const found = [&](bool detail) {
        return RecordingSink::property(known(scan(root, detail), "0000:02:00.0"), "PciCapabilities");
    };
    EXPECT_EQ(found(false), "-");
    EXPECT_EQ(root.reads().count(std::string(kNic) + "/config"), 0u) << "reading wakes";
    EXPECT_EQ(found(true), "0x40 Power management");
    root.file(std::string(kNic) + "/power/runtime_status", "suspended\n");
    EXPECT_EQ(found(true), "-");
}
