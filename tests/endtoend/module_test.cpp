// Modules run by hand, from command line to exit status.
#include <endtoend/MisbehavingModule.h>

#include <sys/stat.h>

namespace {

using test::has;
using test::holds;
using test::ModuleTest;
using test::Outcome;
using test::Start;

TEST_F(ModuleTest, UsageAndVersion)
{
    Outcome const usage = module(std::vector<std::string>{});
    EXPECT_EQ(usage.status, 23);
    EXPECT_TRUE(holds(usage.err, "Nothing was done: \"enum\" lists"));
    EXPECT_TRUE(holds(usage.out, "Usage: misbehaving.w4x  enum [run -t "));
    EXPECT_TRUE(holds(usage.out, "\n -h : Help. Help: This message.\n"));
    Outcome const help = module({"-h", "run"});
    EXPECT_EQ(help.status, 23);
    EXPECT_EQ(help.out, usage.out) << "who asks for help runs nothing";
    EXPECT_FALSE(has(help.err, "Nothing was done")) << "and got what he asked for";
    EXPECT_TRUE(holds(usage.out, "\nenum : Enumerate. Lists all the tests, devices, and indicators"));
    EXPECT_FALSE(has(usage.out, "pipeIn")) << "hidden options stay out of the usage text";
    EXPECT_EQ(module({"-h"}).out, usage.out);
    EXPECT_EQ(module({"-h"}).status, 23);

    Start version;
    version.arguments = {"-version"};
    version.asNobody = true;
    ::chmod(m_folder.path().c_str(), 0777);
    Outcome const shown = module(version);
    EXPECT_EQ(shown.status, 0) << "no privilege is needed for the version: " << shown.err;
    EXPECT_TRUE(holds(shown.out, "Version: 1.2.3\nBuild: "));
    EXPECT_FALSE(has(usage.out, "toolmodule"));
    EXPECT_EQ(module({"-toolmodule", "-version"}).out, shown.out) << "it is understood and changes nothing";

    version.arguments = {"-k", "-m", "-version"};
    Outcome const all = module(version);
    EXPECT_EQ(all.status, 0) << all.err;
    std::size_t at = 0;
    for (char const* line : {"Version: 1.2.3\n", "Created misbehaving.w4m\n", "Created misbehaving.w4k\n"}) {
        EXPECT_NE(at = all.out.find(line, at), std::string::npos) << line << " in order in:\n" << all.out;
    }
}

TEST_F(ModuleTest, WordsThatAreNotUnderstoodAreNamed)
{
    struct Case
    {
        std::vector<std::string> arguments;
        std::string named;
    };
    for (Case const& one : std::vector<Case>{
             {{"enumm"}, "\"enumm\""},
             {{"-enum"}, "\"-enum\""},
             {{"--help"}, "\"--help\" (did you mean \"-h\"?)"},
             {{"run", "--version"}, "\"--version\" (did you mean \"-version\"?)"},
             {{"RUN"}, "\"RUN\""},
             {{"run", "-t"}, "-t"},
             {{"run", "-t", "one"}, "\"one\""},
             {{"run", "-d", "99999999999999999999"}, "99999999999999999999"},
             {{"\xff\xfe"}, "\xEF\xBF\xBD"},
             {{"-lang", "xx"}, "zh-cn"},
             {{"run", "-ll", "loud"}, "\"loud\""},
             {{"devices"}, "Obsolete command line option: \"devices\". Use \"enum\" instead."},
             {{"run", "tests"}, "Obsolete command line option: \"tests\". Use \"enum\" instead."},
             {{"-s"}, "Obsolete command line option: \"-s\". Use \"-v\" instead."},
         }) {
        Outcome const outcome = module(one.arguments);
        EXPECT_EQ(outcome.status, 22) << one.named;
        EXPECT_TRUE(holds(outcome.err, one.named));
        EXPECT_EQ(outcome.out, "") << "nothing runs after a typing error";
        EXPECT_FALSE(has(outcome.err, "exit callback")) << "nothing was started";
        bool const obsolete = one.named.starts_with("Obsolete");
        std::string const start = "Internal Exception in DiagModule::setCmdLineArgs(...):\n";
        EXPECT_EQ(outcome.err.find('\n') + 1, outcome.err.size()) << "one line: " << outcome.err;
        EXPECT_EQ(has(outcome.err, "; \"-h\" lists what can be asked for\n"), !obsolete) << outcome.err;
        EXPECT_FALSE(has(outcome.err, "Exception")) << "a typing error is no fault of the program";
        EXPECT_FALSE(has(log(), "Stack Trace"));
        char const* const line = !obsolete ? "1243 " : has(one.named, "-s") ? "506 " : "501 ";
        EXPECT_TRUE(holds(log(), " error krel5.ModuleCommon " +
                                     (line + (obsolete ? one.named : start.substr(0, start.size() - 1)))));
        forgetLog();
    }
}

TEST_F(ModuleTest, WrongSetUpIsRefused)
{
    struct Case
    {
        std::string name, message;
    };
    for (Case const& one : std::vector<Case>{
             {"noversion", "Cannot start a module without setting the module version"},
             {"nocommandline", "Cannot start a module without setting the command line args"},
             {"badinit", "no hardware key"},
             {"doubleinit",
              "Exception in DiagModule::start():\nException in ModuleInit callback:\nA Event with "
              "the key \"broken\" already exists in this module.\n"},
             {"uncaught", "Exception in module code:\nA Test with the key \"pass\" already exists in this "
                          "module.\n"},
             {"early", "Exception in module code:\n"},
             {"twice", "Internal Exception in DiagModule::start():\nAssertion failed: !s_initialized "},
             {"nokey", "Invalid Key: createEvent(...) - \"\" cannot be empty\n"},
             {"argumentstwice",
              "Cannot call DiagModule::setCmdLineArgs after calling DiagModule::setCmdLineArgs\n"},
             {"otherkind", "Cannot call SysInfoModule::start after calling DiagModule::setCmdLineArgs\n"},
         }) {
        Start start;
        start.name = one.name;
        start.arguments = {"enum"};
        Outcome const outcome = module(start);
        EXPECT_EQ(outcome.status, 22) << one.name;
        EXPECT_TRUE(holds(outcome.err, one.message));
        EXPECT_EQ(outcome.err.find("exit callback"), outcome.err.rfind("exit callback")) << outcome.err;
    }
    Start empty;
    empty.withoutArgv = true;
    EXPECT_EQ(module(empty).status, 22);
}

TEST_F(ModuleTest, OnlyRootMayRun)
{
    ::chmod(m_folder.path().c_str(), 0777);
    Start start;
    start.arguments = {"enum"};
    start.asNobody = true;
    Outcome const outcome = module(start);
    EXPECT_EQ(outcome.status, 26);
    EXPECT_TRUE(holds(outcome.err, "Cannot run Morvane without superuser privileges.\n"));
    std::filesystem::permissions(m_folder.path("logs"), std::filesystem::perms::all);
    module(start);
    EXPECT_TRUE(holds(log(), " error krel5.ModuleCommon 1150 Cannot run Morvane without superuser"));
}

TEST_F(ModuleTest, BackendsThatAreNotThereOrRunNothingSayNo)
{
    struct Case
    {
        std::vector<std::string> arguments;
        std::string line, told;
    };
    for (Case const& one : std::vector<Case>{
             {{"run", "-dl", "-x", "-e"},
              "1200 CommInterface: using CommEngine\n",
              "Cannot connect to engine\n"},
             {{"run", "-dl", "-x"}, "1204 CommInterface: using CommXml\n", "There is no test to run\n"},
             {{"run", "-dl"},
              "1208 CommInterface: using CommDirectLink\n",
              "The option -dl is for indicator modules"},
         }) {
        forgetLog();
        std::vector<std::string> arguments = one.arguments;
        arguments.insert(arguments.end(), {"-ll", "debug"});
        Outcome const outcome = module(arguments);
        EXPECT_EQ(outcome.status, 28) << one.line;
        EXPECT_TRUE(holds(outcome.err, one.told));
        EXPECT_TRUE(holds(log(), " debug krel5.ModuleCommon " + one.line));
    }
}

// Nor does it wait for another process that never writes: that would take the minute after which run() gives up.
TEST_F(ModuleTest, PipesCarryNeitherRunsNorTests)
{
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    std::string const pipe = std::to_string(ends[0]);
    for (std::vector<std::string> const& more : std::vector<std::vector<std::string>>{
             {}, {"-t", "1", "-d", "1"}, {"-pipeIn", pipe}, {"-pipeOut", "1"}}) {
        std::vector<std::string> words{"run", "-x"};
        words.insert(words.end(), more.begin(), more.end());
        Outcome const outcome = module(words);
        EXPECT_EQ(outcome.status, 28) << outcome.signal;
        EXPECT_TRUE(holds(outcome.err, "-x hands over devices and runs no test\nThere is no test to run\n"));
        EXPECT_EQ(outcome.out, "") << "nothing that reads like a result";
    }
    ::close(ends[0]);
    ::close(ends[1]);
    Outcome const listing = module({"enum", "-x"});
    EXPECT_EQ(listing.status, 0);
    EXPECT_TRUE(holds(listing.err, "-x hands over devices and lists no tests\n"));
    EXPECT_EQ(listing.out, "");
}

TEST_F(ModuleTest, ListsAndPicksByNumber)
{
    Outcome const listing = module({"enum"});
    EXPECT_EQ(listing.status, 0);
    EXPECT_TRUE(holds(listing.out, " (1) : "));
    EXPECT_TRUE(holds(listing.out, " : Memory : "));
    EXPECT_TRUE(holds(listing.out, "\n  pass (1) : misbehaving\n  fail (2) : misbehaving\n"));
    EXPECT_FALSE(has(listing.out, "noSuchDevice"));

    struct Case
    {
        std::vector<std::string> arguments;
        int status;
        std::string line;
    };
    for (Case const& one : std::vector<Case>{
             {{"run", "-d", "0"}, 31, "Error: Device Number 0 is too small\n"},
             {{"run", "-d", "2"}, 31, "Error: Device Number 2 is too large\n"},
             {{"run", "-d", "-1"}, 31, "Error: Device Number -1 is too small\n"},
             {{"run", "-t", "0"}, 32, "Error: Test Number 0 is too small\n"},
             {{"run", "-t", "99"}, 32, "Error: Test Number 99 is too large\n"},
             {{"run", "-t", "19", "-d", "1"}, 32, "is not associated with the test \"noSuchDevice\"\n"},
         }) {
        Outcome const outcome = module(one.arguments);
        EXPECT_EQ(outcome.status, one.status) << one.line;
        EXPECT_TRUE(holds(outcome.err, one.line));
        EXPECT_EQ(outcome.out, "");
    }
    EXPECT_TRUE(holds(module({"run", "-d", "2"}).err, "Numbers are 1 to 1; \"enum\" lists them\n"));

    module({"run", "-t", "19", "-d", "1", "-ll", "debug"});
    for (char const* const line :
         {"diagnostic module: calling Enumerator::instance().getDevicesOfType.\n",
          " Supported Devices: Memory", "-d Option set with value: 1\n", "-t Option set with value: 19\n"})
        EXPECT_TRUE(holds(log(), line));
    module({"enum", "-ll", "debug"});
    EXPECT_TRUE(holds(log(), ".mistyped applies to no device: none is known as Memroy\n"));
    EXPECT_FALSE(has(log(), ".pass applies to no device"));
}

TEST_F(ModuleTest, PassAndFailAndTheirReports)
{
    Outcome const pass = runTest("pass");
    EXPECT_EQ(pass.status, 0);
    EXPECT_EQ(pass.out,
              "Percent Done: 0%\nPercent Done: 50%\nPercent Done: 100%\n\nFinal Result: PASS\n\n\n");
    EXPECT_TRUE(
        holds(pass.err, "misbehaving.w4p is missing; what has none is shown by its key\nexit callback\n"));

    Outcome const keys = runTest("events");
    EXPECT_TRUE(holds(keys.out, "\nEvent.note.Message\nEvent.note.Message\nlooking around"))
        << "a text that is missing sticks to no other line";

    m_folder.write("misbehaving.w4p", "Event.broken.Message=The {part} is broken\nEvent.note.Message=a note\n"
                                      "Event.broken.Tip.1=Replace it\n");
    Outcome const fail = runTest("fail");
    EXPECT_EQ(fail.status, 23);
    EXPECT_TRUE(holds(fail.out, "Error (1) : The fan is broken\n     fail.cpp(17)\n     Device: "));
    EXPECT_TRUE(holds(fail.out, "Tip(0): Replace it"));
    EXPECT_TRUE(holds(fail.out, "\nFinal Result: FAIL\n\n\n"));
    EXPECT_EQ(fail.err, "exit callback\n");
    EXPECT_TRUE(holds(log(), "ERR event broken: The fan is broken\n")) << "without asking for a finer log";
    EXPECT_TRUE(holds(log(), ", pass 1: FAIL\n"));

    Outcome const events = runTest("events");
    EXPECT_TRUE(holds(events.out, "Warning (1) : The "));
    EXPECT_TRUE(holds(events.out, "a notea notelooking aroundEstimated Time Left: 7\n"));
    EXPECT_EQ(events.status, 0);
    EXPECT_EQ(events.err, "exit callback\n") << "a warning and a PASS agree";
    EXPECT_EQ(runTest("quit").status, 53);

    Outcome const lenient = runTest("lenient");
    EXPECT_EQ(lenient.status, 0);
    EXPECT_EQ(lenient.err, "WARNING: the test \"lenient\" reported an error and returned PASS, which counts\n"
                           "exit callback\n");
    settings("Test.lenient.ForceEvent.value=note\n");
    EXPECT_TRUE(holds(runTest("lenient").out, "a notea note\nForced events: not reported by the test ("))
        << "a line of its own behind a text that has no end";
}

TEST_F(ModuleTest, ExceptionsOfATestAreInternalErrors)
{
    struct Case
    {
        std::string key, message;
    };
    for (Case const& one : std::vector<Case>{
             {"throwLibrary", "Exception in DiagModule::start()"},
             {"throwStandard", "what went wrong"},
             {"throwNumber", "Unknown \"...\" Exception in DiagModule::start()"},
         }) {
        Outcome const outcome = runTest(one.key);
        EXPECT_EQ(outcome.status, 22) << one.key;
        EXPECT_TRUE(holds(outcome.err, one.message));
        EXPECT_TRUE(holds(outcome.err, "An exception ended the test \"" + one.key + "\" on "));
        EXPECT_TRUE(holds(outcome.err, "exit callback")) << "the module may still put its hardware in order";
        EXPECT_FALSE(has(outcome.out, "Final Result: PASS"));
        EXPECT_TRUE(holds(log(), "1243 "));
    }
}

TEST_F(ModuleTest, FaultsInAModuleLeaveATrace)
{
    Outcome const crash = runTest("crash");
    EXPECT_EQ(crash.status, 22);
    EXPECT_TRUE(holds(crash.err, "SIGSEGV"));
    EXPECT_TRUE(holds(log(), " error krel5.ModuleCommon 1243 "));
    EXPECT_TRUE(holds(log(), "writeThroughNothing")) << "names of file-local functions stand in the trace";
    Outcome const aborted = runTest("abort");
    EXPECT_EQ(aborted.status, 22);
    EXPECT_TRUE(holds(aborted.err, "SIGABRT"));
    Outcome const deep = runTest("deepThread");
    EXPECT_EQ(deep.status, 22);
    EXPECT_TRUE(holds(deep.err, "SIGSEGV"));
    for (char const* leaving : {"exitZero", "quickExitZero"}) {
        Outcome const left = runTest(leaving);
        EXPECT_EQ(left.status, 22) << leaving;
        EXPECT_TRUE(holds(left.err, "ended the process before"));
    }
}

TEST_F(ModuleTest, StoppedRunsNeverPass)
{
    Start start = startOf("waitForStop");
    start.stopWhen = "Percent Done: 1%";
    start.stops = 1;
    for (int const number : {SIGINT, SIGTERM, SIGHUP}) {
        start.stopSignal = number;
        Outcome const stopped = module(start);
        EXPECT_EQ(stopped.status, 24) << number;
        EXPECT_TRUE(holds(stopped.out, "Final Result: USER ABORTED"));
    }

    Start stubborn = startOf("ignoreStop");
    stubborn.stopWhen = "Percent Done: 1%";
    stubborn.stops = 2;
    Outcome const killed = module(stubborn);
    EXPECT_EQ(killed.status, 24);
    EXPECT_FALSE(has(killed.out, "Final Result"));

    EXPECT_EQ(runTest("requestAbort").status, 24);

    Start early;
    early.name = "stopped";
    early.arguments = {"run"};
    Outcome const never = module(early);
    EXPECT_EQ(never.status, 24);
    EXPECT_TRUE(holds(never.out, "Final Result: USER ABORTED"));
    EXPECT_TRUE(holds(never.err, "Run 1 of 2: \"pass\" on "));
    EXPECT_TRUE(holds(never.err, "Runs: 2, 1 USER ABORTED, 1 not made\n"));
    EXPECT_FALSE(has(never.out, "50%")) << "asked to stop before the first test, none starts";

    for (auto const& [forced, status] : {std::pair{"PASS", 24}, {"FAIL", 23}}) { // which no stop can prevent
        m_folder.write("stopped.w4i", std::string("Test.pass.ForceResult.value=") + forced + "\n");
        Outcome const outcome = module(early);
        EXPECT_EQ(outcome.status, status) << "a stop takes back a PASS and nothing else";
        EXPECT_TRUE(holds(outcome.err, std::string("Runs: 2, 1 ") + forced + ", 1 not made\n"));
    }
    Start all = early;
    all.name = "chooses";
    m_folder.write("chooses.w4i", "Test.fail.ForceResult.value=PASS\n");
    EXPECT_TRUE(holds(module(all).err, "Runs: 2, 2 PASS\n"));

    early.arguments = {"enum"};
    Outcome const listing = module(early);
    EXPECT_EQ(listing.status, 24);
    EXPECT_EQ(listing.out, "");
}

TEST_F(ModuleTest, WhatItsStarterDidToItsSignalsDoesNotCount)
{
    Start start = startOf("waitForStop");
    start.stopWhen = "Percent Done: 1%";
    start.stops = 1;
    for (int const number : {SIGINT, SIGTERM, SIGHUP})
        start.blocked.push_back(start.stopSignal = number);
    EXPECT_EQ(module(start).status, 24);

    Start faulty = startOf("crash");
    faulty.blocked = {SIGSEGV, SIGBUS, SIGABRT};
    Outcome const crashed = module(faulty);
    EXPECT_EQ(crashed.status, 22) << "signal " << crashed.signal;
    EXPECT_TRUE(holds(crashed.err, "SIGSEGV"));

    Start parent = startOf("child");
    parent.ignored = {SIGCHLD};
    EXPECT_EQ(module(parent).status, 0) << "a child's exit status would be lost";
}

TEST_F(ModuleTest, OutputThatFindsNoRoomIsWaitedFor)
{
    Start start = startOf("flood");
    start.outputNeverWaits = true;
    Outcome const outcome = module(start);
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_TRUE(holds(outcome.out, "\nFinal Result: PASS\n"));
}

TEST_F(ModuleTest, WhatATestDoesToItsOwnProcess)
{
    EXPECT_EQ(runTest("child").status, 0);
    Outcome const thrown = runTest("childThrows");
    EXPECT_EQ(thrown.status, 0) << thrown.err;
    EXPECT_EQ(thrown.err.find("exit callback"), thrown.err.rfind("exit callback")) << "the parent's alone";
    Outcome const returned = runTest("childReturns");
    EXPECT_EQ(returned.status, 0) << returned.out;
    EXPECT_EQ(returned.out.find("Final Result"), returned.out.rfind("Final Result")) << "the parent's alone";
    EXPECT_TRUE(holds(returned.err, "A child process of the test came back from it"));
    Outcome const nested = runTest("nested");
    EXPECT_EQ(nested.status, 23);
    EXPECT_TRUE(holds(nested.out, "Cannot call DiagModule::runTest while a test runs\n"));
}

TEST_F(ModuleTest, LostOutputIsNeverAPass)
{
    for (char const* what : {"closed", "full"}) {
        for (std::vector<std::string> const& arguments :
             std::vector<std::vector<std::string>>{{"-version"}, {"enum"}, {"run", "-t", "1", "-d", "1"}}) {
            Start start;
            start.arguments = arguments;
            start.closeOutput = what == std::string("closed");
            start.outputFile = start.closeOutput ? "" : "/dev/full";
            Outcome const outcome = module(start);
            EXPECT_EQ(outcome.status, 22) << what << " " << arguments[0];
            EXPECT_TRUE(holds(outcome.err, "Standard output could not be written"));
        }
    }
    Start silent = startOf("pass");
    silent.closeErrors = true;
    EXPECT_EQ(module(silent).status, 0) << "standard error is for messages, not for the verdict";
}

TEST_F(ModuleTest, OnlyWhatWritesALineLeavesALog)
{
    for (char const* word : {"-version", "-h", "enum"})
        module({word});
    EXPECT_EQ(runTest("pass").status, 0);
    EXPECT_FALSE(std::filesystem::exists(m_folder.path("logs")));

    Outcome const thrown = runTest("throwNumber");
    std::filesystem::directory_iterator const made(m_folder.path("logs"));
    EXPECT_TRUE(holds(thrown.err, "The log has the details: ./logs/" + made->path().filename().string()));
}

TEST_F(ModuleTest, ALogFolderThatLeadsElsewhereIsRefused)
{
    std::filesystem::create_directory(m_folder.path("target"));
    std::filesystem::create_directory_symlink("target", m_folder.path("logs"));
    std::filesystem::create_directories(m_folder.path("base/logs"));
    ASSERT_EQ(::chown(m_folder.path("base/logs").c_str(), 65534, 65534), 0);
    for (char const* base : {".", "base"}) {
        for (char const* test : {"throwNumber", "crash"}) { // lines of the library and of its signal handler
            Start start = startOf(test);
            start.arguments.insert(start.arguments.end(), {"-bd", base});
            Outcome const refused = module(start);
            EXPECT_EQ(refused.status, 22);
            EXPECT_TRUE(holds(refused.err, "Cannot open the log file "));
            EXPECT_FALSE(has(refused.err, "The log has the details")) << refused.err;
        }
    }
    EXPECT_TRUE(std::filesystem::is_empty(m_folder.path("target")));
    EXPECT_TRUE(std::filesystem::is_empty(m_folder.path("base/logs")));
}

TEST_F(ModuleTest, ALogThatCannotBeWrittenCostsAMessage)
{
    m_folder.write("notafolder", "");
    Start start = startOf("pass");
    start.arguments.insert(start.arguments.end(), {"-bd", m_folder.path("notafolder"), "-ll", "debug"});
    Outcome const outcome = module(start);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_TRUE(holds(outcome.err, "notafolder/logs"));

    start.arguments[start.arguments.size() - 3] = m_folder.path("elsewhere");
    EXPECT_EQ(module(start).status, 0);
    std::string all;
    for (auto const& entry : std::filesystem::directory_iterator(m_folder.path("elsewhere/logs")))
        all += m_folder.read("elsewhere/logs/" + entry.path().filename().string());
    EXPECT_TRUE(holds(all, "krel5.ModuleCommon")) << all;
    EXPECT_TRUE(holds(all, "1212 CommInterface: using CommStandAlone"));
    EXPECT_TRUE(holds(all, "1143 checkPrivileges()"));
    EXPECT_TRUE(holds(all, "345 test returned result: PASS"));
}

TEST_F(ModuleTest, QuestionsHaveAnswers)
{
    Start start = startOf("ask");
    Outcome const nobody = module(start);
    EXPECT_EQ(nobody.status, 40) << "nobody there: the default answer";
    EXPECT_TRUE(
        holds(nobody.err,
              "Question \"Warning: Cable\": nobody can be asked; the default answer \"No\" is taken\n"));
    start.input = "maybe\n";
    EXPECT_EQ(module(start).status, 24) << "no answer is no finding";
    start.input = "maybe\ny\n";
    Outcome const asked = module(start);
    EXPECT_EQ(asked.status, 0);
    EXPECT_TRUE(holds(asked.out, "Warning: Cable\nIs the cable in?\n  1) Yes\n  2) No (default)\n> "));
    Start german = startOf("ask");
    german.arguments.insert(german.arguments.end(), {"-lang", "de"});
    EXPECT_EQ(module(german).err, nobody.err) << "tools read this";
    for (char const* const answer : {"j", "ja", "yes", "1"}) {
        german.input = std::string("vielleicht\n") + answer + "\n";
        Outcome const inGerman = module(german);
        EXPECT_EQ(inGerman.status, 0) << answer;
        EXPECT_TRUE(holds(inGerman.out,
                          "Warnung: Cable\nIs the cable in?\n  1) Ja\n  2) Nein (Vorgabe)\n> vielleicht\n"
                          "Bitte eine der Nummern oder Antworten oben eingeben.\n> "));
    }
    start.input.clear();
    for (int i = 0; i < 20; ++i)
        start.input += "maybe\n";
    EXPECT_EQ(module(start).status, 24) << "the default is not what a person has chosen";
    Start stopped = startOf("askStopped");
    stopped.input = "y\n";
    EXPECT_EQ(module(stopped).status, 24) << "what the test makes of no answer is nobody's finding";
    settings("PromptEnable.value=false\n");
    EXPECT_EQ(module(start).status, 40);
    settings("MinTimePerTest.value=1\n");
    Outcome const repeated = module(start);
    EXPECT_EQ(repeated.status, 29);
    EXPECT_TRUE(holds(repeated.out, "An interactive test cannot run for a minimum time."));
}

TEST_F(ModuleTest, TooLateAndTooMuch)
{
    Outcome const late = runTest("lateSetUp");
    EXPECT_EQ(late.status, 0) << late.out;
    EXPECT_TRUE(holds(late.out, "Cannot call DiagModule::setVersion after calling start\n"));
    EXPECT_TRUE(holds(late.out, "Cannot call createTest after calling start (object key = late)\n"));
    EXPECT_EQ(runTest("flood").status, 0);
    Outcome const behind = runTest("late");
    EXPECT_EQ(behind.status, 0);
    std::string const end = "\nFinal Result: PASS\n\n\n";
    ASSERT_GE(behind.out.size(), end.size());
    EXPECT_EQ(behind.out.substr(behind.out.size() - end.size()), end) << "a thread left behind is not heard";
}

} // namespace
