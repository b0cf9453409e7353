// Which devices and properties the rules of a filter file let in, and which files are no filter.
#include <zel/model/devices/SystemInformationFilter.h>

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

using zel::CapabilityImp;
using zel::String;
using zel::SystemInformationFilter;
using Result = SystemInformationFilter::Result;

namespace {

std::string filter(std::string const& rules)
{
    return "<SystemInformationFilter version=\"1\">" + rules + "</SystemInformationFilter>";
}

/// Of some types and keys, those that the rules let in: each type, and behind it the keys of such a device.
std::string included(std::string const& rules)
{
    SystemInformationFilter filterOf;
    auto const load = filterOf.parse(filter(rules), "f");
    EXPECT_EQ(load.result, Result::Loaded) << load.reason.toUtf8();
    std::string text;
    for (char const* type : {"HardDrive", "Fan", "Gadget", "NIL"}) {
        bool const isIn = filterOf.includeDeviceType(CapabilityImp(String(type)));
        text += isIn ? std::string(type) + "(" : std::string("-(");
        for (char const* key : {"Serial", "SerialNumber", "Size"})
            if (filterOf.includeDeviceProperty(CapabilityImp(String(type)), key))
                text += std::string(key) + " ";
        text += ") ";
    }
    return text;
}

} // namespace

TEST(Filter, theFirstRuleThatMatchesDecides)
{
    struct Case
    {
        std::string rules, included;
    };
    std::string const all = "(Serial SerialNumber Size ) ";
    for (Case const& one : std::initializer_list<Case>{
             {"", "HardDrive" + all + "Fan" + all + "Gadget" + all + "NIL" + all},
             {"<exclude capability='Gadget, HardDrive'/>", "-" + all + "Fan" + all + "-" + all + "NIL" + all},
             {"<include capability='Fan'/><exclude capability='All'/><include capability='HardDrive'/>",
              "-" + all + "Fan" + all + "-" + all + "-" + all},
             {"<exclude property='Serial'/>", "HardDrive(SerialNumber Size ) Fan(SerialNumber Size ) "
                                              "Gadget(SerialNumber Size ) NIL(SerialNumber Size ) "},
             {"<include property='SerialNumber' capability='Fan'/><exclude property='Serial*'/>",
              "HardDrive(Size ) Fan(SerialNumber Size ) Gadget(Size ) NIL(Size ) "},
             {"<exclude property='*' capability='Fan, Gadget'/>",
              "HardDrive" + all + "Fan() Gadget() NIL" + all}})
        EXPECT_EQ(included(one.rules), one.included) << one.rules;
}

TEST(Filter, whatIsNoFilterLeavesNothingOut)
{
    std::string tooMany;
    for (std::size_t i = 0; i < SystemInformationFilter::kMaxRules; ++i)
        tooMany += "<exclude property='a'/>";
    EXPECT_EQ(SystemInformationFilter().parse(filter(tooMany), "f.xml").result, Result::Loaded);
    tooMany += "<exclude property='a'/>";
    for (std::string const& text :
         {std::string(), std::string("<SystemInformationFilter version=\"1\">"),
          std::string("<SystemInformationFilter/>"), std::string("<SystemInformationFilter version='2'/>"),
          std::string("<Filter version='1'/>"), filter("text"), filter("<drop capability='Fan'/>"),
          filter("<exclude/>"), filter("<exclude capability=''/>"), filter("<exclude capability='NIL'/>"),
          filter("<exclude property=' '/>"), filter("<exclude key='Serial'/>"),
          filter("<exclude property='a' property='b'/>"), filter("<exclude property='a'>b</exclude>"),
          filter("<exclude property='a'><exclude property='b'/></exclude>"), filter(tooMany),
          std::string("<!DOCTYPE f [<!ENTITY a 'b'>]>") + filter("<exclude property='&a;'/>")}) {
        SystemInformationFilter filterOf;
        filterOf.addDeviceRule(false, CapabilityImp::Fan());
        auto const load = filterOf.parse(text, "f.xml");
        EXPECT_EQ(load.result, Result::Malformed) << text.substr(0, 200);
        EXPECT_TRUE(load.reason.startsWith("f.xml: ")) << load.reason.toUtf8();
        EXPECT_TRUE(filterOf.includeDeviceType(CapabilityImp::Fan())) << "the rules before are gone";
        EXPECT_TRUE(filterOf.includeDeviceProperty(CapabilityImp::Fan(), "a"));
    }
}

TEST(Filter, aWordThatNoVocabularyHasIsToldAndCounts)
{
    SystemInformationFilter filterOf;
    auto const load = filterOf.parse(filter("<exclude capability='HardDirve, Fan'/>"), "f");
    ASSERT_EQ(load.warnings.size(), 1u);
    EXPECT_TRUE(load.warnings[0].contains("\"HardDirve\""));
    EXPECT_FALSE(filterOf.includeDeviceType(CapabilityImp(String("HardDirve"))));
    auto const lines =
        filterOf.parse(filter("<exclude capability='Fan&#10;WARNING: all is left out'/>"), "f");
    ASSERT_EQ(lines.warnings.size(), 1u);
    EXPECT_TRUE(lines.warnings[0].contains("\"Fan\\x0aWARNING: all is left out\""))
        << "it begins no line of its own: " << lines.warnings[0].toUtf8();
}

TEST(Filter, theExampleThatShipsDoesWhatItSays)
{
    std::ifstream file(EXAMPLE_FILTER, std::ios::binary);
    std::string const text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    SystemInformationFilter filterOf;
    auto const load = filterOf.parse(text, "example");
    ASSERT_EQ(load.result, Result::Loaded) << load.reason.toUtf8();
    EXPECT_TRUE(load.warnings.empty());
    EXPECT_FALSE(filterOf.includeDeviceType(CapabilityImp::Fan()));
    EXPECT_TRUE(filterOf.includeDeviceProperty(CapabilityImp::Monitor(), "SerialNumber"));
    EXPECT_FALSE(filterOf.includeDeviceProperty(CapabilityImp::HardDrive(), "SerialNumber"));
    EXPECT_FALSE(filterOf.includeDeviceProperty(CapabilityImp::HardDrive(), "Ipv4Addresses"));
}
