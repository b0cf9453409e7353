#include <zel/model/vocabulary/AlertTypeImp.h>
#include <zel/model/vocabulary/CapabilityImp.h>
#include <zel/model/vocabulary/ChildBusTypeImp.h>
#include <zel/model/vocabulary/DataTypeImp.h>
#include <zel/model/vocabulary/DeviceStateImp.h>
#include <zel/model/vocabulary/EventTypeImp.h>
#include <zel/model/vocabulary/LanguageImp.h>
#include <zel/model/vocabulary/ModuleTypeImp.h>
#include <zel/model/vocabulary/OperatingSystemArchitectureImp.h>
#include <zel/model/vocabulary/OperatingSystemDistributionImp.h>
#include <zel/model/vocabulary/OperatingSystemMajorVersionImp.h>
#include <zel/model/vocabulary/OperatingSystemPlatformImp.h>
#include <zel/model/vocabulary/ParameterSourceImp.h>
#include <zel/model/vocabulary/PropertyCategoryImp.h>
#include <zel/model/vocabulary/TestResultImp.h>
#include <zel/model/vocabulary/TestStateImp.h>
#include <zel/model/vocabulary/TipTypeImp.h>
#include <zel/model/vocabulary/UnitMagnitude.h>
#include <zel/model/vocabulary/UnitType.h>

#include <gtest/gtest.h>

#include <set>
#include <string>

using namespace zel;

namespace {

template <typename Constant>
struct Entry
{
    char const* accessorName;
    char const* text;
    Constant const& (*accessor)();
};

// Every table by its class: the number of constants that it must have, and its rows.
template <typename Constant>
struct Vocabulary;

#define DECLARE_VOCABULARY(Class, expectedCount, ...)                                                        \
    template <>                                                                                              \
    struct Vocabulary<Class>                                                                                 \
    {                                                                                                        \
        using Constant = Class;                                                                              \
        static constexpr std::size_t kCount = expectedCount;                                                 \
        static std::vector<Entry<Class>> entries();                                                          \
    };                                                                                                       \
    std::vector<Entry<Class>> Vocabulary<Class>::entries()

#define ROW(accessor, text)                                                                                  \
    Entry<Constant> { #accessor, text, &Constant::accessor }

DECLARE_VOCABULARY(CapabilityImp, 250)
{
    return {
#define ZEL_CONSTANT(accessor, text, ...) ROW(accessor, text),
#include <zel/model/vocabulary/tables/Capability.def>
    };
}
DECLARE_VOCABULARY(ChildBusTypeImp, 18)
{
    return {
#define ZEL_CONSTANT(accessor, text, ...) ROW(accessor, text),
#include <zel/model/vocabulary/tables/ChildBusType.def>
    };
}
DECLARE_VOCABULARY(DeviceStateImp, 4)
{
    return {
#define ZEL_CONSTANT(accessor, text) ROW(accessor, text),
#include <zel/model/vocabulary/tables/DeviceState.def>
    };
}
DECLARE_VOCABULARY(EventTypeImp, 5)
{
    return {
#define ZEL_CONSTANT(accessor, text) ROW(accessor, text),
#include <zel/model/vocabulary/tables/EventType.def>
    };
}
DECLARE_VOCABULARY(AlertTypeImp, 11)
{
    return {
#define ZEL_CONSTANT(accessor, text) ROW(accessor, text),
#include <zel/model/vocabulary/tables/AlertType.def>
    };
}
DECLARE_VOCABULARY(TipTypeImp, 11)
{
    return {
#define ZEL_CONSTANT(accessor, text) ROW(accessor, text),
#include <zel/model/vocabulary/tables/TipType.def>
    };
}
DECLARE_VOCABULARY(PropertyCategoryImp, 24)
{
    return {
#define ZEL_CONSTANT(accessor, text) ROW(accessor, text),
#include <zel/model/vocabulary/tables/PropertyCategory.def>
    };
}
DECLARE_VOCABULARY(ParameterSourceImp, 3)
{
    return {
#define ZEL_CONSTANT(accessor, text) ROW(accessor, text),
#include <zel/model/vocabulary/tables/ParameterSource.def>
    };
}
DECLARE_VOCABULARY(LanguageImp, 26)
{
    return {
#define ZEL_CONSTANT(accessor, text, ...) ROW(accessor, text),
#include <zel/model/vocabulary/tables/Language.def>
    };
}
DECLARE_VOCABULARY(OperatingSystemPlatformImp, 4)
{
    return {
#define ZEL_CONSTANT(accessor, text, ...) ROW(accessor, text),
#include <zel/model/vocabulary/tables/OperatingSystemPlatform.def>
    };
}
DECLARE_VOCABULARY(OperatingSystemArchitectureImp, 4)
{
    return {
#define ZEL_CONSTANT(accessor, text, ...) ROW(accessor, text),
#include <zel/model/vocabulary/tables/OperatingSystemArchitecture.def>
    };
}
DECLARE_VOCABULARY(OperatingSystemMajorVersionImp, 11)
{
    return {
#define ZEL_CONSTANT(accessor, text, ...) ROW(accessor, text),
#include <zel/model/vocabulary/tables/OperatingSystemMajorVersion.def>
    };
}
DECLARE_VOCABULARY(OperatingSystemDistributionImp, 38)
{
    return {
#define ZEL_CONSTANT(accessor, text, ...) ROW(accessor, text),
#include <zel/model/vocabulary/tables/OperatingSystemDistribution.def>
    };
}
DECLARE_VOCABULARY(TestResultImp, 40)
{
    return {
#define ZEL_CONSTANT(accessor, text, ...) ROW(accessor, text),
#include <zel/model/vocabulary/tables/TestResult.def>
    };
}
DECLARE_VOCABULARY(DataTypeImp, 15)
{
    return {
#define ZEL_CONSTANT(accessor, text) ROW(accessor, text),
#include <zel/model/vocabulary/tables/DataType.def>
    };
}
DECLARE_VOCABULARY(UnitType, 17)
{
    return {
#define ZEL_CONSTANT(accessor, text, ...) ROW(accessor, text),
#include <zel/model/vocabulary/tables/UnitType.def>
    };
}
DECLARE_VOCABULARY(UnitMagnitude, 11)
{
    return {
#define ZEL_CONSTANT(accessor, text, ...) ROW(accessor, text),
#include <zel/model/vocabulary/tables/UnitMagnitude.def>
    };
}
DECLARE_VOCABULARY(ModuleTypeImp, 4)
{
    return {
#define ZEL_CONSTANT(accessor, text) ROW(accessor, text),
#include <zel/model/vocabulary/tables/ModuleType.def>
    };
}
DECLARE_VOCABULARY(TestStateImp, 3)
{
    return {
#define ZEL_CONSTANT(accessor, text) ROW(accessor, text),
#include <zel/model/vocabulary/tables/TestState.def>
    };
}

template <typename Constant>
struct VocabularyTest : testing::Test
{};
using Vocabularies =
    testing::Types<CapabilityImp, ChildBusTypeImp, DeviceStateImp, EventTypeImp, AlertTypeImp, TipTypeImp,
                   PropertyCategoryImp, ParameterSourceImp, LanguageImp, OperatingSystemPlatformImp,
                   OperatingSystemArchitectureImp, OperatingSystemMajorVersionImp,
                   OperatingSystemDistributionImp, TestResultImp, DataTypeImp, UnitType, UnitMagnitude,
                   ModuleTypeImp, TestStateImp>;
TYPED_TEST_SUITE(VocabularyTest, Vocabularies);

} // namespace

TYPED_TEST(VocabularyTest, everyRowIsOneConstantThatItsTextFindsAgain)
{
    auto const entries = Vocabulary<TypeParam>::entries();
    EXPECT_EQ(entries.size(), Vocabulary<TypeParam>::kCount);
    EXPECT_EQ(TypeParam::table().size(), entries.size());

    std::set<std::string> accessors, texts;
    for (Entry<TypeParam> const& entry : entries) {
        SCOPED_TRACE(entry.accessorName);
        EXPECT_TRUE(accessors.insert(entry.accessorName).second) << "declared twice";
        TypeParam const& constant = entry.accessor();
        EXPECT_EQ(&constant, &entry.accessor());
        EXPECT_EQ(String(constant.toString()).toUtf8(), entry.text);
        EXPECT_EQ(String(TypeParam::getConstantByString(entry.text).toString()).toUtf8(), entry.text);
        if (texts.insert(entry.text).second) { // the first of two rows with one text is the one found
            EXPECT_EQ(TypeParam::getConstantByString(entry.text), constant);
        }
    }
    for (std::size_t a = 0; a < entries.size(); ++a) {
        for (std::size_t b = 0; b < a; ++b)
            EXPECT_FALSE(entries[a].accessor() == entries[b].accessor()) << entries[a].accessorName;
    }
}

TYPED_TEST(VocabularyTest, anUnknownTextIsNoNamedConstantUnlessOneStandsForIt)
{
    std::set<std::string> const standIns = {"UNKNOWN ERROR", "nil", "Other Platform", "Other architecture",
                                            "Invalid"};
    TypeParam const unknown = TypeParam::getConstantByString("no such word");
    for (Entry<TypeParam> const& entry : Vocabulary<TypeParam>::entries()) {
        if (!standIns.contains(entry.text)) {
            EXPECT_FALSE(unknown == entry.accessor()) << entry.accessorName;
        }
    }
    EXPECT_EQ(unknown, unknown);
    EXPECT_FALSE(String(unknown.toString()).empty());
}

TEST(VocabularyTable, readsOutsideTheTableAreDefined)
{
    VocabularyTable const& table = DataTypeImp::table();
    for (int index : {-1, -1000, 15, 1000000}) {
        EXPECT_EQ(table.text(index), "INVALID");
        EXPECT_EQ(table.row(index).number, 0);
    }
    EXPECT_EQ(table.find("INVALID"), VocabularyTable::kNone);
    EXPECT_EQ(table.find("uint32"), VocabularyTable::kNone); // case counts
    EXPECT_FALSE(DataTypeImp().isValid());
    EXPECT_EQ(UnitMagnitude::getConstantByString("MILLENNIUM").powerOfTen(), 0);
    EXPECT_EQ(OperatingSystemMajorVersionImp::getConstantByNumber(10).isValid(), false);
}

TEST(Vocabulary, rowsThatAreEasilyGotWrong)
{
    EXPECT_EQ(CapabilityImp::AMD3DNOW().toString(), "3DNOW");
    EXPECT_EQ(CapabilityImp::AMD3DNOWEXT().toString(), "3DNOWEXT");
    EXPECT_EQ(ChildBusTypeImp::IEEE1394().toString(), "1394");
    EXPECT_EQ(ChildBusTypeImp::DISPLAY().number(), 15);
    EXPECT_EQ(ChildBusTypeImp::OPERATINGSYSTEM().number(), 15);
    EXPECT_EQ(ChildBusTypeImp::OPERATINGSYSTEM().toString(), "OS");
    EXPECT_EQ(LanguageImp::zh_tw().toString(), "zh-tw");
    EXPECT_EQ(LanguageImp::fi().number(), 152);
    EXPECT_EQ(PropertyCategoryImp::SmbiosData().toString(), "SMBIOS");
    EXPECT_STREQ(OperatingSystemArchitectureImp::X86_64().longText(), "x86 64-bit");
    EXPECT_EQ(TestResultImp::WARN().toString(), "WARNING");
    EXPECT_EQ(TestResultImp().toString(), "TEST NOT STARTED");
}

TEST(Vocabulary, testResultPrioritiesRiseWithTheValues)
{
    for (auto const& entry : Vocabulary<TestResultImp>::entries()) {
        SCOPED_TRACE(entry.accessorName);
        TestResultImp const& result = entry.accessor();
        EXPECT_NE(result.value(), 54);
        int const expected = result.value() == 0 ? 0 : result.value() - (result.value() < 22 ? 22 : 19);
        EXPECT_EQ(result.priority(), expected);
    }
    EXPECT_EQ(TestResultImp::PASS().value(), 0);
    EXPECT_EQ(TestResultImp::FAIL().value(), 23);
    EXPECT_EQ(TestResultImp::TIMEDOUT().value(), 58);
}

TEST(Vocabulary, operatingSystemCodesRunAcrossPlatforms)
{
    int expected = -1;
    for (auto const& entry : Vocabulary<OperatingSystemDistributionImp>::entries())
        EXPECT_EQ(entry.accessor().value(), expected++) << entry.accessorName;
    expected = -1;
    for (auto const& entry : Vocabulary<OperatingSystemMajorVersionImp>::entries()) {
        std::string const name = entry.accessorName;
        EXPECT_EQ(entry.accessor().value(), expected++) << name;
        auto const platform = name.starts_with("WIN_")   ? OperatingSystemPlatformImp::WINDOWS()
                              : name.starts_with("LIN_") ? OperatingSystemPlatformImp::LINUX()
                                                         : OperatingSystemPlatformImp::ALL_PLATFORMS();
        EXPECT_EQ(entry.accessor().platform(), platform) << name;
    }
    using Distribution = OperatingSystemDistributionImp;
    EXPECT_EQ(Distribution::WIN_DATACENTER_SERVER().toString(),
              Distribution::WIN_SERVER_DATACENTER().toString());
    EXPECT_EQ(Distribution::getConstantByNumber(21), Distribution::WIN_SERVER_DATACENTER());
    EXPECT_EQ(Distribution::LIN_REDHAT().value(), 34);
    EXPECT_EQ(Distribution::LIN_REDHAT().platform(), OperatingSystemPlatformImp::LINUX());
}

TEST(Vocabulary, magnitudesPairTenThreesWithTwoTens)
{
    for (auto const& entry : Vocabulary<UnitMagnitude>::entries())
        EXPECT_EQ(entry.accessor().powerOfTen() * 10, entry.accessor().powerOfTwo() * 3)
            << entry.accessorName;
    EXPECT_EQ(UnitMagnitude::PICO().powerOfTen(), -12);
    EXPECT_EQ(UnitMagnitude::PETA().powerOfTwo(), 50);
    int hexadecimals = 0;
    for (auto const& entry : Vocabulary<UnitType>::entries())
        hexadecimals += entry.accessor().isHexadecimalType() ? 1 : 0;
    EXPECT_EQ(hexadecimals, 4);
    EXPECT_EQ(UnitType::HEXADECIMAL64().hexadecimalBits(), 64);
}

TEST(TestResult, overallIsTheGreatestPriorityAndTheEarlierOnATie)
{
    auto const pass = TestResultImp::PASS(), fail = TestResultImp::FAIL(), warn = TestResultImp::WARN(),
               none = TestResultImp::TESTNOTSTARTED();
    struct
    {
        Array<TestResultImp> results;
        TestResultImp overall;
    } const cases[] = {
        {{}, none},           {{pass}, pass},       {{pass, fail}, fail},
        {{fail, pass}, fail}, {{none, pass}, pass}, {{pass, warn, fail}, warn},
    };
    for (auto const& c : cases)
        EXPECT_EQ(TestResultImp::overallResult(c.results), c.overall);
}
