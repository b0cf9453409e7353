// A machine with everything that hangs on buses: places, facts, damage.

#include "HardwareMachine.h"

#include <gtest/gtest.h>

using namespace zel;
using namespace zel::test;
using namespace std::string_literals;
using C = CapabilityImp;

TEST(Hardware, EveryDeviceStandsInItsPlace)
{
    RecordingSink const sink = scan(machine());
    expectWhole(sink);
    struct Case
    {
        char const *osLocator, *place;
    } const cases[] = {
        {"0000:00:1c.0", "PCIPCIBridge PCI:0:28:0 below System"},
        {"0000:02:00.0", "CommunicationsController PCI:2:0:0 below PCI:0:28:0"},
        {"eth0", "NetworkCard NET:0:26:43:60:77:94 below PCI:2:0:0"},
        {"lo", "none"},
        {"/dev/sda", "HardDrive SATA:250:1:0:0 below PCI:0:31:2"},
        {"/dev/sdb", "HardDrive SATA:250:2:0:0 below PCI:0:31:2"},
        {"/dev/sda1", "DrivePartition SATA:250:1:0:0:P1 below SATA:250:1:0:0"},
        {"/dev/dm-0", "none"},
        {"usb1", "HUB USB:1 below PCI:0:20:0"},
        {"1-2", "HUB USB:1:2 below USB:1"},
        {"1-2.3", "HID USB:1:2:3 below USB:1:2"},
        {"/dev/input/event3", "Keyboard USB:1:2:3 below USB:1:2:3"},
        {"/dev/sdc", "HardDrive USB:1:2:4 below USB:1:2:4"},
        {"/dev/ttyS0", "SerialPort COM:1:0x3F8 below System"},
        {"/dev/ttyS1", "none"},
        {"/dev/parport0", "ParallelPort LPT:1:0x378 below System"},
    };
    for (Case const& c : cases)
        EXPECT_EQ(placeOf(sink, c.osLocator), c.place);
    EXPECT_EQ(known(sink, "0000:00:1c.0")->childBusIds, std::vector<String>{"PCI:2"});
    EXPECT_EQ(known(sink, "0000:00:14.0")->childBusIds, std::vector<String>{"USB:1"});
    EXPECT_EQ(known(sink, "0000:02:00.0")->name, String("PCI device 8086:10d3"));
    EXPECT_EQ(known(sink, "eth0")->name, String("PCI device 8086:10d3 (Network card)"))
        << "not as its parent";
    EXPECT_EQ(known(sink, "1-2.3")->name, String("Logitech USB Keyboard"));
}

TEST(Hardware, FactsAreRead)
{
    RecordingSink const sink = scan(machine());
    struct Case
    {
        char const *osLocator, *key, *value;
    } const cases[] = {
        {"eth0", "DataRate", "1 Gbit/s"},      {"eth0", "Duplex", "full"},
        {"eth0", "LinkDetected", "true"},      {"eth0", "MacAddress", "00:1a:2b:3c:4d:5e"},
        {"/dev/sda", "Model", "Disk of sda"},  {"/dev/sda", "PhysicalSectorSize", "4 KiB"},
        {"/dev/sda", "Rotational", "false"},   {"/dev/sda", "Manufacturer", "-"}, // "ATA" is none
        {"/dev/sda1", "Start", "4 KiB"},       {"/dev/sda1", "MountPoint", "/boot"},
        {"/dev/sdc", "MediumPresent", "true"}, {"0000:00:1f.2", "ClassCode", "010601"},
        {"/dev/ttyS0", "Chip", "16550A"},      {"1-2.3", "DataRate", "1.5 Mbit/s"},
    };
    for (Case const& c : cases)
        EXPECT_EQ(RecordingSink::property(known(sink, c.osLocator), c.key), c.value)
            << c.osLocator << " " << c.key;
    auto const has = [&sink](char const* name, C const& what) {
        return known(sink, name)->capabilities.isCapable(what);
    };
    EXPECT_TRUE(has("/dev/sda", C::SystemDrive() | C::SATA())); // through the mapping
    EXPECT_TRUE(has("/dev/sda2", C::SystemDrive()));
    EXPECT_FALSE(has("/dev/sda1", C::SystemDrive()) || has("/dev/sdb", C::SystemDrive()));
    EXPECT_TRUE(has("/dev/sdc", C::RemovableStorage() | C::USB() | C::USB2() | C::USBMassStorage()));
    EXPECT_FALSE(has("/dev/sdc", C::PCI()));
}

TEST(Hardware, NoFileIsReadTwiceAndScansAgree)
{
    MemoryRoot const root = machine();
    RecordingSink const first = scan(root);
    for (auto const& [path, times] : root.reads())
        EXPECT_EQ(times, 1) << path;
    RecordingSink const second = scan(root);
    ASSERT_EQ(first.devices.size(), second.devices.size());
    for (std::size_t i = 0; i < first.devices.size(); ++i) {
        EXPECT_EQ(first.devices[i].hwLocator, second.devices[i].hwLocator);
        EXPECT_EQ(first.devices[i].properties, second.devices[i].properties);
    }
}

TEST(Hardware, AnyFileMayBeMissingUnreadableOrNonsense)
{
    MemoryRoot const whole = machine();
    scan(whole);
    std::string const huge(5000, '9'), binary("\0\xFF\x80\n=::\0/"s);
    for (auto const& [path, times] : whole.reads()) {
        SCOPED_TRACE(path);
        expectWhole(scan(machine().remove(path)));
        expectWhole(scan(machine().unreadable(path)));
        for (std::string const& nonsense : {""s, "-1\n"s, huge, binary})
            expectWhole(scan(machine().file(path, nonsense)));
    }
    EXPECT_TRUE(scan(MemoryRoot()).devices.empty());
}

TEST(Hardware, LinksInACircleLeadNowhere)
{
    MemoryRoot root = machine();
    root.link("sys/class/net/eth1", "eth2")
        .link("sys/class/net/eth2", "eth1")
        .link("sys/block/sdx", "../block/sdx");
    root.link("sys/bus/pci/devices/0000:09:00.0", "0000:09:00.0").link("sys/bus/usb/devices/1-7", "1-7");
    root.link("sys/devices/virtual/block/dm-0/slaves/dm-0", "/sys/devices/virtual/block/dm-0");
    RecordingSink const sink = scan(root);
    expectWhole(sink);
    EXPECT_FALSE(known(sink, "eth1") || known(sink, "/dev/sdx"));
    EXPECT_TRUE(known(sink, "eth0") && known(sink, "/dev/sda"));
}

TEST(Hardware, WhatCannotBeToldApartStillHasItsOwnPlace)
{
    MemoryRoot root;
    for (int i = 0; i < 3; ++i) {
        std::string const number = std::to_string(i);
        disk(root, "sys/devices/vbd/block/xvd" + std::string(1, static_cast<char>('a' + i)), "8\n");
        node(root, "sys/class/net", "sys/devices/vif/net/eth" + number, {{"address", "02:00:00:00:00:01\n"}});
    }
    RecordingSink const sink = scan(root);
    ASSERT_EQ(sink.devices.size(), 6u);
    expectWhole(sink);
    for (char const* place : {"vbd", "vbd:2", "vbd:3"})
        EXPECT_TRUE(sink.at(place)) << place;
}
