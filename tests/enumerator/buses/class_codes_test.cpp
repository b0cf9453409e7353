// What class codes, speeds and names of the database say.

#include <zel/enumerator/buses/HardwareNames.h>
#include <zel/enumerator/buses/HardwareTree.h>
#include <zel/enumerator/buses/PciClass.h>
#include <zel/enumerator/buses/UsbClass.h>

#include <gtest/gtest.h>

#include <unistd.h>

using namespace zel;
using C = CapabilityImp;

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
    UsbClass const modem{2, 2, 1}, data{0x0A, 0, 0}, plain{};
    EXPECT_FALSE(usbKind(perInterface, {{modem, data}}).capabilities.isCapable(C::USBComposite()));
    EXPECT_TRUE(usbKind(perInterface, {{plain, storage}}).capabilities.isCapable(C::USBComposite()));
    EXPECT_EQ(usbKind(storage, {{keyboard}}).type, C::USBMassStorage()) << "what the device itself says";
}

TEST(UsbSpeed, isReadInMegabits)
{
    EXPECT_EQ(usbSpeed("480"), 480'000'000u);
    EXPECT_EQ(usbSpeed("1.5"), 1'500'000u);
    EXPECT_EQ(usbSpeed("0.9"), 900'000u);
    EXPECT_EQ(usbSpeed("1000000"), 1'000'000'000'000u);
    for (char const* text : {"", "fast", "-1", "1.55", "99999999999", "1000001", "1.10", "1.", "."})
        EXPECT_FALSE(usbSpeed(text)) << text;
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
        {"ACME []", "ACME []"},
        {"ACME [X]", "X"},
        {"ACME [X] Ltd", "ACME [X]"},
        {"NovaTech", "NovaTech"},
        {"TechCo", "TechCo"}, // no word of its own
        {"Nokia.Corp.", "Nokia."},
        {"Foo,Inc", "Foo"},
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

TEST(HardwareNames, comeFromTheSystemsDatabase)
{
    HardwareNames const& names = HardwareNames::system();
    if (::access("/usr/lib/udev/hwdb.bin", R_OK) != 0 && ::access("/etc/udev/hwdb.bin", R_OK) != 0)
        GTEST_SKIP() << "no hardware database";
    for (int asked = 0; asked < 2; ++asked) {
        HardwareName const card = names.pci({0x8086, 0x10D3});
        EXPECT_EQ(card.vendor, "Intel Corporation");
        EXPECT_EQ(card.product, "82574L Gigabit Network Connection");
        EXPECT_EQ(names.usb({0x046D, 0xC31C}).product, "Keyboard K120");
        HardwareName const nobody = names.pci({0x0002, 0x0001});
        EXPECT_FALSE(nobody.vendor || nobody.product);
    }
}
