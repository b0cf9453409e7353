#include <zel/model/vocabulary/CapabilityImp.h>
#include <zel/model/vocabulary/PropertyCategoryImp.h>
#include <zel/model/vocabulary/Vocabularies.h>

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <type_traits>

using namespace zel;

namespace {

template <typename Constant>
Constant constantOfRow(std::size_t row)
{
    return Constant(static_cast<typename Constant::Code>(row));
}

template <typename Constant>
void expectTextsFindTheirConstants()
{
    // Two editions have one text; they are told apart by their codes.
    constexpr bool kTextsMayRepeat = std::is_same_v<Constant, OperatingSystemDistributionImp>;
    std::set<std::string> texts;
    for (std::size_t row = 0; row < Constant::table().size(); ++row) {
        std::string const text(Constant::table().row(static_cast<int>(row)).text);
        SCOPED_TRACE(text);
        bool const isFirst = texts.insert(text).second;
        EXPECT_TRUE(isFirst || kTextsMayRepeat) << "another row has this text";
        Constant const constant = constantOfRow<Constant>(row);
        EXPECT_EQ(String(constant.toString()).toUtf8(), text);
        EXPECT_EQ(Constant::getConstantByString(text.c_str()) == constant, isFirst);
        for (std::size_t earlier = 0; earlier < row; ++earlier)
            EXPECT_FALSE(constant == constantOfRow<Constant>(earlier)) << earlier;
    }
}

// What a text that is in no row gives: mostly a constant outside the table.
template <typename Constant>
std::string const kUnknown = "INVALID";
template <>
std::string const kUnknown<CapabilityImp> = "no such word"; // a capability of its own
template <>
std::string const kUnknown<PropertyCategoryImp> = "Invalid";
template <>
std::string const kUnknown<TestResultImp> = "UNKNOWN ERROR";
template <>
std::string const kUnknown<LanguageImp> = "nil";
template <>
std::string const kUnknown<OperatingSystemPlatformImp> = "Other Platform";
template <>
std::string const kUnknown<OperatingSystemArchitectureImp> = "Other architecture";

template <typename Constant>
void expectUnknownTextIsAnswered()
{
    Constant const unknown = Constant::getConstantByString("no such word");
    EXPECT_EQ(String(unknown.toString()).toUtf8(), kUnknown<Constant>);
    EXPECT_EQ(unknown, unknown);
    for (std::size_t row = 0; row < Constant::table().size(); ++row) {
        bool const standsForIt =
            kUnknown<Constant> == static_cast<char const*>(Constant::table().row(static_cast<int>(row)).text);
        EXPECT_EQ(unknown == constantOfRow<Constant>(row), standsForIt) << row;
    }
}

template <typename Constant>
void expectSoundTable(char const* name)
{
    SCOPED_TRACE(name);
    expectTextsFindTheirConstants<Constant>();
    expectUnknownTextIsAnswered<Constant>();
}

// The text of a member of a set stands between commas, with blanks to be taken off.
void expectTextsFitForSets(VocabularyTable const& table)
{
    for (std::size_t row = 0; row < table.size(); ++row) {
        String const& text = table.text(static_cast<int>(row));
        EXPECT_FALSE(text.toUtf8().find(',') != std::string::npos || text != text.trimmed()) << text.toUtf8();
    }
}

template <typename Constant>
std::set<int> expectEachNumberOnce()
{
    std::set<int> numbers;
    for (int row = 0; row < Constant::count(); ++row)
        EXPECT_TRUE(numbers.insert(Constant::table().row(row).number).second)
            << Constant::table().row(row).text;
    return numbers;
}

template <typename Constant>
void expectNumbersWithoutGapsFrom(int first)
{
    std::set<int> const numbers = expectEachNumberOnce<Constant>();
    EXPECT_EQ(*numbers.begin(), first);
    EXPECT_EQ(*numbers.rbegin(), first + Constant::count() - 1);
}

template <typename Constant>
void expectPlatformsAsNamed()
{
    using Platform = OperatingSystemPlatformImp;
    for (int row = 0; row < Constant::count(); ++row) {
        std::string const name(Constant::table().row(row).accessor);
        Platform const platform = constantOfRow<Constant>(static_cast<std::size_t>(row)).platform();
        EXPECT_EQ(platform == Platform::WINDOWS(), name.starts_with("WIN_")) << name;
        EXPECT_EQ(platform == Platform::LINUX(), name.starts_with("LIN_")) << name;
        EXPECT_EQ(platform == Platform::ALL_PLATFORMS(), name.starts_with("ALL_")) << name;
    }
    EXPECT_EQ(Constant::getConstantByNumber(-2).platform(), Platform::OTHER_PLATFORM()); // no such release
}

} // namespace

TEST(Vocabulary, everyTableIsSound)
{
    expectSoundTable<CapabilityImp>("CapabilityImp");
    expectSoundTable<PropertyCategoryImp>("PropertyCategoryImp");
    expectTextsFitForSets(CapabilityImp::table());
    expectTextsFitForSets(PropertyCategoryImp::table());
#define ZEL_EACH_VOCABULARY <model/vocabulary/EachVocabulary.inc>
#include <zel/model/vocabulary/Vocabularies.def>
}

// What has been released stays: a line that is lost in a merge would take a constant away from modules.
TEST(Vocabulary, noTableShrinks)
{
    struct
    {
        VocabularyTable const& table;
        std::size_t released;
    } const tables[] = {
        {CapabilityImp::table(), 250},
        {PropertyCategoryImp::table(), 24},
        {AlertTypeImp::table(), 11},
        {ChildBusTypeImp::table(), 18},
        {DataTypeImp::table(), 15},
        {DeviceStateImp::table(), 4},
        {EventTypeImp::table(), 5},
        {LanguageImp::table(), 26},
        {ModuleTypeImp::table(), 4},
        {OperatingSystemArchitectureImp::table(), 4},
        {OperatingSystemDistributionImp::table(), 38},
        {OperatingSystemMajorVersionImp::table(), 11},
        {OperatingSystemPlatformImp::table(), 4},
        {ParameterSourceImp::table(), 3},
        {TestResultImp::table(), 40},
        {TestStateImp::table(), 3},
        {TipTypeImp::table(), 11},
        {UnitMagnitude::table(), 11},
        {UnitType::table(), 19},
    };
    for (auto const& [table, released] : tables)
        EXPECT_GE(table.size(), released) << table.row(0).text;
}

TEST(VocabularyTable, readsOutsideTheTableAreDefined)
{
    VocabularyTable const& table = DataTypeImp::table();
    for (int index : {-1, -1000, DataTypeImp::count(), 1000000}) {
        EXPECT_EQ(table.text(index), "INVALID");
        EXPECT_EQ(table.row(index).number, 0);
    }
    EXPECT_EQ(table.find("INVALID"), VocabularyTable::kNone);
    EXPECT_EQ(table.find("uint32"), VocabularyTable::kNone); // case counts
    EXPECT_FALSE(DataTypeImp().isValid());
    EXPECT_EQ(UnitMagnitude::getConstantByString("MILLENNIUM").powerOfTen(), 0);
    EXPECT_FALSE(OperatingSystemMajorVersionImp::getConstantByNumber(-2).isValid());
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
    expectEachNumberOnce<LanguageImp>();
    EXPECT_EQ(PropertyCategoryImp::SmbiosData().toString(), "SMBIOS");
    EXPECT_STREQ(OperatingSystemArchitectureImp::X86_64().longText(), "x86 64-bit");
    EXPECT_EQ(TestResultImp::WARN().toString(), "WARNING");
    EXPECT_EQ(TestResultImp().toString(), "TEST NOT STARTED");
    EXPECT_EQ(TestStateImp::EXITED(), TestStateImp::getConstantByString("EXITED"));
    EXPECT_EQ(ModuleTypeImp::SYSINFO(), ModuleTypeImp::getConstantByString("SYSINFO"));
}

TEST(Vocabulary, testResultPrioritiesRiseWithTheValues)
{
    expectEachNumberOnce<TestResultImp>(); // as exit statuses
    for (int row = 0; row < TestResultImp::count(); ++row) {
        TestResultImp const result = constantOfRow<TestResultImp>(static_cast<std::size_t>(row));
        SCOPED_TRACE(result.toString().toUtf8());
        EXPECT_TRUE(result.value() >= 0 && result.value() <= 255 && result.value() != 54) << result.value();
        int const expected = result.value() == 0 ? 0 : result.value() - (result.value() < 22 ? 22 : 19);
        EXPECT_EQ(result.priority(), expected);
    }
    EXPECT_EQ(TestResultImp::PASS().value(), 0);
    EXPECT_EQ(TestResultImp::FAIL().value(), 23);
    EXPECT_EQ(TestResultImp::TIMEDOUT().value(), 58);
}

TEST(Vocabulary, operatingSystemCodesRunAcrossPlatforms)
{
    expectNumbersWithoutGapsFrom<OperatingSystemPlatformImp>(-1);
    expectNumbersWithoutGapsFrom<OperatingSystemArchitectureImp>(-1);
    expectNumbersWithoutGapsFrom<OperatingSystemMajorVersionImp>(-1);
    expectNumbersWithoutGapsFrom<OperatingSystemDistributionImp>(-1);

    using Major = OperatingSystemMajorVersionImp;
    using Distribution = OperatingSystemDistributionImp;
    using Platform = OperatingSystemPlatformImp;
    EXPECT_EQ(Distribution::WIN_DATACENTER_SERVER().toString(),
              Distribution::WIN_SERVER_DATACENTER().toString());
    EXPECT_EQ(Distribution::getConstantByNumber(17), Distribution::WIN_DATACENTER_SERVER());
    EXPECT_EQ(Distribution::getConstantByNumber(21), Distribution::WIN_SERVER_DATACENTER());
    EXPECT_EQ(Distribution::LIN_REDHAT().value(), 34);
    EXPECT_EQ(Major::LIN_OTHER_KERNEL().value(), 9);
    EXPECT_EQ(Platform::OTHER_PLATFORM().value(), 2);
}

TEST(Vocabulary, releasesAndEditionsBelongToThePlatformOfTheirName)
{
    expectPlatformsAsNamed<OperatingSystemMajorVersionImp>();
    expectPlatformsAsNamed<OperatingSystemDistributionImp>();
}

TEST(Vocabulary, magnitudesPairTenThreesWithTwoTens)
{
    for (int row = 0; row < UnitMagnitude::count(); ++row) {
        UnitMagnitude const magnitude = constantOfRow<UnitMagnitude>(static_cast<std::size_t>(row));
        EXPECT_EQ(magnitude.powerOfTen() * 10, magnitude.powerOfTwo() * 3) << magnitude.toString().toUtf8();
    }
    EXPECT_EQ(UnitMagnitude::PICO().powerOfTen(), -12);
    EXPECT_EQ(UnitMagnitude::PETA().powerOfTwo(), 50);
    for (int row = 0; row < UnitType::count(); ++row) {
        UnitType const unit = constantOfRow<UnitType>(static_cast<std::size_t>(row));
        std::string const name = unit.toString().toUtf8();
        int const bits = unit.hexadecimalBits();
        EXPECT_EQ(unit.isHexadecimalType(), name.starts_with("HEXADECIMAL")) << name;
        EXPECT_TRUE(bits == 0 || name == "HEXADECIMAL" + std::to_string(bits)) << name;
    }
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
