// Places, names and files of input devices.

#include "../HardwareMachine.h"

#include <gtest/gtest.h>

using namespace zel;
using namespace zel::test;
using namespace std::string_literals;
using C = CapabilityImp;

TEST(Hardware, InputDevicesWhereverTheyHang)
{
    std::string const mouse = "EV=7\nMODALIAS=input:b0011-e0,1,2,k110,111,112,r0,1,amlsfw\n";
    std::string const keyboard = "EV=120013\nKEY=7 ff febeffdfffefffff fffffffffffffffe\n";
    std::string const usb = kXhci + "/usb1/1-2/1-2.3"s;
    MemoryRoot root = machine();
    auto const input = [&](std::string const& path, std::string const& uevent) {
        std::string const number = path.substr(path.rfind("input") + 5);
        node(root, "sys/class/input", path, {{"uevent", uevent}, {"event" + number + "/dev", "13:64\n"}});
    };
    // What is no input, leads nowhere, has no hardware or tells nothing keeps none of the others back.
    root.file("sys/class/input/event1/dev", "13:64\n")
        .link("sys/class/input/input1", "/sys/devices/gone/input1");
    input("sys/devices/virtual/input/input2", mouse + "NAME=\"Speaker\"\n");
    input("sys/devices/pnp0/00:05/input/input14", "EV=21\n");
    input("sys/devices/platform/i8042/serio1/input/input4",
          mouse + "NAME=\"\"\nPHYS=\"isa0060/serio1/input0\"\n");
    input("sys/devices/pci0000:00/0000:00:15.0/i2c-1/i2c-ELAN:00/input/input6",
          mouse + "NAME=\"ELAN:00 04F3:1234\"\n");
    input(usb + "/1-2.3:1.1/0003:046D:C31C.0002/input/input7",
          keyboard + "PRODUCT=3/46d/c31c/110\nNAME=\"Extra keys\"\n");
    input(usb + "/1-2.3:1.1/0003:046D:C31C.0003/input/input8", mouse);
    input(kNic + "/input/input9"s, mouse);
    std::string const air = "PRODUCT=5/46d/b00/1\n";
    input("sys/devices/virtual/misc/uhid/0005:046D:B00.1/input/input10", air + "UNIQ=\"aa:1\"\n" + mouse);
    input(kXhci + "/usb1/1-5/1-5:1.0/bluetooth/hci0/hci0:1/input/input11"s,
          air + "NAME=\"Air keys\"\nUNIQ=\"aa:2\"\n" + keyboard);
    input(kXhci + "/usb1/1-5/1-5:1.0/bluetooth/hci0/hci0:2/input/input12"s,
          air + "NAME=\"Air keys\"\nUNIQ=aa:3\n" + keyboard);
    RecordingSink const sink = scan(root);
    expectWhole(sink);
    struct Case
    {
        char const *file, *place, *name;
    } const cases[] = {
        {"event2", "none", ""},
        {"event4", "Mouse PS/2 below System", "Mouse"},
        {"event3", "Keyboard USB:1:2:3 below USB:1:2:3", "Logitech USB Keyboard (Keyboard)"},
        {"event6", "Mouse i2c-ELAN:00 below System", "Mouse"},
        {"event7", "none", ""}, // of a keyboard that is known
        {"event8", "Mouse USB:1:2:3 below USB:1:2:3", "Logitech USB Keyboard (Mouse)"},
        {"event9", "Mouse PCI:2:0:0 below PCI:2:0:0", "Mouse"},
        {"event10", "Mouse BLUETOOTH:aa:1 below System", "Mouse"},
        {"event11", "Keyboard BLUETOOTH:aa:2 below PCI:0:20:0", "Air keys"},
        {"event14", "none", ""},
        {"event12", "Keyboard BLUETOOTH:aa:3 below PCI:0:20:0", "Air keys"},
    };
    for (Case const& c : cases) {
        std::string const file = "/dev/input/"s + c.file;
        EXPECT_EQ(placeOf(sink, file), c.place) << c.file;
        DeviceDescription const* const device = known(sink, file);
        EXPECT_EQ(device ? device->name : String(), String(c.name)) << c.file;
    }
    EXPECT_EQ(RecordingSink::property(known(sink, "/dev/input/event4"), "PhysicalPath"),
              "isa0060/serio1/input0");
    EXPECT_TRUE(known(sink, "/dev/input/event10")->capabilities.isCapable(C::WiMouse()));
    EXPECT_FALSE(known(sink, "/dev/input/event10")->capabilities.isCapable(C::WiKeyboard()));
    EXPECT_TRUE(known(sink, "/dev/input/event11")->capabilities.isCapable(C::WiKeyboard()));
    EXPECT_FALSE(known(sink, "/dev/input/event11")->capabilities.isCapable(C::WiMouse()));
}
