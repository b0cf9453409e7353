// The list of device classes: who asks for some gets exactly those, and nothing else of the machine is touched.

#include "HardwareMachine.h"
#include "SmbiosTable.h"

#include <zel/enumerator/Enumerator.h>

#include <gtest/gtest.h>

using namespace zel;
using namespace zel::test;
using C = CapabilityImp;

namespace {

/// Notes every path that is asked for.
class WatchedRoot final : public Root
{
public:
    explicit WatchedRoot(Root const& root) : m_root(root) {}

    bool touched(std::string_view folder) const
    {
        return std::any_of(m_paths.begin(), m_paths.end(),
                           [folder](std::string const& path) { return path.starts_with(folder); });
    }

    std::set<std::string> const& paths() const { return m_paths; }

    bool isLive() const override { return m_root.isLive(); }
    std::optional<std::string> read(std::string const& path, std::size_t limit) const override
    {
        return m_root.read(noted(path), limit);
    }
    std::vector<std::string> list(std::string const& path) const override { return m_root.list(noted(path)); }
    std::optional<std::string> resolve(std::string const& path) const override
    {
        return m_root.resolve(noted(path));
    }
    std::optional<std::string> linkName(std::string const& path) const override
    {
        return m_root.linkName(noted(path));
    }

private:
    std::string const& noted(std::string const& path) const { return *m_paths.insert(path).first; }

    Root const& m_root;
    mutable std::set<std::string> m_paths;
};

/// Where text files end as some kernels let them end: with the zero of the C string.
class ZeroEndedRoot final : public Root
{
public:
    explicit ZeroEndedRoot(Root const& root) : m_root(root) {}

    bool isLive() const override { return m_root.isLive(); }
    std::optional<std::string> read(std::string const& path, std::size_t limit) const override
    {
        auto content = m_root.read(path, limit);
        if (content && content->ends_with('\n'))
            *content += '\0';
        return content;
    }
    std::vector<std::string> list(std::string const& path) const override { return m_root.list(path); }
    std::optional<std::string> resolve(std::string const& path) const override
    {
        return m_root.resolve(path);
    }
    std::optional<std::string> linkName(std::string const& path) const override
    {
        return m_root.linkName(path);
    }

private:
    Root const& m_root;
};

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
    EXPECT_EQ(facts(found(ZeroEndedRoot(root), C::ALL())), facts(found(root, C::ALL())));
}

// Whatever path it is that nobody can look at: the scan goes on, and who asked is told, once.
TEST(Discoverers, AMachineThatCannotBeLookedThroughSaysSo)
{
    MemoryRoot const machine = completeMachine();
    WatchedRoot const watched(machine);
    RecordingSink const all = found(watched, C::ALL());
    Enumerator& enumerator = Enumerator::instance();
    for (std::string const& path : watched.paths()) {
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
        WatchedRoot const root(machine);
        RecordingSink const sink = found(root, one.asked);
        EXPECT_FALSE(sink.ofType(one.asked).empty());
        for (Class const& other : classes)
            EXPECT_EQ(root.touched(other.folder), &other == &one) << other.folder;
        EXPECT_EQ(root.touched("proc/self/mount"), one.asked == C::HardDrive());
    }
    WatchedRoot const root(machine);
    EXPECT_EQ(found(root, C::Memory()).ofType(C::Memory()).size(), 1u);
    EXPECT_FALSE(root.touched("sys/bus"));
}

TEST(Discoverers, ADeviceAloneStillKnowsItsController)
{
    RecordingSink const sink = found(completeMachine(), C::SoundCard());
    ASSERT_EQ(sink.devices.size(), 2u) << "the controllers were not asked for";
    EXPECT_EQ(placeOf(sink, "hw:0"), "SoundCard PCI:0:27:0 below PCI:0:27:0");
    EXPECT_EQ(placeOf(sink, "hw:1"), "SoundCard USB:1:3 below USB:1:3");
    EXPECT_EQ(known(sink, "hw:1")->name, String("Dock (Sound card)"));
}

TEST(Discoverers, OnlyThoseThatAreAskedForRun)
{
    MemoryRoot root;
    root.file("proc/meminfo", "MemTotal: 1024 kB\n").file("sys/class/dmi/id/sys_vendor", "ACME\n");
    RecordingSink sink;
    discover(root, C::Memory(), sink);
    ASSERT_EQ(sink.devices.size(), 1u);
    EXPECT_EQ(root.reads().size(), 1u);
    RecordingSink all;
    discover(root, C::ALL(), all);
    EXPECT_EQ(all.devices.size(), 2u);
    RecordingSink none;
    discover(root, C(), none);
    EXPECT_TRUE(none.devices.empty());
}

TEST(Discoverers, AFileThatSeveralAskForIsReadOnce)
{
    MemoryRoot root;
    root.file("sys/firmware/dmi/tables/DMI", SmbiosTable()
                                                 .add(1, {1}, {"ACME"})
                                                 .add(4, processorSocket(0x41))
                                                 .add(17, memoryDevice(8192))
                                                 .bytes());
    RecordingSink sink;
    discover(root, C::ALL(), sink);
    EXPECT_EQ(sink.devices.size(), 4u);
    EXPECT_EQ(root.reads().at("sys/firmware/dmi/tables/DMI"), 1);
}
