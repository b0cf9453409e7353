// What a settings file does to a running module: what it steers, and that nothing runs on what nobody understands.
#include <endtoend/MisbehavingModule.h>

#include <functional>
#include <sys/stat.h>

namespace {

using test::has;
using test::holds;
using test::Outcome;
using test::Start;

constexpr unsigned kNobody = 65534;

class SettingsTest : public test::ModuleTest
{
protected:
    std::string file() { return m_folder.path("misbehaving.w4i"); }
    Outcome runIn(std::string const& folder)
    {
        Start start = startOf("pass");
        start.folder = folder;
        return test::run(program(), start);
    }
    /// All that runs no test works, and says what is wrong.
    void expectTheRestToWork(std::string const& reason)
    {
        Outcome const listing = module({"enum"});
        EXPECT_EQ(listing.status, 0) << reason;
        EXPECT_TRUE(holds(listing.out, "  pass (1)"));
        EXPECT_TRUE(holds(listing.out, "  fail (2)"));
        EXPECT_TRUE(holds(listing.err, reason));
        for (char const* option : {"-version", "-m", "-k"}) {
            Outcome const told = module({option});
            EXPECT_EQ(told.status, 0) << option << reason;
            EXPECT_TRUE(holds(told.err, reason));
        }
        Outcome const help = module({"-h"});
        EXPECT_EQ(help.status, 23);
        EXPECT_TRUE(holds(help.out, "Usage: "));
        EXPECT_TRUE(holds(help.err, reason));
    }
};

TEST_F(SettingsTest, SteerTheRun)
{
    EXPECT_TRUE(holds(runTest("parameter").out, "count = 10\n"));
    settings("Test.parameter.count.value = 42");
    EXPECT_TRUE(holds(runTest("parameter").out, "count = 42\n"));

    settings("Test.fail.Enable.value=false\nMinTimePerTest.value=1\n");
    EXPECT_EQ(runTest("pass").status, 0);
    Outcome const interactive = runTest("ask");
    EXPECT_EQ(interactive.status, 29);
    EXPECT_TRUE(holds(interactive.out, "Warning ("));
    m_folder.write("chooses.w4i", "Test.fail.Enable.value=false\n");
    Start chooses;
    chooses.name = "chooses";
    chooses.arguments = {"enum"};
    Outcome const chosen = module(chooses);
    EXPECT_TRUE(holds(chosen.out, "  pass (1)"));
    EXPECT_FALSE(has(chosen.out, "fail (2)")) << "off is off, whoever picks the tests";

    settings("PromptEnable=no\n"); // the old form, without ".value"
    Start ask = startOf("ask");
    ask.input = "y\n";
    EXPECT_EQ(module(ask).status, 40) << "nobody is asked";
}

TEST_F(SettingsTest, OldFormsAreWarnedOf)
{
    settings("Test.fail.Enable.value=off\nTest.pass.Enable=on\nTimeOut=3\n");
    module({"enum", "-ll", "warning"});
    EXPECT_TRUE(holds(log(), ":2: Test.pass.Enable: is the old form of Test.pass.Enable.value\n"));
    EXPECT_TRUE(holds(log(), ":3: TimeOut: is the old form of TimeOut.value\n"));
    EXPECT_FALSE(has(log(), "Test.fail.Enable"))
        << "not of the form of today, nor of what is not there: " << log();
}

TEST_F(SettingsTest, ATestThatIsOffIsRefusedWithTheLineThatDidIt)
{
    settings("#\nTest.fail.Enable.value=Off\n");
    EXPECT_FALSE(has(module({"enum"}).out, "fail (2)"));
    std::string const line = "Test \"fail\" is switched off: " + file() + ":2: Test.fail.Enable.value=Off\n";
    Outcome const off = runTest("fail");
    EXPECT_EQ(off.status, 32);
    EXPECT_TRUE(holds(off.err, line));
    EXPECT_TRUE(holds(off.err, "is not associated with the test \"fail\"\n"));
    EXPECT_TRUE(holds(log(), line));
    EXPECT_FALSE(has(module({"run", "-t", m_numbers["noSuchDevice"]}).err, "switched off"));
}

TEST_F(SettingsTest, WhatIsNotUnderstoodRefusesItsTestAlone)
{
    struct Case
    {
        std::string test, setting, value;
    };
    for (Case const& one : std::vector<Case>{
             {"fail", "Enable", "Enable.value=flase"},
             {"fail", "Enable", "Enable=nein"},
             {"fail", "ForceResult", "ForceResult.value=PAS"},
             {"fail", "ForceEvent", "ForceEvent.value=none"},
             {"fail", "ForceAllEvents", "ForceAllEvents.value="},
             {"parameter", "count", "count.value=101"},
             {"fail", "Test.fail.Enabel.value", "Enabel.value=false"},
             {"fail", "Test.fail.whatever", "whatever=1"},
             {"parameter", "Test.parameter.count", "count=42"},
             {"parameter", "Test.parameter.cuont.value", "cuont.value=42"},
         }) {
        std::string const line = "Test." + one.test + "." + one.value;
        settings("# wrong\n" + line + "\n");
        std::string const where = file() + ":2: " + line.substr(0, line.find('=')) + ": ";
        Outcome const refused = runTest(one.test);
        EXPECT_EQ(refused.status, 22) << line;
        EXPECT_TRUE(holds(refused.err, "Parameter \"" + one.setting + "\" not valid for Test \"" + one.test +
                                           "\": " + where));
        EXPECT_EQ(refused.out, "\nFinal Result: INTERNAL ERROR\n\n\n") << "it has not run";
        Outcome const other = runTest("pass");
        EXPECT_EQ(other.status, 0) << line;
        EXPECT_TRUE(holds(other.err, where));
        expectTheRestToWork(where);
    }
}

// Who mistyped the name of a test, or wrote a line that contradicts another, may have meant to switch it off.
TEST_F(SettingsTest, ALineThatMayHaveBeenMeantForATestRefusesIt)
{
    struct Case
    {
        std::string test, lines, reason;
    };
    std::string const nothing = "nothing here reads this setting";
    for (Case const& one : std::vector<Case>{
             {"fail", "Test.fial.Enable.value=false\n",
              ":1: Test.fial.Enable.value: " + nothing + "; did you mean Test.fail.Enable.value?"},
             {"fail", "test.FAIL.gone.value=1\n", ":1: test.FAIL.gone.value: " + nothing},
             {"parameter", "Parameter.count.value=42\n",
              ":1: Parameter.count.value: " + nothing + "; did you mean Test.parameter.count.value?"},
             {"fail", "Test.fail.Enable.value=true\nTest.fail.Enable=no\n",
              ":2: Test.fail.Enable: is the old form of Test.fail.Enable.value, which says something else in "
              "line 1"},
         }) {
        settings(one.lines);
        Outcome const refused = runTest(one.test);
        EXPECT_EQ(refused.status, 22) << one.lines;
        EXPECT_EQ(refused.out, "\nFinal Result: INTERNAL ERROR\n\n\n") << "it has not run";
        EXPECT_TRUE(
            holds(refused.err, file() + one.reason + "; the test \"" + one.test + "\" does not run\n"));
        Outcome const other = runTest("pass");
        EXPECT_EQ(other.status, 0) << one.lines;
        EXPECT_TRUE(holds(other.err, file() + one.reason));
    }
    settings("Test.paxl.Enable.value=no\n"); // two slips from either
    EXPECT_EQ(runTest("pass").status, 22);
    EXPECT_EQ(runTest("fail").status, 22);
    // What resembles nothing here was meant for nothing here.
    settings("Test.fail.Enable=on\nTest.fail.Enable.value=yes\nentirely.different=1\n");
    Outcome const stranger = runTest("fail");
    EXPECT_EQ(stranger.status, 23);
    EXPECT_TRUE(holds(stranger.err, "WARNING: " + file() + ":3: entirely.different: " + nothing + "\n"));
}

TEST_F(SettingsTest, ARefusedRunIsCountedAndTheOthersGoOn)
{
    Start all;
    all.name = "chooses"; // the tests "pass" and "fail"
    all.arguments = {"run"};
    m_folder.write("chooses.w4i", "Test.pass.Enable.value=flase\n");
    Outcome const first = module(all);
    EXPECT_EQ(first.status, 22);
    EXPECT_TRUE(holds(first.out, "Final Result: FAIL"));
    EXPECT_TRUE(holds(first.err, "Runs: 2, 1 INTERNAL ERROR, 1 FAIL\n"));
    m_folder.write("chooses.w4i", "Test.fail.Enable.value=flase\n");
    Outcome const second = module(all);
    EXPECT_EQ(second.status, 22);
    EXPECT_TRUE(holds(second.err, "Runs: 2, 1 PASS, 1 INTERNAL ERROR\n"));
}

TEST_F(SettingsTest, AFileThatCannotBeTakenRefusesEveryRun)
{
    struct Case
    {
        char const* reason;
        std::function<void(std::string const& path)> make;
    };
    std::string strangers;
    for (int i = 0; i <= 100; ++i)
        strangers += "stranger" + std::to_string(i) + "=1\n";
    auto const text = [this](std::string const& content) {
        return [this, content](std::string const&) { settings(content); };
    };
    for (Case const& one : std::vector<Case>{
             {": cannot be read: Is a directory",
              [](std::string const& path) { std::filesystem::create_directory(path); }},
             {": cannot be read: File too large",
              [this](std::string const& path) {
                  settings("Test.pass.Enable.value=false\n");
                  std::filesystem::resize_file(path, (std::size_t{4} << 20) + 1);
              }},
             {": cannot be read: No such file or directory",
              [](std::string const& path) { std::filesystem::create_symlink("nothing", path); }},
             {": may be written by everybody",
              [this](std::string const& path) {
                  settings("");
                  ::chmod(path.c_str(), 0646);
              }},
             {": belongs to user 65534, who is neither root nor the caller",
              [this](std::string const& path) {
                  settings("");
                  EXPECT_EQ(::chown(path.c_str(), kNobody, kNobody), 0);
              }},
             {": cannot be read: Input/output error",
              [](std::string const& path) { std::filesystem::create_symlink("/proc/self/mem", path); }},
             {":1: has no '='", text("Test.pass.Enable.value false\n")},
             {":1: holds a zero byte", text(std::string("Test.pass.Enable.value=fals\0e\n", 29))},
             {":1: MinTimePerTest.value: \"soon\" is no time", text("MinTimePerTest.value=soon\n")},
             {":1: MinTimePerTest.value: \"50000d\" is no time", text("MinTimePerTest.value=50000d\n")},
             {":1: TimeOut: \"-1\" is no time", text("TimeOut=-1\n")},
             {":1: PromptEnable.value: \"never\" is neither", text("PromptEnable.value=never\n")},
             {":1: MinTimePerTset.value: nothing here reads this setting; did you mean MinTimePerTest.value?",
              text("MinTimePerTset.value=24h\n")},
             {":1: MinTimePerTest: is the old form of MinTimePerTest.value, which says something else in "
              "line 2",
              text("MinTimePerTest=1d\nMinTimePerTest.value=1h\n")},
             {":101: stranger100: so is this, and what follows may be", text(strangers)},
         }) {
        std::filesystem::remove_all(file());
        one.make(file());
        Outcome const refused = runTest("pass");
        EXPECT_EQ(refused.status, 22) << one.reason;
        EXPECT_EQ(refused.out, "") << one.reason;
        EXPECT_TRUE(holds(refused.err, "No test runs: " + file() + one.reason));
        expectTheRestToWork(file() + one.reason);
    }
}

TEST_F(SettingsTest, AProcessWithoutDescriptorsRunsNoTest)
{
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "the sanitizers' run-time needs descriptors of its own";
#endif
    m_folder.write("hoards.w4i", "Test.pass.Enable.value=true\n");
    Start start = startOf("pass");
    start.name = "hoards"; // its init callback takes every descriptor
    Outcome const outcome = module(start);
    EXPECT_EQ(outcome.status, 22);
    EXPECT_EQ(outcome.out, "");
    EXPECT_TRUE(holds(outcome.err, "No test runs: " + m_folder.path("hoards.w4i") +
                                       ": cannot be read: Too many open files"));
}

TEST_F(SettingsTest, OthersMustNotHaveAHandInThem)
{
    test::TemporaryFolder const shared; // the working directory; none lies beside the program
    std::string const forced = "Test.pass.ForceResult.value=DEVICE BUSY\n";
    std::string const path = shared.write("misbehaving.w4i", forced);
    EXPECT_EQ(runIn(shared.path()).status, 25);
    ::chmod(path.c_str(), 0664);
    Outcome const group = runIn(shared.path());
    EXPECT_EQ(group.status, 22);
    EXPECT_TRUE(holds(group.err, "No test runs: ./misbehaving.w4i: may be written by its group\n"));
    ::chmod(path.c_str(), 0600);
    ASSERT_EQ(::chown(path.c_str(), kNobody, kNobody), 0);
    Outcome const foreign = runIn(shared.path());
    EXPECT_EQ(foreign.status, 22);
    EXPECT_TRUE(holds(foreign.err, "No test runs: ./misbehaving.w4i: belongs to user 65534"));
    std::filesystem::remove(path);
    std::filesystem::create_symlink(m_folder.write("other", forced), path);
    EXPECT_TRUE(holds(runIn(shared.path()).err, "No test runs: ./misbehaving.w4i: is a symbolic link\n"));
    std::filesystem::remove(path);

    shared.write("modules.xml", "<logging><logger level=\"debug\"/></logging>");
    std::string const logging = shared.path("modules.xml");
    auto const expectIgnored = [&](char const* reason) {
        Outcome const outcome = runIn(shared.path());
        EXPECT_EQ(outcome.status, 0);
        EXPECT_TRUE(
            holds(outcome.err, std::string("Ignoring the logging configuration ./modules.xml: ") + reason));
    };
    ::chmod(logging.c_str(), 0646);
    expectIgnored("may be written by everybody\n");
    ::chmod(logging.c_str(), 0600);
    ASSERT_EQ(::chown(logging.c_str(), kNobody, kNobody), 0);
    expectIgnored("belongs to user 65534");
    std::filesystem::remove(logging);
    std::filesystem::create_symlink(m_folder.write("quiet", "<logging/>"), logging);
    expectIgnored("is a symbolic link\n");
    std::filesystem::remove(logging);

    // Who may replace the program may write what lies beside it.
    settings(forced);
    ::chmod(file().c_str(), 0666);
    ASSERT_EQ(::chown(file().c_str(), kNobody, kNobody), 0);
    ASSERT_EQ(::chown(program().c_str(), kNobody, kNobody), 0);
    EXPECT_EQ(runTest("pass").status, 22);
    ::chmod(program().c_str(), 0777);
    EXPECT_EQ(runTest("pass").status, 25);
    ASSERT_EQ(::chown(program().c_str(), 0, 0), 0);
    EXPECT_EQ(runTest("pass").status, 22);
}

TEST_F(SettingsTest, WhatIsForcedSaysSoWhereverItStands)
{
    settings("Test.fail.ForceResult.value=PASS\nTest.fail.ForceAllEvents.value=yes\n");
    std::string const line = file() + ":1: Test.fail.ForceResult.value=PASS";
    Outcome const forced = runTest("fail");
    EXPECT_EQ(forced.status, 0);
    std::string const events =
        "Forced events: not reported by the test (" + file() + ":2: Test.fail.ForceAllEvents.value=yes)\n";
    EXPECT_TRUE(holds(forced.out, "\nForced result: PASS; the test did not run (" + line + ")\n" + events +
                                      "\nFinal Result: PASS\n"));
    EXPECT_FALSE(has(forced.out, "Error (1)")) << "a forced result takes the place of the test";
    EXPECT_TRUE(
        holds(forced.err, "WARNING: the settings force the result PASS; the test \"fail\" does not run"));
    EXPECT_TRUE(holds(log(), "pass 1: Forced result: PASS; the test did not run (" + line + ")\n"));
    EXPECT_TRUE(holds(log(), " warning krel5.DiagModule ")) << "without asking for a finer log";

    settings("Test.pass.ForceEvent.value=note\n");
    std::string const event =
        "Forced events: not reported by the test (" + file() + ":1: Test.pass.ForceEvent.value=note)\n";
    std::filesystem::remove_all(m_folder.path("logs"));
    Outcome const real = runTest("pass");
    EXPECT_EQ(real.status, 0);
    EXPECT_TRUE(holds(real.out, "Percent Done: 100%\n" + event + "\nFinal Result: PASS\n"));
    EXPECT_TRUE(holds(real.err, "WARNING: " + event));
    EXPECT_TRUE(holds(log(), "pass 1: " + event));

    settings("Test.fail.ForceResult.value=PASS\nTest.fail.ForceEvent.value=note\nMinTimePerTest.value=1\n");
    std::string const both = "Nothing is forced in minimum-time mode; the test runs (" + line + ", " +
                             file() + ":2: Test.fail.ForceEvent.value=note)\n";
    forgetLog();
    Outcome const timed = runTest("fail");
    EXPECT_EQ(timed.status, 23) << "it runs";
    EXPECT_TRUE(holds(timed.out, both + "\nFinal Result: FAIL\n"));
    EXPECT_TRUE(holds(timed.err, "WARNING: " + both));
    EXPECT_TRUE(holds(log(), both));
}

TEST_F(SettingsTest, AMinimumTimeHasUnits)
{
    settings("MinTimePerTest.value=24h\n");
    Start start = startOf("pass");
    start.stopWhen = "Percent Done: 0%";
    start.stops = 1;
    EXPECT_EQ(module(start).status, 24) << "a day is not over after a pass";
    settings("MinTimePerTest=1 S\n");
    Outcome const second = runTest("pass");
    EXPECT_EQ(second.status, 0) << second.err;
}

} // namespace
