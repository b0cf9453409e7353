// Taking in another state with everything that is tied to everything.
#include "../TestDevices.h"

#include <zel/model/runs/TestRunImp.h>

#include <gtest/gtest.h>

#include <chrono>

using namespace zel;
using namespace zel::test;

namespace {

using Kind = Change::Kind;

// What a module sent: a module with a test, an indicator and two devices, one below the other, all tied; the
// records are the state's own or go with this.
struct Sent
{
    Sent()
    {
        module.setGuid("m");
        test.setModuleGuid("m");
        indicator.setModuleGuid("m");
        state.addModule(module, false);
        state.addTest(test);
        state.addIndicator(indicator);
        state.addPropertySpec(specification("serial"), false);
        DeviceImp& bus = state.addDevice(device("bus"), nullptr);
        DeviceImp& drive = state.addDevice(device("drive"), &bus);
        state.associate(module, test, false);
        state.associate(module, indicator, false);
        state.associate(module, bus, false);
        state.associate(module, drive, false);
        state.associate(drive, test, false);
        state.associate(drive, indicator, false);
        state.addIndicatorRun(IndicatorRunImp(indicator, &drive, 7)).resetLastCallTime();
        state.addIndicatorRun(IndicatorRunImp(indicator, nullptr, 7));
        state.addAlert(AlertImp("m", "hot", AlertTypeImp::MESSAGE()));
        state.takeChanges();
    }

    StateManager state;
    ModuleImp module{"m"};
    TestImp test{"t", CapabilityImp::HardDrive()};
    IndicatorImp indicator{"i", CapabilityImp::HardDrive(), false};
};

// Everything that is tied, counted and named through the public questions.
std::string tiesOf(StateManager& state)
{
    std::string text = devices(state) + " |";
    for (ModuleImp* one = state.nextModule(nullptr); one; one = state.nextModule(one))
        text += " " + one->name().toUtf8() + ":" + std::to_string(state.testCountByModule(*one)) +
                std::to_string(state.indicatorCountByModule(*one)) +
                std::to_string(state.deviceCountByModule(*one));
    for (std::size_t t = 0; t < state.testCount(); ++t)
        for (std::size_t d = 0; d < state.deviceCountByTest(*state.testAtIndex(t)); ++d)
            text += " " + state.testAtIndex(t)->guid().toUtf8() + "@" +
                    state.deviceByTestAtIndex(*state.testAtIndex(t), d)->name().toUtf8();
    for (std::size_t i = 0; i < state.indicatorCount(); ++i)
        for (std::size_t d = 0; d < state.deviceCountByIndicator(*state.indicatorAtIndex(i)); ++d)
            text += " " + state.indicatorAtIndex(i)->guid().toUtf8() + "@" +
                    state.deviceByIndicatorAtIndex(*state.indicatorAtIndex(i), d)->name().toUtf8();
    for (std::size_t r = 0; r < state.indicatorRunCount(); ++r) {
        IndicatorRunImp const& run = state.indicatorRunAtIndex(r);
        text += " run:" + run.indicator().guid().toUtf8() + "@" +
                (run.device() ? run.device()->name().toUtf8() : "-") + (run.hasBeenCalled() ? "!" : "");
    }
    return text;
}

constexpr char kTies[] = "bus drive<bus | m:112 m.Test.t@drive m.Indicator.i@drive run:m.Indicator.i@drive! "
                         "run:m.Indicator.i@-";

} // namespace

TEST(Merge, takesInEverythingOfAStateThatThenGoes)
{
    StateManager mine;
    {
        Sent sent;
        ASSERT_EQ(tiesOf(sent.state), kTies);
        mine.mergeWithTracking(sent.state);
        EXPECT_EQ(tiesOf(sent.state), kTies) << "the other stays as it is";
        EXPECT_TRUE(sent.state.takeChanges().empty());
        auto const changes = mine.takeChanges();
        EXPECT_EQ(countOf(changes, Kind::AssociationAdded), 6u);
        EXPECT_EQ(countOf(changes, Kind::IndicatorRunAdded), 2u);
        for (Kind const once : {Kind::ModuleAdded, Kind::TestAdded, Kind::IndicatorAdded, Kind::AlertAdded,
                                Kind::PropertySpecAdded})
            EXPECT_EQ(countOf(changes, once), 1u);
        EXPECT_EQ(changes.size(), 15u);
        mine.mergeWithTracking(sent.state);
        EXPECT_TRUE(mine.takeChanges().empty()) << "nothing new the second time";
    }
    EXPECT_EQ(tiesOf(mine), kTies) << "also when the other is gone";
    mine.removeDevice(device("drive")->guid());
    EXPECT_EQ(tiesOf(mine), "bus | m:111 run:m.Indicator.i@-");
}

TEST(Merge, tiesGoToTheModulesOwnRecords)
{
    Sent own, sent;
    own.indicator.flags().destructive = true;
    own.state.removeDevice(device("drive")->guid());
    own.state.removeAssociation(own.state.addDevice(device("drive"), nullptr), own.test);
    own.state.mergeWithTracking(sent.state);
    EXPECT_EQ(tiesOf(own.state), "bus drive<bus | m:112 m.Test.t@drive m.Indicator.i@drive "
                                 "run:m.Indicator.i@- run:m.Indicator.i@drive!");
    EXPECT_EQ(own.state.testAtIndex(0), &own.test);
    EXPECT_TRUE(own.state.indicatorRunAtIndex(1).indicator().flags().destructive);

    own.state.indicatorRunAtIndex(1).restoreLastCall(100);
    own.state.mergeWithTracking(sent.state);
    EXPECT_GE(own.state.indicatorRunAtIndex(1).elapsedSinceLastCall(), 100) << "a known run keeps its clock";
}

// The first of each kind is known, or cannot be bound here; what stands behind it comes over all the same.
TEST(Merge, takesInWhatStandsBehindTheKnown)
{
    Sent mine, other;
    TestImp test("later", CapabilityImp::HardDrive());
    IndicatorImp indicator("later", CapabilityImp::HardDrive(), false);
    DeviceImp& drive = *other.state.device(device("drive")->guid());
    add(drive, "a");
    add(drive, "b");
    other.state.addTest(test);
    other.state.addIndicator(indicator);
    other.state.addIndicatorRun(IndicatorRunImp(indicator, nullptr, 7));
    other.state.addAlert(AlertImp("m", "cold", AlertTypeImp::MESSAGE()));
    TestImp stranger("stranger", CapabilityImp::HardDrive());
    for (TestImp* one : {&stranger, &test, &test})
        other.state.addTestRun(TestRunImp(one, &drive));
    mine.state.mergeWithTracking(other.state);
    EXPECT_EQ(mine.state.takeChanges(),
              (std::vector<Change>{{Kind::TestAdded, test.guid()},
                                   {Kind::IndicatorAdded, indicator.guid()},
                                   {Kind::DeviceUpdated, drive.guid()},
                                   {Kind::PropertyAdded, drive.guid(), String(), "a"},
                                   {Kind::PropertyAdded, drive.guid(), String(), "b"},
                                   {Kind::AlertAdded, other.state.alertAtIndex(1)->guid()},
                                   {Kind::IndicatorRunAdded, indicator.guid()}}));
    ASSERT_EQ(mine.state.testRunCount(), 3u);
    EXPECT_EQ(mine.state.testRunAtIndex(2).test(), mine.state.testAtIndex(1));
}

// Devices alone, and what is known of one stays as it is.
TEST(Merge, completesDevicesAndNothingElse)
{
    Sent other;
    StateManager mine;
    DeviceImp& bus = *other.state.device(device("bus")->guid());
    add(bus, "known", "theirs");
    add(bus, "new", "theirs");
    add(mine.addDevice(device("bus"), nullptr), "known", "mine");
    mine.completeDevices(mine);
    mine.completeDevices(other.state);
    EXPECT_EQ(tiesOf(mine), "bus drive<bus |");
    EXPECT_EQ(mine.deviceAtIndex(0)->property("known")->value().toString(), String("mine"));
    EXPECT_EQ(mine.deviceAtIndex(0)->property("new")->value().toString(), String("theirs"));
    EXPECT_EQ(mine.testCount() + mine.indicatorCount() + mine.alertCount(), 0u);
}

// What the other ties without holding it has not come over, and neither does the tie.
TEST(Merge, leavesOutWhatTheOtherDoesNotHold)
{
    StateManager mine;
    {
        StateManager other;
        TestImp stranger("stranger", CapabilityImp::HardDrive());
        IndicatorImp unknown("unknown", CapabilityImp::HardDrive(), false);
        DeviceImp& drive = other.addDevice(device("drive"), nullptr);
        other.associate(drive, stranger, false);
        other.addIndicatorRun(IndicatorRunImp(unknown, &drive, 5));
        mine.mergeWithTracking(other);
    }
    EXPECT_EQ(tiesOf(mine), "drive |");
    EXPECT_EQ(mine.testCountByDevice(*mine.deviceAtIndex(0)) + mine.indicatorRunCount(), 0u);
}

// Only a place below itself is refused.
TEST(Merge, aDeviceWithChildrenComesToStandBelowItsParent)
{
    StateManager mine, other;
    mine.addDevice(device("drive"), &mine.addDevice(device("controller"), nullptr));
    DeviceImp& bus = other.addDevice(device("bus"), nullptr);
    other.addDevice(device("controller"), &bus);
    mine.takeChanges();
    mine.mergeWithTracking(other);
    EXPECT_EQ(devices(mine), "controller<bus drive<controller bus");
    EXPECT_EQ(mine.takeChanges(), (std::vector<Change>{{Kind::DeviceAdded, bus.guid()},
                                                       {Kind::DeviceUpdated, device("controller")->guid()}}));

    StateManager upsideDown;
    upsideDown.addDevice(device("bus"), &upsideDown.addDevice(device("drive"), nullptr));
    mine.mergeWithTracking(upsideDown);
    EXPECT_EQ(devices(mine), "controller<bus drive<controller bus");
    EXPECT_TRUE(mine.takeChanges().empty());
}

// Two states that see one pair of groups from its two ends.
TEST(Merge, aGroupNeverComesToStandBelowItself)
{
    auto const grouped = [](char const* above, char const* below) {
        auto one = device("drive");
        PropertyImp& member = add(*one, below);
        add(*one, above).addChild(&member);
        member.setPartOfGroup(true);
        return one;
    };
    StateManager mine, other;
    DeviceImp& drive = mine.addDevice(grouped("a", "b"), nullptr);
    other.addDevice(grouped("b", "a"), nullptr);
    mine.takeChanges();
    mine.mergeWithTracking(other);
    EXPECT_EQ(drive.groupOf(*drive.property("b")), drive.property("a"));
    EXPECT_EQ(drive.groupOf(*drive.property("a")), nullptr);
    EXPECT_TRUE(drive.property("b")->children().empty());
    EXPECT_TRUE(mine.takeChanges().empty());

    StateManager above;
    above.addDevice(grouped("top", "a"), nullptr);
    mine.mergeWithTracking(above);
    EXPECT_EQ(drive.groupOf(*drive.property("a")), drive.property("top")) << "a group below a new one";
}

// Of a large group neither all groups nor all members are looked through for each member: that would take minutes.
TEST(Merge, aLargeGroupIsMergedAsASmallOne)
{
    for (int const members : {4, 60000}) {
        auto const mine = device("drive"), theirs = device("drive");
        std::vector<String> all, own;
        PropertyImp& myGroup = add(*mine, "group");
        PropertyImp& theirGroup = add(*theirs, "group");
        PropertyImp& second = add(*mine, "second");
        for (int i = 0; i < members; ++i) {
            std::string const key = "member " + std::to_string(i);
            all.emplace_back(key);
            PropertyImp& member = add(*mine, key.c_str());
            add(*theirs, key.c_str()).setPartOfGroup(true);
            member.setPartOfGroup(i < 2);
        }
        myGroup.setChildren({all[0]});
        second.setChildren({all[1]});
        theirGroup.setChildren(all);
        EXPECT_TRUE(mine->mergeFrom(*theirs));
        EXPECT_FALSE(mine->mergeFrom(*theirs)) << "now all of it is known";
        all.erase(all.begin() + 1);
        EXPECT_TRUE(myGroup.children() == all)
            << members << ": each member once, in the order in which they came";
        EXPECT_EQ(mine->groupOf(*mine->property("member 1")), &second) << "what has a group keeps it";
        EXPECT_EQ(mine->groupOf(*mine->property("member 3")), &myGroup);
    }
}

// A step that looks at all the others for each device, tie or run would take minutes; so would a walk up to the
// top of the longest chain for each of its devices.
TEST(Merge, takesInThirtyThousandDevices)
{
    constexpr std::size_t kDevices = 30000;
    Sent sent;
    StateManager mine, flat;
    DeviceImp* above = sent.state.deviceAtIndex(1);
    for (std::size_t i = 0; i < kDevices; ++i) {
        DeviceImp& one = sent.state.addDevice(device("d" + std::to_string(i)), above);
        flat.addDevice(device("d" + std::to_string(i)), nullptr);
        sent.state.associate(sent.module, one, false);
        sent.state.associate(one, sent.test, false);
        sent.state.associate(one, sent.indicator, false);
        sent.state.addIndicatorRun(IndicatorRunImp(sent.indicator, &one, 5));
        above = &one;
    }
    mine.mergeWithTracking(sent.state);
    mine.takeChanges();
    mine.mergeWithTracking(sent.state);
    EXPECT_TRUE(mine.takeChanges().empty());
    flat.mergeWithTracking(sent.state);
    for (StateManager* one : {&mine, &flat}) {
        EXPECT_EQ(one->deviceCountByTest(*one->testAtIndex(0)), kDevices + 1);
        EXPECT_EQ(one->indicatorRunCount(), kDevices + 2);
        EXPECT_EQ(one->deviceCountByModule(*one->nextModule(nullptr)), kDevices + 2);
        DeviceImp const* const last = one->device(above->guid());
        EXPECT_EQ(one->parentOf(*last)->name(), String("d29998"));
    }
}
