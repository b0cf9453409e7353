#include <zel/foundation/Exception.h>
#include <zel/foundation/Logger.h>
#include <zel/foundation/Options.h>

#include <gtest/gtest.h>

using zel::Option;
using zel::OptionManager;
using zel::String;

namespace {

void registerAll(OptionManager& manager)
{
    manager.registerOption(Option("TestNum", "", Option::Type::Integer, {}, "t", "A number.", true));
    manager.registerOption(Option("Language", "", Option::Type::String, {}, "lang", "A text.", true));
    manager.registerOption(
        Option("Colour", "red", Option::Type::String, {"red", "blue"}, "c", "A choice.", true));
    manager.registerOption(Option("Run", "", Option::Type::Flag, {}, "run", "A flag.", false));
    manager.registerOption(Option("Version", "", Option::Type::Flag, {}, "version", "A flag.", true));
}

String merge(OptionManager& manager, std::vector<char const*> words)
{
    words.insert(words.begin(), "program");
    try {
        manager.mergeCommandLine(static_cast<int>(words.size()), words.data());
    } catch (zel::OptionException const& exception) {
        return exception.getMessage();
    }
    return String();
}

} // namespace

TEST(Options, takesValuesOfEveryType)
{
    OptionManager manager;
    registerAll(manager);
    EXPECT_EQ(merge(manager, {"run", "-t", "-5", "-lang", "de DE", "-c", "blue"}), String());
    EXPECT_TRUE(manager.lookupFlag("Run"));
    EXPECT_FALSE(manager.lookupFlag("Version"));
    EXPECT_EQ(manager.lookupIntegerValue("TestNum"), -5);
    EXPECT_EQ(manager.lookupStringValue("Language"), String("de DE"));
    EXPECT_EQ(manager.lookupStringValue("Colour"), String("blue"));
    EXPECT_EQ(manager.lookupStringValue("Nothing"), std::nullopt);
    EXPECT_FALSE(manager.lookupFlag("Nothing"));
    manager.reset();
    EXPECT_EQ(manager.lookupIntegerValue("TestNum"), std::nullopt);
}

TEST(Options, refusesWhatIsWrongNamesItAndTakesNothing)
{
    struct
    {
        std::vector<char const*> words;
        char const* message;
    } const cases[] = {
        {{"foo"}, "Unknown word on the command line: \"foo\""},
        {{""}, "Unknown word on the command line: \"\""},
        {{"-run"}, "Unknown word on the command line: \"-run\" (did you mean \"run\"?)"},
        {{"--version"}, "Unknown word on the command line: \"--version\" (did you mean \"-version\"?)"},
        {{"/version"}, "Unknown word on the command line: \"/version\" (did you mean \"-version\"?)"},
        {{"-LANG", "de"}, "Unknown word on the command line: \"-LANG\" (did you mean \"-lang\"?)"},
        {{"--testNum"}, "Unknown word on the command line: \"--testNum\" (did you mean \"-t\"?)"},
        {{"-ver"}, "Unknown word on the command line: \"-ver\""},
        {{"-lang\xFF", "de"}, "Unknown word on the command line: \"-lang\xEF\xBF\xBD\""},
        {{"-t"}, "The option \"-t\" needs a value"},
        {{"-lang", "-t", "1"}, "The option \"-lang\" needs a value"},
        {{"-t", "one"}, "The value \"one\" of the option \"-t\" is not an integer"},
        {{"-t", ""}, "The value \"\" of the option \"-t\" is not an integer"},
        {{"-t", "1 "}, "The value \"1 \" of the option \"-t\" is not an integer"},
        {{"-t", "0x10"}, "The value \"0x10\" of the option \"-t\" is not an integer"},
        {{"-t", "9223372036854775808"},
         "The value \"9223372036854775808\" of the option \"-t\" is out of range"},
        {{"\x1B[31mX\nY\x7F"}, "Unknown word on the command line: \"\\x1b[31mX\\x0aY\\x7f\""},
        {{"-c", "Red"}, "The value \"Red\" of the option \"-c\" is none of \"red\", \"blue\""},
        {{"run", "run"}, "Option given twice: \"run\""},
        {{"-t", "1", "-t", "1"}, "Option given twice: \"-t\""},
    };
    for (auto const& c : cases) {
        OptionManager manager;
        registerAll(manager);
        std::vector<char const*> words{"-version"};
        words.insert(words.end(), c.words.begin(), c.words.end());
        EXPECT_EQ(merge(manager, words), String(c.message));
        EXPECT_FALSE(manager.lookupFlag("Version")) << c.message;
        EXPECT_EQ(manager.lookupStringValue("Colour"), String("red")) << c.message;
    }
}

TEST(Options, survivesAnArgumentVectorWithNothingInIt)
{
    OptionManager manager;
    registerAll(manager);
    char const* const holes[] = {nullptr, nullptr, "-version", nullptr};
    EXPECT_NO_THROW(manager.mergeCommandLine(0, nullptr));
    EXPECT_NO_THROW(manager.mergeCommandLine(3, nullptr));
    EXPECT_NO_THROW(manager.mergeCommandLine(-1, holes));
    EXPECT_FALSE(manager.lookupFlag("Version"));
    EXPECT_NO_THROW(manager.mergeCommandLine(4, holes));
    EXPECT_TRUE(manager.lookupFlag("Version"));
    char const* const more[] = {nullptr, "run", "beyond the count", nullptr};
    EXPECT_NO_THROW(manager.mergeCommandLine(2, more));
    EXPECT_TRUE(manager.lookupFlag("Run"));
}

TEST(Options, refusesTwoOptionsOfOneNameOrWord)
{
    OptionManager manager;
    registerAll(manager);
    auto const flag = [](char const* name, char const* word, bool dash) {
        return Option(name, "", Option::Type::Flag, {}, word, "", dash);
    };
    EXPECT_THROW(manager.registerOption(flag("Run", "other", true)), zel::OptionException);
    EXPECT_THROW(manager.registerOption(flag("Other", "run", false)), zel::OptionException);
    EXPECT_NO_THROW(manager.registerOption(flag("Other", "run", true)));
}

TEST(Options, showsItsUsage)
{
    EXPECT_EQ(Option("N", "", Option::Type::Integer, {}, "t", "", true).getUsageString("-"),
              String("-t <number> "));
    EXPECT_EQ(Option("N", "", Option::Type::String, {}, "l", "", true).getUsageString("-"),
              String("-l <text> "));
    EXPECT_EQ(Option("N", "", Option::Type::Flag, {}, "run", "", false).getUsageString(""), String("run "));
}

TEST(Options, handsLoggerOptionsToTheLoggers)
{
    auto const apply = [](std::vector<char const*> words) {
        OptionManager manager;
        manager.registerOption(zel::LoggerConfig::loggerLevelOption());
        manager.registerOption(zel::LoggerConfig::loggerRootOption());
        EXPECT_EQ(merge(manager, words), String());
        zel::LoggerConfig::applyOptions(manager);
    };
    zel::Logger& inside = zel::LogFactory::getLogger("options.test.Inside");
    zel::Logger& beside = zel::LogFactory::getLogger("options.tester");
    apply({"-ll", "Trace", "-lr", "options.test"});
    EXPECT_TRUE(inside.isEnabled(zel::LogLevel::Trace));
    EXPECT_FALSE(beside.isEnabled(zel::LogLevel::Warning));
    apply({"-ll", "3"});
    EXPECT_TRUE(beside.isEnabled(zel::LogLevel::Warning));
    EXPECT_THROW(apply({"-ll", "loud"}), zel::OptionException);
    EXPECT_THROW(apply({"-lr", "options"}), zel::OptionException);
    EXPECT_NO_THROW(apply({}));
    zel::LogFactory::clearOverrides();
}
