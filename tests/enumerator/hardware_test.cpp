// PCI, USB, drives, network, sound, input and ports on machines written for one fact or fault each.

#include "MemoryRoot.h"

#include <zel/enumerator/buses/HardwareTree.h>
#include <zel/enumerator/root/Text.h>

#include <gtest/gtest.h>

using namespace zel;
using namespace zel::test;
using namespace std::string_literals;

namespace {

using C = CapabilityImp;

constexpr char const* kBridge = "sys/devices/pci0000:00/0000:00:1c.0";
constexpr char const* kNic = "sys/devices/pci0000:00/0000:00:1c.0/0000:02:00.0";
constexpr char const* kAhci = "sys/devices/pci0000:00/0000:00:1f.2";
constexpr char const* kXhci = "sys/devices/pci0000:00/0000:00:14.0";

std::string lastOf(std::string const& path) { return path.substr(path.rfind('/') + 1); }

/// A directory with its link in a class or bus folder.
MemoryRoot& node(MemoryRoot& root, std::string const& folder, std::string const& path,
                 std::vector<std::pair<std::string, std::string>> const& files)
{
    return root.link(folder + "/" + lastOf(path), "/" + path).files(path, files);
}

void pci(MemoryRoot& root, std::string const& path, char const* code, char const* ids)
{
    node(root, "sys/bus/pci/devices", path,
         {{"uevent", "DRIVER=drv\nPCI_CLASS="s + code + "\nPCI_ID=" + ids + "\n"}, {"revision", "0x02\n"}});
}

void disk(MemoryRoot& root, std::string const& path, char const* sectors)
{
    node(root, "sys/block", path,
         {{"size", sectors},
          {"removable", "0\n"},
          {"ro", "0\n"},
          {"queue/rotational", "0\n"},
          {"queue/logical_block_size", "512\n"},
          {"queue/physical_block_size", "4096\n"}});
}

std::string ataDisk(char const* ata, char const* address, char const* name)
{
    return std::string(kAhci) + "/" + ata + "/host9/target9:0:0/" + address + "/block/" + name;
}

/// A bridge with a network card, an AHCI controller with two disks, an xHCI controller with hub, keyboard and
/// stick.
MemoryRoot machine()
{
    MemoryRoot root;
    pci(root, kBridge, "60400", "8086:A110");
    pci(root, kNic, "20000", "8086:10D3");
    pci(root, kAhci, "10601", "8086:2922");
    pci(root, kXhci, "C0330", "8086:A12F");
    node(root, "sys/class/net", std::string(kNic) + "/net/eth0",
         {{"type", "1\n"},
          {"address", "00:1a:2b:3c:4d:5e\n"},
          {"flags", "0x1003\n"},
          {"carrier", "1\n"},
          {"speed", "1000\n"},
          {"duplex", "full\n"},
          {"operstate", "up\n"},
          {"mtu", "1500\n"},
          {"uevent", "IFINDEX=2\n"}});
    node(root, "sys/class/net", "sys/devices/virtual/net/lo", {{"type", "772\n"}});
    for (auto const& [ata, address, name] :
         {std::tuple("ata3", "9:0:0:0", "sda"), {"ata4", "10:0:0:0", "sdb"}}) {
        std::string const path = ataDisk(ata, address, name);
        disk(root, path, "1000\n");
        root.files(path.substr(0, path.find("/block")),
                   {{"vendor", "ATA     \n"}, {"model", "Disk of "s + name + "  \n"}, {"rev", "1.0\n"}});
    }
    std::string const sda = ataDisk("ata3", "9:0:0:0", "sda");
    root.files(sda + "/sda1", {{"size", "100\n"}, {"start", "8\n"}})
        .files(sda + "/sda2", {{"size", "200\n"}});
    disk(root, "sys/devices/virtual/block/dm-0", "200\n");
    root.link("sys/devices/virtual/block/dm-0/slaves/sda2", "/" + sda + "/sda2")
        .file("sys/devices/virtual/block/dm-0/dm/name", "vg-root\n")
        .file("proc/self/mounts",
              "proc /proc proc rw 0 0\n/dev/mapper/vg-root / xfs rw 0 0\n/dev/sda1 /boot ext4 rw 0 0\n");

    std::string const usb = std::string(kXhci) + "/usb1";
    node(root, "sys/bus/usb/devices", usb,
         {{"uevent", "PRODUCT=1d6b/2/515\nTYPE=9/0/1\n"}, {"speed", "480\n"}});
    node(root, "sys/bus/usb/devices", usb + "/1-2",
         {{"uevent", "PRODUCT=bda/5411/1\nTYPE=9/0/1\n"}, {"speed", "480\n"}});
    std::string const keyboard = usb + "/1-2/1-2.3", stick = usb + "/1-2/1-2.4";
    node(root, "sys/bus/usb/devices", keyboard,
         {{"uevent", "PRODUCT=46d/c31c/1\nTYPE=0/0/0\n"},
          {"speed", "1.5\n"},
          {"manufacturer", "Logitech\n"},
          {"product", "USB Keyboard\n"}});
    node(root, "sys/bus/usb/devices", keyboard + "/1-2.3:1.0", {{"uevent", "INTERFACE=3/1/1\n"}});
    node(root, "sys/class/input", keyboard + "/1-2.3:1.0/0003:046D:C31C.0001/input/input5",
         {{"uevent", "NAME=\"Logitech USB Keyboard\"\nEV=120013\nKEY=1000000000007 ff9f207ac14057ff "
                     "febeffdfffefffff fffffffffffffffe\n"},
          {"event3/dev", "13:67\n"}});
    node(root, "sys/bus/usb/devices", stick,
         {{"uevent", "PRODUCT=951/1666/1\nTYPE=0/0/0\n"}, {"speed", "5000\n"}});
    node(root, "sys/bus/usb/devices", stick + "/1-2.4:1.0", {{"uevent", "INTERFACE=8/6/80\n"}});
    disk(root, stick + "/1-2.4:1.0/host11/target11:0:0/11:0:0:0/block/sdc", "4000\n");
    root.file(stick + "/1-2.4:1.0/host11/target11:0:0/11:0:0:0/block/sdc/removable", "1\n");
    node(root, "sys/class/tty", "sys/devices/pnp0/00:03/tty/ttyS0",
         {{"type", "4\n"}, {"port", "0x3F8\n"}, {"irq", "4\n"}});
    node(root, "sys/class/tty", "sys/devices/platform/serial8250/tty/ttyS1",
         {{"type", "0\n"}, {"port", "0x2F8\n"}});
    root.file("proc/sys/dev/parport/parport0/base-addr", "888\t1912\n")
        .file("proc/sys/dev/parport/default/timeslice", "200\n");
    return root;
}

RecordingSink scan(Root const& root)
{
    RecordingSink sink;
    discoverHardware(root, HardwareNames::none(), sink);
    return sink;
}

DeviceDescription const* known(RecordingSink const& sink, std::string const& osLocator)
{
    for (DeviceDescription const& device : sink.devices)
        if (device.osLocator == String(osLocator))
            return &device;
    return nullptr;
}

std::string placeOf(RecordingSink const& sink, std::string const& osLocator)
{
    DeviceDescription const* const device = known(sink, osLocator);
    return device ? (device->type.toString() + " " + device->hwLocator + " below " + device->parentLocator)
                        .toUtf8()
                  : "none";
}

/// Every place once, every parent there or the system: what makes records of descriptions depends on it.
void expectWhole(RecordingSink const& sink)
{
    std::set<std::pair<String, String>> places;
    for (DeviceDescription const& device : sink.devices)
        EXPECT_TRUE(places.emplace(device.type.toString(), device.hwLocator).second)
            << device.hwLocator.toUtf8();
    for (DeviceDescription const& device : sink.devices)
        EXPECT_TRUE(device.parentType == C::System() ||
                    places.contains({device.parentType.toString(), device.parentLocator}))
            << device.parentLocator.toUtf8();
}

} // namespace

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
}

TEST(Hardware, AddressesThatACardTakesOnDoNotMoveIt)
{
    MemoryRoot root = machine();
    std::string const card = std::string(kNic) + "/net/eth0";
    root.files(card, {{"addr_assign_type", "3\n"},
                      {"flags", "0x1803\n"},
                      {"bonding_slave/perm_hwaddr", "00:1a:2b:00:00:01\n"}});
    EXPECT_EQ(placeOf(scan(root), "eth0"), "NetworkCard NET:0:26:43:0:0:1 below PCI:2:0:0");
    // A wireless card, seen in a network with an address for this network alone; its second interface is no
    // second card.
    root.link(card + "/phy80211", "../../ieee80211/phy0")
        .file(std::string(kNic) + "/ieee80211/phy0/macaddress", "00:1a:2b:00:00:02\n");
    node(root, "sys/class/net", std::string(kNic) + "/net/p2p0", {{"address", "02:1a:2b:00:00:02\n"}})
        .link(std::string(kNic) + "/net/p2p0/phy80211", "../../ieee80211/phy0");
    RecordingSink const sink = scan(root);
    EXPECT_EQ(placeOf(sink, "eth0"), "NetworkCard NET:0:26:43:0:0:2 below PCI:2:0:0");
    EXPECT_EQ(sink.ofType(C::NetworkCard()).size(), 1u);
    // Another address at each start: the slot says which card it is.
    root.remove(card + "/phy80211")
        .file(card + "/addr_assign_type", "1\n")
        .remove(card + "/bonding_slave/perm_hwaddr");
    EXPECT_EQ(placeOf(scan(root), "eth0"), "NetworkCard PCI:2:0:0 below PCI:2:0:0");
}

TEST(Hardware, DrivesOfEveryBus)
{
    MemoryRoot root;
    std::string const slot = "sys/devices/pci0001:00/0001:00:02.0";
    pci(root, slot, "10802", "144D:A808");
    pci(root, "sys/devices/pci0000:00/0000:00:1f.1", "1018A", "8086:27DF");
    pci(root, "sys/devices/pci0000:00/0000:00:05.0", "10700", "1000:0097");
    disk(root, slot + "/nvme/nvme3/nvme3n1", "16\n");
    root.files(slot + "/nvme/nvme3",
               {{"model", "Samsung SSD 970 EVO 1TB\n"}, {"serial", "S5H9\n"}, {"firmware_rev", "2B2Q\n"}});
    disk(root, slot + "/nvme/nvme3/nvme3n2", "16\n");
    disk(root, slot + "/nvme/nvme3/nvme3c3n1", "16\n"); // the path behind a drive with several
    disk(root, "sys/devices/virtual/nvme-subsystem/nvme-subsys0/nvme4n1", "16\n");
    root.link("sys/devices/virtual/nvme-subsystem/nvme-subsys0/nvme4",
              "/sys/devices/pci0000:00/0000:00:06.0/nvme/nvme4")
        .file("sys/devices/pci0000:00/0000:00:06.0/nvme/nvme4/cntlid", "1\n");
    node(root, "sys/block", "sys/devices/pci0000:00/0000:00:1f.1/host5/target5:0:1/5:0:1:0/block/sr0",
         {{"size", "4\n"}});
    root.file("sys/devices/pci0000:00/0000:00:1f.1/host4/uevent", "\n")
        .file("proc/sys/dev/cdrom/info", "drive name:\tsr0\nCan read DVD:\t1\n");
    disk(root,
         "sys/devices/pci0000:00/0000:00:05.0/host0/port-0:0/end_device-0:0/target0:0:7/0:0:7:0/block/sda",
         "16\n");
    disk(root, "sys/devices/platform/soc/fe34.mmc/mmc_host/mmc0/mmc0:aaaa/block/mmcblk0", "16\n");
    disk(root, "sys/devices/platform/soc/fe34.mmc/mmc_host/mmc0/mmc0:aaaa/block/mmcblk0boot0", "16\n");
    RecordingSink const sink = scan(root);
    struct Case
    {
        char const *osLocator, *place;
    } const cases[] = {
        {"/dev/nvme3n1", "HardDrive PCI:256:2:0 below PCI:256:2:0"}, // domain 1
        {"/dev/nvme3n2", "HardDrive PCI:256:2:0:2 below PCI:256:2:0"},
        {"/dev/nvme3c3n1", "none"},
        {"/dev/nvme4n1", "HardDrive PCI:0:6:0 below System"},
        {"/dev/sr0", "DVD IDE:1:1 below PCI:0:31:1"},
        {"/dev/sda", "HardDrive SCSI:40:0:7:0 below PCI:0:5:0"},
        {"/dev/mmcblk0", "HardDrive fe34.mmc below System"},
        {"/dev/mmcblk0boot0", "none"},
    };
    for (Case const& c : cases)
        EXPECT_EQ(placeOf(sink, c.osLocator), c.place);
    EXPECT_EQ(known(sink, "/dev/nvme3n1")->name, String("Samsung SSD 970 EVO 1TB"));
    EXPECT_EQ(RecordingSink::property(known(sink, "/dev/nvme3n1"), "SerialNumber"), "S5H9");
    EXPECT_TRUE(known(sink, "/dev/sda")->capabilities.isCapable(C::SAS() | C::SCSI()));
    expectWhole(sink);
}

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
    };
    for (Case const& c : cases) {
        EXPECT_EQ(placeOf(sink, c.name), c.place);
        EXPECT_EQ(RecordingSink::property(known(sink, c.name), "Driver"), c.driver) << c.name;
        EXPECT_EQ(RecordingSink::property(known(sink, c.name), "IoAddress"), "-") << c.name;
    }
    EXPECT_EQ(known(sink, "/dev/ttyUSB0")->name, String("Quad RS232"));
    EXPECT_EQ(known(sink, "/dev/ttyS4")->name, String("Serial port 5"));
}

TEST(Hardware, DriversAndLinksOfDrives)
{
    MemoryRoot root = machine();
    std::string const ata3 = std::string(kAhci) + "/ata3/link3/ata_link/link3";
    std::string const ata4 = std::string(kAhci) + "/ata4/link4/ata_link/link4";
    root.files(ata3, {{"sata_spd", "3.0 Gbps\n"}, {"hw_sata_spd_limit", "6.0 Gbps\n"}});
    root.files(ata4, {{"sata_spd", "<unknown>\n"}, {"hw_sata_spd_limit", "Gbps\n"}});
    std::string const stick = std::string(kXhci) + "/usb1/1-2/1-2.4/1-2.4:1.0";
    root.link(stick + "/driver", "../../../../../bus/usb/drivers/uas");
    std::string const slot = "sys/devices/pci0000:00/0000:03:00.0";
    pci(root, slot, "10802", "144D:A808");
    root.files(slot, {{"max_link_width", "4\n"},
                      {"max_link_speed", "8.0 GT/s PCIe\n"},
                      {"current_link_width", "2\n"},
                      {"current_link_speed", "Unknown speed\n"}});
    disk(root, slot + "/nvme/nvme0/nvme0n1", "16\n");
    std::string const sas = "sys/devices/pci0000:00/0000:00:05.0";
    pci(root, sas, "10700", "1000:0097");
    disk(root, sas + "/host0/port-0:0/end_device-0:0/target0:0:7/0:0:7:0/block/sdx", "16\n");
    root.files(sas + "/host0/port-0:0/phy-0:3/sas_phy/phy-0:3",
               {{"negotiated_linkrate", "6.0 Gbit\n"}, {"maximum_linkrate", "12.0 Gbit\n"}});
    std::string const virtio = "sys/devices/pci0000:00/0000:00:07.0/virtio2";
    disk(root, virtio + "/block/vda", "16\n");
    root.link(virtio + "/driver", "../../../../bus/virtio/drivers/virtio_blk");
    RecordingSink const sink = scan(root);
    struct Case
    {
        char const *name, *driver, *speed, *most, *width;
    } const cases[] = {
        {"/dev/sda", "drv", "3.0 Gbit/s", "6.0 Gbit/s", "-"},
        {"/dev/sdb", "drv", "-", "-", "-"},
        {"/dev/nvme0n1", "drv", "-", "8.0 GT/s PCIe", "2"},
        {"/dev/sdx", "drv", "6.0 Gbit/s", "12.0 Gbit/s", "-"},
        {"/dev/sdc", "uas", "-", "-", "-"},
        {"/dev/vda", "virtio_blk", "-", "-", "-"},
    };
    for (Case const& c : cases) {
        SCOPED_TRACE(c.name);
        DeviceDescription const* const drive = known(sink, c.name);
        EXPECT_EQ(RecordingSink::property(drive, "Driver"), c.driver);
        EXPECT_EQ(RecordingSink::property(drive, "LinkSpeed"), c.speed);
        EXPECT_EQ(RecordingSink::property(drive, "MaximumLinkSpeed"), c.most);
        EXPECT_EQ(RecordingSink::property(drive, "LinkWidth"), c.width);
    }
    EXPECT_EQ(RecordingSink::property(known(sink, "/dev/sdc"), "DataRate"), "5 Gbit/s");
}

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
