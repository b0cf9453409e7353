// How the machine was started, and whether it is one.

#include "../MemoryRoot.h"
#include "../SmbiosTable.h"

#include <zel/enumerator/system/discover.h>

#include <gtest/gtest.h>

using namespace zel;
using namespace zel::test;
using namespace std::string_literals;

namespace {

std::string systemFact(Root const& root, std::string_view key)
{
    RecordingSink sink;
    discoverSystem(root, sink);
    return RecordingSink::property(sink.at("System"), key);
}

MemoryRoot named(char const* vendor, char const* product)
{
    MemoryRoot root;
    root.files("sys/class/dmi/id", {{"sys_vendor", vendor + "\n"s}, {"product_name", product + "\n"s}});
    return root;
}

MemoryRoot withFlags(MemoryRoot root, char const* flags)
{
    return root.file("proc/cpuinfo", "processor\t: 0\nflags\t\t: fpu "s + flags + "\n\nprocessor\t: 1\n");
}

} // namespace

TEST(StartFacts, FirmwareAndSecureBoot)
{
    std::string const guid = "-8be4df61-93ca-11d2-aa0d-00e098032b8c", folder = "sys/firmware/efi/efivars/";
    struct Case
    {
        std::string secureBoot, setupMode;
        char const *secure, *setup;
    } const cases[] = {{"\x06\0\0\0\x01"s, "\x06\0\0\0\0"s, "true", "false"},
                       {"\x06\0\0\0\0"s, "\x06\0\0\0\x01"s, "false", "true"},
                       {"\x06\0\0\0\x02"s, "\x01"s, "-", "-"},
                       {"\x06\0\0\0\x01\x01"s, "", "-", "-"}};
    for (Case const& c : cases) {
        MemoryRoot root = named("ACME", "Box");
        root.file(folder + "SecureBoot" + guid, c.secureBoot).file(folder + "SetupMode" + guid, c.setupMode);
        EXPECT_EQ(systemFact(root, "FirmwareMode"), "UEFI");
        EXPECT_EQ(systemFact(root, "SecureBoot"), c.secure);
        EXPECT_EQ(systemFact(root, "SecureBootSetupMode"), c.setup);
    }
    MemoryRoot root = named("ACME", "Box");
    EXPECT_EQ(systemFact(root, "FirmwareMode"), "-") << "nothing tells";
    root.file("sys/firmware/memmap/0/start", "0x0\n");
    EXPECT_EQ(systemFact(root, "FirmwareMode"), "BIOS");
    EXPECT_EQ(systemFact(root, "SecureBoot"), "-");
}

TEST(StartFacts, TrustedPlatformModule)
{
    struct Case
    {
        char const *file, *content, *wanted;
    } const cases[] = {
        {"tpm_version_major", "2\n", "2.0"},
        {"tpm_version_major", "1\n", "1.2"},
        {"tpm_version_major", "7\n", "-"},
        {"device/caps", "Manufacturer: 0x49465800\nTCG version: 1.2\nFirmware version: 6.40\n", "1.2"},
        {"device/caps", "Manufacturer: 0x49465800\n", "-"}};
    for (Case const& c : cases)
        EXPECT_EQ(
            systemFact(named("ACME", "Box").file("sys/class/tpm/tpm0/"s + c.file, c.content), "TpmVersion"),
            c.wanted);
    MemoryRoot root = named("ACME", "Box");
    root.link("sys/class/tpm/tpm0", "../../devices/LNXSYSTM:00/LNXSYBUS:00/MSFT0101:00/tpm/tpm0")
        .file("sys/devices/LNXSYSTM:00/LNXSYBUS:00/MSFT0101:00/tpm/tpm0/dev", "10:224\n");
    EXPECT_EQ(systemFact(root, "TpmVersion"), "2.0") << "by the firmware's name of it";
}

TEST(StartFacts, VirtualOrNotAndByWhom)
{
    constexpr char kClocks[] = "sys/devices/system/clocksource/clocksource0/available_clocksource";
    struct Case
    {
        MemoryRoot root;
        char const *isVirtual, *by;
    } const cases[] = {
        {named("ACME", "Box"), "-", "-"},
        {withFlags(named("ACME", "Box"), "vme hypervisors"), "false", "-"}, // another word
        {withFlags(named("ACME", "Box"), "vme hypervisor"), "true", "-"},
        {withFlags(named("ACME", "Box"), "vme hypervisor").file(kClocks, "tsc kvm-clock \n"), "true", "KVM"},
        {withFlags(named("ACME", "Box"), "vme").file(kClocks, "tsc kvm-clock \n"), "false", "-"},
        {withFlags(named("ACME", "Box"), "hypervisor").file(kClocks, "tsc hpet xenon\n"), "true", "-"},
        {withFlags(named("QEMU", "Standard PC (Q35 + ICH9, 2009)"), "hypervisor lahf_lm"), "true", "QEMU"},
        {withFlags(named("QEMU", "Standard PC"), "vme"), "true", "QEMU"}, // the bit can be hidden
        {withFlags(named("Amazon EC2", "m5.metal"), "vme"), "false", "-"},
        {withFlags(named("Amazon EC2", "m5.large"), "hypervisor"), "true", "Amazon EC2"},
        {withFlags(named("Microsoft Corporation", "Virtual Machine"), "hypervisor"), "true", "Hyper-V"},
        {withFlags(named("Microsoft Corporation", "Surface Pro"), "vme"), "false", "-"},
        {withFlags(named("Xen", "HVM domU"), "hypervisor").file("proc/xen/capabilities", "control_d\n"),
         "false", "-"},
        {named("ACME", "Box").file("sys/hypervisor/type", "xen\n"), "true", "Xen"},
        {named("ACME", "Box").file("proc/device-tree/hypervisor/compatible", "linux,kvm\0"s), "true", "KVM"},
        {named("ACME", "Box").file("proc/device-tree/compatible", "linux,dummy-virt\0"s), "true", "QEMU"},
        {named("ACME", "Box").file("proc/device-tree/compatible", "qemu,virt\0"s), "true", "QEMU"},
        {named("ACME", "Box").file("proc/device-tree/compatible", "acme,box\0"s), "-", "-"},
        {named("ACME", "Box")
             .file("sys/firmware/devicetree/base/hypervisor/compatible", "xen,xen-4.17\0xen,xen\0"s),
         "true", "Xen"},
        {named("ACME", "Box").file("proc/device-tree/hypervisor/compatible", "acme,visor\0x\0"s), "true",
         "acme,visor"},
        {named("IBM", "8561").file("proc/sysinfo", "Type: 8561\nVM00 Control Program: KVM/Linux\n"), "true",
         "KVM/Linux"},
    };
    for (Case const& c : cases) {
        EXPECT_EQ(systemFact(c.root, "IsVirtual"), c.isVirtual) << &c - cases;
        EXPECT_EQ(systemFact(c.root, "Hypervisor"), c.by) << &c - cases;
    }
    MemoryRoot table;
    table.file("sys/firmware/dmi/tables/DMI", SmbiosTable()
                                                  .add(0, std::vector<std::uint8_t>(20, 1), {"SeaBIOS"})
                                                  .add(1, {1, 2}, {"ACME", "Box"})
                                                  .add(2, {1}, {"innotek GmbH"})
                                                  .bytes());
    EXPECT_EQ(systemFact(table, "Hypervisor"), "VirtualBox") << "the board tells";
}
