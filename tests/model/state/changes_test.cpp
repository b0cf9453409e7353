// What the list of changes says after things came, changed and went, and that it stays flat.
#include "../TestDevices.h"

#include <zel/foundation/Exception.h>

#include <gtest/gtest.h>

using namespace zel;
using namespace zel::test;

namespace {

using Kind = Change::Kind;

// "A" adds, "U" updates, "R" removes the device of the number behind; "P" and "p" add and remove a property of it.
ChangeList listOf(std::vector<char const*> const& happened)
{
    ChangeList list;
    for (char const* one : happened) {
        String const guid(one + 1);
        switch (*one) {
        case 'A':
            list.note({Kind::DeviceAdded, guid});
            break;
        case 'U':
            list.note({Kind::DeviceUpdated, guid});
            break;
        case 'R':
            list.note({Kind::DeviceRemoved, guid});
            break;
        case 'P':
            list.note({Kind::PropertyAdded, guid, String(), "key"});
            break;
        case 'p':
            list.note({Kind::PropertyRemoved, guid, String(), "key"});
            break;
        case 'T':
            list.note({Kind::AssociationAdded, "module", guid});
            break;
        }
    }
    return list;
}

std::string net(std::vector<char const*> const& happened)
{
    std::string text;
    for (Change const& one : listOf(happened).take()) {
        bool const isTie = one.kind == Kind::AssociationAdded;
        char const letter = one.kind == Kind::DeviceAdded       ? 'A'
                            : one.kind == Kind::DeviceUpdated   ? 'U'
                            : one.kind == Kind::DeviceRemoved   ? 'R'
                            : one.kind == Kind::PropertyAdded   ? 'P'
                            : one.kind == Kind::PropertyRemoved ? 'p'
                                                                : 'T';
        text +=
            (text.empty() ? "" : " ") + std::string(1, letter) + (isTie ? one.otherGuid : one.guid).toUtf8();
    }
    return text;
}

} // namespace

TEST(ChangeList, saysTheNetOfWhatHappened)
{
    struct Case
    {
        std::vector<char const*> happened;
        std::string net;
    };
    for (Case const& one : std::vector<Case>{
             {{"A1", "U2", "A3"}, "A1 U2 A3"},
             {{"U1", "U2", "U1"}, "U2 U1"},
             {{"A1", "R1"}, ""},
             {{"R1", "A1"}, "R1 A1"},
             {{"R1", "A1", "R1"}, "R1"},
             {{"R1", "A1", "R1", "A1", "U1"}, "R1 A1 U1"},
             {{"U1", "R1", "A1", "U1"}, "R1 A1 U1"},
             {{"P1", "p1"}, ""},
             {{"p1", "P1", "P2"}, "p1 P1 P2"},
             {{"P1", "T1", "U1", "p2", "R1"}, "p2 R1"},
             {{"R1", "A1", "P1", "T1"}, "R1 A1 P1 T1"},
         })
        EXPECT_EQ(net(one.happened), one.net);
    ChangeList list = listOf({"A1"});
    EXPECT_EQ(list.take().size(), 1u);
    EXPECT_TRUE(list.take().empty());
}

// An indicator that runs for weeks: alerts come, change and go, a device is plugged in and out, values come and
// go; and nobody takes the changes.
TEST(StateManager, aMillionChangesThatNobodyTakesStayFew)
{
    StateManager state;
    DeviceImp& known = state.addDevice(device("known"), nullptr);
    PropertyImp const property(specification("fan"), ValueImp(String("fast")));
    AlertImp hot("m", "hot", AlertTypeImp::MESSAGE());
    state.takeChanges();
    std::size_t most = 0;
    for (std::uint32_t i = 0; i < 166667; ++i) {
        hot.setTimeTriggered(i);
        state.addAlert(hot);
        AlertImp const passing("m", String("passing ") + String::number(i), AlertTypeImp::MESSAGE());
        state.addAlert(passing);
        state.removeAlert(passing.guid());
        state.addProperty(known, property);
        state.removeProperty(known, "fan");
        state.removeDevice(state.addDevice(device("plugged " + std::to_string(i % 1000)), nullptr).guid());
        state.releaseRemoved();
        most = std::max(most, state.heldChanges());
    }
    EXPECT_LE(most, ChangeList::kUnfolded);
    EXPECT_EQ(state.removedCount(), 0u);
    EXPECT_EQ(state.takeChanges(),
              (std::vector<Change>{{Kind::AlertAdded, hot.guid()}, {Kind::AlertUpdated, hot.guid()}}));
}

TEST(StateManager, propertiesThatComeAndGoAreChangesOfTheirOwn)
{
    StateManager state, other;
    DeviceImp& held = state.addDevice(device("held"), nullptr);
    add(held, "old", "1");
    auto const stranger = device("stranger");
    state.takeChanges();
    PropertyImp const fresh(specification("new"), ValueImp(String("n")));
    EXPECT_EQ(state.addProperty(held, fresh).key(), String("new"));
    EXPECT_TRUE(state.removeProperty(held, held.property("old")->key()));
    EXPECT_FALSE(state.removeProperty(held, "old"));
    state.addProperty(*stranger, fresh);
    EXPECT_TRUE(stranger->property("new"));
    EXPECT_EQ(state.takeChanges(),
              (std::vector<Change>{{Kind::PropertyAdded, held.guid(), String(), "new"},
                                   {Kind::PropertyRemoved, held.guid(), String(), "old"}}))
        << "of devices that are held here, and only of them";

    add(other.addDevice(device("held"), nullptr), "merged", "m");
    state.mergeWithTracking(other);
    auto const changes = state.takeChanges();
    EXPECT_NE(std::find(changes.begin(), changes.end(),
                        Change{Kind::PropertyAdded, held.guid(), String(), "merged"}),
              changes.end());
}

TEST(Device, isAskedWithinItsBoundsAndShownAsFarAsAsked)
{
    auto const one = device("x");
    EXPECT_EQ(one->firstProperty(), nullptr);
    for (char const* key : {"a", "b", "c"})
        add(*one, key, key);
    EXPECT_TRUE(one->removeProperty("a"));
    EXPECT_EQ(one->firstProperty()->key(), String("b"));
    EXPECT_EQ(one->nextProperty()->key(), String("c"));
    EXPECT_EQ(one->nextProperty(), nullptr);
    try {
        one->getProperty(2);
        ADD_FAILURE();
    } catch (IndexOutOfBoundsException const& e) {
        EXPECT_TRUE(e.getMessage().contains("1")) << "the last that there is: " << e.getMessage().toUtf8();
    }
    EXPECT_EQ(one->toString(0), String("Device: x\n"));
    String const facts = one->toString(1);
    EXPECT_TRUE(facts.contains("  Type: HardDrive\n") && facts.contains("  Location: x\n"));
    EXPECT_FALSE(facts.contains("Description") || facts.contains("    b"));
    EXPECT_TRUE(one->toString(2).endsWith("    b: b\n    c: c\n"));
}
