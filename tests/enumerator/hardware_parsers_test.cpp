#include <zel/enumerator/attached/InputClass.h>
#include <zel/enumerator/attached/MacAddress.h>
#include <zel/enumerator/attached/SoundCardNames.h>
#include <zel/enumerator/buses/DevicePath.h>
#include <zel/enumerator/buses/HardwareNames.h>
#include <zel/enumerator/buses/PciClass.h>
#include <zel/enumerator/buses/UsbClass.h>
#include <zel/enumerator/drives/CdromInfo.h>
#include <zel/enumerator/drives/Drive.h>
#include <zel/enumerator/drives/Mounts.h>
#include <zel/enumerator/drives/ScsiVpd.h>
#include <zel/enumerator/root/Text.h>

#include <gtest/gtest.h>

using namespace zel;
using namespace std::string_literals;
using C = CapabilityImp;

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
    EXPECT_TRUE(DevicePath::parse("sys/class/net/lo").components.empty());
    EXPECT_EQ(DevicePath::parse("sys/devices/platform/soc/fe34.mmc/mmc_host/mmc0/mmc0:aaaa/block/mmcblk0")
                  .platformName(),
              "fe34.mmc");
    EXPECT_EQ(DevicePath::parse("sys/devices/platform/a003e00.virtio_mmio/virtio0/block/vda").platformName(),
              "a003e00.virtio_mmio");
}

TEST(ClassCodes, sayWhatAPciFunctionIs)
{
    struct Case
    {
        std::uint32_t code;
        C type, has;
    } const cases[] = {
        {0x010601, C::MassStorageController(), C::SATA() | C::ATA() | C::PCI()},
        {0x010802, C::MassStorageController(), C::PCI()},
        {0x020000, C::CommunicationsController(), C::Ethernet()},
        {0x030000, C::VideoCard(), C::PCI()},
        {0x040300, C::HDAudioController(), C::PCI()},
        {0x060000, C::PCIHostBridge(), C::PCI()},
        {0x060401, C::PCIPCIBridge(), C::PCIBridge()},
        {0x060700, C::PCICardBusBridge(), C::PCIBridge()},
        {0x0C0300, C::USBController(), C::UHCI() | C::USB()},
        {0x0C0320, C::USBController(), C::EHCI() | C::USB() | C::USB2()},
        {0x0C0330, C::USBController(), C::USB() | C::USB2()},
        {0xFF0000, C::PCI(), C::PCI()},
    };
    for (Case const& c : cases) {
        PciKind const kind = pciKind(c.code);
        EXPECT_EQ(kind.type, c.type) << std::hex << c.code;
        EXPECT_TRUE(kind.capabilities.isCapable(c.has | c.type)) << std::hex << c.code;
    }
    EXPECT_FALSE(pciKind(0x0C0300).capabilities.isCapable(C::USB2()));
}

TEST(ClassCodes, sayWhatAUsbDeviceIs)
{
    UsbClass const perInterface{}, keyboard{3, 1, 1}, mouse{3, 1, 2}, storage{8, 6, 0x50}, odd{0xFF, 0, 0};
    EXPECT_EQ(usbKind({9, 0, 0}, {}).type, C::HUB());
    EXPECT_EQ(usbKind(perInterface, {{storage}}).type, C::USBMassStorage());
    UsbKind const receiver = usbKind(perInterface, {{keyboard, mouse}});
    EXPECT_EQ(receiver.type, C::HID());
    EXPECT_TRUE(receiver.capabilities.isCapable(C::Keyboard() | C::Mouse()));
    EXPECT_FALSE(receiver.capabilities.isCapable(C::USBComposite())); // both halves are one kind
    EXPECT_TRUE(usbKind(perInterface, {{odd, storage}})
                    .capabilities.isCapable(C::USBComposite() | C::USBMassStorage()));
    EXPECT_EQ(usbKind(perInterface, {{odd}}).type, C::USB());
}

TEST(Mounts, readsBothFilesAndLeavesOutOtherLines)
{
    auto const mounts =
        parseMountInfo("22 27 0:21 / /proc rw - proc proc rw\n"
                       "67 0 8:4 / / rw,relatime shared:1 master:2 - ext4 /dev/sda4 rw\n"
                       "80 67 8:5 / /mnt/two\\040words rw - vfat /dev/sda5 rw\n"
                       "garbage\n81 67 8:6 / /x rw shared:1\n81 67 8:6 / /x rw - ext4\n- - - - - - -\n");
    ASSERT_EQ(mounts.size(), 3u);
    EXPECT_EQ(mounts[1].device, "8:4");
    EXPECT_EQ(mounts[1].source, "/dev/sda4");
    EXPECT_EQ(mounts[1].mountPoint, "/");
    EXPECT_EQ(mounts[1].fileSystem, "ext4");
    EXPECT_EQ(mounts[2].mountPoint, "/mnt/two words");

    auto const old = parseMounts("/dev/sda2 /boot ext4 rw 0 0\nproc /proc\n\\0 \\777 \\04 x\n");
    ASSERT_EQ(old.size(), 2u);
    EXPECT_EQ(old[0].source, "/dev/sda2");
    EXPECT_EQ(old[1].mountPoint, "\\777"); // no character has that number
}

TEST(CdromInfo, givesEachColumnToItsDrive)
{
    auto const drives = parseCdromInfo("CD-ROM information, Id: cdrom.c 3.20 2003/12/17\n\n"
                                       "drive name:\t\tsr1\tsr0\n"
                                       "Can write CD-R:\t\t0\t1\n"
                                       "Can read DVD:\t\t1\t1\n"
                                       "Can write DVD-RAM:\t0\t1\t1\t1\n");
    ASSERT_EQ(drives.size(), 2u);
    EXPECT_EQ(opticalType(drives.at("sr0")), C::DVDRAM());
    EXPECT_TRUE(drives.at("sr0").isCapable(C::CDR() | C::DVD() | C::CDROM()));
    EXPECT_EQ(opticalType(drives.at("sr1")), C::DVD());
    EXPECT_FALSE(drives.at("sr1").isCapable(C::CDR()));
    EXPECT_TRUE(parseCdromInfo("Can read DVD:\t1\n").empty());
    EXPECT_EQ(opticalType(C()), C::CDROM());
}

namespace {

std::string page(unsigned code, std::string const& content, int claimedMore = 0)
{
    auto const size = static_cast<int>(content.size()) + claimedMore;
    return std::string{'\0', static_cast<char>(code), static_cast<char>(size >> 8),
                       static_cast<char>(size & 0xFF)} +
           content;
}

std::string designator(char type, std::string const& content)
{
    return std::string{'\x02', type, '\0', static_cast<char>(content.size())} + content;
}

std::string padded(std::string text, std::size_t size) { return text.append(size - text.size(), ' '); }

} // namespace

TEST(ScsiVpd, readsSerialNumberAndWholeModel)
{
    EXPECT_EQ(vpdSerialNumber(page(0x80, "  ABC123  ")), "ABC123");
    EXPECT_FALSE(vpdSerialNumber(page(0x83, "ABC123")));
    EXPECT_FALSE(vpdSerialNumber(page(0x80, "      ")));
    EXPECT_FALSE(vpdSerialNumber(""));

    std::string const ata = "ATA     " + padded("KINGSTON SH103S3240G", 40) + padded("50026B724B09A1FF", 20);
    auto const identity =
        vpdAtaIdentity(page(0x83, designator(0, padded("50026B724B09A1FF", 20)) + designator(1, ata)));
    ASSERT_TRUE(identity);
    EXPECT_EQ(identity->model, "KINGSTON SH103S3240G");
    EXPECT_EQ(identity->serial, "50026B724B09A1FF");
    // Lengths that promise more than there is.
    EXPECT_TRUE(vpdAtaIdentity(page(0x83, designator(1, ata), 200)));
    EXPECT_FALSE(vpdAtaIdentity(page(0x83, designator(1, ata)).substr(0, 50)));
    EXPECT_FALSE(vpdAtaIdentity(page(0x83, designator(1, "SEAGATE " + padded("x", 60)))));
    EXPECT_FALSE(vpdAtaIdentity(page(0x83, std::string(300, '\0'))));
}

TEST(MacAddress, readsWhatIdentifiesACard)
{
    EXPECT_EQ(parseMac("00:1A:2b:ff:0d:01"), (MacAddress{0, 0x1A, 0x2B, 0xFF, 0x0D, 1}));
    EXPECT_EQ(macText(*parseMac("00:1A:2b:ff:0d:01")), "00:1a:2b:ff:0d:01");
    for (char const* text : {"00:00:00:00:00:00", "ff:ff:ff:ff:ff:ff", "01:00:5e:00:00:01", "00:1a:2b:ff:0d",
                             "", "00:1a:2b:ff:0d:0g", "00-1a-2b-ff-0d-01", "00:1a:2b:ff:0d:01:02"})
        EXPECT_FALSE(parseMac(text)) << text;
}

TEST(InputKind, tellsWhatAHandWorksWith)
{
    struct Case
    {
        char const* uevent;
        C type; ///< NIL: of no interest
        char const* description;
    } const cases[] = {
        {"EV=120013\nKEY=1100f02902000 8380307cf910f001 feffffdfffefffff fffffffffffffffe\n"
         "MODALIAS=input:b0011v0001p0001eAB41-e0,1,4,11,14,k71,72,ram4,l0,1,2,sfw\n",
         C::Keyboard(), "Keyboard"},
        // As Linux 2.6.27 wrote it.
        {"EV==120013\nKEY==402000000 3803078f800d001 feffffdfffefffff fffffffffffffffe\n", C::Keyboard(),
         "Keyboard"},
        // A kernel with words of 32 bits.
        {"EV=120013\nKEY=10000 7 ff800000 7ff febeffdf f3cfffff ffffffff fffffffe\n", C::Keyboard(),
         "Keyboard"},
        {"EV=7\nKEY=70000 0 0 0 "
         "0\nMODALIAS=input:b0011v0002p000Ae0000-e0,1,2,k110,111,112,r0,1,amlsfw\nREL=3\n",
         C::Mouse(), "Mouse"},
        {"EV=B\nMODALIAS=input:b0018v06CBp7E7Ee0100-e0,1,3,k110,145,148,14A,14D,14E,ra0,1,18,1C,2F,35,36,"
         "mlsfw\nPROP=5\n",
         C::Mouse(), "Touchpad"},
        {"EV=1B\nMODALIAS=input:b0003v1FD2p6003e0100-e0,1,3,4,k14A,ra0,1,2F,m5,lsfw\nPROP=2\n",
         C::TouchScreen(), "Touch screen"},
        {"EV=B\nMODALIAS=input:b0003v056Ap0357e0110-e0,1,3,k140,141,14A,ra0,1,mlsfw\nPROP=1\n",
         C::Digitizer(), "Pen tablet"},
        {"EV=20000B\nMODALIAS=input:b0003v045Ep028Ee0114-e0,1,3,15,k130,131,133,ra0,1,2,mlsf50,w\n",
         C::Joystick(), "Game controller"},
        {"EV=3\nKEY=10000000000000 0\nMODALIAS=input:b0019v0000p0001e0000-e0,1,k74,ramlsfw\n", C(),
         ""},                                                                            // power button
        {"EV=21\nMODALIAS=input:b0019v0000p0005e0000-e0,5,kramlsfw0,\nSW=1\n", C(), ""}, // lid
        {"", C(), ""},
        {"EV=zzzz\nKEY=\nMODALIAS=input:-\n", C(), ""},
        {"EV=ffffffffffffffffffffffff\nMODALIAS=-k,,,,kkkk\n", C(), ""},
    };
    for (Case const& c : cases) {
        auto const kind = inputKind(text::keyValueLines(c.uevent));
        EXPECT_EQ(kind ? kind->type : C(), c.type) << c.uevent;
        if (kind) {
            EXPECT_STREQ(kind->description, c.description);
        }
    }
}

TEST(HardwareNames, areWhatPeopleSay)
{
    struct Case
    {
        char const *vendor, *brief;
    } const cases[] = {
        {"Intel Corporation", "Intel"},
        {"Advanced Micro Devices, Inc. [AMD/ATI]", "AMD/ATI"},
        {"Realtek Semiconductor Co., Ltd.", "Realtek"},
        {"Red Hat, Inc.", "Red Hat"},
        {"Samsung Electronics Co Ltd", "Samsung"},
        {"Broadcom Inc. and subsidiaries", "Broadcom"},
        {"Texas Instruments", "Texas Instruments"},
        {"Corp", "Corp"},
        {"", ""},
        {"[]", "[]"},
    };
    for (Case const& c : cases)
        EXPECT_EQ(shortVendor(c.vendor), c.brief);
    EXPECT_EQ(joinName("Logitech, Inc.", "Logitech USB Receiver"), "Logitech USB Receiver");
    EXPECT_EQ(joinName("Intel Corporation", "82574L Gigabit Network Connection"),
              "Intel 82574L Gigabit Network Connection");
    PciId const id{0x8086, 0x1234};
    EXPECT_EQ(nameOf(HardwareNames::none().pci(id), id), "PCI device 8086:1234");
    EXPECT_EQ(nameOf(HardwareName{"Intel Corporation", {}}, id), "Intel PCI device 8086:1234");
}

TEST(SoundCards, haveTheNameAfterTheDash)
{
    auto const cards = parseSoundCards(" 0 [PCH            ]: HDA-Intel - HDA Intel PCH\n"
                                       "                      HDA Intel PCH at 0xdf240000 irq 141\n"
                                       " 1 [C920           ]: USB-Audio - HD Pro Webcam C920\n"
                                       "x [A]: B - C\n9999999 [A]: B - C\n2 [A]: B\n3 ]: [\n");
    ASSERT_EQ(cards.size(), 2u);
    EXPECT_EQ(cards.at(0).driver, "HDA-Intel");
    EXPECT_EQ(cards.at(1).name, "HD Pro Webcam C920");
}

TEST(Drives, knowTheirPartitionsAndSpeeds)
{
    EXPECT_EQ(partitionNumber("sda10", "sda"), 10u);
    EXPECT_EQ(partitionNumber("nvme0n1p2", "nvme0n1"), 2u);
    for (auto const& [name, drive] : {std::pair("sdaa1", "sda"),
                                      {"nvme0n12", "nvme0n1"},
                                      {"sda", "sda"},
                                      {"sda1x", "sda"},
                                      {"queue", "sda"},
                                      {"sda99999999999", "sda"}})
        EXPECT_FALSE(partitionNumber(name, drive)) << name;
    EXPECT_EQ(usbSpeed("480"), 480'000'000u);
    EXPECT_EQ(usbSpeed("1.5"), 1'500'000u);
    for (char const* text : {"", "fast", "-1", "1.55", "99999999999", "."})
        EXPECT_FALSE(usbSpeed(text)) << text;
}
