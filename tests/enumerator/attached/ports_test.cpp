// Serial ports of a PC, of platform chips and of USB adapters.

#include "../HardwareMachine.h"

#include <gtest/gtest.h>

using namespace zel;
using namespace zel::test;
using namespace std::string_literals;
using C = CapabilityImp;

TEST(Hardware, SerialPortsOfEveryKind)
{
    MemoryRoot root = machine();
    std::string const usb = std::string(kXhci) + "/usb1/1-2/", soc = "sys/devices/platform/soc/";
    auto const adapter = [&](std::string const& path, char const* product) {
        node(root, "sys/bus/usb/devices", path,
             {{"uevent", "PRODUCT=403/6011/800\nTYPE=0/0/0\n"}, {"product", product + "\n"s}});
    };
    auto const tty = [&](std::string const& path, char const* driver) {
        node(root, "sys/class/tty", path, {{"uevent", "MAJOR=188\n"}});
        std::string const device = path.substr(0, path.find("/tty/"));
        root.link(path + "/device", "/" + device).link(device + "/driver", "../drivers/"s + driver);
    };
    adapter(usb + "1-2.6", "Quad RS232");
    adapter(usb + "1-2.7", "Uno");
    tty(usb + "1-2.6/1-2.6:1.0/ttyUSB0/tty/ttyUSB0", "ftdi_sio");
    tty(usb + "1-2.6/1-2.6:1.1/ttyUSB1/tty/ttyUSB1", "ftdi_sio");
    tty(usb + "1-2.7/1-2.7:1.0/tty/ttyACM0", "cdc_acm");
    tty(soc + "fe201000.serial/fe201000.serial:0/fe201000.serial:0.0/tty/ttyAMA0", "port");
    root.link(soc + "fe201000.serial/driver", "../drivers/uart-pl011");
    tty("sys/devices/pci0000:00/0000:00:16.3/tty/ttyS4", "serial"); // old kernels hide its registers
    tty("sys/devices/virtual/tty/ttyUSB7", "none");
    tty("sys/devices/platform/serial8250/tty/ttyS6", "serial8250");
    tty("sys/devices/virtual/tty/ttyS7", "none");
    RecordingSink const sink = scan(root);
    expectWhole(sink);
    struct Case
    {
        char const *name, *place, *driver;
    } const cases[] = {
        {"/dev/ttyUSB0", "SerialPort USB:1:2:6 below USB:1:2:6", "ftdi_sio"},
        {"/dev/ttyUSB1", "SerialPort USB:1:2:6:1 below USB:1:2:6", "ftdi_sio"},
        {"/dev/ttyACM0", "SerialPort USB:1:2:7 below USB:1:2:7", "cdc_acm"},
        {"/dev/ttyAMA0", "SerialPort fe201000.serial below System", "uart-pl011"},
        {"/dev/ttyS4", "SerialPort COM:5 below System", "serial"},
        {"/dev/ttyUSB7", "none", "-"},
        {"/dev/ttyS6", "none", "-"}, // a place that the driver keeps
        {"/dev/ttyS7", "none", "-"},
    };
    for (Case const& c : cases) {
        EXPECT_EQ(placeOf(sink, c.name), c.place);
        EXPECT_EQ(RecordingSink::property(known(sink, c.name), "Driver"), c.driver) << c.name;
        EXPECT_EQ(RecordingSink::property(known(sink, c.name), "IoAddress"), "-") << c.name;
    }
    EXPECT_EQ(known(sink, "/dev/ttyUSB0")->name, String("Quad RS232 (USB serial port)"));
    EXPECT_FALSE(known(sink, "/dev/ttyACM0")->capabilities.isCapable(C::USB2())) << "nothing says so";
    EXPECT_EQ(known(sink, "/dev/ttyS4")->name, String("Serial port 5"));
}

TEST(Hardware, UsbCPorts)
{
    MemoryRoot root = machine();
    root.file("sys/class/typec/port0-partner/accessory_mode", "none\n");
    node(root, "sys/class/typec", std::string(kXhci) + "/USBC000:00/typec/port0",
         {{"power_role", "source [sink]\n"},
          {"data_role", "[host] device\n"},
          {"power_operation_mode", "usb_power_delivery\n"},
          {"orientation", "unknown\n"},
          {"usb_power_delivery_revision", "3.0\n"}});
    root.files("sys/class/typec/port1",
               {{"power_role", "source sink\n"}, {"usb_power_delivery_revision", "0.0\n"}});
    RecordingSink const sink = scan(root);
    EXPECT_EQ(sink.ofType(C::Port()).size(), 2u) << "a partner is no port";
    struct Case
    {
        char const *key, *first, *second;
    } const cases[] = {{"PartnerConnected", "true", "false"},
                       {"PowerRole", "sink", "-"},
                       {"DataRole", "host", "-"},
                       {"PowerMode", "usb_power_delivery", "-"},
                       {"PlugOrientation", "-", "-"},
                       {"PowerDeliveryRevision", "3.0", "-"}};
    for (Case const& c : cases) {
        EXPECT_EQ(RecordingSink::property(sink.at("TYPEC:port0"), c.key), c.first) << c.key;
        EXPECT_EQ(RecordingSink::property(sink.at("TYPEC:port1"), c.key), c.second) << c.key;
    }
    EXPECT_EQ(placeOf(sink, "/sys/class/typec/port0"), "Port TYPEC:port0 below PCI:0:20:0");
}

TEST(Hardware, RegistersAndChipsOfPorts)
{
    struct Case
    {
        char const *what, *file, *content, *key, *wanted;
    } const cases[] = {
        {"no chip", "type", "0\n", "Chip", "none"},
        {"the oldest chip", "type", "1\n", "Chip", "8250"},
        {"the newest chip", "type", "8\n", "Chip", "16750"},
        {"a chip that no PC has", "type", "9\n", "Chip", "-"},
        {"a chip below zero", "type", "-1\n", "Chip", "none"},
        {"no registers", "port", "0x0\n", "IoAddress", "-"},
        {"the last narrow address", "port", "0xFFFF\n", "IoAddress", "0xFFFF"},
        {"the first wide address", "port", "0x10000\n", "IoAddress", "0x00010000"},
        {"the last address", "port", "0xFFFFFFFF\n", "IoAddress", "0xFFFFFFFF"},
        {"beyond all", "port", "0x100000000\n", "IoAddress", "-"},
        {"no interrupt", "irq", "0\n", "Interrupt", "-"},
        {"interrupt", "irq", "4\n", "Interrupt", "4"},
    };
    for (Case const& c : cases) {
        MemoryRoot root = machine();
        root.file("sys/devices/pnp0/00:03/tty/ttyS0/"s + c.file, c.content);
        RecordingSink const sink = scan(root);
        DeviceDescription const* const port = known(sink, "/dev/ttyS0");
        EXPECT_EQ(port ? RecordingSink::property(port, c.key) : "none", c.wanted) << c.what;
    }
    MemoryRoot root = machine();
    for (char const* name : {"ttyS4095", "ttyS4096"})
        node(root, "sys/class/tty", "sys/devices/pnp0/00:04/tty/"s + name, {{"type", "4\n"}});
    for (char const* name : {"parport4095", "parport4096"})
        root.file("proc/sys/dev/parport/"s + name + "/base-addr", "0\t0\n");
    RecordingSink const sink = scan(root);
    EXPECT_EQ(placeOf(sink, "/dev/ttyS4095"), "SerialPort COM:4096 below System");
    EXPECT_EQ(RecordingSink::property(known(sink, "/dev/parport4095"), "IoAddress"), "-");
    EXPECT_FALSE(known(sink, "/dev/ttyS4096") || known(sink, "/dev/parport4096")) << "nobody has so many";
}
