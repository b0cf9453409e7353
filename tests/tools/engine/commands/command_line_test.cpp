// What the words of a command line come to.
#include <engine/CommandLine.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <sstream>
#include <vector>

namespace engine {
namespace {

CommandLine parsed(std::vector<char const*> words)
{
    words.insert(words.begin(), "krel5-engine");
    return parseCommandLine(static_cast<int>(words.size()), words.data());
}

TEST(CommandLine, OptionsOfARun)
{
    CommandLine const plain = parsed({"run"});
    EXPECT_EQ(plain.error, "");
    EXPECT_TRUE(plain.run.options.keepGoing);
    EXPECT_EQ(plain.run.options.parallel, 1u);
    CommandLine const line =
        parsed({"run", "--device", "1", "a:b", "--device", "x y", "c", "--stop-at-failure", "--set", "k=v w",
                "--parallel", "3", "--repeat", "2", "--destructive"});
    EXPECT_EQ(line.error, "");
    EXPECT_EQ(line.run.words, (std::vector<std::string>{"a:b", "c"}));
    EXPECT_EQ(line.run.devices, (std::vector<std::string>{"1", "x y"}));
    EXPECT_EQ(line.run.settings, (std::vector<std::string>{"k=v w"}));
    EXPECT_FALSE(line.run.options.keepGoing);
    EXPECT_TRUE(line.run.destructive);
    EXPECT_EQ(line.run.options.parallel * 10 + line.run.options.repeat, 32u);
    EXPECT_EQ(line.run.options.command,
              "krel5-engine run --device 1 a:b --device 'x y' c --stop-at-failure --set 'k=v "
              "w' --parallel 3 --repeat 2 --destructive");
}

TEST(CommandLine, NothingIsGuessed)
{
    for (std::vector<char const*> const& words :
         std::vector<std::vector<char const*>>{{"run", "--parallel", "0"},
                                               {"run", "--parallel", "-1"},
                                               {"run", "--repeat", "x"},
                                               {"run", "--plan"},
                                               {"list", "run"},
                                               {"--plan", "quick"},
                                               {"why"},
                                               {"report"},
                                               {"run", "--root", "/"},
                                               {"RUN"}}) {
        CommandLine const line = parsed(words);
        bool const isListOfModule =
            words.size() == 2 && std::string(words[1]) == "run"; // a module may be called so
        EXPECT_EQ(line.error.empty(), isListOfModule) << words.front() << " " << line.error;
        EXPECT_FALSE(line.answer);
    }
}

TEST(CommandLine, WhatIsWrongIsSaidWithOptionAndValue)
{
    struct
    {
        std::vector<char const*> words;
        char const* error;
    } const cases[] = {
        {{"run", "--repeat", "0"}, "--repeat: \"0\" is no whole number from 1 to 1000000"},
        {{"run", "--repeat", "1.5"}, "--repeat: \"1.5\" is no whole number from 1 to 1000000"},
        {{"run", "--parallel", "99999999999999999999"},
         "--parallel: \"99999999999999999999\" is no whole number from 1 to 1024"},
        {{"run", "--parallel=0x10"}, "--parallel: \"0x10\" is no whole number from 1 to 1024"},
        {{"run", "--plan"}, "--plan: a value is missing"},
        {{"run", "--report=", "--dry-run"}, "--report: a value is missing behind the \"=\""},
        {{"run", "--report", "--dry-run"},
         "--report: a value is missing; \"--dry-run\" is taken for an option (a value like that is written "
         "--report=--dry-run)"},
        {{"run", "--plan", "quick", "--plan", "standard"},
         "--plan: takes one value, and is given several times"},
        {{"run", "--dry-run=no"}, "--dry-run: takes no value"},
        {{"run", "--dri"}, "\"--dri\" is not understood; did you mean --dry-run?"},
        {{"list", "--al"}, "\"--al\" is not understood; did you mean --all?"},
        {{"why", "--lan"}, "\"--lan\" is not understood; did you mean --lang?"},
        {{"report", "--outp", "x"}, "\"--outp\" is not understood; did you mean --output?"},
        {{"last", "--js"}, "\"--js\" is not understood; did you mean --json?"},
        {{"inventory", "--verb"}, "\"--verb\" is not understood; did you mean --verbose?"},
        {{"compare", "--cla"}, "\"--cla\" is not understood; did you mean --class?"},
        {{"inv"}, "\"inv\" is not understood; did you mean inventory?"},
        {{"why"}, "TEST is required"},
    };
    for (auto const& one : cases)
        EXPECT_EQ(parsed(one.words).error, one.error);
    EXPECT_EQ(parsed({"run", "--report=--dry-run"}).run.options.report, "--dry-run");
}

TEST(CommandLine, HelpHasExamplesThatAreUnderstood)
{
    for (char const* const command : {"", "list", "why", "run", "report", "last", "inventory", "compare"}) {
        std::vector<char const*> words = {command, "--help"};
        CommandLine const help = parsed({words.begin() + (*command ? 0 : 1), words.end()});
        ASSERT_TRUE(help.answer) << command;
        std::size_t examples = 0;
        std::istringstream lines(*help.answer);
        std::string line;
        while (std::getline(lines, line)) {
            std::size_t const begin = line.find("krel5-engine ");
            if (begin > 8 || !line.starts_with("  "))
                continue;
            // what it is for stands behind two blanks; the shell would take away quotes and what follows a ">"
            line = line.substr(begin + 13);
            line = line.substr(0, std::min(line.find("  "), line.find(" > ")));
            std::erase(line, '\'');
            std::istringstream parts(line);
            std::vector<std::string> const example{std::istream_iterator<std::string>(parts), {}};
            std::vector<char const*> argv;
            for (std::string const& word : example)
                argv.push_back(word.c_str());
            CommandLine const understood = parsed(argv);
            EXPECT_EQ(understood.error, "") << line;
            EXPECT_NE(understood.command, Command::None) << line;
            EXPECT_TRUE(*command == 0 || example.front() == command) << line;
            ++examples;
        }
        EXPECT_GT(examples, 0u) << command;
    }
}

} // namespace
} // namespace engine
