// What the machine counted while a test ran, on machines of written files: which rises are told, of which part, and what
// becomes of the verdict.

#include "../RecordingHost.h"
#include "../sensors/Tree.h"

#include <common/evidence/Events.h>
#include <common/evidence/EvidenceWatch.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <cstddef>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace krel5::modules::evidence::test {
namespace {

using sensors::test::Tree;

struct Host : modules::test::RecordingHost
{
    void warning(Report const& report) override { m_warnings.push_back(report); }
    /// "FAULT key part count", or WARNING, each a line.
    std::string told() const
    {
        std::string text;
        auto const add = [&text](char const* how, Report const& report) {
            text += std::string(how) + " " + report.m_eventKey.text();
            for (auto const& [name, value] : report.m_values)
                text += " " + value;
            text += "\n";
        };
        for (Report const& fault : m_faults)
            add("FAULT", fault);
        for (Report const& warning : m_warnings)
            add("WARNING", warning);
        return text;
    }
    std::vector<Report> m_warnings;
};

constexpr char kDimm[] = "sys/devices/system/edac/mc/mc0/dimm3/";
constexpr char kOldRow[] = "sys/devices/system/edac/mc/mc1/csrow0/";
constexpr char kPort[] = "sys/devices/pci0000:00/0000:00:01.0/";
constexpr char kCard[] = "sys/devices/pci0000:00/0000:00:01.0/0000:01:00.0/";
constexpr char kOther[] = "sys/devices/pci0000:00/0000:00:02.0/";
constexpr char kChip[] = "sys/class/hwmon/hwmon0/";

std::string aer(char const* total, int count)
{
    return "Undefined 0\nDLP 0\n" + std::string(total) + " " + std::to_string(count) + "\n";
}

std::string interrupts(std::string const& checks, std::string const& deferred, std::string const& corrected,
                       std::string const& polls)
{
    return "            CPU0       CPU1       \n  0:         30          0   IO-APIC   2-edge      timer\n"
           "THR: " +
           corrected + "   Threshold APIC interrupts\nDFR: " + deferred +
           "   Deferred Error APIC interrupts\nMCE: " + checks +
           "   Machine check exceptions\nMCP: " + polls + "   Machine check polls\nERR:          0\n";
}

/// One of everything, with nothing counted but what stood there before.
struct Machine : Tree
{
    Machine()
    {
        write(std::string(kDimm) + "dimm_label", "DIMM_A2\n");
        write(std::string(kDimm) + "dimm_ce_count", "7\n");
        write(std::string(kDimm) + "dimm_ue_count", "0\n");
        write("sys/devices/system/edac/mc/mc0/ue_noinfo_count", "0\n");
        write("sys/devices/system/edac/mc/mc1/dimm0/dimm_label",
              "DIMM_B1\n"); // and no counter, before Linux 4.10
        write(std::string(kOldRow) + "ch1_ce_count", "0\n");
        write(std::string(kOldRow) + "ue_count", "0\n");
        write("sys/devices/system/edac/mc/mc1/ce_count", "0\n");
        write("sys/devices/system/edac/mc/mc2/dimm0/dimm_label", "DIMM_C1\n");
        write("sys/devices/system/edac/mc/mc2/ce_count", "0\n");
        write("proc/interrupts", interrupts("0 0", "0 0", "4 4", "9 9"));
        for (char const* const cpu : {"cpu0", "cpu1"})
            write("sys/devices/system/cpu/" + std::string(cpu) + "/thermal_throttle/core_throttle_count",
                  "2\n");
        for (std::string const function : {kPort, kCard, kOther}) {
            write(function + "aer_dev_correctable", aer("TOTAL_ERR_COR", 1));
            write(function + "aer_dev_nonfatal", aer("TOTAL_ERR_NONFATAL", 0));
            write(function + "aer_dev_fatal", aer("TOTAL_ERR_FATAL", 0));
            std::string const address = function.substr(function.size() - 13, 12);
            link("sys/bus/pci/devices/" + address, function.substr(0, function.size() - 1));
        }
        write(std::string(kCard) + "host0/target/0:0:0:0/ioerr_cnt", "0x1f\n");
        write(std::string(kCard) + "host0/target/0:0:0:0/iotmo_cnt", "0x0\n");
        write(std::string(kCard) + "host0/target/0:0:0:0/block/sda/size", "1\n");
        link("sys/class/block/sda", std::string(kCard) + "host0/target/0:0:0:0/block/sda");
        link(std::string(kCard) + "host0/target/0:0:0:0/block/sda/device",
             std::string(kCard) + "host0/target/0:0:0:0");
        write(std::string(kOther) + "net/eth0/statistics/rx_errors", "3\n");
        link("sys/class/net/eth0", std::string(kOther) + "net/eth0");
        write(std::string(kChip) + "name", "coretemp\n");
        write(std::string(kChip) + "temp1_label", "Package id 0\n");
        write(std::string(kChip) + "temp1_crit", "100000\n");
        write(std::string(kChip) + "temp1_input", "99000\n");
    }
};

struct Case
{
    char const* name;
    std::string file;
    std::string after;
    char const* told; ///< during the test of /dev/sda
    Outcome outcome;
};

TEST(Evidence, ARiseNamesThePartAndDecides)
{
    Case const cases[] = {
        {"nothing", kDimm + std::string("dimm_ce_count"), "7\n", "", Outcome::Pass},
        {"corrected", kDimm + std::string("dimm_ce_count"), "9\n",
         "WARNING EvidenceMemoryCorrected DIMM_A2 2\n", Outcome::Pass},
        {"set back", kDimm + std::string("dimm_ce_count"), "1\n",
         "WARNING EvidenceMemoryCorrected DIMM_A2 1\n", Outcome::Pass},
        {"set back to nothing", kDimm + std::string("dimm_ce_count"), "0\n", "", Outcome::Pass},
        {"no number", kDimm + std::string("dimm_ce_count"), "many\n", "", Outcome::Pass},
        {"uncorrected", kDimm + std::string("dimm_ue_count"), "1\n",
         "FAULT EvidenceMemoryUncorrected DIMM_A2 1\n", Outcome::Fail},
        {"of no module", "sys/devices/system/edac/mc/mc0/ue_noinfo_count", "1\n",
         "FAULT EvidenceMemoryUncorrected mc0 1\n", Outcome::Fail},
        {"old kernel", kOldRow + std::string("ch1_ce_count"), "5\n",
         "WARNING EvidenceMemoryCorrected mc1 csrow0 ch1 5\n", Outcome::Pass},
        {"old kernel's row", kOldRow + std::string("ue_count"), "5\n",
         "FAULT EvidenceMemoryUncorrected mc1 csrow0 5\n", Outcome::Fail},
        {"row's and controller's", "sys/devices/system/edac/mc/mc1/ce_count", "5\n", "", Outcome::Pass},
        {"nobody but the controller counts", "sys/devices/system/edac/mc/mc2/ce_count", "5\n",
         "WARNING EvidenceMemoryCorrected mc2 5\n", Outcome::Pass},
        {"machine check", "proc/interrupts", interrupts("1 1", "0 0", "4 4", "9 9"),
         "FAULT EvidenceMachineCheck 0, 1 1\n", Outcome::Fail},
        {"put off", "proc/interrupts", interrupts("0 0", "0 2", "4 4", "9 9"),
         "FAULT EvidenceMachineCheckDeferred 1 2\n", Outcome::Fail},
        {"corrected by a processor", "proc/interrupts", interrupts("0 0", "0 0", "4 7", "9 9"),
         "WARNING EvidenceMachineCheckCorrected 1 3\n", Outcome::Pass},
        {"polls are no errors", "proc/interrupts", interrupts("0 0", "0 0", "4 4", "99 99"), "",
         Outcome::Pass},
        {"heat", "sys/devices/system/cpu/cpu1/thermal_throttle/core_throttle_count", "12\n",
         "WARNING EvidenceThrottled 1 10\n", Outcome::Pass},
        {"bus, corrected", kCard + std::string("aer_dev_correctable"), aer("TOTAL_ERR_COR", 3),
         "WARNING EvidenceBusCorrected 0000:01:00.0 2\n", Outcome::Pass},
        {"bus", kCard + std::string("aer_dev_nonfatal"), aer("TOTAL_ERR_NONFATAL", 1),
         "FAULT EvidenceBusUncorrected 0000:01:00.0 1\n", Outcome::Fail},
        {"on the way", kPort + std::string("aer_dev_fatal"), aer("TOTAL_ERR_FATAL", 1),
         "FAULT EvidenceBusUncorrected 0000:00:01.0 1\n", Outcome::Fail},
        {"another device's bus", kOther + std::string("aer_dev_fatal"), aer("TOTAL_ERR_FATAL", 1),
         "WARNING EvidenceBusUncorrected 0000:00:02.0 1\n", Outcome::Pass},
        {"drive", kCard + std::string("host0/target/0:0:0:0/ioerr_cnt"), "0x21\n",
         "WARNING EvidenceDriveErrors sda 2\n", Outcome::Pass},
        {"drive's silence", kCard + std::string("host0/target/0:0:0:0/iotmo_cnt"), "0x1\n",
         "WARNING EvidenceDriveTimeouts sda 1\n", Outcome::Pass},
        {"network", kOther + std::string("net/eth0/statistics/rx_errors"), "4\n",
         "WARNING EvidenceNetworkErrors eth0 1\n", Outcome::Pass},
        {"too hot", kChip + std::string("temp1_input"), "100000\n",
         "WARNING EvidenceTooHot Package id 0 100 100\n", Outcome::Pass},
    };
    for (Case const& one : cases) {
        SCOPED_TRACE(one.name);
        Machine const machine;
        EvidenceWatch watch(machine.root());
        watch.beginTest("/dev/sda");
        machine.write(one.file, one.after);
        Host host;
        EXPECT_EQ(watch.judge(host, Outcome::Pass, {}), one.outcome);
        EXPECT_EQ(host.told(), one.told);
        if (one.file.find("temp1") != std::string::npos)
            continue;
        Host later; // what was told is not told again
        EXPECT_EQ(watch.judge(later, Outcome::Pass, {}), Outcome::Pass);
        EXPECT_EQ(later.told(), "");
    }
}

// The errors stand behind all interrupts of all devices.
TEST(Evidence, IsFoundInTheTableOfAServerWithManyDevices)
{
    Tree const machine;
    constexpr int kProcessors = 256, kInterrupts = 3000;
    std::string head = "     ", devices;
    std::string const zeros = [] {
        std::string text;
        for (int i = 0; i < kProcessors; ++i)
            text += "          0";
        return text;
    }();
    for (int i = 0; i < kProcessors; ++i)
        head += "     CPU" + std::to_string(i);
    for (int i = 0; i < kInterrupts; ++i)
        devices += std::to_string(i) + ":" + zeros + "  PCI-MSIX-0000:01:00.0  1-edge  nvme0q1\n";
    auto const table = [&](char const* last) {
        return head + "\n" + devices + "MCE:" + zeros.substr(11) + last + "   Machine check exceptions\n";
    };
    machine.write("proc/interrupts", table(" 0"));
    EvidenceWatch watch(machine.root());
    watch.beginTest("");
    machine.write("proc/interrupts", table(" 1"));
    Host host;
    EXPECT_EQ(watch.judge(host, Outcome::Pass, {}), Outcome::Fail);
    EXPECT_EQ(host.told(), "FAULT EvidenceMachineCheck 255 1\n");
}

TEST(Evidence, CorrectedErrorsFailOnRequestTheDevicesOwn)
{
    Machine const machine;
    EvidenceRules const strict{true, false, false};
    for (char const* const device : {"/dev/sda", "", "/dev/nothing"}) {
        SCOPED_TRACE(device);
        machine.write(std::string(kCard) + "aer_dev_correctable", aer("TOTAL_ERR_COR", 1));
        EvidenceWatch watch(machine.root());
        watch.beginTest(device);
        machine.write(std::string(kCard) + "aer_dev_correctable", aer("TOTAL_ERR_COR", 2));
        Host host;
        bool const isOwn = std::string(device) == "/dev/sda";
        EXPECT_EQ(watch.judge(host, Outcome::Pass, strict), isOwn ? Outcome::Fail : Outcome::Pass);
        EXPECT_EQ(host.told(),
                  std::string(isOwn ? "FAULT" : "WARNING") + " EvidenceBusCorrected 0000:01:00.0 1\n");
    }
    EvidenceWatch watch(machine.root());
    watch.beginTest("eth0");
    machine.write(std::string(kDimm) + "dimm_ce_count", "8\n");
    machine.write("sys/devices/system/cpu/cpu0/thermal_throttle/core_throttle_count", "3\n");
    machine.write(std::string(kOther) + "net/eth0/statistics/rx_errors", "4\n");
    Host host;
    EXPECT_EQ(watch.judge(host, Outcome::Stopped, {true, false, true}), Outcome::Fail);
    EXPECT_EQ(host.told(), "FAULT EvidenceMemoryCorrected DIMM_A2 1\nWARNING EvidenceThrottled 0 1\n");
}

TEST(Evidence, FindsTheWaysToADriveWithSeveralControllers)
{
    Machine const machine;
    std::string const subsystem = "sys/devices/virtual/nvme-subsystem/nvme-subsys0/";
    machine.write(subsystem + "nvme0n1/size", "1\n");
    machine.link("sys/class/block/nvme0n1", subsystem + "nvme0n1");
    for (std::string const function : {kCard, kPort}) {
        std::string const controller = function == kCard ? "nvme0" : "nvme1";
        machine.write(function + "nvme/" + controller + "/state", "live\n");
        machine.link(subsystem + controller, function + "nvme/" + controller);
    }
    for (char const* const function : {kCard, kPort, kOther}) {
        EvidenceWatch watch(machine.root());
        watch.beginTest("/dev/nvme0n1");
        machine.write(std::string(function) + "aer_dev_fatal", aer("TOTAL_ERR_FATAL", 1));
        Host host;
        EXPECT_EQ(watch.judge(host, Outcome::Pass, {}), function == kOther ? Outcome::Pass : Outcome::Fail)
            << function;
    }
}

/// A table with one array of memory, after a structure with a text.
std::string firmware(char use, char correction)
{
    std::string const bios{"\x00\x05\x00\x00\x01vendor\x00\x00", 13};
    std::string const array{"\x10\x0f\x01\x00\x03", 5};
    return bios + array + use + correction + std::string(8, '\1') + std::string(2, '\0') +
           std::string("\x7f\x04\x02\x00\x00\x00", 6);
}

TEST(Evidence, SaysWhenCorrectedMemoryErrorsCannotBeSeen)
{
    struct
    {
        char const* name;
        std::string table;
        bool says;
    } const cases[] = {{"multi-bit", firmware(3, 6), true},
                       {"none", firmware(3, 3), false},
                       {"parity", firmware(3, 4), false},
                       {"a video memory's", firmware(4, 6), false},
                       {"cut", firmware(3, 6).substr(0, 19), false},
                       {"texts without an end", std::string("\x00\x04\x00\x00zz", 6), false},
                       {"a length of nothing", std::string("\x10\x00\x00\x00\x03\x03\x06", 7), false},
                       {"empty", "", false}};
    for (auto const& one : cases) {
        SCOPED_TRACE(one.name);
        Tree const machine;
        machine.write("sys/firmware/dmi/tables/DMI", one.table);
        EvidenceWatch watch(machine.root());
        watch.beginTest("");
        Host host, quiet;
        EXPECT_EQ(watch.judge(host, Outcome::Pass, {false, true, false}), Outcome::Pass);
        EXPECT_EQ(host.told(), one.says ? "WARNING EvidenceErrorsHidden\n" : "");
        watch.judge(quiet, Outcome::Pass, {false, true, false}); // of each pass it would be too often
        machine.write(std::string(kDimm) + "dimm_ce_count", "7\n");
        watch.beginTest("");
        watch.judge(quiet, Outcome::Pass, {false, true, false}); // they can be seen
        EXPECT_EQ(quiet.told(), "");
    }
}

/// A process whose kernel does not know openat2, as those before Linux 5.6.
bool seesThisMachineOnAnOldKernel()
{
    sock_filter code[] = {BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
                          BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_openat2, 0, 1),
                          BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | ENOSYS),
                          BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW)};
    sock_fprog const filter{4, code};
    return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
           prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) == 0 &&
           !MachineFolder("/proc").has("uptime") && MachineFolder("/").read("proc/uptime");
}

TEST(Evidence, IsReadOnKernelsThatCannotConfinePaths)
{
    pid_t const child = fork();
    if (child == 0)
        _exit(seesThisMachineOnAnOldKernel() ? 0 : 1);
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}

TEST(Evidence, OddMachines)
{
    for (char const* const root : {"/nowhere/at/all", "/dev/null"}) {
        EvidenceWatch watch(root);
        watch.beginTest("sda");
        Host host;
        EXPECT_EQ(watch.judge(host, Outcome::CannotRun, {}), Outcome::CannotRun);
        EXPECT_EQ(host.told(), "");
    }
    Machine const machine; // what goes away, or comes, while the test runs
    EvidenceWatch watch(machine.root());
    watch.beginTest("sda");
    machine.remove("sys/devices/system/edac");
    machine.remove("proc/interrupts");
    machine.fifo(std::string(kCard) + "aer_dev_fatal");
    machine.write(std::string(kPort) + "aer_dev_fatal", std::string(1 << 15, 'x'));
    Host host;
    EXPECT_EQ(watch.judge(host, Outcome::Pass, {}), Outcome::Pass);
    EXPECT_EQ(host.told(), "");
    machine.write("proc/interrupts", "MCE: 1 1\n\n    CPU0\nMCE:\nMCE: x\n");
    EXPECT_EQ(watch.judge(host, Outcome::Pass, {}), Outcome::Pass);
}

} // namespace
/// Soft limit of descriptors, for as long as it lives.
class DescriptorLimit
{
public:
    explicit DescriptorLimit(rlim_t most)
    {
        ::getrlimit(RLIMIT_NOFILE, &m_before);
        rlimit const limit{most, m_before.rlim_max};
        ::setrlimit(RLIMIT_NOFILE, &limit);
    }
    ~DescriptorLimit() { ::setrlimit(RLIMIT_NOFILE, &m_before); }

private:
    rlimit m_before{};
};

// A test that opens files is not starved by what is held for it, and counters that nobody could read are told.
TEST(Evidence, LeavesDescriptorsToTheTestAndTellsWhenItHadNoneItself)
{
    Tree const machine;
    for (int i = 0; i < 40; ++i)
        for (char const* const file : {"rx_errors", "tx_errors"})
            machine.write("sys/class/net/eth" + std::to_string(i) + "/statistics/" + file, "5\n");
    EvidenceWatch watch(machine.root());
    Host host;
    int const next = ::dup(0);
    ::close(next);
    {
        DescriptorLimit const limit(static_cast<rlim_t>(next) + 70);
        watch.beginTest("/dev/eth3");
        int const own = ::dup(0);
        EXPECT_GE(own, 0);
        EXPECT_LE(own, next + 16) << "6, and what was open already";
        ::close(own);
        machine.write("sys/class/net/eth39/statistics/rx_errors", "6\n");
        watch.judge(host, Outcome::Pass, {});
        EXPECT_EQ(host.told(), "WARNING EvidenceNetworkErrors eth39 1\n");
    }
    EvidenceWatch other(machine.root()); // holds the root
    Host blind;
    {
        DescriptorLimit const limit(static_cast<rlim_t>(next));
        other.beginTest("");
        EXPECT_EQ(other.judge(blind, Outcome::Pass, {}), Outcome::Pass);
        other.judge(blind, Outcome::Pass, {});
    }
    EXPECT_EQ(blind.told(), "WARNING EvidenceUnread Too many open files\n");
}

} // namespace krel5::modules::evidence::test
