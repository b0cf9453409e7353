// A machine that has everything which the list of device classes names.

#include "HardwareMachine.h"
#include "SmbiosTable.h"

using namespace std::string_literals;

namespace zel::test {

namespace {

constexpr char const* kAudio = "sys/devices/pci0000:00/0000:00:1b.0";
constexpr char const* kRaid = "sys/devices/pci0000:00/0000:00:06.0";
constexpr char const* kSas = "sys/devices/pci0000:00/0000:00:05.0";
constexpr char const* kIde = "sys/devices/pci0000:00/0000:00:1f.1";
constexpr char const* kAdapters =
    "sys/devices/pci0000:00/0000:00:14.0/usb1/1-3"; // USB 2: sound, network, serial

void addInside(MemoryRoot& root)
{
    root.files("sys/class/dmi/id", {{"sys_vendor", "ACME\n"},
                                    {"board_name", "Board\n"},
                                    {"bios_vendor", "Firm\n"},
                                    {"chassis_type", "9\n"},
                                    {"chassis_vendor", "ACME\n"}});
    std::string info;
    for (std::string const cpu : {"0", "1", "2", "3"}) {
        std::string const folder = "sys/devices/system/cpu/cpu" + cpu;
        bool const first = cpu < "2"; // two cores of two threads each
        root.files(folder + "/topology", {{"physical_package_id", "0\n"},
                                          {"core_id", first ? "0\n" : "1\n"},
                                          {"thread_siblings_list", first ? "0-1\n" : "2-3\n"},
                                          {"core_siblings_list", "0-3\n"}});
        root.files(folder + "/cache/index0", {{"level", "1\n"},
                                              {"type", "Data\n"},
                                              {"size", "32K\n"},
                                              {"shared_cpu_list", first ? "0-1\n" : "2-3\n"}});
        info +=
            "processor\t: " + cpu + "\nflags\t\t: mmx sse sse2 pni ssse3 pse36 3dnow 3dnowext mmxext ht\n\n";
    }
    root.file("sys/devices/system/cpu/online", "0-3\n").file("proc/cpuinfo", info);
    root.file("sys/devices/system/edac/mc/mc0/dimm0/dimm_ce_count", "0\n");
    root.file("proc/meminfo", "MemTotal: 8388608 kB\n")
        .file("sys/firmware/dmi/tables/DMI", SmbiosTable()
                                                 .add(0, std::vector<std::uint8_t>(20, 1), {"Firm"})
                                                 .add(1, {1}, {"ACME"})
                                                 .add(2, {1}, {"ACME"})
                                                 .add(3, {1, 9}, {"ACME"})
                                                 .add(17, memoryDevice(8192))
                                                 .bytes());
}

void addDrives(MemoryRoot& root)
{
    pci(root, kRaid, "10400", "1000:005B");
    pci(root, kSas, "10700", "1000:0097");
    pci(root, kIde, "1018A", "8086:27DF");
    disk(root, kRaid + "/host0/target0:0:0/0:0:0:0/block/sdr"s, "16\n");
    disk(root, kSas + "/host1/target1:0:0/1:0:0:0/block/sds"s, "16\n");
    disk(root, "sys/devices/platform/floppy.0/block/fd0", "16\n");
    node(root, "sys/block", "sys/devices/virtual/block/md0", {{"md/level", "raid1\n"}});
    std::string optical = "drive name:\t";
    for (std::string const number : {"0", "1", "2", "3", "4", "5"}) {
        node(root, "sys/block",
             kIde + "/host2/target2:0:"s + number + "/2:0:" + number + ":0/block/sr" + number,
             {{"size", "4\n"}});
        optical += "\tsr" + number;
    }
    // Each can do what the one before it can, and one thing more.
    root.file("proc/sys/dev/cdrom/info",
              optical + "\nCan play audio:\t1\t1\t1\t1\t1\t1\nCan write CD-R:\t0\t1\t1\t1\t1\t1\n"
                        "Can write CD-RW:\t0\t0\t1\t1\t1\t1\nCan read DVD:\t0\t0\t0\t1\t1\t1\n"
                        "Can write DVD-RAM:\t0\t0\t0\t0\t1\t1\nCan write DVD-R:\t0\t0\t0\t0\t0\t1\n");
}

void addAdapters(MemoryRoot& root)
{
    pci(root, kAudio, "40300", "8086:293E");
    node(root, "sys/class/sound", kAudio + "/sound/card0"s, {{"id", "PCH\n"}});
    root.file(kBridge + "/max_link_width"s, "1\n");
    node(root, "sys/bus/usb/devices", kAdapters,
         {{"uevent", "PRODUCT=1d6b/104/100\nTYPE=0/0/0\n"}, {"speed", "480\n"}, {"product", "Dock\n"}});
    for (auto const& [number, classes] :
         {std::pair("0", "1/1/0"), {"1", "2/6/0"}, {"2", "2/2/1"}, {"3", "3/1/1"}})
        node(root, "sys/bus/usb/devices", kAdapters + "/1-3:1."s + number,
             {{"uevent", "INTERFACE="s + classes + "\n"}});
    node(root, "sys/class/sound", kAdapters + "/1-3:1.0/sound/card1"s, {{"id", "Dock\n"}});
    node(root, "sys/class/net", kAdapters + "/1-3:1.1/net/eth1"s, {{"address", "00:1a:2b:3c:4d:5f\n"}});
    node(root, "sys/class/net", kAdapters + "/1-3:1.2/net/wlan0"s,
         {{"address", "00:1a:2b:3c:4d:60\n"}, {"uevent", "DEVTYPE=wlan\n"}});
    node(root, "sys/class/tty", kAdapters + "/1-3:1.3/ttyUSB0/tty/ttyUSB0"s, {{"uevent", "MAJOR=188\n"}});
    root.file("sys/class/drm/card0-DP-1/status", "connected\n");
    root.file("sys/class/typec/port0/data_role", "[host] device\n");
    node(root, "sys/class/tty", "sys/devices/pci0000:00/0000:00:16.3/tty/ttyS4", {{"uevent", "MAJOR=4\n"}});
}

void addInputs(MemoryRoot& root)
{
    std::string const keyboard = "EV=120013\nKEY=7 ff febeffdfffefffff fffffffffffffffe\n";
    std::string const mouse = "EV=7\nMODALIAS=input:b0011-e0,1,2,k110,111,112,r0,1,amlsfw\n";
    std::string const air = "PRODUCT=5/46d/b00/1\n"; // over Bluetooth
    struct Input
    {
        char const* path;
        std::string uevent;
    } const inputs[] = {
        {"sys/devices/platform/i8042/serio1/input/input11", mouse},
        {"sys/devices/platform/a.i2c/i2c-1/i2c-ELAN:00/input/input12",
         "EV=1B\nMODALIAS=input:b0018-e0,1,3,4,k14A,ra0,1,2F,m5,lsfw\nPROP=2\n"},
        {"sys/devices/platform/b.i2c/i2c-2/i2c-WACF:00/input/input13",
         "EV=B\nMODALIAS=input:b0018-e0,1,3,k140,141,14A,ra0,1,mlsfw\nPROP=1\n"},
        {"sys/devices/platform/c.pad/input/input14",
         "EV=B\nMODALIAS=input:b0019-e0,1,3,k130,131,133,ra0,1,2,mlsfw\n"},
        {"sys/devices/virtual/misc/uhid/0005:046D:B00.1/input/input15", air + "UNIQ=\"aa:1\"\n" + keyboard},
        {"sys/devices/virtual/misc/uhid/0005:046D:B00.2/input/input16", air + "UNIQ=\"aa:2\"\n" + mouse},
    };
    for (Input const& input : inputs)
        node(root, "sys/class/input", input.path, {{"uevent", input.uevent}});
}

void addSensors(MemoryRoot& root)
{
    root.files("sys/class/thermal/thermal_zone0", {{"type", "acpitz\n"}, {"temp", "30000\n"}});
    root.files("sys/class/hwmon/hwmon0", {{"name", "chip\n"},
                                          {"temp1_input", "30000\n"},
                                          {"in0_input", "975\n"},
                                          {"fan1_input", "1200\n"},
                                          {"curr1_input", "1200\n"},
                                          {"power1_input", "9000000\n"},
                                          {"energy1_input", "1\n"},
                                          {"humidity1_input", "40000\n"}});
    root.files("sys/class/power_supply/BAT0",
               {{"type", "Battery\n"}, {"present", "1\n"}, {"capacity", "68\n"}});
    root.files("sys/class/power_supply/AC", {{"type", "Mains\n"}, {"online", "0\n"}});
    root.file("sys/bus/acpi/devices/PNP0C0D:00/path", "\\_SB_.LID_\n");
}

} // namespace

MemoryRoot completeMachine()
{
    MemoryRoot root = machine();
    addInside(root);
    addDrives(root);
    addAdapters(root);
    addInputs(root);
    addSensors(root);
    return root;
}

} // namespace zel::test
