// Addresses on buses and the paths that hold them.

#include <zel/enumerator/buses/DevicePath.h>
#include <zel/enumerator/buses/HardwareTree.h>

#include <gtest/gtest.h>

using namespace zel;

TEST(PciAddress, readsWhatTheKernelPrints)
{
    struct Case
    {
        char const* text;
        std::uint64_t number; ///< ~0: refused
    } const cases[] = {
        {"0000:00:1f.2", 0xFA},
        {"0000:ff:1f.7", 0xFFFF},
        {"0001:02:00.0", 0x10200},
        {"12345678:00:00.0", 0x12345678ull << 16},
        {"10000:e1:00.0", 0x1000'0000ull << 4 | 0xE100}, // behind a storage controller
        {"0000:00:20.0", ~0ull},
        {"0000:00:1f.8", ~0ull},
        {"000:00:1f.2", ~0ull},
        {"0000:00:1f.2 ", ~0ull},
        {"0000:0g:1f.2", ~0ull},
        {"0000:00:1f", ~0ull},
        {"", ~0ull},
        {"0000:00:1c.0:pcie00", ~0ull},
        {"123456789:00:00.0", ~0ull},
        {"0000:00-1f.2", ~0ull},
        {"0000:00:1f:2", ~0ull},
        {"0000:00:1f.02", ~0ull},
    };
    for (Case const& c : cases) {
        auto const address = PciAddress::parse(c.text);
        EXPECT_EQ(address ? address->number() : ~0ull, c.number) << c.text;
        if (address) {
            EXPECT_EQ(address->toString(), c.text);
        }
    }
}

TEST(UsbAddress, readsDevicesAndNotInterfaces)
{
    struct Case
    {
        char const* text;
        char const* location; ///< null: refused
    } const cases[] = {
        {"usb1", "USB:1"},
        {"1-2", "USB:1:2"},
        {"1-2.3.4.1.2", "USB:1:2:3:4:1:2"},
        {"10-14", "USB:10:14"},
        {"1-2:1.0", nullptr},
        {"1-0:1.0", nullptr},
        {"usb", nullptr},
        {"1-", nullptr},
        {"1-2.", nullptr},
        {"-2", nullptr},
        {"1-2.3x", nullptr},
        {"99999999999-1", nullptr},
        {"1-1.1.1.1.1.1.1.1.1", nullptr}, // more hubs than USB allows
    };
    for (Case const& c : cases) {
        auto const address = UsbAddress::parse(c.text);
        EXPECT_EQ(address.has_value(), c.location != nullptr) << c.text;
        if (address && c.location) {
            EXPECT_EQ(usbLocation(*address), String(c.location));
        }
    }
    EXPECT_EQ(UsbAddress::parse("1-2.3")->hub(), UsbAddress::parse("1-2"));
    EXPECT_EQ(UsbAddress::parse("1-2")->hub(), UsbAddress::parse("usb1"));
    EXPECT_FALSE(UsbAddress::parse("usb1")->hub());
}

TEST(DevicePath, namesEveryBusOnTheWay)
{
    auto const disk = DevicePath::parse(
        "sys/devices/pci0000:00/0000:00:01.3/0000:01:00.1/ata5/host4/target4:0:0/4:0:0:0/block/sdb");
    EXPECT_EQ(disk.pci, PciAddress::parse("0000:01:00.1"));
    EXPECT_EQ(disk.ata, 5u);
    EXPECT_EQ(disk.scsi, (ScsiAddress{4, 0, 0, 0}));
    EXPECT_FALSE(disk.usb || disk.isVirtual);
    EXPECT_EQ(disk.upTo("ata5"), "sys/devices/pci0000:00/0000:00:01.3/0000:01:00.1/ata5");
    EXPECT_EQ(disk.upTo("ata6"), "");

    auto const stick = DevicePath::parse(
        "sys/devices/pci0000:00/0000:00:1d.7/usb5/5-1/5-1.2/5-1.2:1.3/host7/target7:0:1/7:0:1:2/block/sdc");
    EXPECT_EQ(stick.usb, UsbAddress::parse("5-1.2"));
    EXPECT_EQ(stick.usbInterface, 3u);
    EXPECT_EQ(stick.scsi->unit, 2u);

    // A PCI bridge in a dock: what stands behind it is not on the USB bus before it.
    auto const behind = DevicePath::parse("sys/devices/x/usb1/1-1/0000:05:00.0/net/eth0");
    EXPECT_FALSE(behind.usb);
    EXPECT_TRUE(DevicePath::parse("sys/devices/virtual/net/lo").isVirtual);
    for (char const* nowhere : {"sys/class/net/lo", "sys/devices/", "sys/devices//"})
        EXPECT_TRUE(DevicePath::parse(nowhere).components.empty()) << nowhere;
    EXPECT_EQ(DevicePath::parse("sys/devices/platform/soc/fe34.mmc/mmc_host/mmc0/mmc0:aaaa/block/mmcblk0")
                  .platformName(),
              "fe34.mmc");
    EXPECT_EQ(DevicePath::parse("sys/devices/platform/a003e00.virtio_mmio/virtio0/block/vda").platformName(),
              "a003e00.virtio_mmio");
}
