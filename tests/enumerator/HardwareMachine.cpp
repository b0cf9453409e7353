#include "HardwareMachine.h"

#include <gtest/gtest.h>

using namespace std::string_literals;

namespace zel::test {

namespace {

using C = CapabilityImp;

std::string lastOf(std::string const& path) { return path.substr(path.rfind('/') + 1); }

std::string ataDisk(char const* ata, char const* address, char const* name)
{
    return std::string(kAhci) + "/" + ata + "/host9/target9:0:0/" + address + "/block/" + name;
}

} // namespace

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

void expectWhole(RecordingSink const& sink)
{
    std::set<std::pair<String, String>> places;
    for (DeviceDescription const& device : sink.devices)
        EXPECT_TRUE(places.emplace(device.type.toString(), device.hwLocator).second)
            << device.hwLocator.toUtf8();
    for (DeviceDescription const& device : sink.devices)
        EXPECT_TRUE(device.type == C::System() || device.parentType == C::System() ||
                    places.contains({device.parentType.toString(), device.parentLocator}))
            << device.parentLocator.toUtf8();
}

void run(Discoverer const& discoverer, HardwareTree& tree, DeviceSink& sink)
{
    if (auto const* const onRoot = std::get_if<DiscoverOnRoot>(&discoverer.discover))
        (*onRoot)(tree.root(), sink);
    else
        std::get<DiscoverOnBuses>(discoverer.discover)(tree, sink);
}

RecordingSink scan(Root const& root, bool detail)
{
    HardwareTree tree(root, HardwareNames::none());
    RecordingSink sink;
    sink.detail = detail;
    for (Discoverer const& discoverer : discoverers())
        if (std::holds_alternative<DiscoverOnBuses>(discoverer.discover))
            run(discoverer, tree, sink);
    return sink;
}

C expectCapabilitiesListed(Discoverer const& discoverer, HardwareTree& tree)
{
    RecordingSink sink;
    run(discoverer, tree, sink);
    C const listed = discoverer.yields() | C::Hardware();
    C found;
    for (DeviceDescription const& device : sink.devices) {
        found |= device.capabilities | device.type;
        EXPECT_TRUE(listed.isCapable(device.capabilities | device.type))
            << "the row of " << discoverer.name << " lacks something of "
            << device.capabilities.toString().toUtf8();
    }
    return found;
}

} // namespace zel::test
