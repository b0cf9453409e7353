// The state of a run: records, who belongs to whom, merging, and which test applies to which device.
#include "../TestDevices.h"

#include <zel/foundation/Exception.h>
#include <zel/model/devices/Guid.h>
#include <zel/model/runs/MessageBoxImp.h>
#include <zel/model/runs/TestRunManager.h>
#include <zel/model/state/StateManager.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

using namespace zel;
using namespace zel::test;

namespace {

using Kind = Change::Kind;

void group(DeviceImp& of, char const* key, char const* member)
{
    of.property(key)->addChild(of.property(member));
    of.property(member)->setPartOfGroup(true);
}

} // namespace

TEST(Guid, isMadeFromTheNamesAlone)
{
    // Worked out with another program: FNV-1a of 128 bits over the names, each ended by a byte 0xFF.
    EXPECT_EQ(nameBasedGuid({}).toUtf8(), "6c62272e-07bb-8142-a2b8-21756295c58d");
    EXPECT_EQ(nameBasedGuid({"a", "bc"}).toUtf8(), "36cc2406-4d83-894f-b081-45dd58651e3b");
    EXPECT_EQ(nameBasedGuid({"ab", "c"}).toUtf8(), "32763e66-4083-894f-b081-4487f805ad59");
    EXPECT_EQ(nameBasedGuid({"\xc3\xbc"}).toUtf8(), "a68a93b1-1a8b-8822-836d-bc7850d437ef");

    EXPECT_EQ(device("SATA:0:0:1:0")->guid().toUtf8(), "f69e8fee-314d-856f-bc4b-67d3fa67f031");
    EXPECT_NE(device("SATA:0:0:1:0", CapabilityImp::Monitor())->guid(), device("SATA:0:0:1:0")->guid());
    auto const byOs = [](char const* osLocator, char const* location) {
        return DeviceImp::createGeneric(CapabilityImp::HardDrive(), CapabilityImp(), "n", osLocator, "d",
                                        location, CapabilityImp())
            ->guid();
    };
    EXPECT_EQ(byOs("/dev/sda", "SATA:1:0:0:0"), byOs("/dev/sdb", "SATA:1:0:0:0")) << "the place counts";
    EXPECT_NE(byOs("/dev/sda", ""), byOs("/dev/sdb", "")) << "without a place, the locator";
}

TEST(StateManager, keepsRecordsWhereTheyAreAndInOrder)
{
    StateManager state;
    std::vector<DeviceImp*> added;
    for (int i = 0; i < 500; ++i)
        added.push_back(&state.addDevice(device("d" + std::to_string(i)), nullptr));
    std::vector<DeviceImp*> expected;
    for (std::size_t i = 0; i < added.size(); ++i)
        if (i % 3 == 1) {
            String const guid = added[i]->guid();
            EXPECT_TRUE(state.removeDevice(guid));
            EXPECT_FALSE(state.removeDevice(guid));
            EXPECT_EQ(state.device(guid), nullptr);
        } else {
            expected.push_back(added[i]);
        }
    std::vector<DeviceImp*> walked;
    for (DeviceImp* one = nullptr; (one = state.nextDevice(one, CapabilityImp::HardDrive()));)
        walked.push_back(one);
    EXPECT_EQ(walked, expected);
    EXPECT_EQ(state.deviceCount(), expected.size());
    for (DeviceImp* one : expected)
        EXPECT_EQ(state.device(one->guid()), one);
    EXPECT_EQ(state.deviceAtIndex(expected.size()), nullptr);
    EXPECT_EQ(state.nextDevice(nullptr, CapabilityImp::Monitor()), nullptr);
    EXPECT_EQ(state.nextDevice(device("stranger").get(), CapabilityImp::ALL()), nullptr);
}

TEST(StateManager, refusesDoublesAndStrangersAndStaysAsItWas)
{
    StateManager state;
    auto const known = device("known");
    auto const stranger = device("stranger");
    state.addDevice(*known, nullptr);
    state.takeChanges();
    TestImp test("t", CapabilityImp::HardDrive());
    IndicatorImp indicator("i", CapabilityImp::HardDrive(), false);
    ModuleImp module("m");
    state.addTest(test);
    state.addIndicator(indicator);
    state.addModule(module, false);
    for (std::function<void()> const& wrong : std::vector<std::function<void()>>{
             [&] { state.addDevice(*known, nullptr); },
             [&] { state.addDevice(device("known"), nullptr); },
             [&] { state.addDevice(device("child"), stranger.get()); },
             [&] { state.addDevice(*stranger, stranger.get()); },
             [&] { state.addTest(test); },
             [&] { state.addIndicator(indicator); },
             [&] { state.addModule(module, true); },
         })
        EXPECT_THROW(wrong(), StateException);
    EXPECT_EQ(devices(state), "known");
    EXPECT_EQ(state.testCount() + state.indicatorCount(), 2u);
    EXPECT_TRUE(state.takeChanges().empty());
}

TEST(StateManager, associationsAreAskedFromBothSides)
{
    StateManager state;
    DeviceImp& a = state.addDevice(device("a"), nullptr);
    DeviceImp& b = state.addDevice(device("b"), &a);
    TestImp first("first", CapabilityImp::HardDrive()), second("second", CapabilityImp::HardDrive());
    IndicatorImp heat("heat", CapabilityImp::HardDrive(), false);
    state.takeChanges();
    EXPECT_TRUE(state.associate(a, first, true));
    EXPECT_FALSE(state.associate(a, first, true));
    EXPECT_TRUE(state.associate(a, second, false));
    EXPECT_TRUE(state.associate(b, first, true));
    EXPECT_TRUE(state.associate(b, heat, true));
    EXPECT_EQ(countOf(state.takeChanges(), Kind::AssociationAdded), 3u) << "once each, and only where asked";

    EXPECT_EQ(state.testCountByDevice(a), 2u);
    EXPECT_EQ(state.testByDeviceAtIndex(a, 1), &second);
    EXPECT_EQ(state.testByDeviceAtIndex(a, 2), nullptr);
    EXPECT_EQ(state.deviceCountByTest(first), 2u);
    EXPECT_EQ(state.deviceByTestAtIndex(first, 1), &b);
    EXPECT_EQ(state.indicatorByDeviceAtIndex(b, 0), &heat);
    EXPECT_EQ(state.deviceByIndicatorAtIndex(heat, 0), &b);

    EXPECT_TRUE(state.removeAssociation(a, first));
    EXPECT_FALSE(state.removeAssociation(a, first));
    EXPECT_FALSE(state.isAssociated(a, first));
    EXPECT_TRUE(state.isAssociated(b, first));
    EXPECT_EQ(state.testByDeviceAtIndex(a, 0), &second);
    EXPECT_EQ(state.deviceByTestAtIndex(first, 0), &b);

    ModuleImp module("m");
    state.associate(module, b, false);
    state.addIndicatorRun(IndicatorRunImp(heat, &b, 5));
    DeviceImp& c = state.addDevice(device("c"), &b);
    String const guid = b.guid();
    EXPECT_TRUE(state.removeDevice(guid));
    EXPECT_EQ(devices(state), "a c") << "what hung below it stands at top level";
    EXPECT_EQ(state.parentOf(c), nullptr);
    EXPECT_TRUE(state.childrenOf(a).empty());
    EXPECT_EQ(state.deviceCountByTest(first) + state.deviceCountByIndicator(heat) +
                  state.indicatorRunCount() + state.deviceCountByModule(module),
              0u);
    EXPECT_THROW(state.indicatorRunAtIndex(0), IndexOutOfBoundsException);
}

TEST(StateManager, mergesWhatIsNewAndSaysSo)
{
    StateManager mine, other;
    DeviceImp& known = mine.addDevice(device("known"), nullptr);
    add(known, "size", "1");
    add(known, "kept", "k");
    mine.addDevice(device("bus"), nullptr);
    mine.takeChanges();

    auto const bus = device("bus"), root = device("root"), same = device("known");
    other.addDevice(*bus, nullptr);
    DeviceImp& early = other.addDevice(device("early"), bus.get());
    other.addDevice(*root, nullptr);
    other.addDevice(*same, root.get());
    same->addCapability(CapabilityImp::SMART());
    same->setState(DeviceStateImp::DISABLED());
    same->addChildBusId("PCI:1");
    add(*same, "size", "2");
    add(*same, "new", "n");
    ModuleImp module("m");
    module.setGuid("m");
    other.addModule(module, false);
    other.addPropertySpec(specification("size"), false);
    AlertImp alert("m", "hot", AlertTypeImp::MESSAGE());
    other.addAlert(alert);

    mine.mergeWithTracking(other);
    EXPECT_EQ(devices(mine), "known<root bus early<bus root");
    EXPECT_EQ(mine.matchingDevice(*same), &known) << "a known device stays the same record";
    EXPECT_TRUE(known.deviceCapabilities().isCapable(CapabilityImp::SMART()));
    EXPECT_EQ(known.state(), DeviceStateImp::DISABLED());
    EXPECT_EQ(known.childBusIds().size(), 1u);
    EXPECT_EQ(known.property("size")->value().toString().toUtf8(), "2");
    EXPECT_EQ(known.property("kept")->value().toString().toUtf8(), "k");
    EXPECT_TRUE(known.property("new"));
    EXPECT_EQ(mine.propertySpecCount(), 1u);
    EXPECT_NE(mine.matchingDevice(early), &early) << "copies, so that the other may go";
    auto const changes = mine.takeChanges();
    EXPECT_EQ(countOf(changes, Kind::DeviceAdded), 2u);
    EXPECT_EQ(countOf(changes, Kind::DeviceUpdated), 1u);
    EXPECT_EQ(countOf(changes, Kind::ModuleAdded), 1u);
    EXPECT_EQ(countOf(changes, Kind::AlertAdded), 1u);

    mine.mergeWithTracking(other);
    EXPECT_TRUE(mine.takeChanges().empty()) << "nothing new the second time";
    alert.setTimeTriggered(7);
    other.addAlert(alert);
    mine.mergeWithTracking(other);
    EXPECT_EQ(mine.takeChanges().size(), 1u);
    EXPECT_EQ(mine.alertCount(), 1u);
    EXPECT_EQ(mine.alertAtIndex(0)->timeTriggered(), 7u);
    EXPECT_TRUE(mine.removeAlert(alert.guid()));
    EXPECT_FALSE(mine.removeAlert(alert.guid()));
}

TEST(StateManager, mergingNeverMakesADeviceItsOwnAncestor)
{
    StateManager mine, other;
    DeviceImp& a = mine.addDevice(device("a"), nullptr);
    mine.addDevice(device("b"), &a);
    DeviceImp& b = other.addDevice(device("b"), nullptr);
    DeviceImp& c = other.addDevice(device("c"), &b);
    other.addDevice(device("a"), &c);
    mine.mergeWithTracking(other);
    EXPECT_EQ(devices(mine), "a b<a c<b");
}

TEST(DeviceImp, groupsSurviveMergingAndRemoval)
{
    auto const mine = device("d"), theirs = device("d");
    for (char const* key : {"group", "one"})
        add(*mine, key);
    group(*mine, "group", "one");
    add(*mine, "loose");
    for (char const* key : {"group", "one", "two", "loose"})
        add(*theirs, key);
    for (char const* member : {"one", "two", "loose"}) // the first is a member already
        group(*theirs, "group", member);
    EXPECT_TRUE(mine->mergeFrom(*theirs));
    EXPECT_FALSE(mine->mergeFrom(*theirs));
    auto const shown = [&mine] {
        std::string const text = mine->toString(2).toUtf8();
        std::size_t const at = text.find("    ");
        return at == std::string::npos ? std::string() : text.substr(at);
    };
    EXPECT_EQ(shown(), "    group: \n      one: \n      two: \n      loose: \n");
    EXPECT_EQ(mine->groupOf(*mine->property("two")), mine->property("group"));
    EXPECT_EQ(DeviceImp(*mine).toString(2), mine->toString(2));

    mine->removeProperty("one");
    add(*mine, "one");
    EXPECT_EQ(shown(), "    group: \n      two: \n      loose: \n    one: \n") << "back without its group";
    mine->removeProperty("group");
    EXPECT_EQ(shown(), "    loose: \n    two: \n    one: \n") << "members do not vanish with their group";

    add(*mine, "ring");
    group(*mine, "ring", "two");
    group(*mine, "two", "ring");
    EXPECT_EQ(shown(), "    loose: \n    one: \n    two: \n      ring: \n") << "a ring of groups ends";

    auto const deep = device("deep");
    auto const key = [](int i) { return "level " + std::to_string(i); };
    add(*deep, key(0).c_str());
    for (int i = 1; i < 20; ++i) {
        add(*deep, key(i).c_str());
        group(*deep, key(i - 1).c_str(), key(i).c_str());
    }
    std::string const ends =
        std::string(36, ' ') + "level 16: \n    level 17: \n      level 18: \n        level 19: \n";
    EXPECT_TRUE(deep->toString(2).endsWith(String(ends))) << "indented so far and no further";
}

// Few keys are walked, many are indexed: both find, refuse and remove the same.
TEST(DeviceImp, findsPropertiesHoweverManyThereAre)
{
    for (int const count : {3, 32, 33, 200}) {
        auto const mine = device("drive");
        auto const key = [](int i) { return String("key ") + String::number(i); };
        for (int i = 0; i < count; ++i)
            add(*mine, key(i).toUtf8().c_str(), std::to_string(i).c_str());
        EXPECT_THROW(add(*mine, "key 0"), StateException) << count;
        String const& own = mine->getProperty(1).key();
        EXPECT_TRUE(mine->removeProperty(own)) << count;
        EXPECT_FALSE(mine->removeProperty("key 1")) << count;
        DeviceImp copy(*mine);
        add(copy, "key 1", "1");
        for (int i = 0; i < count; ++i) {
            ASSERT_TRUE(copy.property(key(i))) << count << " " << i;
            EXPECT_EQ(copy.property(key(i))->value().toString(), String::number(i)) << count;
        }
        EXPECT_EQ(copy.getProperty(static_cast<std::size_t>(count) - 1).key(), String("key 1")) << count;
        EXPECT_EQ(mine->property("key 1"), nullptr) << count;
    }
}

TEST(StateManager, makesAListOfDevicesWithSomeProperties)
{
    StateManager source, list;
    DeviceImp& drive = source.addDevice(device("drive"), nullptr);
    add(drive, "id", "7", PropertyCategoryImp::RequiredForEnumeration() | PropertyCategoryImp::SysInfo());
    add(drive, "size");
    source.addDevice(device("screen", CapabilityImp::Monitor()), &drive);
    list.createDeviceList(source, CapabilityImp::HardDrive(), PropertyCategoryImp::RequiredForEnumeration());
    EXPECT_EQ(devices(list), "drive");
    ASSERT_EQ(list.deviceAtIndex(0)->propertyCount(), 1u);
    EXPECT_EQ(list.deviceAtIndex(0)->property("id")->value().toString().toUtf8(), "7");
    EXPECT_EQ(drive.propertyCount(), 2u) << "the source stays as it is";
    source.addDevice(device("later"), nullptr);
    list.createDeviceList(source, CapabilityImp::HardDrive(), PropertyCategoryImp());
    EXPECT_EQ(devices(list), "drive later");
    list.clear();
    EXPECT_EQ(list.deviceCount(), 0u);
}

// A step that looks at every device or property for each one added would take minutes here.
TEST(StateManager, holdsTenThousandDevices)
{
    constexpr std::size_t kDevices = 10000, kProperties = 20;
    std::vector<std::shared_ptr<PropertySpecImp>> specifications;
    for (std::size_t p = 0; p < kProperties; ++p)
        specifications.push_back(specification(("key" + std::to_string(p)).c_str()));
    TestImp test("t", CapabilityImp::HardDrive());
    StateManager state, copy;
    DeviceImp* parent = nullptr;
    for (std::size_t d = 0; d < kDevices; ++d) {
        auto one = device("device " + std::to_string(d));
        for (auto const& spec : specifications) {
            PropertyImp const property(spec, ValueImp(String::number(static_cast<std::uint64_t>(d))));
            one->addProperty(&property);
        }
        DeviceImp& added = state.addDevice(std::move(one), parent);
        parent = parent ? parent : &added;
        state.associate(added, test, false);
    }
    copy.mergeWithTracking(state);
    copy.mergeWithTracking(state);
    EXPECT_EQ(copy.deviceCount(), kDevices);
    EXPECT_EQ(countOf(copy.takeChanges(), Kind::DeviceAdded), kDevices);
    EXPECT_EQ(copy.childrenOf(*copy.deviceAtIndex(0)).size(), kDevices - 1);
    EXPECT_EQ(copy.deviceAtIndex(kDevices - 1)->property("key19")->value().toString().toUtf8(), "9999");
    EXPECT_EQ(state.deviceCountByTest(test), kDevices);
}

TEST(EnumerationRules, sayWhichDevicesATestTakes)
{
    StateManager state;
    DeviceImp& drive = state.addDevice(device("drive"), nullptr);
    add(drive, "rpm", "7200");
    DeviceImp& broken = state.addDevice(device("broken"), nullptr);
    broken.setState(DeviceStateImp::MISCONFIGURED());
    DeviceImp& off = state.addDevice(device("off"), nullptr);
    off.setState(DeviceStateImp::DISABLED());
    DeviceImp& screen = state.addDevice(device("screen", CapabilityImp::Monitor()), nullptr);

    using SetUp = std::function<void(TestImp&)>;
    auto const anything = [](TestImp&) {};
    auto const requires_ = [](char const* key, char const* range, bool exclusion) -> SetUp {
        return [=](TestImp& test) { test.addPropertyRequirement({key, range, exclusion}); };
    };
    auto const either = CapabilityImp::HardDrive() | CapabilityImp::TapeDrive();
    struct Case
    {
        char const* name;
        SetUp setUp;
        DeviceImp* device;
        bool isTaken;
    };
    for (Case const& one : std::vector<Case>{
             {"one of its capabilities is enough", anything, &drive, true},
             {"none of its capabilities", anything, &screen, false},
             {"disabled", anything, &off, false},
             {"misconfigured", anything, &broken, true},
             {"what must exist", [](TestImp& t) { t.addExistenceRequirement(CapabilityImp::Monitor()); },
              &drive, true},
             {"what must exist and does not",
              [](TestImp& t) { t.addExistenceRequirement(CapabilityImp::TapeDrive()); }, &drive, false},
             {"what must not exist", [](TestImp& t) { t.addAbsenceRequirement(CapabilityImp::TapeDrive()); },
              &drive, true},
             {"what must not exist and does",
              [](TestImp& t) { t.addAbsenceRequirement(CapabilityImp::Monitor()); }, &drive, false},
             {"property in range", requires_("rpm", "7200", false), &drive, true},
             {"property in any range", requires_("rpm", "", false), &drive, true},
             {"property out of range", requires_("rpm", "5400", false), &drive, false},
             {"property missing", requires_("rpm", "", false), &broken, false},
             {"excluded value", requires_("rpm", "7200", true), &drive, false},
             {"value that is not excluded", requires_("rpm", "5400", true), &drive, true},
             {"nothing to exclude", requires_("rpm", "", true), &broken, true},
         }) {
        TestImp test("t", either);
        one.setUp(test);
        DeviceImp* previous = &screen;
        EXPECT_EQ(TestImp::canEnumerateOnDevice(test, *one.device, state, &previous), one.isTaken)
            << one.name;
        EXPECT_EQ(previous, nullptr) << one.name;
    }
    TestImp test("t", either);
    EXPECT_THROW(test.addPropertyRequirement({"rpm", "1..2..3", false}), InvalidArgumentException);
}

TEST(EnumerationRules, aTestThatEnumeratesOnceMovesUpTheRanks)
{
    StateManager state;
    auto const add = [&state](char const* name, CapabilityImp const& type) -> DeviceImp& {
        return state.addDevice(device(name, type), nullptr);
    };
    DeviceImp& low = add("low", CapabilityImp::PCI());
    DeviceImp& high = add("high", CapabilityImp::PciBus());
    DeviceImp& equal = add("equal", CapabilityImp::UsbBus());
    ASSERT_LT(low.deviceType().rank(), high.deviceType().rank());
    ASSERT_EQ(equal.deviceType().rank(), high.deviceType().rank());
    TestImp test("t", CapabilityImp::ALL());
    test.flags().enumeratesOnlyOnce = true;

    DeviceImp* previous = &equal;
    EXPECT_TRUE(TestImp::canEnumerateOnDevice(test, low, state, &previous));
    EXPECT_EQ(previous, nullptr);
    state.associate(low, test, false);
    EXPECT_FALSE(TestImp::canEnumerateOnDevice(test, low, state, nullptr)) << "it has it";
    EXPECT_TRUE(TestImp::canEnumerateOnDevice(test, high, state, &previous));
    EXPECT_EQ(previous, &low);
    state.removeAssociation(low, test);
    state.associate(high, test, false);
    EXPECT_FALSE(TestImp::canEnumerateOnDevice(test, equal, state, &previous)) << "the earlier one keeps it";
    EXPECT_FALSE(TestImp::canEnumerateOnDevice(test, low, state, &previous));
    EXPECT_EQ(previous, nullptr);
}

TEST(EnumerationRules, indicatorsAreMatchedAsTestsAre)
{
    StateManager state;
    DeviceImp& low = state.addDevice(device("low", CapabilityImp::PCI()), nullptr);
    DeviceImp& high = state.addDevice(device("high", CapabilityImp::PciBus()), nullptr);
    DeviceImp& off = state.addDevice(device("off", CapabilityImp::PciBus()), nullptr);
    off.setState(DeviceStateImp::DISABLED());
    IndicatorImp heat("heat", CapabilityImp::PciBus(), false), any("any", CapabilityImp::ALL(), false);
    IndicatorImp const free("free", CapabilityImp::ALL(), true);
    state.addIndicator(any);
    auto const applies = [&state](IndicatorImp const& indicator, DeviceImp const& to, DeviceImp** previous) {
        return IndicatorImp::canEnumerateOnDevice(indicator, to, state, previous);
    };
    DeviceImp* previous = &off;
    EXPECT_TRUE(applies(heat, high, &previous));
    EXPECT_EQ(previous, nullptr);
    EXPECT_FALSE(applies(heat, low, nullptr)) << "none of its capabilities";
    EXPECT_FALSE(applies(heat, off, nullptr)) << "disabled";
    EXPECT_FALSE(applies(free, high, nullptr)) << "bound to no device";
    heat.resolveParameterData(SettingsResource(KeyTextFile::parse("Indicator.heat.Enable.value=false", "f")));
    EXPECT_FALSE(applies(heat, high, nullptr)) << "switched off";

    any.flags().enumeratesOnlyOnce = true;
    state.associate(low, any, false);
    EXPECT_FALSE(applies(any, low, nullptr)) << "it has it";
    EXPECT_TRUE(applies(any, high, &previous));
    EXPECT_EQ(previous, &low);
    state.takeChanges();
    EXPECT_TRUE(state.removeAssociation(low, any));
    EXPECT_FALSE(state.removeAssociation(low, any));
    EXPECT_EQ(state.takeChanges(), (std::vector<Change>{{Kind::AssociationRemoved, low.guid(), any.guid()}}));
    EXPECT_EQ(state.deviceCountByIndicator(any) + state.indicatorCountByDevice(low), 0u);
}

TEST(MessageBoxImp, takesNumbersTextsAndBeginnings)
{
    struct Sink : OStream
    {
        void write(std::string_view utf8) override { m_text += utf8; }
        void flush() override {}
        bool failed() const override { return false; }
        std::string m_text;
    };
    enum { kAbort = 10, kRetry, kIgnore, kRestart };
    struct Case
    {
        std::vector<std::string> lines; // what the person types; then the input ends
        int answer;
        int questions;
    };
    std::vector<std::string> const eleven(11, "what");
    for (Case const& one : std::vector<Case>{
             {{"1"}, kAbort, 1},
             {{" 4 "}, kRestart, 1},
             {{""}, kRetry, 1},
             {{"ABORT"}, kAbort, 1},
             {{"i"}, kIgnore, 1},
             {{"re", "0", "5", "retry"}, kRetry, 4},
             {{}, kIgnore, 1},
             {{"what"}, kIgnore, 2},
             {eleven, kIgnore, 10}, // nobody answers: as if cancelled
         }) {
        MessageBoxImp box("Title", "Text",
                          {{kAbort, "Abort"}, {kRetry, "Retry"}, {kIgnore, "Ignore"}, {kRestart, "Restart"}},
                          1, 2, {});
        EXPECT_FALSE(box.hasAnswer());
        EXPECT_EQ(box.answer(), kRetry) << "the default before anybody answered";
        Sink sink;
        std::size_t next = 0;
        box.present(sink, [&](String& line) {
            if (next == one.lines.size())
                return false;
            line = String(one.lines[next++]);
            return true;
        });
        EXPECT_EQ(box.answer(), one.answer) << sink.m_text;
        EXPECT_TRUE(box.hasAnswer());
        EXPECT_EQ(
            sink.m_text.find("Title\nText\n  1) Abort\n  2) Retry (default)\n  3) Ignore\n  4) Restart\n> "),
            0u)
            << sink.m_text;
        EXPECT_EQ(std::count(sink.m_text.begin(), sink.m_text.end(), '>'), one.questions) << sink.m_text;
    }
    // In the person's language before English; "n" is both "Nie" and "No", "w" only "Wiederholen".
    enum { kYes = 1, kNo, kCancel, kAgain };
    for (auto const& [typed, code] :
         {std::pair("j", kYes), std::pair("JA", kYes), std::pair("yes", kYes), std::pair("y", kYes),
          std::pair("3", kCancel), std::pair("nie", kCancel), std::pair("no", kNo), std::pair("w", kAgain),
          std::pair("r", kAgain)}) {
        Sink sink;
        MessageBoxImp box("t", "x",
                          {{kYes, "Ja", "Yes"},
                           {kNo, "Nein", "No"},
                           {kCancel, "Nie", "Cancel"},
                           {kAgain, "Wiederholen", "Retry"}},
                          0, 1, {});
        box.setWords({.defaultMark = "(Vorgabe)", .again = "Noch einmal."});
        int lines = 0;
        box.present(sink, [&, what = typed](String& line) {
            line = lines++ == 0 ? "n" : what; // which of the two is not said
            return true;
        });
        EXPECT_EQ(box.answer(), code) << typed;
        EXPECT_EQ(sink.m_text,
                  "t\nx\n  1) Ja (Vorgabe)\n  2) Nein\n  3) Nie\n  4) Wiederholen\n> Noch einmal.\n> ");
        EXPECT_EQ(box.englishOf(kAgain).toUtf8(), "Retry");
    }
    using Look = MessageBoxImp::Look;
    for (auto const& [look, heading] :
         {std::pair(Look::Information, "t"), std::pair(Look::Question, "t"),
          std::pair(Look::Warning, "Warning: t"), std::pair(Look::Error, "Error: t")}) {
        Sink sink;
        MessageBoxImp box("t", "x", {{1, "a"}}, 0, 0, {.look = look});
        box.present(sink, [](String&) { return true; });
        EXPECT_EQ(sink.m_text, std::string(heading) + "\nx\n  1) a (default)\n> ");
    }
    MessageBoxImp const out("t", "x", {{1, "a"}}, 1, 1, {});
    EXPECT_EQ(out.defaultCode() + out.cancelCode(), 2) << "an index out of range counts as the first";
}

TEST(TestRunManager, runsAreToldApartAndEventsTakenOnce)
{
    auto const drive = device("drive");
    TestImp test("t", CapabilityImp::HardDrive());
    auto& manager = TestRunManager::instance();
    TestRunImp& first = manager.addTestRun(TestRunImp(&test, drive.get()));
    for (int i = 0; i < 100; ++i)
        manager.addTestRun(TestRunImp(&test, drive.get()));
    EXPECT_EQ(&manager.testRunAtIndex(0), &first) << "runs stay where they are";
    EXPECT_NE(first.guid(), manager.testRunAtIndex(1).guid());
    EXPECT_THROW(manager.testRunAtIndex(101), IndexOutOfBoundsException);
    EXPECT_EQ(first.toString().toUtf8(), "t on drive (drive), pass 1");
    EXPECT_EQ(TestRunImp(nullptr, nullptr).toString().toUtf8(), "no test on no device, pass 1");

    TestRunEventImp event;
    event.setSource("a.cpp", 1);
    first.addEvent(event);
    event.setSource("b.cpp", 2);
    first.addEvent(event);
    EXPECT_EQ(first.nextEvent()->sourceLine(), 1);
    EXPECT_EQ(first.nextEvent()->sourceLine(), 2);
    EXPECT_FALSE(first.nextEvent());
    manager.clear();
    EXPECT_EQ(StateManager().testRunCount(), 0u);
    EXPECT_THROW(StateManager().testRunAtIndex(0), IndexOutOfBoundsException);
}
