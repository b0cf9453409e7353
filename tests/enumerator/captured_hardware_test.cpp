// Facts about captured machines: PCI functions, USB devices, drives and partitions, network cards.

#include "CapturedMachine.h"

#include <zel/enumerator/root/Text.h>

#include <gtest/gtest.h>

using namespace zel;
using namespace zel::test;

namespace {

using C = CapabilityImp;

std::string firstWord(std::string const& line) { return line.substr(0, line.find(' ')); }

std::size_t countWhere(CapturedMachine const& machine, bool (*fits)(DeviceDescription const&))
{
    std::size_t number = 0;
    for (DeviceDescription const& device : machine.devices())
        number += fits(device) ? 1 : 0;
    return number;
}

bool isPciFunction(DeviceDescription const& device)
{
    return propertyText(&device, "PciAddress") == device.osLocator.toUtf8();
}

/// What a fact says, unless the attribute is not in the tree.
void expectFact(std::optional<std::string> const& fact, std::string const& found, std::string const& line)
{
    if (fact) {
        EXPECT_EQ(found, *fact) << line;
    }
}

/// "sda1:262144, sda2:786432]": name and sectors.
void expectPartitions(CapturedMachine const& machine, std::string const& line)
{
    std::size_t const open = line.find('[');
    if (open == std::string::npos)
        return;
    for (std::string_view const part : text::split(std::string_view(line).substr(open + 1), ',')) {
        auto const fields = text::split(text::trimmed(part), ':');
        ASSERT_EQ(fields.size(), 2u) << line;
        auto const* const partition = machine.byOsLocator("/dev/" + std::string(fields[0]));
        ASSERT_TRUE(partition) << part;
        EXPECT_EQ(partition->type, C::DrivePartition());
        auto const sectors = text::toUnsigned(fields[1].substr(0, fields[1].find(']')));
        EXPECT_EQ(count(partition, "Size"), *sectors * 512) << part;
        EXPECT_TRUE(machine.byLocation(partition->parentType, partition->parentLocator.toUtf8())) << part;
    }
}

void expectDrive(CapturedMachine const& machine, std::string const& line)
{
    std::string const name = firstWord(line);
    auto const* const drive = machine.byOsLocator("/dev/" + name);
    ASSERT_TRUE(drive) << line;
    bool const optical = name.starts_with("sr");
    EXPECT_EQ(drive->capabilities.isCapable(C::Optical()), optical) << line;
    EXPECT_EQ(drive->capabilities.isCapable(C::HardDrive()), !optical) << line;
    auto const model = word(line, "model"), vendor = word(line, "vendor");
    // The attribute holds the first 16 characters of an ATA drive's model.
    EXPECT_TRUE(propertyText(drive, "Model").starts_with(model.value_or(""))) << line;
    expectFact(text::meaningful(word(line, "serial")), propertyText(drive, "SerialNumber"), line);
    expectFact(word(line, "rev"), propertyText(drive, "FirmwareVersion"), line);
    if (vendor && *vendor != "ATA") {
        EXPECT_EQ(propertyText(drive, "Manufacturer"), *vendor) << line;
    }
    if (auto const removable = word(line, "removable")) {
        EXPECT_EQ(drive->capabilities.isCapable(C::RemovableStorage()), *removable == "1") << line;
    }
    if (optical)
        return;
    if (auto const bytes = word(line, "bytes")) {
        EXPECT_EQ(count(drive, "Size"), text::toUnsigned(*bytes)) << line;
    }
    if (auto const size = word(line, "lbs")) {
        EXPECT_EQ(count(drive, "LogicalSectorSize"), text::toUnsigned(*size)) << line;
    }
    expectPartitions(machine, line);
}

} // namespace

TEST(CapturedHardware, Drives)
{
    SKIP_WITHOUT_MACHINES();
    std::size_t all = 0;
    for (CapturedMachine const& machine : capturedMachines()) {
        SCOPED_TRACE(machine.name());
        std::size_t drives = 0;
        for (std::string const& line : machine.section("block")) {
            if (line.find(" sectors=") == std::string::npos)
                continue;
            std::string const name = firstWord(line);
            bool const mapping = name.starts_with("dm-") || name.starts_with("loop") ||
                                 name.starts_with("zram") || name.starts_with("md");
            if (DeviceDescription const* const array = machine.byOsLocator("/dev/" + name);
                array && name.starts_with("md")) {
                EXPECT_TRUE(array->type == C::RAID()) << line;
            } else if (mapping) {
                EXPECT_FALSE(machine.byOsLocator("/dev/" + name)) << line;
            } else {
                expectDrive(machine, line);
            }
            drives += mapping ? 0 : 1;
        }
        EXPECT_EQ(countWhere(machine,
                             [](DeviceDescription const& device) {
                                 return device.capabilities.intersects(C::HardDrive() | C::Optical());
                             }),
                  drives);
        all += drives;
    }
    EXPECT_GT(all, 0u) << "no drive in any of them";
}

TEST(CapturedHardware, ConditionsAsTheFilesHaveThem)
{
    SKIP_WITHOUT_MACHINES();
    struct Case
    {
        char const *machine, *osLocator, *key, *wanted;
    } const cases[] = {
        {"block-lvm-simple", "/dev/sda", "CommandErrors", "200"}, // 0xc8
        {"block-lvm-simple", "/dev/sda", "WorldWideId", "t10.ATA KINGSTON SH103S3240G 50026B724B09A1FF"},
        {"block-lvm-simple", "/dev/nvme0n1", "Status", "live"},
        {"block-lvm-simple", "/dev/nvme0n1", "WriteCache", "write back"},
        {"laptop-thinkpad-t60p", "/dev/sda", "CommandErrors", "6"},
        {"laptop-thinkpad-t60p", "/dev/md0", "RaidLevel", "raid1"},
        {"laptop-thinkpad-t60p", "/dev/md0", "MissingMembers", "1"},
        {"laptop-thinkpad-t60p", "/dev/md0", "MemberStates", "sda9: in_sync"},
        {"server-dell-r610-l5640-2s", "0000:05:10.1", "NumaNode", "1"},
    };
    for (Case const& c : cases)
        EXPECT_EQ(propertyText(machineCalled(c.machine).byOsLocator(c.osLocator), c.key), c.wanted)
            << c.machine;
    CapturedMachine const& laptop = machineCalled("derived-laptop-latitude-5580");
    EXPECT_EQ(propertyText(laptop.byLocation(C::System(), "System"), "TpmVersion"), "2.0");
    CapturedMachine const& arm = machineCalled("cpu-arm64-a510-a710-a715-x3");
    EXPECT_NE(propertyText(arm.ofType(C::CPU()).at(0), "Vulnerabilities")
                  .find("spectre_v2: Vulnerable: Unprivileged eBPF enabled"),
              std::string::npos);
}

TEST(CapturedHardware, PciFunctions)
{
    SKIP_WITHOUT_MACHINES();
    for (CapturedMachine const& machine : capturedMachines()) {
        SCOPED_TRACE(machine.name());
        auto const number = machine.fact("pci", "pci_functions");
        EXPECT_EQ(countWhere(machine, isPciFunction), text::toUnsigned(number.value_or("0")));
        for (std::string const& line : machine.section("pci")) {
            if (!line.starts_with("0000:"))
                continue;
            auto const words = text::split(line, ' '); // address, class=, vendor:device
            auto const* const function = machine.byOsLocator(std::string(words[0]));
            ASSERT_TRUE(function) << line;
            EXPECT_TRUE(function->capabilities.isCapable(C::PCI())) << line;
            expectFact(word(line, "class"), propertyText(function, "ClassCode"), line);
            if (words[2].find('-') == std::string_view::npos) {
                EXPECT_EQ(propertyText(function, "VendorId") + ":" + propertyText(function, "DeviceId"),
                          words[2]);
            }
            std::size_t const driver = line.find("driver="); // its name may hold blanks
            EXPECT_EQ(propertyText(function, "Driver"), line.substr(driver + 7)) << line;
        }
    }
}

TEST(CapturedHardware, UsbDevices)
{
    SKIP_WITHOUT_MACHINES();
    for (CapturedMachine const& machine : capturedMachines()) {
        SCOPED_TRACE(machine.name());
        std::size_t devices = 0;
        for (std::string const& line : machine.section("usb")) {
            if (!word(line, "bus"))
                continue;
            ++devices;
            auto const* const device = machine.byOsLocator(firstWord(line));
            ASSERT_TRUE(device) << line;
            EXPECT_TRUE(device->hwLocator.startsWith(String("USB:" + *word(line, "bus")))) << line;
            EXPECT_EQ(propertyText(device, "VendorId") + ":" + propertyText(device, "DeviceId"),
                      text::split(line, ' ')[1]);
            EXPECT_EQ(device->capabilities.isCapable(C::HUB()), *word(line, "class") == "09") << line;
            expectFact(word(line, "ver"), propertyText(device, "UsbVersion"), line);
            if (auto const speed = word(line, "speed")) {
                EXPECT_EQ(propertyText(device, "DataRate"), *speed + " Mbit/s") << line;
            }
            if (firstWord(line).starts_with("usb"))
                continue; // a root hub's texts are the kernel's own
            expectFact(word(line, "manufacturer"), propertyText(device, "Manufacturer"), line);
            expectFact(word(line, "product"), propertyText(device, "Model"), line);
            expectFact(word(line, "serial"), propertyText(device, "SerialNumber"), line);
        }
        auto const number = machine.fact("usb", "usb_devices");
        EXPECT_EQ(devices, text::toUnsigned(firstWord(number.value_or("0"))));
    }
}

TEST(CapturedHardware, NetworkCards)
{
    SKIP_WITHOUT_MACHINES();
    std::size_t cards = 0;
    for (CapturedMachine const& machine : capturedMachines()) {
        SCOPED_TRACE(machine.name());
        for (std::string const& line : machine.section("net")) {
            if (line.find(" mac=") == std::string::npos)
                continue;
            auto const* const card = machine.byOsLocator(firstWord(line));
            bool const noCard =
                word(line, "device") == "virtual" || word(line, "type") == "801"; // a driver's helper
            ASSERT_EQ(card != nullptr, !noCard) << line;
            if (!card)
                continue;
            ++cards;
            EXPECT_EQ(card->type, C::NetworkCard()) << line;
            expectFact(word(line, "mac"), propertyText(card, "MacAddress"), line);
            auto const mtu = word(line, "mtu");
            EXPECT_EQ(count(card, "Mtu"), mtu ? text::toUnsigned(*mtu) : std::nullopt) << line;
            if (word(line, "wireless") == "yes") {
                EXPECT_TRUE(card->capabilities.isCapable(C::Wireless())) << line;
            }
            if (auto const carrier = word(line, "carrier")) {
                EXPECT_EQ(propertyText(card, "LinkDetected"), *carrier == "1" ? "true" : "false") << line;
            }
        }
    }
    EXPECT_GT(cards, 0u) << "no network card in any of them";
}
