// Which block devices are mounted, and which carry the system.

#include "../MemoryRoot.h"

#include <zel/enumerator/drives/MountedDevices.h>

#include <gtest/gtest.h>

using namespace zel;
using namespace zel::test;

namespace {

constexpr char const* kDrive = "sys/devices/pci0000:00/0000:00:1d.0/nvme/nvme0/nvme0n1";

/// An NVMe drive with two partitions, a mapping on the second of them, a disk with one.
MemoryRoot machine(bool hasClass)
{
    std::string const drive = kDrive, disk = "sys/devices/vbd/block/sdp",
                      mapping = "sys/devices/virtual/block/dm-1";
    MemoryRoot root;
    for (std::string const& path :
         {drive, drive + "/nvme0n1p1", drive + "/nvme0n1p2", disk, disk + "/sdp1", mapping}) {
        std::string const name = path.substr(path.rfind('/') + 1);
        root.file(path + "/size", "8\n");
        if (path == drive || path == disk || path == mapping)
            root.link("sys/block/" + name, "/" + path);
        if (hasClass)
            root.link("sys/class/block/" + name, "/" + path);
    }
    return root.link(mapping + "/slaves/nvme0n1p2", "/" + drive + "/nvme0n1p2")
        .file(mapping + "/dm/name", "vg-root\n")
        .link("sys/dev/block/259:2", "/" + drive + "/nvme0n1p2");
}

} // namespace

TEST(MountedDevices, TheSystemIsFoundHoweverItIsNamed)
{
    struct Case
    {
        char const *what, *mountinfo, *mounts, *carriers, *mounted;
    } const cases[] = {
        {"by its number", "1 0 259:2 / / rw - ext4 /dev/root rw\n", "", "nvme0n1 nvme0n1p2 ", "nvme0n1p2 "},
        {"by the number's side, not the source's", "1 0 259:2 / / rw - ext4 /dev/sdp1 rw\n", "",
         "nvme0n1 nvme0n1p2 ", "nvme0n1p2 sdp1 "},
        {"over several drives", "1 0 0:35 / / rw - btrfs /dev/sdp1 rw\n", "", "sdp sdp1 ", "sdp1 "},
        {"by its source", "", "/dev/nvme0n1p1 / ext4 rw 0 0\n", "nvme0n1 nvme0n1p1 ", "nvme0n1p1 "},
        {"a name with a p of its own", "", "/dev/sdp1 / ext4 rw 0 0\n", "sdp sdp1 ", "sdp1 "},
        {"a whole drive", "", "/dev/sdp / ext4 rw 0 0\n", "sdp ", "sdp "},
        {"a mapping", "", "/dev/mapper/vg-root / xfs rw 0 0\n/dev/sdp1 /data ext4 rw 0 0\n",
         "dm-1 nvme0n1 nvme0n1p2 ", "dm-1 sdp1 "},
        {"another mapping", "", "/dev/mapper/vg-home / xfs rw 0 0\n", "", ""},
        {"no device", "", "overlay / overlay rw 0 0\n/dev/root / ext4 rw 0 0\n", "", ""},
        {"a way out", "", "/dev/../sdp1 / ext4 rw 0 0\n", "", ""},
        {"the last of two", "", "/dev/sdp1 / ext4 rw 0 0\n/dev/nvme0n1p1 / ext4 rw 0 0\n",
         "nvme0n1 nvme0n1p1 ", "nvme0n1p1 sdp1 "},
        {"nothing is mounted there", "", "/dev/sdp1 /data ext4 rw 0 0\n", "", "sdp1 "},
    };
    for (bool const hasClass : {true, false})
        for (Case const& c : cases) {
            MemoryRoot root = machine(hasClass);
            root.file(*c.mountinfo ? "proc/self/mountinfo" : "proc/self/mounts",
                      *c.mountinfo ? c.mountinfo : c.mounts);
            MountedDevices const devices(root);
            std::string carriers, mounted;
            for (std::string const name :
                 {"dm-1", "nvme0", "nvme0n1", "nvme0n1p1", "nvme0n1p2", "sdp", "sdp1"}) {
                carriers += devices.carriesSystem(name) ? name + " " : "";
                mounted += devices.find(name) ? name + " " : "";
            }
            EXPECT_EQ(carriers, c.carriers) << c.what << (hasClass ? "" : ", without sys/class");
            EXPECT_EQ(mounted, c.mounted) << c.what << (hasClass ? "" : ", without sys/class");
        }
}

TEST(MountedDevices, MappingsUponMappingsEnd)
{
    MemoryRoot root;
    for (int i = 0; i < 20; ++i) {
        std::string const folder = "sys/devices/virtual/block/dm-";
        std::string const below = std::to_string(i + 1);
        root.file(folder + std::to_string(i) + "/dm/name", "m" + std::to_string(i) + "\n")
            .link(folder + std::to_string(i) + "/slaves/dm-" + below, "/" + folder + below)
            .link("sys/block/dm-" + std::to_string(i), "/" + folder + std::to_string(i));
    }
    root.file("sys/devices/virtual/block/dm-20/size", "8\n")
        .file("proc/mounts", "/dev/mapper/m0 / ext4 rw 0 0\n");
    MountedDevices const devices(root);
    EXPECT_TRUE(devices.carriesSystem("dm-15"));
    EXPECT_FALSE(devices.carriesSystem("dm-16")) << "nobody stacks so many";
}
