// Drives of every bus, their drivers and links.

#include "../HardwareMachine.h"

#include <gtest/gtest.h>

using namespace zel;
using namespace zel::test;
using namespace std::string_literals;
using C = CapabilityImp;

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
    disk(root, slot + "/nvme/nvme3/nvme3n5", "16\n");
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
    disk(root, "sys/devices/platform/spi.flash/mtd/mtd0/mtdblock0", "16\n");
    disk(root, "sys/devices/virtual/block/pmem0", "16\n");
    RecordingSink const sink = scan(root);
    struct Case
    {
        char const *osLocator, *place;
    } const cases[] = {
        {"/dev/nvme3n1", "HardDrive PCI:256:2:0 below PCI:256:2:0"}, // domain 1
        {"/dev/nvme3n5", "HardDrive PCI:256:2:0:5 below PCI:256:2:0"},
        {"/dev/nvme3c3n1", "none"},
        {"/dev/nvme4n1", "HardDrive PCI:0:6:0 below System"},
        {"/dev/sr0", "DVD IDE:1:1 below PCI:0:31:1"},
        {"/dev/sda", "HardDrive SCSI:40:0:7:0 below PCI:0:5:0"},
        {"/dev/mmcblk0", "HardDrive fe34.mmc below System"},
        {"/dev/mmcblk0boot0", "none"},
        {"/dev/mtdblock0", "none"},
        {"/dev/pmem0", "none"},
    };
    for (Case const& c : cases)
        EXPECT_EQ(placeOf(sink, c.osLocator), c.place);
    EXPECT_EQ(known(sink, "/dev/nvme3n1")->name, String("Samsung SSD 970 EVO 1TB"));
    EXPECT_EQ(RecordingSink::property(known(sink, "/dev/nvme3n1"), "SerialNumber"), "S5H9");
    EXPECT_TRUE(known(sink, "/dev/sda")->capabilities.isCapable(C::SAS() | C::SCSI()));
    expectWhole(sink);
}

// Older captures hold no sys/block.
TEST(Hardware, APartitionIsNoDriveWhereOnlyTheClassWasCaptured)
{
    MemoryRoot root;
    std::string const drive = "sys/devices/pci0000:00/0000:00:05.0/host0/target0:0:0/0:0:0:0/block/sda";
    node(root, "sys/class/block", drive, {{"size", "16\n"}});
    node(root, "sys/class/block", drive + "/sda1", {{"size", "8\n"}, {"start", "8\n"}, {"partition", "1\n"}});
    RecordingSink const sink = scan(root);
    EXPECT_EQ(sink.ofType(C::HardDrive()).size(), 1u);
    EXPECT_EQ(sink.ofType(C::DrivePartition()).size(), 1u);
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
        {"/dev/nvme0n1", "drv", "-", "8.0 GT/s", "2"},
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

TEST(Hardware, ConditionOfDrives)
{
    MemoryRoot root = machine();
    std::string const sda = kAhci + "/ata3/host9/target9:0:0/9:0:0:0"s,
                      sdb = kAhci + "/ata4/host9/target9:0:0/10:0:0:0"s,
                      nvme = "sys/devices/pci0000:00/0000:00:1d.0/nvme/nvme0";
    root.files(sda, {{"wwid", "naa.5000c500a1b2c3d4\n"},
                     {"state", "offline\n"},
                     {"ioerr_cnt", "0x1f\n"},
                     {"iotmo_cnt", "0x2\n"},
                     {"scsi_disk/9:0:0:0/cache_type", "write through\n"},
                     {"block/sda/queue/write_cache", "write back\n"}})
        .files(sdb, {{"wwid", std::string(300, 'a') + "\n"},
                     {"state", "running\n"},
                     {"ioerr_cnt", "0xffffffffffffffff1\n"},
                     {"block/sdb/queue/write_cache", "write sideways\n"}});
    pci(root, "sys/devices/pci0000:00/0000:00:1d.0", "10802", "144D:A808");
    disk(root, nvme + "/nvme0n1", "16\n");
    root.files(nvme, {{"state", "live\n"},
                      {"nvme0n1/wwid", "eui.0025385b71b00001\n"},
                      {"nvme0n1/queue/write_cache", "write back\n"}});
    RecordingSink const sink = scan(root);
    struct Case
    {
        char const *drive, *wwid, *state, *errors, *timeouts, *cache;
    } const cases[] = {
        {"/dev/sda", "naa.5000c500a1b2c3d4", "offline", "31", "2", "write through"}, // the drive's own word
        {"/dev/sdb", "-", "running", "-", "-", "-"},
        {"/dev/nvme0n1", "eui.0025385b71b00001", "live", "-", "-", "write back"},
        {"/dev/sdc", "-", "-", "-", "-", "-"}, // it says nothing
    };
    for (Case const& c : cases) {
        DeviceDescription const* const drive = known(sink, c.drive);
        for (auto const& [key, wanted] : {std::pair{"WorldWideId", c.wwid},
                                          {"Status", c.state},
                                          {"CommandErrors", c.errors},
                                          {"CommandTimeouts", c.timeouts},
                                          {"WriteCache", c.cache}})
            EXPECT_EQ(RecordingSink::property(drive, key), wanted) << c.drive << " " << key;
    }
    EXPECT_TRUE(known(sink, "/dev/sda")->state == DeviceStateImp::OTHER());
    EXPECT_TRUE(known(sink, "/dev/sdb")->state == DeviceStateImp::FUNCTIONAL());
    for (char const* gone : {"transport-offline\n", "dead\n"}) {
        root.file(sdb + "/state", gone);
        EXPECT_TRUE(known(scan(root), "/dev/sdb")->state == DeviceStateImp::OTHER()) << gone;
    }
}

TEST(Hardware, WhatADriveIsCalledAndHolds)
{
    struct Case
    {
        char const *what, *file, *content, *key, *wanted;
    } const cases[] = {
        {"solid state", "queue/rotational", "0\n", "description", "Solid-state drive"},
        {"rotating", "queue/rotational", "1\n", "description", "Hard disk"},
        {"nobody says", "queue/rotational", "", "description", "Drive"},
        {"fixed", "removable", "0\n", "MediumPresent", "-"},
        {"a medium", "removable", "1\n", "MediumPresent", "true"},
        {"no size", "size", "0\n", "Size", "-"},
        {"less than no size", "size", "-1\n", "Size", "-"},
        {"size in sectors of 512", "size", "2048\n", "Size", "1 MiB"},
        {"no sectors", "queue/logical_block_size", "0\n", "LogicalSectorSize", "-"},
        {"sectors", "queue/logical_block_size", "4096\n", "LogicalSectorSize", "4 KiB"},
        {"partition at the start", "sda1/start", "0\n", "Start", "0 B"},
        {"no model, no borrowed name", "../../model", "\n", "name", "Solid-state drive"},
    };
    std::string const sda = kAhci + "/ata3/host9/target9:0:0/9:0:0:0/block/sda"s;
    for (Case const& c : cases) {
        MemoryRoot root = machine();
        root.file(c.file == "../../model"s ? sda.substr(0, sda.find("/block")) + "/model"
                                           : sda + "/" + c.file,
                  c.content);
        RecordingSink const sink = scan(root);
        DeviceDescription const* const drive = known(sink, c.key == "Start"s ? "/dev/sda1" : "/dev/sda");
        ASSERT_TRUE(drive) << c.what;
        std::string const told = c.key == "description"s ? drive->description.toUtf8()
                                 : c.key == "name"s      ? drive->name.toUtf8()
                                                         : RecordingSink::property(drive, c.key);
        EXPECT_EQ(told, c.wanted) << c.what;
        EXPECT_EQ(drive->capabilities.isCapable(C::RemovableStorage()), c.what == "a medium"s) << c.what;
    }
    MemoryRoot root = machine();
    std::string const stick = kXhci + "/usb1/1-2/1-2.4/1-2.4:1.0/host11/target11:0:0/11:0:0:0/block/sdc"s;
    root.file(stick + "/size", "0\n");
    EXPECT_EQ(RecordingSink::property(known(scan(root), "/dev/sdc"), "MediumPresent"), "false");
    EXPECT_EQ(known(scan(root), "/dev/sdc")->name, String("USB device 0951:1666 (USB removable drive)"));
    // An ATA drive behind a translation that gives no maker: the page with its identity is read all the same.
    std::string const device = sda.substr(0, sda.find("/block"));
    std::string ata =
        "ATA     " + std::string("ACME Rocket") + std::string(29, ' ') + "S123" + std::string(16, ' ');
    root.remove(device + "/vendor")
        .file(device + "/vpd_pg83", "\0\x83\0\x48\2\1\0\x44"s + ata)
        .file(device + "/vpd_pg80", "\0\x80\0\4OLD1"s);
    EXPECT_EQ(RecordingSink::property(known(scan(root), "/dev/sda"), "SerialNumber"), "S123");
    EXPECT_EQ(RecordingSink::property(known(scan(root), "/dev/sda"), "Model"), "ACME Rocket");
}

TEST(Hardware, HowFullAFileSystemIs)
{
    FileSystemUsage const usage{1000ull << 20, 600ull << 20, 300ull << 20};
    struct Case
    {
        char const *device, *type; ///< that stands at the mount point, and of the mount
        char const* used;
    } const cases[] = {
        {"8:1", "ext4", "600 MiB"},
        {"8:2", "ext4", "-"}, // something else was mounted over it
        {"0:42", "btrfs", "600 MiB"},
    };
    for (Case const& c : cases) {
        MemoryRoot root = machine();
        root.file("proc/self/mountinfo", std::string("1 0 8:1 / /data rw - ") + c.type + " /dev/sda1 rw\n")
            .link("sys/dev/block/8:1", "/" + std::string(*root.resolve("sys/block/sda")) + "/sda1")
            .usage("/data", c.device, usage);
        RecordingSink const sink = scan(root);
        auto const* const partition = known(sink, "/dev/sda1");
        EXPECT_EQ(RecordingSink::property(partition, "MountPoint"), "/data");
        EXPECT_EQ(RecordingSink::property(partition, "FileSystemUsed"), c.used) << c.device;
    }
}

TEST(Hardware, LabelsOfPartitions)
{
    MemoryRoot root = machine();
    std::string const partition = *root.resolve("sys/block/sda") + "/sda1/";
    root.file(partition + "dev", "8:1\n")
        .file(partition + "uevent", "DEVTYPE=partition\nPARTNAME=EFI system\n")
        .file("run/udev/data/b8:1", "S:disk/by-label/x\nE:ID_FS_LABEL=ESP\nE:ID_FS_UUID=1234-ABCD\n"
                                    "E:ID_PART_ENTRY_UUID=c0ffee00-01\n");
    auto const found = [&root](bool detail, char const* key) {
        return RecordingSink::property(known(scan(root, detail), "/dev/sda1"), key);
    };
    EXPECT_EQ(found(true, "PartitionLabel"), "EFI system");
    EXPECT_EQ(found(true, "PartitionUuid"), "c0ffee00-01");
    EXPECT_EQ(found(true, "FileSystemLabel"), "ESP");
    EXPECT_EQ(found(true, "FileSystemUuid"), "1234-ABCD");
    EXPECT_EQ(found(false, "FileSystemLabel"), "-");
    root.file(partition + "dev", "8:1/../../../etc/secret\n");
    EXPECT_EQ(found(true, "FileSystemLabel"), "-") << "no number of a device";
    EXPECT_EQ(found(true, "PartitionLabel"), "EFI system");
}
