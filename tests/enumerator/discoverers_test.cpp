// The list of device classes: who asks for some gets exactly those, and nothing else of the machine is touched.

#include "HardwareMachine.h"
#include "SmbiosTable.h"

#include <zel/enumerator/Enumerator.h>

#include <gtest/gtest.h>

using namespace zel;
using namespace zel::test;
using C = CapabilityImp;

namespace {

std::vector<std::string> facts(RecordingSink const& sink)
{
    std::vector<std::string> lines;
    for (DeviceDescription const& device : sink.devices) {
        lines.push_back((device.type.toString() + " " + device.hwLocator + " " + device.name).toUtf8());
        for (auto const& [key, value] : device.properties)
            lines.push_back(std::string("  ") + key + "=" + value.toString().toUtf8());
    }
    return lines;
}

std::vector<std::string> places(RecordingSink const& sink, C const& wanted)
{
    std::vector<std::string> found;
    for (DeviceDescription const& device : sink.devices)
        if ((device.capabilities | device.type).intersects(wanted))
            found.push_back(
                (device.type.toString() + " " + device.hwLocator + " below " + device.parentLocator)
                    .toUtf8());
    return found;
}

RecordingSink found(Root const& root, C const& wanted)
{
    RecordingSink sink;
    discover(root, wanted, sink, HardwareNames::none());
    return sink;
}

bool touched(MemoryRoot const& root, std::string_view folder)
{
    return std::any_of(root.asked().begin(), root.asked().end(),
                       [folder](std::string const& path) { return path.starts_with(folder); });
}

} // namespace

TEST(Discoverers, EveryRowSaysWhatItsDevicesCanDo)
{
    MemoryRoot const root = completeMachine();
    HardwareTree tree(root, HardwareNames::none());
    expectWhole(found(root, C::ALL()));
    for (Discoverer const& discoverer : discoverers()) {
        SCOPED_TRACE(discoverer.name);
        C const capabilities = expectCapabilitiesListed(discoverer, tree);
        EXPECT_FALSE(capabilities.isEmpty()) << "the machine has no device of this class";
        // Those of the buses come from tables of class codes; of the others the machine shows every one.
        bool const fromTable = capabilities.intersects(C::PCIPCIBridge() | C::HUB());
        EXPECT_TRUE(fromTable || capabilities.isCapable(discoverer.yields()))
            << "no device shows all of " << discoverer.yields().toString().toUtf8() << ", only "
            << capabilities.toString().toUtf8();
    }
}

TEST(Discoverers, AZeroAtTheEndOfAnAttributeCostsNothing)
{
    MemoryRoot const root = completeMachine();
    EXPECT_EQ(facts(found(completeMachine().zeroEnded(), C::ALL())), facts(found(root, C::ALL())));
}

// Whatever path it is that nobody can look at: the scan goes on, and who asked is told, once.
TEST(Discoverers, AMachineThatCannotBeLookedThroughSaysSo)
{
    MemoryRoot const machine = completeMachine();
    MemoryRoot const watched = machine;
    RecordingSink const all = found(watched, C::ALL());
    Enumerator& enumerator = Enumerator::instance();
    for (std::string const& path : watched.asked()) {
        auto root = std::make_unique<MemoryRoot>(machine);
        root->failing(path);
        enumerator.setRoot(std::move(root));
        enumerator.getDevicesOfType(C::ALL(), 1, 0);
        ASSERT_EQ(enumerator.failures().size(), 1u) << path;
        EXPECT_EQ(enumerator.failures()[0].path, path);
    }
    enumerator.setRoot(std::make_unique<MemoryRoot>(machine));
    enumerator.getDevicesOfType(C::ALL(), 1, 0);
    EXPECT_TRUE(enumerator.failures().empty());
    EXPECT_EQ(enumerator.deviceCount(), all.devices.size());
}

// Who tests processors or drives is not short of anything because the firmware's table is damaged.
TEST(Discoverers, ADamagedTableConcernsThoseWhoAskForWhatItTellsOf)
{
    MemoryRoot damaged = completeMachine();
    std::string const table = damaged.read("sys/firmware/dmi/tables/DMI", 1 << 20).value();
    damaged.remove("sys/firmware/dmi/tables/smbios_entry_point");
    damaged.file("sys/firmware/dmi/tables/DMI",
                 SmbiosTable().add(1, {1}, {"Maker"}).bytes() + "\x11\x28 cut");
    Enumerator& enumerator = Enumerator::instance();
    struct Case
    {
        C wanted;
        char const* missing; // "-": not concerned
    };
    for (Case const& one :
         {Case{C::CPU(), "-"}, Case{C::HardDrive() | C::NetworkCard(), "-"}, Case{C::Memory(), "NIL"},
          Case{C::MemoryChip() | C::CPU(), "MemoryChip"}, Case{C::BIOS() | C::HardDrive(), "BIOS"},
          Case{C::ALL(), "Firmware, BIOS, MemoryChip, Chassis, SystemBoard"},
          Case{C::Hardware(), "Firmware, BIOS, MemoryChip, Chassis, SystemBoard"}}) {
        enumerator.setRoot(std::make_unique<MemoryRoot>(damaged));
        enumerator.getDevicesOfType(one.wanted, 1, 0);
        auto const damages = enumerator.tableDamages();
        EXPECT_TRUE(enumerator.failures().empty());
        if (std::string_view(one.missing) == "-") {
            EXPECT_TRUE(damages.empty()) << damages[0].concerned.toString().toUtf8();
            continue;
        }
        ASSERT_EQ(damages.size(), 1u) << one.missing << ": once, whoever reads it";
        EXPECT_EQ(
            damages[0].what.toUtf8(),
            "the firmware's table (/sys/firmware/dmi/tables/DMI) is damaged at offset 0x000c: a structure of "
            "type 17 is cut; what follows is not shown");
        EXPECT_TRUE(damages[0].missing.isCapable(C(one.missing)) &&
                    C(one.missing).isCapable(damages[0].missing))
            << damages[0].missing.toString().toUtf8();
    }
    damaged.file("sys/firmware/dmi/tables/DMI", table);
    enumerator.setRoot(std::make_unique<MemoryRoot>(damaged));
    enumerator.getDevicesOfType(C::ALL(), 1, 0);
    EXPECT_TRUE(enumerator.tableDamages().empty());
}

TEST(Discoverers, NoTwoRowsGiveDevicesOfOneType)
{
    MemoryRoot const root = completeMachine();
    HardwareTree tree(root, HardwareNames::none());
    std::map<String, std::string> rows;
    for (Discoverer const& discoverer : discoverers()) {
        RecordingSink sink;
        run(discoverer, tree, sink);
        // Functions and devices of the buses share types; their locations begin with the bus.
        std::string const row = sink.at("USB:1") || sink.at("PCI:0:31:2") ? "buses" : discoverer.name;
        for (DeviceDescription const& device : sink.devices)
            EXPECT_EQ(rows.emplace(device.type.toString(), row).first->second, row)
                << device.type.toString().toUtf8();
    }
}

TEST(Discoverers, AskingForOneCapabilityFindsWhatAskingForAllDoes)
{
    MemoryRoot const root = completeMachine();
    RecordingSink const all = found(root, C::ALL());
    C capabilities;
    for (DeviceDescription const& device : all.devices)
        capabilities |= device.capabilities | device.type;
    for (int code = 0; code < static_cast<int>(C::Code::kCount); ++code) {
        C const wanted{static_cast<C::Code>(code)};
        if (!wanted.isAll() && capabilities.intersects(wanted)) {
            EXPECT_EQ(places(found(root, wanted), wanted), places(all, wanted)) << wanted.toString().toUtf8();
        }
    }
}

TEST(Discoverers, AClassThatIsNotAskedForIsLeftAlone)
{
    struct Class
    {
        C const& asked;
        char const* folder; ///< in which its devices begin
    } const classes[] = {{C::HardDrive(), "sys/block"},           {C::NetworkCard(), "sys/class/net"},
                         {C::SoundCard(), "sys/class/sound"},     {C::Keyboard(), "sys/class/input"},
                         {C::SerialPort(), "sys/class/tty"},      {C::Fan(), "sys/class/hwmon"},
                         {C::Battery(), "sys/class/power_supply"}};
    MemoryRoot const machine = completeMachine();
    for (Class const& one : classes) {
        SCOPED_TRACE(one.asked.toString().toUtf8());
        MemoryRoot const root = machine;
        RecordingSink const sink = found(root, one.asked);
        EXPECT_FALSE(sink.ofType(one.asked).empty());
        for (Class const& other : classes)
            EXPECT_EQ(touched(root, other.folder), &other == &one) << other.folder;
        EXPECT_EQ(touched(root, "proc/self/mount"), one.asked == C::HardDrive());
    }
    MemoryRoot const root = machine;
    EXPECT_EQ(found(root, C::Memory()).ofType(C::Memory()).size(), 1u);
    EXPECT_FALSE(touched(root, "sys/bus"));
    EXPECT_TRUE(found(machine, C()).devices.empty());
}

TEST(Discoverers, ADeviceAloneStillKnowsItsController)
{
    RecordingSink const sink = found(completeMachine(), C::SoundCard());
    ASSERT_EQ(sink.devices.size(), 2u) << "the controllers were not asked for";
    EXPECT_EQ(placeOf(sink, "hw:0"), "SoundCard PCI:0:27:0 below PCI:0:27:0");
    EXPECT_EQ(placeOf(sink, "hw:1"), "SoundCard USB:1:3 below USB:1:3");
    EXPECT_EQ(known(sink, "hw:1")->name, String("Dock (Sound card)"));
}

TEST(Discoverers, AFileThatSeveralAskForIsReadOnce)
{
    MemoryRoot const root = completeMachine();
    found(root, C::ALL());
    EXPECT_GT(root.reads().size(), 100u);
    for (auto const& [path, times] : root.reads())
        EXPECT_EQ(times, 1) << path;
}
