// What a person means, and what becomes of it.
#include <tools/engine/Workshop.h>

#include <engine/plan/MakePlan.h>
#include <engine/plan/Names.h>

namespace engine {
namespace {

using namespace test;

class PlanTest : public testing::Test
{
protected:
    PlanTest()
    {
        shop.addModule("ram",
                       head("ram") +
                           test::test(1, "quick", "Memory",
                                      "minShutdownSeconds=9\n" + parameter(1, "SizeMiB", "UINT64", "1..64") +
                                          parameter(2, "Mode", "STRING", "fast, slow")) +
                           test::test(2, "wipe", "Memory", "isDestructive=true\n") +
                           test::test(3, "talk", "Memory", "isInteractive=true\n"));
        shop.write("ram.w4p", "Module.Name=Memory tests\nTest.wipe.Name=Quick\nTest.talk.Name=Ask around\n");
        shop.addModule(
            "disk", head("disk") +
                        test::test(1, "quick", "HardDrive",
                                   "supportsParallelTesting=true\n" + parameter(1, "SizeMiB", "UINT64", "")) +
                        test::test(2, "fan", "Fan"));
        shop.addDevice("Memory", "Memory", "Memory", "/proc/meminfo");
        shop.addDevice("HardDrive", "ACME 1000", "SATA:1", "/dev/sda");
        shop.addDevice("HardDrive", "ACME 1000", "SATA:2", "/dev/sdb");
        shop.addDevice("NetworkCard", "Wire", "PCI:3", "eth0");
        shop.open();
    }

    std::string tests(std::string const& word) const
    {
        std::string text;
        std::string const refused = refusal([&] {
            for (Catalog::Place const& place : chooseTests(*shop.catalog, word).tests)
                text += wordOf(*place.module, *place.test) + " ";
        });
        return refused.empty() ? text : refused;
    }
    std::string devices(std::string const& word) const
    {
        std::string text;
        std::string const refused = refusal([&] {
            for (zel::DeviceImp const* device : chooseDevices(shop.numbered, shop.machine, word))
                text += placeOf(*device) + " ";
        });
        return refused.empty() ? text : refused;
    }
    Plan plan(PlanRequest const& request) const
    {
        return makePlan(request, *shop.catalog, shop.machine, shop.numbered);
    }
    /// Runs, then refusals, each as one line.
    std::string planned(PlanRequest const& request) const
    {
        std::string text;
        std::string const refused = refusal([&] {
            Plan const made = plan(request);
            for (PlannedRun const& run : made.runs) {
                text += run.moduleGuid + ":" + run.test + " " + placeOf(*run.device);
                for (auto const& [key, value] : run.parameters)
                    text += " " + key + "=" + value;
                text += "\n";
            }
            for (Refusal const& one : made.refusals)
                text += (one.isAskedFor ? "asked " : "left ") + one.moduleGuid + ":" + one.test + " " +
                        one.deviceName + " " + one.result + ": " + one.reason + "\n";
        });
        return refused.empty() ? text : refused;
    }
    PlanRequest ofPlan(std::string const& text) const
    {
        PlanRequest request;
        request.plan = "mine";
        request.lines = parsePlan(text, "mine");
        return request;
    }

    Workshop shop;
};

TEST_F(PlanTest, WordsNameTests)
{
    struct Case
    {
        char const* word;
        char const* meaning;
    };
    Case const cases[] = {
        {"ram", "ram:quick ram:wipe ram:talk "},
        {"RAM:quick", "ram:quick "}, // the key before the name of another
        {"memory tests:ask AROUND", "ram:talk "},
        {"*:quick", "disk:quick ram:quick "},
        {"ram:*i*", "ram:quick ram:wipe "},
        {"talk", "ram:talk "},
        {"3", "ram:quick "},
        {"quick", "\"quick\" may be several tests: disk:quick, ram:quick; name one of them"},
        {"rum", "there is no module or test \"rum\"; did you mean ram?"},
        {"ram:talc", "the module \"ram\" has no test \"talc\"; did you mean talk?"},
        {"99", "there is no test of the number 99; \"list\" shows the numbers"},
        {"0", "there is no test of the number 0; \"list\" shows the numbers"},
        {"3,1", "ram:quick disk:quick "},
        {"1,,2", "a number is missing in \"1,,2\""},
        {"3-5", "ram:quick ram:wipe ram:talk "},
        {"4-4,1", "ram:wipe disk:quick "},
        {"5-3", "the range \"5-3\" goes backwards: write 3-5"},
        {"0-2", "there is no test of the number 0 (in \"0-2\"); \"list\" shows the numbers"},
        {"2-99", "there is no test of the number 99 (in \"2-99\"); \"list\" shows the numbers"},
        {"2-99999999999999999999", "there is no test of the number 99999999999999999999 (in "
                                   "\"2-99999999999999999999\"); \"list\" shows the numbers"},
        {"1-2-3", "\"1-2-3\" is no range of numbers, as 2-5"},
        {"-3", "\"-3\" is no range of numbers, as 2-5"},
        {"zzz*", "there is no module or test \"zzz*\""},
        {"", "there is no module or test \"\""},
        {":", "there is no module \"\""},
        {"ram:", "the module \"ram\" has no test \"\""},
    };
    for (Case const& one : cases)
        EXPECT_EQ(tests(one.word), one.meaning) << one.word;
}

TEST_F(PlanTest, WordsNameDevices)
{
    ASSERT_EQ(shop.numbered.size(), 3u);
    struct Case
    {
        char const* word;
        char const* meaning;
    };
    Case const cases[] = {
        {"1", "/proc/meminfo "},
        {"/dev/SDA", "/dev/sda "},
        {"sata:2", "/dev/sdb "},
        {"acme*", "/dev/sda /dev/sdb "},
        {"harddrive", "/dev/sda /dev/sdb "},
        {"acme 1000", "--device: several devices are called \"acme 1000\": 2 ACME 1000 (/dev/sda), 3 ACME "
                      "1000 (/dev/sdb); give one of these "
                      "numbers or places, or a wildcard (*) for all"},
        {"4", "--device: there is no device of the number 4; \"list\" shows the numbers"},
        {"/dev/sdc", "--device: there is no device \"/dev/sdc\"; did you mean /dev/sda or /dev/sdb? "
                     "(\"list\" and \"inventory\" show them)"},
        {"wire", "eth0 "},
    };
    for (Case const& one : cases)
        EXPECT_EQ(devices(one.word), one.meaning) << one.word;
}

TEST_F(PlanTest, WhatHarmsOrAsksRunsOnlyWhenItIsMeant)
{
    PlanRequest request;
    request.words = {"ram"};
    EXPECT_EQ(planned(request), "ram:quick /proc/meminfo\nram:talk /proc/meminfo\n"
                                "left ram:wipe  SKIPPED: it destroys data; it runs when it is named, or with "
                                "--destructive\n");
    request.words = {"ram:wipe", "2"};
    EXPECT_EQ(planned(request),
              "ram:wipe /proc/meminfo\nasked disk:fan  NO DEVICE: this machine has no device of its "
              "kind: Fan\n");
    request.words = {"3,4"}; // each by its own number; a range is what stands there
    EXPECT_EQ(planned(request), "ram:quick /proc/meminfo\nram:wipe /proc/meminfo\n");
    request.words = {"3-4,2"};
    EXPECT_EQ(planned(request), "ram:quick /proc/meminfo\n"
                                "left ram:wipe  SKIPPED: it destroys data; it runs when it is named, or with "
                                "--destructive\n"
                                "asked disk:fan  NO DEVICE: this machine has no device of its kind: Fan\n");
    request.words = {"ram:w*"};
    request.destructive = true;
    EXPECT_EQ(planned(request), "ram:wipe /proc/meminfo\n");

    PlanRequest wild = ofPlan("ram:wipe\nram:* # all\nram:quick\n*:f* optional\n");
    EXPECT_EQ(planned(wild),
              "ram:quick /proc/meminfo\nram:quick /proc/meminfo\n"
              "left ram:wipe  SKIPPED: it destroys data; a plan runs it only with --destructive\n"
              "left ram:talk  SKIPPED: it asks a person; it runs when it is named\n"
              "left disk:fan  NO DEVICE: this machine has no device of its kind: Fan\n");
    // Who names a test of the plan means it: no verdict is without it, and none destroys data that the plan would not.
    wild.words = {"ram:wipe"};
    EXPECT_EQ(planned(wild),
              "asked ram:wipe  SKIPPED: it destroys data; a plan runs it only with --destructive\n");
    wild.words = {"ram:talk"};
    EXPECT_EQ(planned(wild), "ram:talk /proc/meminfo\n");
    wild.words = {"disk:fan"};
    EXPECT_EQ(planned(wild), "asked disk:fan  NO DEVICE: this machine has no device of its kind: Fan\n");
    wild.words = {"ram:w*"};
    EXPECT_EQ(planned(wild),
              "left ram:wipe  SKIPPED: it destroys data; a plan runs it only with --destructive\n");
    wild.words = {"ram:wipe"};
    wild.destructive = true;
    EXPECT_EQ(planned(wild), "ram:wipe /proc/meminfo\n");
    wild.words = {"ram:wipe", "disk:quick"};
    EXPECT_EQ(planned(wild), "nothing in the plan \"mine\" is \"disk:quick\"");

    request = {};
    request.words = {"disk:quick"};
    request.isAdministrator = false;
    EXPECT_EQ(planned(request),
              "asked disk:quick  INSUFFICIENT PRIVILEGE: tests run as root only (effective user id 0)\n");
}

TEST_F(PlanTest, DevicesNarrowAndNoneIsForgotten)
{
    PlanRequest request;
    request.words = {"disk", "ram:quick"};
    request.devices = {"/dev/sdb"};
    EXPECT_EQ(planned(request), "disk:quick /dev/sdb\n"
                                "left disk:fan  NO DEVICE: this machine has no device of its kind: Fan\n"
                                "asked ram:quick ACME 1000 (/dev/sdb) NOTAPPLICABLE: it is a HardDrive\n");
    request.words = {"ram"};
    request.devices = {"eth0"};
    EXPECT_NE(planned(request).find("asked : Wire (eth0) NO TEST: none of the chosen tests goes to eth0"),
              std::string::npos)
        << planned(request);
    PlanRequest const line =
        ofPlan("disk:quick device=2 device=/dev/sdb\ndisk:quick device=nothere optional\n");
    EXPECT_EQ(planned(line), "disk:quick /dev/sda\ndisk:quick /dev/sdb\n");
}

TEST_F(PlanTest, SettingsAreCheckedBeforeAnythingRuns)
{
    struct Case
    {
        std::vector<std::string> settings;
        std::string outcome;
    };
    Case const cases[] = {
        {{"SizeMiB=8"},
         "disk:quick /dev/sda SizeMiB=8\ndisk:quick /dev/sdb SizeMiB=8\nram:quick /proc/meminfo "
         "SizeMiB=8\n"},
        {{"SizeMiB=8", "ram:quick.SizeMiB=9", "Mode=slow"},
         "disk:quick /dev/sda SizeMiB=8\ndisk:quick /dev/sdb SizeMiB=8\nram:quick /proc/meminfo SizeMiB=9 "
         "Mode=slow\n"},
        {{"disk:*.SizeMiB=65"},
         "disk:quick /dev/sda SizeMiB=65\ndisk:quick /dev/sdb SizeMiB=65\nram:quick "
         "/proc/meminfo\n"},
        {{"SizeMiB=65"}, "--set: SizeMiB=65 for ram:quick: \"65\" lies outside the valid range \"1..64\""},
        {{"Mode=faster"},
         "--set: Mode=faster for ram:quick: \"faster\" lies outside the valid range \"fast, slow\""},
        {{"SizeMB=1"}, "--set: no test that is to run has a parameter \"SizeMB\"; did you mean SizeMiB?"},
        {{"disk:quick.Mode=fast"},
         "--set: no test that is to run has a parameter \"Mode\"; did you mean Mode?"},
        {{"dsk:quick.SizeMiB=1"}, "--set: there is no module \"dsk\"; did you mean disk?"},
        {{"SizeMiB"}, "--set: \"SizeMiB\" is not written KEY=VALUE"},
        {{"=1"}, "--set: there is no key in front of the \"=\""},
        {{"ram:quick=1"}, "--set: \"ram:quick\" names no parameter; it is written MODULE:TEST.KEY=VALUE"},
    };
    for (Case const& one : cases) {
        PlanRequest request;
        request.words = {"disk:quick", "ram:quick"};
        std::string const refused = refusal([&] {
            for (std::string const& setting : one.settings)
                request.settings.push_back(settingOf(setting, "--set"));
        });
        EXPECT_EQ(refused.empty() ? planned(request) : refused, one.outcome) << one.settings[0];
    }
}

TEST_F(PlanTest, LaterSettingsStandInPlaceOfEarlierOnes)
{
    shop.write("mine.txt", "# file\nTest.quick.SizeMiB.value = 1\nMode=fast\n");
    PlanRequest request = ofPlan("ram:quick SizeMiB=2\nram:quick\ndisk:quick device=2 \"SizeMiB=3\"\n");
    request.fileSettings = readSettingsFile(shop.path("mine.txt"));
    EXPECT_EQ(planned(request),
              "ram:quick /proc/meminfo Mode=fast SizeMiB=2\nram:quick /proc/meminfo SizeMiB=1 "
              "Mode=fast\ndisk:quick /dev/sda SizeMiB=3\n");
    request.settings = {settingOf("SizeMiB=4", "--set")};
    EXPECT_EQ(planned(request),
              "ram:quick /proc/meminfo Mode=fast SizeMiB=4\nram:quick /proc/meminfo Mode=fast "
              "SizeMiB=4\ndisk:quick /dev/sda SizeMiB=4\n");

    shop.write("bad.txt", "SizeMiB=1\nno equals\n");
    EXPECT_EQ(refusal([&] { readSettingsFile(shop.path("bad.txt")); }),
              "--settings: " + shop.path("bad.txt") + ":2: has no '='");
    shop.write("typo.txt", "\nSizeMB=1\n");
    request.fileSettings = readSettingsFile(shop.path("typo.txt"));
    EXPECT_EQ(planned(request),
              shop.path("typo.txt") +
                  ":2: no test that is to run has a parameter \"SizeMB\"; did you mean SizeMiB?");
}

TEST_F(PlanTest, ARunKnowsHowToBeMadeAgain)
{
    PlanRequest request;
    request.words = {"ram:quick", "disk:quick"};
    request.settings = {settingOf("Mode=slow", "--set")};
    request.forTime = std::chrono::hours(1);
    request.limit = std::chrono::minutes(2);
    request.also = {"--modules", "/my modules"};
    Plan const made = plan(request);
    ASSERT_EQ(made.runs.size(), 3u);
    EXPECT_EQ(made.runs[0].again,
              "krel5-engine run ram:quick --device /proc/meminfo --set Mode=slow --for 3600s "
              "--timeout 120s --modules '/my modules'");
    EXPECT_EQ(
        made.runs[2].again,
        "krel5-engine run disk:quick --device /dev/sdb --for 3600s --timeout 120s --modules '/my modules'");
    EXPECT_EQ(made.runs[0].shutdownSeconds, 9u);
    EXPECT_FALSE(made.runs[0].parallel);
    EXPECT_TRUE(made.runs[1].parallel);
    EXPECT_EQ(made.runs[0].moduleVersion, "1.0.1");
}

// Where somebody set one, or it is no free number, the test has what it was given.
TEST(Plan, ASeedIsDrawnWhereNobodySetOne)
{
    Workshop shop;
    shop.addDevice("Memory", "Memory", "Memory", "/proc/meminfo");
    shop.write("dice.w4i", "Test.set.Seed.value=7\n");
    shop.addModule("dice", head("dice") +
                               test::test(1, "roll", "Memory", parameter(1, "Seed", "UINT64", "")) +
                               test::test(2, "few", "Memory", parameter(1, "Seed", "UINT64", "1..6")) +
                               test::test(3, "word", "Memory", parameter(1, "Seed", "STRING", "")) +
                               test::test(4, "set", "Memory", parameter(1, "Seed", "UINT64", "")));
    shop.open();
    auto const drawn = [&](std::vector<std::string> words, std::vector<Setting> const& settings) {
        PlanRequest request;
        request.words = std::move(words);
        request.settings = settings;
        std::string tests;
        for (PlannedRun const& run : makePlan(request, *shop.catalog, shop.machine, shop.numbered).runs)
            tests += run.drawsSeed ? run.test + " " : "";
        return tests;
    };
    EXPECT_EQ(drawn({"dice"}, {}), "roll ");
    EXPECT_EQ(drawn({"dice:roll"}, {settingOf("Seed=3", "--set")}), "");
}

TEST(PlanFile, TimesAreNumbersWithUnits)
{
    EXPECT_EQ(durationOf("1h30m", "--for").count(), 5400);
    EXPECT_EQ(durationOf("90", "--for").count(), 90);
    EXPECT_EQ(durationText(durationOf("1d2h3s", "--for")), "26h3s");
    for (char const* const wrong :
         {"", "1h30", "h", "0s", "0h0m", "1x", "-1s", "1hm", "49711d", "40000d40000d"})
        EXPECT_NE(
            refusal([&] { durationOf(wrong, "--for"); }).find("--for: \"" + std::string(wrong) + "\" is "),
            std::string::npos)
            << wrong;
}

TEST(PlanFile, ErrorsNameTheLine)
{
    struct Case
    {
        std::string text, complaint;
    };
    Case const cases[] = {
        {"", "p: there is no test in it"},
        {"# nothing\n\n", "p: there is no test in it"},
        {"a:b\nSizeMiB=1 a:b\n", "p:2: a line begins with the tests that it is about: MODULE:TEST"},
        {"a:b\n\na:c optinal\n", "p:3: \"optinal\" is not understood; did you mean optional?"},
        {"a:b for=soon\n", "p:1: \"soon\" is no time, as 90s, 5m, 1h30m or 2d"},
        {"a:b timeout=0\n", "p:1: \"0\" is too short a time: it must be more than 0"},
        {"a:b timeout=0h0m\n", "p:1: \"0h0m\" is too short a time: it must be more than 0"},
        {"a:b for=1hm\n", "p:1: \"1hm\" is no time, as 90s, 5m, 1h30m or 2d"},
        {"a:b for=99999999999h\n", "p:1: \"99999999999h\" is too long a time: 49710d at most"},
        {"a:b for=49710d9h\n", "p:1: \"49710d9h\" is too long a time: 49710d at most"},
        {"a:b \"x=1\n", "p:1: a quotation mark is not closed"},
        {std::string("a:b\0\n", 5), "p:1: holds a zero byte"},
        {"a:b =1\n", "p:1: there is no key in front of the \"=\""},
    };
    for (Case const& one : cases)
        EXPECT_EQ(refusal([&] { parsePlan(one.text, "p"); }), one.complaint);
    auto const lines =
        parsePlan("\"my module:t\" k=\"a b\" about=90 for=2m timeout=1h optional interactive # so\r\n", "p");
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].tests, "my module:t");
    EXPECT_EQ(lines[0].settings.at(0).value, "a b");
    EXPECT_EQ(lines[0].expected.count() + lines[0].forTime.count() + lines[0].limit.count(), 90 + 120 + 3600);
    EXPECT_TRUE(lines[0].optional && lines[0].interactive);
}

} // namespace
} // namespace engine
