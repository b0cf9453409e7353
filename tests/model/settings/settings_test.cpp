#include "../../foundation/TemporaryFolder.h"

#include <zel/model/module/IndicatorImp.h>
#include <zel/model/settings/ParameterImp.h>

#include <gtest/gtest.h>

using namespace zel;

namespace {

std::string utf8(String const& text) { return text.toUtf8(); }

SettingsResource settingsOf(std::string const& content)
{
    return SettingsResource(KeyTextFile::parse(content, "mymod.w4i"));
}

std::optional<std::string> textOf(std::string const& content, char const* key)
{
    auto const text = settingsOf(content).text(key);
    return text ? std::optional(utf8(*text)) : std::nullopt;
}

} // namespace

TEST(SettingsFile, readsKeysAndTexts)
{
    struct Row
    {
        char const* name;
        std::string content;
        std::optional<std::string> textOfK;
    };
    std::vector<Row> const rows{
        {"plain", "k=v\n", "v"},
        {"no final newline", "k=v", "v"},
        {"carriage returns", "a=1\r\nk=v\r\n", "v"},
        {"blanks", " \t k \t = \t v w \t \n", "v w"},
        {"byte order mark", "\xEF\xBB\xBFk=v\n", "v"},
        {"equals sign in the text", "k=a=b\n", "a=b"},
        {"empty text", "k=\n", ""},
        {"hash in the text", "k=v # w\n", "v # w"},
        {"comment", "#k=v\n  # k=v\n", std::nullopt},
        {"last one wins", "k=1\nk=2\n", "2"},
        {"other case", "K=v\n", std::nullopt},
        {"Unicode", "k=\xC5\xBC\xF0\x9F\x98\x80\n", "\xC5\xBC\xF0\x9F\x98\x80"},
        {"empty file", "", std::nullopt},
        {"only newlines", "\n\r\n\n", std::nullopt},
    };
    for (Row const& row : rows)
        EXPECT_EQ(textOf(row.content, "k"), row.textOfK) << row.name;
}

// What is wrong is reported with its line, and the lines around it count.
TEST(SettingsFile, reportsGarbageAndReadsOn)
{
    struct Row
    {
        char const* name;
        std::string line;
        bool isWarning;
    };
    std::vector<Row> const rows{
        {"no equals sign", "Test.memory.Enable true", false},
        {"no key", " = v", false},
        {"zero byte", std::string("x=\0v", 4), false},
        {"far too long", "x=" + std::string(KeyTextFile::kMaxLineBytes - 1, 'y'), false},
        {"malformed UTF-8", "x=\xC3\x28\xFF", true},
        {"key again", "first=2", true},
    };
    for (Row const& row : rows) {
        auto const file = KeyTextFile::parse("first=1\n" + row.line + "\nlast=9", "f.w4i");
        ASSERT_EQ(file.issues().size(), 1u) << row.name;
        EXPECT_EQ(file.issues()[0].line, 2) << row.name;
        EXPECT_EQ(file.issues()[0].isWarning, row.isWarning) << row.name;
        EXPECT_EQ(utf8(file.issues()[0].toString()).find("f.w4i:2: "), 0u) << row.name;
        ASSERT_TRUE(file.find("last")) << row.name;
        EXPECT_EQ(file.find("last")->m_line, 3) << row.name;
        EXPECT_EQ(file.find("x") != nullptr, row.isWarning && std::string(row.name) != "key again")
            << row.name;
    }
    std::string const longest = "x=" + std::string(KeyTextFile::kMaxLineBytes - 2, 'y');
    for (std::string const& fine : {longest, std::string("x=\xEF\xBF\xBD")})
        EXPECT_TRUE(KeyTextFile::parse(fine, "f.w4i").issues().empty()) << fine.substr(0, 9);
    std::string noise;
    for (int i = 0; i < 1000; ++i)
        noise += "noise\n";
    auto const noisy = KeyTextFile::parse(noise + "k=v", "f.w4i");
    EXPECT_EQ(noisy.issues().size(), KeyTextFile::kMaxIssues + 1);
    EXPECT_TRUE(noisy.issues().back().reason.contains("900"));
    EXPECT_TRUE(noisy.find("k"));
}

TEST(SettingsFile, isThatOfTheFirstFolderThatHasOne)
{
    test::TemporaryFolder first, second;
    second.write("mymod.w4i", "k=second");
    SettingsResource::setSearchFolders({first.path(), second.path()});
    EXPECT_EQ(utf8(SettingsResource::ofModule("mymod")->text("k").value_or("")), "second");
    EXPECT_EQ(utf8(SettingsResource::ofModule("mymod")->path()), second.path("mymod.w4i"));

    first.write("mymod.w4i", "k=first");
    EXPECT_EQ(utf8(*SettingsResource::ofModule("mymod")->text("k")), "second") << "read once";
    SettingsResource::clearCache();
    EXPECT_EQ(utf8(*SettingsResource::ofModule("mymod")->text("k")), "first");
    EXPECT_EQ(SettingsResource::ofModule("mymod")->passedOver(), second.path("mymod.w4i"));

    test::TemporaryFolder const none;
    SettingsResource::setSearchFolders({first.path(), first.path(), none.path(), second.path()});
    EXPECT_EQ(SettingsResource::ofModule("mymod")->passedOver(), second.path("mymod.w4i"))
        << "another file, wherever it stands";

    EXPECT_FALSE(SettingsResource::ofModule("other")->exists());
    EXPECT_TRUE(SettingsResource::ofModule("other")->issues().empty()) << "no file is normal";
    for (char const* guid : {"", "../mymod", "a/b", ".hidden"})
        EXPECT_FALSE(SettingsResource::ofModule(guid)->exists()) << guid;

    // A folder of that name cannot be read: that is said, and the next folder's file is not taken instead.
    std::filesystem::remove(first.path("mymod.w4i"));
    std::filesystem::create_directory(first.path("mymod.w4i"));
    SettingsResource::clearCache();
    EXPECT_FALSE(SettingsResource::ofModule("mymod")->exists());
    EXPECT_EQ(SettingsResource::ofModule("mymod")->issues().size(), 1u);
    EXPECT_FALSE(SettingsResource::ofModule("mymod")->unknown().empty());
    SettingsResource::setSearchFolders({});
}

TEST(SettingsFile, enableSwitches)
{
    using Enable = SettingsResource::Enable;
    struct Row
    {
        char const* content;
        Enable form;
        bool enabled;
        bool isError = form == Enable::NotUnderstood;
    };
    std::vector<Row> const rows{
        {"", Enable::NotSet, true},
        {"Test.t.Enable.value=true", Enable::Enabled, true},
        {"Test.t.Enable.value=FALSE", Enable::Disabled, false},
        {"Test.t.Enable.value=Yes", Enable::Enabled, true},
        {"Test.t.Enable.value=on", Enable::Enabled, true},
        {"Test.t.Enable.value=1", Enable::Enabled, true},
        {"Test.t.Enable.value=no", Enable::Disabled, false},
        {"Test.t.Enable.value=Off", Enable::Disabled, false},
        {"Test.t.Enable.value=0", Enable::Disabled, false},
        {"Test.t.Enable.value=perhaps", Enable::NotUnderstood, true},
        {"Test.t.Enable=false\nTest.t.Enable.value=perhaps", Enable::NotUnderstood, true},
        {"Test.t.Enable=true", Enable::OldForm, true},
        {"Test.t.Enable=false", Enable::OldForm, false},
        {"Test.t.Enable=true\nTest.t.Enable.value=false", Enable::Disabled, false, true}, // which is meant?
        {"Test.t.Enable=no\nTest.t.Enable.value=false", Enable::Disabled, false},
        {"Indicator.t.Enable.value=false", Enable::NotSet, true},
    };
    for (Row const& row : rows) {
        auto const settings = settingsOf(row.content);
        EXPECT_EQ(settings.enable(settings.enableLine("Test", "t")), row.form) << row.content;
        EXPECT_EQ(settings.isEnabled(settings.enableLine("Test", "t")), row.enabled) << row.content;
        EXPECT_EQ(settings.flagError("Test.t.Enable.value").has_value(), row.isError) << row.content;
    }
}

TEST(SettingsFile, timesHaveUnits)
{
    struct Row
    {
        char const* text;
        std::optional<std::uint32_t> seconds;
    };
    std::vector<Row> const rows{
        {"0", 0},
        {"90", 90},
        {"90s", 90},
        {"5m", 300},
        {"24h", 86400},
        {"2 D", 172800},
        {"4294967295", 4294967295},
        {"71582788m", 4294967280},
        {"71582789m", std::nullopt},
        {"99999999999", std::nullopt},
        {"-1", std::nullopt},
        {"1.5h", std::nullopt},
        {"1h30m", std::nullopt},
        {"h", std::nullopt},
        {"", std::nullopt},
        {"5 minutes", std::nullopt},
    };
    for (Row const& row : rows)
        for (std::string const key : {"MinTimePerTest.value", "MinTimePerTest"}) {
            auto const settings = settingsOf(key + "=" + row.text);
            EXPECT_EQ(settings.seconds("MinTimePerTest.value"), row.seconds) << row.text;
            auto const error = settings.secondsError("MinTimePerTest.value");
            EXPECT_EQ(error.has_value(), !row.seconds) << row.text;
            EXPECT_EQ(error ? utf8(error->m_key) : key, key);
        }
    EXPECT_FALSE(settingsOf("").secondsError("MinTimePerTest.value"));
}

TEST(Parameter, takesItsValueFromTheSettings)
{
    struct Row
    {
        char const* name;
        bool global;
        char const* content;
        char const* value;
        char const* source;
    };
    std::vector<Row> const rows{
        {"no line keeps the default", false, "", "5", "NOTSET"},
        {"own line", false, "Test.t.n.value=7", "7", "SETTINGSFILE"},
        {"another test's line", false, "Test.u.n.value=7", "5", "NOTSET"},
        {"the old form is no value", false, "Test.t.n=7", "5", "NOTSET"},
        {"module-wide line", true, "Parameter.n.value=8", "8", "SETTINGSFILE"},
        {"own line before the module-wide one", true, "Parameter.n.value=8\nTest.t.n.value=7", "7",
         "SETTINGSFILE"},
        {"module-wide line for what is not global", false, "Parameter.n.value=8", "5", "NOTSET"},
    };
    for (Row const& row : rows) {
        ParameterImp parameter("n", "5", DataTypeImp::UINT32(), "1..9", true, row.global);
        parameter.setParent("Test", "t");
        EXPECT_FALSE(parameter.resolve(settingsOf(row.content))) << row.name;
        EXPECT_EQ(utf8(parameter.value().toString()), row.value) << row.name;
        EXPECT_EQ(utf8(parameter.valueSource().toString()), row.source) << row.name;
    }
}

TEST(Parameter, saysWhatIsWrongAndKeepsItsValue)
{
    auto error = [](ParameterImp parameter, char const* content) {
        parameter.setParent("Test", "t");
        auto const found = parameter.resolve(settingsOf(content));
        EXPECT_FALSE(parameter.isSet()) << content;
        return found ? utf8(found->toString()) : std::string("none");
    };
    auto const uint32 = DataTypeImp::UINT32();
    std::string const notOfType = error({"n", "5", uint32, "", false, false}, "#\nTest.t.n.value=many");
    EXPECT_EQ(notOfType.find("mymod.w4i:2: Test.t.n.value: \"many\" is no UINT32"), 0u) << notOfType;
    EXPECT_EQ(error({"n", "16 MiB", DataTypeImp::DISCRETEMEASUREMENT(), "1..", false, false},
                    "Test.t.n.value=32 MHz"),
              "mymod.w4i:1: Test.t.n.value: \"32 MHz\" is in HERTZ, not in BYTES as the default \"16 MiB\"");
    EXPECT_EQ(error({"n", "5", uint32, "1..9", false, false}, "Test.t.n.value=10"),
              "mymod.w4i:1: Test.t.n.value: \"10\" lies outside the valid range \"1..9\"");
    // The author's own texts are checked by the same call.
    EXPECT_EQ(error({"n", "5", uint32, "9..1", false, false}, "Test.t.n.value=7").find("n: \"9..1\""), 0u);
    EXPECT_EQ(error({"n", "5", uint32, "fast", false, false}, "Test.t.n.value=7").find("n: the valid range"),
              0u);
    EXPECT_EQ(error({"n", "x", uint32, "", false, false}, "").find("n: the default: \"x\""), 0u);
    EXPECT_EQ(error({"n", "10", uint32, "1..9", false, false}, "").find("n: the default: \"10\""), 0u);
    EXPECT_EQ(error({"n", "", uint32, "1..9", false, false}, ""), "none");
    EXPECT_EQ(error({"n", "fast", DataTypeImp::STRING(), "fast, thorough", false, false}, ""), "none");
}

TEST(Parameter, takesAClientsValueWhenNothingIsLost)
{
    ParameterImp parameter("n", "5", DataTypeImp::UINT32(), "1..9", false, false);
    auto const client = ParameterSourceImp::CLIENT();
    EXPECT_TRUE(parameter.setValue(ValueImp(-1), client));
    EXPECT_TRUE(parameter.setValue(ValueImp("7"), client));
    EXPECT_TRUE(parameter.setValue(ValueImp(10u), client));
    EXPECT_FALSE(parameter.isSet());
    EXPECT_FALSE(parameter.setValue(ValueImp(std::uint64_t{7}), client));
    EXPECT_TRUE(parameter.value() == ValueImp(7u));
    EXPECT_TRUE(parameter.valueSource() == client);
}

TEST(IndicatorParameters, comeFromTheIndicatorsLines)
{
    IndicatorImp indicator("fan", CapabilityImp(), false);
    ParameterImp const declared("n", "5", DataTypeImp::UINT32(), "1..9", true, false);
    EXPECT_TRUE(indicator.addParameter(declared));
    EXPECT_FALSE(indicator.addParameter(declared));

    EXPECT_TRUE(indicator.resolveParameterData(settingsOf("Test.fan.n.value=7\nTest.fan.Enable.value=false"))
                    .empty());
    EXPECT_TRUE(indicator.parameters()[0].value() == ValueImp(5u)) << "a test's line";
    EXPECT_FALSE(indicator.isSwitchedOff());

    auto const settings = settingsOf("Indicator.fan.n.value=8\nIndicator.fan.Enable.value=false");
    EXPECT_TRUE(indicator.resolveParameterData(settings).empty());
    EXPECT_TRUE(indicator.parameters()[0].value() == ValueImp(8u));
    EXPECT_TRUE(indicator.isSwitchedOff());

    auto const errors = indicator.resolveParameterData(settingsOf("Indicator.fan.n.value=10"));
    ASSERT_EQ(errors.size(), 1u);
    EXPECT_EQ(utf8(errors[0].m_parameter), "n");
    EXPECT_EQ(utf8(errors[0].m_key), "Indicator.fan.n.value");
}
