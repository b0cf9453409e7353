// Whatever a state holds comes back as it was, and is written as the schema says.
#include "../TestDevices.h"
#include "RandomState.h"
#include "StateDump.h"

#include <zel/model/wire/MessageBoxWire.h>
#include <zel/model/wire/RunWire.h>
#include <zel/model/wire/Serializable.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <regex>
#include <sstream>

using namespace zel;
using namespace zel::test;

namespace {

std::string written(StateManager const& state) { return Serializable::serializeUtf8(state, "StateManager"); }

// The clocks of indicator runs go on between two writings.
std::string withoutClocks(std::string const& document)
{
    return std::regex_replace(document, std::regex(" elapsed=\"[^\"]*\""), "");
}

// A record alone, as messages carry it.
template <typename Record, typename Write, typename Read>
std::string copied(Record const& record, Write write, Read read)
{
    std::string text;
    XmlWriter writer(text);
    write(writer, record);
    XmlReader reader(text);
    reader.openRoot();
    auto const copy = read(reader);
    reader.finish();
    return dump(copy);
}

void expectValid(std::string const& document, std::string const& name)
{
    std::string const path = ::testing::TempDir() + name;
    std::ofstream(path) << document;
    std::string const command =
        "xmllint --huge --noout --schema '" KREL5_SCHEMA "' '" + path + "' 2>'" + path + ".log'";
    EXPECT_EQ(std::system(command.c_str()), 0)
        << std::ifstream(path + ".log").rdbuf() << "\n(xmllint comes with libxml2-utils)";
}

} // namespace

TEST(SerializedState, comesBackEqualWhateverItHolds)
{
    for (unsigned seed = 1; seed <= 300; ++seed) {
        RandomState original(seed);
        std::string const document = written(original.state());
        StateManager back;
        ASSERT_NO_THROW(Serializable::deserializeUtf8(document, back)) << "seed " << seed << document;
        ASSERT_EQ(dump(back), dump(original.state())) << "seed " << seed;
        ASSERT_EQ(withoutClocks(written(back)), withoutClocks(document)) << "seed " << seed;
        ASSERT_TRUE(back.takeChanges().empty());
    }
}

TEST(SerializedState, carriesEveryUnitOfText)
{
    DeviceImp::Identity identity;
    identity.guid = "g";
    std::vector<String::Unit> units(0x10000);
    for (unsigned unit = 0; unit < 0x10000; ++unit)
        units[unit] = static_cast<String::Unit>(unit);
    identity.name = String(units.data(), units.size());
    std::reverse(units.begin(), units.end()); // now each surrogate is alone
    identity.description = String(units.data(), units.size());
    for (std::uint32_t code = 0x10000; code < 0x110000; code += 0x3FF)
        for (String::Unit const unit : {static_cast<String::Unit>(0xD7C0 + (code >> 10)),
                                        static_cast<String::Unit>(0xDC00 + (code & 0x3FF))})
            identity.osLocator += String(&unit, 1);
    StateManager state, back;
    state.addDevice(DeviceImp::restored(identity), nullptr);
    Serializable::deserialize(Serializable::serialize(state, "Any.name"), back);
    EXPECT_EQ(back.deviceAtIndex(0)->name(), identity.name);
    EXPECT_EQ(back.deviceAtIndex(0)->description(), identity.description);
    EXPECT_EQ(back.deviceAtIndex(0)->osLocator(), identity.osLocator);
    expectValid(written(state), "every_unit.xml");
}

// The reader looks at many bytes at a time.
TEST(SerializedState, carriesEachMarkWhereverItStands)
{
    String::Unit const marks[] = {'"',  '\'', '<', '>',  '&',  '\\',   '\t',
                                  '\n', 1,    ' ', 0x7F, 0xE9, 0x4E2D, 0xFFFF};
    std::vector<String> texts;
    for (std::size_t length = 1; length <= 40; ++length)
        for (std::size_t at = 0; at < length; ++at)
            for (String::Unit const mark : marks) {
                std::vector<String::Unit> units(length, 'a');
                units[at] = mark;
                texts.emplace_back(units.data(), units.size());
            }
    std::string document;
    XmlWriter writer(document);
    writer.open("texts");
    for (String const& text : texts) {
        writer.open("text");
        writer.text("t", text);
        writer.close("text");
    }
    writer.close("texts");
    XmlReader reader(document);
    reader.openRoot();
    XmlReader::Children children(reader);
    for (String const& text : texts) {
        ASSERT_TRUE(children.next());
        ASSERT_EQ(reader.required("t"), text);
    }
    EXPECT_FALSE(children.next());
    reader.finish();
}

TEST(SerializedState, isWhatTheSchemaSays)
{
    for (unsigned seed = 1; seed <= 20; ++seed)
        expectValid(written(RandomState(seed).state()), "state" + std::to_string(seed) + ".xml");
    std::string box;
    XmlWriter writer(box);
    wire::writeMessageBox(writer, Random(1).box());
    expectValid(box, "box.xml");
}

TEST(SerializedState, isReadByAnyReaderOfXml)
{
    RandomState original(3);
    std::string const path = ::testing::TempDir() + "rewritten.xml";
    std::ofstream(path) << written(original.state());
    std::string const command = "xmllint --huge --format --encode ASCII '" + path + "' >'" + path + ".2'";
    ASSERT_EQ(std::system(command.c_str()), 0);
    std::stringstream rewritten;
    rewritten << std::ifstream(path + ".2").rdbuf();
    StateManager back;
    Serializable::deserializeUtf8(rewritten.str(), back);
    EXPECT_EQ(dump(back), dump(original.state()));
}

TEST(SerializedRecords, comeBackEqualAlone)
{
    Random random(7);
    for (int i = 0; i < 200; ++i) {
        MessageBoxImp const box = random.box();
        EXPECT_EQ(copied(box, wire::writeMessageBox, wire::readMessageBox), dump(box));
        TestRunEventImp const event = random.event();
        EXPECT_EQ(copied(event, wire::writeEvent, wire::readEvent), dump(event));
    }
}

TEST(SerializedState, leavesOutWhatIsNobodys)
{
    StateManager state, back;
    auto const spec =
        std::make_shared<PropertySpecImp>("k", PropertyCategoryImp(), DataTypeImp::STRING(), CapabilityImp());
    DeviceImp::Identity identity;
    identity.guid = "d";
    DeviceImp& device = state.addDevice(DeviceImp::restored(identity), nullptr);
    TestImp gone("t", CapabilityImp());
    state.associate(device, gone, false);
    auto const other =
        std::make_shared<PropertySpecImp>("l", PropertyCategoryImp(), DataTypeImp::STRING(), CapabilityImp());
    spec->setGroup(other), other->setGroup(spec); // a ring of two
    for (auto const& one : {spec, other}) {
        PropertyImp const property(one, ValueImp("v"));
        device.addProperty(&property).setPartOfGroup(true);
    }
    device.property("k")->addChild(device.property("l"));
    device.property("l")->addChild(device.property("k"));
    PropertyImp const absent(std::make_shared<PropertySpecImp>("absent", PropertyCategoryImp(),
                                                               DataTypeImp::STRING(), CapabilityImp()),
                             ValueImp("v"));
    for (char const* const key : {"group", "member"}) {
        auto const one = std::make_shared<PropertySpecImp>(key, PropertyCategoryImp(), DataTypeImp::STRING(),
                                                           CapabilityImp());
        PropertyImp const property(one, ValueImp("v"));
        device.addProperty(&property);
    }
    device.property("group")->addChild(&absent);
    device.property("group")->addChild(device.property("member"));
    device.property("member")->setPartOfGroup(true);
    Serializable::deserializeUtf8(written(state), back);
    DeviceImp const& copy = *back.device("d");
    EXPECT_EQ(copy.groupOf(*copy.property("member")), copy.property("group"))
        << "though one before it is not there";
    EXPECT_EQ(copy.property("group")->children(), std::vector<String>{"member"});
    EXPECT_EQ(back.testsOf(copy).size(), 0u);
    EXPECT_EQ(copy.groupOf(*copy.property("k")) != nullptr, copy.groupOf(*copy.property("l")) == nullptr);
    spec->setGroup(nullptr);
}

TEST(SerializedState, leavesOutTiesAndRunsOfWhatItDoesNotHold)
{
    TestImp test("t", CapabilityImp()), lostTest("lost", CapabilityImp());
    IndicatorImp indicator("i", CapabilityImp(), true), lostIndicator("lost", CapabilityImp(), true);
    auto const lostDevice = device("lost");
    StateManager state, back;
    DeviceImp& held = state.addDevice(device("held"), nullptr);
    state.addTest(test);
    state.addIndicator(indicator);
    state.associate(held, lostTest, false);
    state.associate(held, test, false);
    state.addTestRun(TestRunImp(&test, lostDevice.get()));
    state.addTestRun(TestRunImp(&lostTest, &held));
    state.addTestRun(TestRunImp(&test, &held));
    state.addIndicatorRun(IndicatorRunImp(lostIndicator, nullptr, 5));
    state.addIndicatorRun(IndicatorRunImp(indicator, lostDevice.get(), 5));
    state.addIndicatorRun(IndicatorRunImp(indicator, nullptr, 5));
    Serializable::deserializeUtf8(written(state), back);
    EXPECT_EQ(back.testsOf(*back.device(held.guid())), std::vector<TestImp*>{back.test("t")});
    ASSERT_EQ(back.testRunCount(), 3u);
    EXPECT_FALSE(back.testRunAtIndex(0).test());
    EXPECT_FALSE(back.testRunAtIndex(1).test());
    EXPECT_EQ(back.testRunAtIndex(2).test(), back.test("t"));
    ASSERT_EQ(back.indicatorRunCount(), 1u);
    EXPECT_FALSE(back.indicatorRunAtIndex(0).device());
}

// Each device has a specification of its own: those that say the same are written once, those of one key that differ in
// anything under names of their own.
TEST(SerializedState, writesSpecificationsThatSayTheSameOnce)
{
    auto const spec = [](char const* key = "k", PropertyCategoryImp const& category = PropertyCategoryImp(),
                         DataTypeImp const& type = DataTypeImp::STRING(),
                         CapabilityImp const& capability = CapabilityImp()) {
        return std::make_shared<PropertySpecImp>(key, category, type, capability);
    };
    auto const first = spec("k#2"), second = spec("k#2"), listed = spec(), ofModule = spec(), named = spec(),
               alias = spec(), grouped = spec();
    ofModule->setModuleGuid("m");
    second->setModuleGuid("m");
    named->setDefaultName("n");
    alias->setAlias("a");
    grouped->setGroup(first);
    StateManager state, back;
    state.addPropertySpec(listed, false);
    int number = 0;
    for (auto const& one : {first, spec(), ofModule, spec("k", PropertyCategoryImp::SysInfo()),
                            spec("k", PropertyCategoryImp(), DataTypeImp::UINT32()),
                            spec("k", PropertyCategoryImp(), DataTypeImp::STRING(), CapabilityImp::CPU()),
                            named, alias, grouped, spec(), second}) {
        PropertyImp const property(one, ValueImp("v"));
        state.addDevice(device(std::to_string(number++)), nullptr).addProperty(&property);
    }
    std::string const document = written(state);
    std::string names;
    std::regex const name("<specification name=\"([^\"]*)\"");
    for (std::sregex_iterator one(document.begin(), document.end(), name), end; one != end; ++one)
        names += one->str(1) + " ";
    EXPECT_EQ(names, "k k#2 k#3 k#4 k#5 k#6 k#7 k#8 k#9 k#2#2 ");
    Serializable::deserializeUtf8(document, back);
    EXPECT_EQ(dump(back), dump(state));
}
