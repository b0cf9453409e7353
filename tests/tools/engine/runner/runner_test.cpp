// What becomes of a run, whatever its module does.
#include <engine/report/ReportWriter.h>
#include <engine/runner/ActiveRun.h>
#include <engine/runner/HeadStart.h>
#include <engine/runner/Runner.h>
#include <engine/runner/linux/Child.h>

#include <foundation/ChildProcess.h>
#include <foundation/ProcessEnd.h>
#include <foundation/TemporaryFolder.h>

#include <zel/foundation/StopSignal.h>
#include <zel/model/state/StateManager.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <fstream>
#include <map>
#include <set>
#include <thread>

using namespace engine;

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

class Recorder : public RunObserver
{
public:
    bool take(Record const& record) override
    {
        if (isFull && std::holds_alternative<RunBegan>(record))
            return false;
        if (auto const* ended = std::get_if<RunEnded>(&record))
            ends.push_back(*ended);
        if (auto const* event = std::get_if<RunEvent>(&record))
            events.push_back(*event);
        if (auto const* question = std::get_if<RunQuestion>(&record))
            questions.push_back(*question);
        if (auto const* skipped = std::get_if<RunSkipped>(&record))
            skips.push_back(*skipped);
        if (auto const* begun = std::get_if<RunBegan>(&record)) {
            tests[begun->run] = begun->test;
            ++began;
        }
        tenths += std::holds_alternative<RunProgress>(record);
        return true;
    }
    bool flush() override { return !isTooSlow; }
    void progressed(RunId, int percent, unsigned, unsigned, std::string const& text) override
    {
        progress.emplace_back(percent, text);
        if (onProgress)
            onProgress();
    }
    void ask(RunId, zel::MessageBoxImp& box, bool (*isOver)()) override
    {
        bool isNeeded = !isOver();
        for (int i = 0; i < 600 && !answer && isNeeded; ++i) {
            ::usleep(50'000);
            isNeeded = !isOver();
        }
        if (isNeeded && answer)
            box.setAnswer(*answer);
    }

    std::map<RunId, std::string> tests; ///< which run is of which
    std::vector<RunEnded> ends;
    std::vector<RunEvent> events;
    std::vector<RunQuestion> questions;
    std::vector<RunSkipped> skips;
    std::vector<std::pair<int, std::string>> progress;
    std::function<void()> onProgress;
    std::optional<int> answer;
    bool isFull = false, isTooSlow = false;
    int began = 0, tenths = 0;
};

class RunnerTest : public testing::Test
{
protected:
    RunnerTest()
    {
        for (char const* const name : {"board", "disk", "other", "cable"}) {
            zel::String const word(name);
            machine.addDevice(zel::DeviceImp::restored({word, word, "", "", "", zel::CapabilityImp(word),
                                                        zel::CapabilityImp(word), zel::CapabilityImp()}),
                              word == "disk" ? machine.deviceAtIndex(0) : nullptr);
        }
    }
    PlannedRun planned(std::string const& test, std::size_t device = 1)
    {
        PlannedRun run;
        run.program = WAYWARD_MODULE;
        run.moduleGuid = "wayward";
        run.test = test;
        run.device = machine.deviceAtIndex(device);
        run.shutdownSeconds = 1;
        return run;
    }
    Outcome run(std::vector<PlannedRun> runs)
    {
        Plan plan;
        plan.runs = std::move(runs);
        return Runner(machine, recorder, options).run(plan);
    }
    /// Of one run.
    RunEnded ended(PlannedRun const& one)
    {
        recorder.ends.clear();
        run({one});
        return recorder.ends.empty() ? RunEnded() : recorder.ends[0];
    }
    RunEnded ended(std::string const& test) { return ended(planned(test)); }

    zel::StateManager machine;
    Recorder recorder;
    RunnerOptions options;
};

#define EXPECT_HAS(text, part) EXPECT_NE(std::string::npos, (text).find(part)) << (text)

} // namespace

TEST_F(RunnerTest, heardFromBeginningToEnd)
{
    Outcome const outcome = run({planned("pass")});
    EXPECT_EQ("PASS", outcome.verdict);
    EXPECT_EQ(0, outcome.exitStatus);
    EXPECT_EQ(1, recorder.began);
    EXPECT_EQ(1, recorder.tenths);
    ASSERT_EQ(1u, recorder.ends.size());
    EXPECT_EQ("PASS", recorder.ends[0].result);
    EXPECT_EQ("", recorder.ends[0].note);
    EXPECT_EQ(0, recorder.ends[0].exitStatus);
    ASSERT_EQ(1u, recorder.events.size());
    EXPECT_EQ("hello", recorder.events[0].message);
    EXPECT_EQ("E7", recorder.events[0].code);
    ASSERT_FALSE(recorder.progress.empty());
    EXPECT_EQ(50, recorder.progress[0].first);
    EXPECT_EQ("half way", recorder.progress[0].second);
}

TEST_F(RunnerTest, theModuleGetsWhatItNeedsOfTheMachineAndNoMore)
{
    PlannedRun one = planned("state");
    one.forTime = seconds(90);
    one.optional = zel::CapabilityImp(zel::String("cable"));
    one.parameters = {{"size", "1024"}, {"seed", "7"}};
    EXPECT_EQ("PASS", ended(one).result);
    ASSERT_EQ(1u, recorder.events.size());
    EXPECT_EQ("devices: board disk cable, module wayward, for 90, size=1024, seed=7",
              recorder.events[0].message);
}

TEST_F(RunnerTest, aModuleThatEndsBadlyHasAResultOfItsOwnAndTheNextTestStillRuns)
{
    struct
    {
        char const *test, *result, *note;
    } const cases[] = {
        {"crash", "EXITED ABNORMALLY", "SIGSEGV"},
        {"silent", "EXITED ABNORMALLY", "status 0 and gave no result"},
        {"error", "EXITED ABNORMALLY", "the sky fell"},
        {"passThenCrash", "EXITED ABNORMALLY", "gave PASS, then ended by SIGABRT"},
        {"passThenStatus", "EXITED ABNORMALLY", "gave PASS, then ended with status 22"},
        {"failThenCrash", "FAIL", "gave FAIL, then ended by SIGSEGV"},
        {"fail", "FAIL", ""},
        {"fork", "PASS", ""},
        {"pass", "PASS", ""},
    };
    std::vector<PlannedRun> runs;
    for (auto const& one : cases)
        runs.push_back(planned(one.test));
    Outcome const outcome = run(runs);
    EXPECT_EQ("FAIL", outcome.verdict);
    EXPECT_EQ(23, outcome.exitStatus);
    ASSERT_EQ(std::size(cases), recorder.ends.size());
    for (std::size_t i = 0; i < std::size(cases); ++i) {
        EXPECT_EQ(cases[i].result, recorder.ends[i].result) << cases[i].test;
        EXPECT_HAS(recorder.ends[i].note, cases[i].note) << cases[i].test;
    }
    EXPECT_EQ("SIGSEGV", recorder.ends[0].signal);
    EXPECT_FALSE(recorder.ends[0].exitStatus);
    EXPECT_EQ(22, recorder.ends[2].exitStatus);
}

TEST_F(RunnerTest, aModuleThatNeverRegistersFailedToStart)
{
    options.registration = seconds(1);
    options.words = {"leave"};
    RunEnded end = ended("pass");
    EXPECT_EQ("MODULE FAILED TO START", end.result);
    EXPECT_HAS(end.note, "status 26 before it registered with the engine; no licence");
    EXPECT_EQ("no licence\n", end.output);
    options.words = {"die"};
    end = ended("pass");
    EXPECT_EQ("MODULE FAILED TO START", end.result);
    EXPECT_EQ("SIGSEGV", end.signal);
    for (char const* const word : {"wait", "mute"}) {
        options.words = {word};
        end = ended("pass");
        EXPECT_EQ("MODULE FAILED TO START", end.result) << word;
        EXPECT_HAS(end.note, "had not registered") << word;
    }
    PlannedRun missing = planned("pass");
    missing.program = "/nowhere/module";
    end = ended(missing);
    EXPECT_EQ("EXEC FAILED", end.result);
    EXPECT_HAS(end.note, "/nowhere/module: No such file");
    EXPECT_EQ("BROKEN", run({missing}).verdict);
}

TEST_F(RunnerTest, aLimitStopsWhateverTheModuleMakesOfIt)
{
    struct
    {
        char const *test, *result, *signal;
    } const cases[] = {
        {"obey", "MAX TIME EXCEEDED", ""},
        {"passWhenStopped", "MAX TIME EXCEEDED", ""},
        {"failWhenStopped", "FAIL", ""},
        {"ignore", "MAX TIME EXCEEDED", "SIGTERM"},
        {"ignoreAll", "MAX TIME EXCEEDED", "SIGKILL"},
        {"freeze", "MAX TIME EXCEEDED", "SIGKILL"},
        {"longer", "MAX TIME EXCEEDED", "SIGTERM"}, // what the test wants for itself ends before, never later
    };
    std::vector<PlannedRun> runs;
    for (auto const& one : cases) {
        runs.push_back(planned(one.test));
        runs.back().limit = seconds(1);
        runs.back().parallel = true;
        runs.back().device = machine.deviceAtIndex(runs.size() % 4);
    }
    options.parallel = 4;
    run(runs);
    ASSERT_EQ(std::size(cases), recorder.ends.size());
    for (RunEnded const& end : recorder.ends) {
        auto const& expected = *std::find_if(std::begin(cases), std::end(cases), [&](auto const& one) {
            return one.test == recorder.tests[end.run];
        });
        EXPECT_EQ(expected.result, end.result) << expected.test << ": " << end.note;
        EXPECT_EQ(expected.signal, end.signal) << expected.test;
    }
}

TEST_F(RunnerTest, theTimeThatATestSetsItselfIsItsLimit)
{
    PlannedRun hurried = planned("hurry");
    hurried.limit = seconds(100);
    RunEnded const end = ended(hurried);
    EXPECT_EQ("MAX TIME EXCEEDED", end.result);
    EXPECT_HAS(end.note, "after the time that the test itself set");
    EXPECT_LT(end.seconds, 50);
}

TEST_F(RunnerTest, aProcessThatStaysAfterItsResultIsEnded)
{
    RunEnded const end = ended("passThenHang");
    EXPECT_EQ("EXITED ABNORMALLY", end.result);
    EXPECT_HAS(end.note, "gave PASS, then did not end by itself");
}

TEST_F(RunnerTest, whatAModuleSaysTooMuchOfIsBounded)
{
    RunEnded end = ended("loud");
    EXPECT_EQ("PASS", end.result);
    EXPECT_LT(end.output.size(), 20'000u);
    EXPECT_HAS(end.output, "the last word");
    end = ended("flood");
    EXPECT_EQ("PASS", end.result);
    EXPECT_EQ(10'001u, recorder.events.size());
    EXPECT_EQ("10000 more events were left out", recorder.events.back().message);
}

// Neither in the report nor beside the result, and one kind of them hides no other.
TEST_F(RunnerTest, aFloodDoesNotFillTheDisk)
{
    test::TemporaryFolder const folder;
    struct Reporting : Recorder
    {
        explicit Reporting(std::string const& path) : report(path, [](std::string const&) {}) {}
        bool take(Record const& record) override { return Recorder::take(record) && report.take(record); }
        bool flush() override { return report.flush(); }
        ReportWriter report;
    } reporting(folder.path("report.jsonl"));
    reporting.answer = 1;
    Plan plan;
    plan.runs = {planned("askAndAsk"), planned("countForever"), planned("pass"), planned("tellStories")};
    Runner(machine, reporting, options).run(plan);

    ASSERT_EQ(4u, reporting.ends.size());
    for (std::size_t i : {0u, 1u, 2u})
        EXPECT_EQ("PASS", reporting.ends[i].result) << i;
    EXPECT_HAS(reporting.ends[0].note, "not asked, being too many at once or too long: 1");
    EXPECT_EQ(90u, reporting.questions.size());
    EXPECT_GT(reporting.tenths, 59'000);
    EXPECT_EQ("FAIL", reporting.ends[3].result);
    EXPECT_HAS(reporting.ends[3].note, "\xC3\xA4 ...; ") << "cut between characters";
    EXPECT_LT(reporting.ends[3].note.size(), 40'000u);

    std::string const text = folder.read("report.jsonl");
    EXPECT_LT(text.size(), 2 * ReportWriter::kRunBytes + 100'000);
    EXPECT_GT(text.size(), 2 * ReportWriter::kRunBytes - 100'000) << "no more than needs be";
    EXPECT_HAS(text, "Further questions of this run are left out of the report");
    EXPECT_HAS(text, "Further percentages of this run are left out of the report");
    EXPECT_EQ(std::string::npos, text.find("Further events"));
    EXPECT_HAS(text, "\"message\":\"hello\"");
}

TEST_F(RunnerTest, aQuestionIsAskedAnsweredAndRecorded)
{
    recorder.answer = 1;
    EXPECT_EQ("PASS", ended("ask").result);
    recorder.answer = 2;
    EXPECT_EQ("FAIL", ended("ask").result);
    ASSERT_EQ(2u, recorder.questions.size());
    EXPECT_EQ("Is the light on?", recorder.questions[0].text);
    EXPECT_EQ("Yes", recorder.questions[0].answer);
    EXPECT_TRUE(recorder.questions[0].wasAnswered);
}

TEST_F(RunnerTest, whileAPersonThinksTheOtherRunsGoOn)
{
    options.parallel = 2;
    PlannedRun asking = planned("ask", 0), other = planned("pass", 1), third = planned("pass", 2);
    asking.parallel = other.parallel = third.parallel = true;
    asking.limit = seconds(1); // waits for the person as well
    struct Slow : Recorder
    {
        void ask(RunId run, zel::MessageBoxImp& box, bool (*isOver)()) override
        {
            while (ends.size() < 2 && !isOver())
                ::usleep(10'000);
            for (int i = 0; i < 30; ++i) {
                ::usleep(50'000);
                EXPECT_FALSE(isOver());
            }
            answer = 1;
            Recorder::ask(run, box, isOver);
        }
    } slow;
    Plan plan;
    plan.runs = {asking, other, third};
    EXPECT_EQ("PASS", Runner(machine, slow, options).run(plan).verdict);
    ASSERT_EQ(3u, slow.ends.size());
    EXPECT_EQ(1u, slow.ends[2].run);
}

TEST_F(RunnerTest, runsAreAtOnceOnlyWhereBothAllowItAndNeverOnOneDevice)
{
    ::test::TemporaryFolder const folder;
    auto const overlapping = [&](bool isParallel, std::size_t device, unsigned number) {
        PlannedRun one = planned("overlap", device);
        one.parameters = {{"lock", folder.path("lock" + std::to_string(number))}};
        one.parallel = isParallel;
        return one;
    };
    options.parallel = 4;
    // One lock: whoever finds it taken was not alone.
    EXPECT_EQ("PASS",
              run({overlapping(true, 1, 0), overlapping(true, 1, 0), overlapping(true, 1, 0)}).verdict)
        << "on one device";
    EXPECT_EQ("PASS",
              run({overlapping(true, 0, 1), overlapping(false, 1, 1), overlapping(true, 2, 1)}).verdict)
        << "one that must be alone";
    EXPECT_EQ("WARNING", run({overlapping(true, 0, 2), overlapping(true, 1, 2)}).verdict) << "on two devices";
}

TEST_F(RunnerTest, aRunThatCannotBeRecordedIsNotStarted)
{
    recorder.isFull = true;
    Outcome const outcome = run({planned("pass"), planned("pass")});
    EXPECT_EQ("BROKEN", outcome.verdict);
    EXPECT_NE(0, outcome.exitStatus);
    EXPECT_TRUE(recorder.progress.empty());
    EXPECT_TRUE(recorder.ends.empty());
    EXPECT_EQ(2u, recorder.skips.size()) << "who reads the summary misses neither";
}

// Its module is there already when the disk turns out not to answer.
TEST_F(RunnerTest, aRunWhoseBeginningIsNotOnDiskIsNotMade)
{
    recorder.isTooSlow = true;
    RunEnded const end = ended(planned("pass"));
    EXPECT_EQ("CANNOT RUN", end.result);
    EXPECT_EQ("not run, since its beginning could not be written to the report", end.note);
    EXPECT_TRUE(recorder.progress.empty());
    EXPECT_TRUE(recorder.events.empty());
}

TEST_F(RunnerTest, theVerdictIsTheWorstAndNothingIsForgotten)
{
    EXPECT_EQ("NOT TESTED", run({}).verdict);
    Plan plan;
    plan.runs = {planned("pass")};
    plan.refusals = {{"wayward", "absent", "", "NO DEVICE", "there is none", false}};
    EXPECT_EQ(0, Runner(machine, recorder, options).run(plan).exitStatus);
    plan.refusals[0].isAskedFor = true;
    EXPECT_EQ("NOT TESTED", Runner(machine, recorder, options).run(plan).verdict);
    ASSERT_EQ(1u, recorder.skips.size());
    options.keepGoing = false;
    EXPECT_EQ("FAIL", run({planned("fail"), planned("pass")}).verdict);
    EXPECT_EQ(2u, recorder.skips.size());
    EXPECT_EQ("SKIPPED", recorder.skips[1].result);
    options.repeat = 3;
    recorder.ends.clear();
    EXPECT_EQ("PASS", run({planned("pass"), planned("pass")}).verdict);
    EXPECT_EQ(6u, recorder.ends.size());
}

TEST_F(RunnerTest, aPersonsStopEndsTheRunAndTheSession)
{
    auto const child = ::test::runInChild([this] {
        zel::StopSignal::install(24);
        recorder.onProgress = [] { ::raise(SIGINT); };
        Outcome const outcome = run({planned("ignore"), planned("pass")});
        EXPECT_EQ("STOPPED", outcome.verdict);
        EXPECT_EQ(24, outcome.exitStatus);
        EXPECT_EQ(1u, recorder.ends.size());
        EXPECT_EQ("USER ABORTED", recorder.ends[0].result);
        EXPECT_EQ("SIGTERM", recorder.ends[0].signal);
        EXPECT_EQ(1u, recorder.skips.size());
        ::_exit(testing::Test::HasFailure() ? 1 : 0);
    });
    EXPECT_EQ(0, child.status) << child.output;
}

// The stop comes when the only run of the round has given its result.
TEST_F(RunnerTest, aStopBetweenTwoRoundsIsNoPass)
{
    auto const child = ::test::runInChild([this] {
        zel::StopSignal::install(24);
        recorder.onProgress = [] {
            ::usleep(300'000);
            ::raise(SIGINT);
        };
        options.repeat = 3;
        Outcome const outcome = run({planned("pass")});
        EXPECT_EQ("STOPPED", outcome.verdict);
        EXPECT_EQ(24, outcome.exitStatus);
        EXPECT_EQ(1u, recorder.ends.size());
        EXPECT_EQ("PASS", recorder.ends.at(0).result);
        EXPECT_EQ(1u, recorder.skips.size());
        EXPECT_EQ("the session was stopped in round 1 of 3", recorder.skips.at(0).reason);
        ::_exit(testing::Test::HasFailure() ? 1 : 0);
    });
    EXPECT_EQ(0, child.status) << child.output;
}

namespace {

/// Of this thread, that run a program of their own: the keeper is a copy of this one.
std::set<long> modulesOfThisProcess()
{
    std::set<long> all;
    std::ifstream list("/proc/thread-self/children");
    for (long one = 0; list >> one;)
        if (std::filesystem::read_symlink("/proc/" + std::to_string(one) + "/exe") == WAYWARD_MODULE)
            all.insert(one);
    return all;
}

} // namespace

TEST_F(RunnerTest, aModuleThatWasStartedAheadIsThatOfTheFirstRunOfItsProgram)
{
    ::test::TemporaryFolder const folder;
    PlannedRun first = planned("whoAmIThenPass"), second = planned("whoAmIThenPass");
    first.parameters = {{"file", folder.path("first")}};
    second.parameters = {{"file", folder.path("second")}};
    auto const idIn = [&](char const* name) {
        long id = 0;
        std::ifstream(folder.path(name)) >> id;
        return id;
    };
    struct
    {
        char const* what;
        std::vector<std::string> words;
        bool isTaken;
    } const cases[] = {
        {"as the run starts it", wordsToRun(options), true},
        {"with other words", {"run", "-e", "-ePid", std::to_string(::getpid()), "more"}, false},
    };
    for (auto const& one : cases) {
        auto ahead = std::make_unique<HeadStart>(WAYWARD_MODULE, one.words);
        auto const started = modulesOfThisProcess();
        ASSERT_EQ(1u, started.size());
        Plan plan;
        plan.runs = {first, second};
        recorder.ends.clear();
        EXPECT_EQ("PASS", Runner(machine, recorder, options, std::move(ahead)).run(plan).verdict) << one.what;
        EXPECT_EQ(2u, recorder.ends.size());
        EXPECT_EQ(one.isTaken, started.count(idIn("first")) == 1) << one.what;
        EXPECT_EQ(0u, started.count(idIn("second"))) << one.what;
        EXPECT_TRUE(::test::ends(*started.begin())) << one.what;
    }
    Plan plan;
    plan.runs = {second};
    auto none = std::make_unique<HeadStart>("/nowhere", wordsToRun(options));
    EXPECT_EQ("PASS", Runner(machine, recorder, options, std::move(none)).run(plan).verdict);
}

TEST_F(RunnerTest, aModuleThatWasStartedAheadEndsWithWhoeverStartedIt)
{
    std::unique_ptr<HeadStart> ahead = std::make_unique<HeadStart>(WAYWARD_MODULE, wordsToRun(options));
    auto const dropped = modulesOfThisProcess();
    ASSERT_EQ(1u, dropped.size());
    ahead.reset();
    EXPECT_TRUE(::test::ends(*dropped.begin()));

    ::test::TemporaryFolder const folder;
    auto const child = ::test::runInChild([&] {
        HeadStart const one(WAYWARD_MODULE, wordsToRun(options));
        std::ofstream(folder.path("id")) << *modulesOfThisProcess().begin() << std::flush;
        ::kill(::getpid(), SIGKILL);
    });
    EXPECT_EQ(SIGKILL, child.signal) << child.output;
    long id = 0;
    std::ifstream(folder.path("id")) >> id;
    ASSERT_GT(id, 0);
    EXPECT_TRUE(::test::ends(id));
}

TEST_F(RunnerTest, noModuleOutlivesAnEngineThatWasKilled)
{
    ::test::TemporaryFolder const folder;
    PlannedRun one = planned("whoAmI");
    one.parameters = {{"file", folder.path("id")}};
    auto const child = ::test::runInChild([&] {
        recorder.onProgress = [] { ::kill(::getpid(), SIGKILL); };
        run({one});
    });
    EXPECT_EQ(SIGKILL, child.signal) << child.output;
    long id = 0;
    std::ifstream(folder.path("id")) >> id;
    ASSERT_GT(id, 0);
    EXPECT_TRUE(::test::ends(id));
}

TEST_F(RunnerTest, whatAModuleStartedEndsWithItAndWithTheEngine)
{
    ::test::TemporaryFolder const folder;
    auto const processOf = [&](std::string const& name) {
        long id = 0;
        std::ifstream(folder.path(name)) >> id;
        EXPECT_GT(id, 0) << name;
        return id;
    };
    PlannedRun one = planned("familyThenCrash");
    one.parameters = {{"inside", folder.path("inside")}, {"outside", folder.path("outside")}};
    EXPECT_EQ("SIGSEGV", ended(one).signal);
    EXPECT_TRUE(::test::ends(processOf("inside")));
    EXPECT_TRUE(::test::ends(processOf("outside"))) << "which left the group";

    one.test = "family";
    one.parameters = {{"inside", folder.path("second")}};
    auto const child = ::test::runInChild([&] {
        recorder.onProgress = [] { ::kill(::getpid(), SIGKILL); };
        run({one});
    });
    EXPECT_EQ(SIGKILL, child.signal) << child.output;
    EXPECT_TRUE(::test::ends(processOf("second")));
}

// A module takes a second signal for somebody who does not want to wait, and ends at once.
TEST(Child, getsEachSignalOnce)
{
    // Its handler writes a byte for each.
    char const* const program = "import os, signal\n"
                                "os.set_blocking(1, False)\n"
                                "signal.signal(signal.SIGTERM, lambda *_: None)\n"
                                "signal.set_wakeup_fd(1)\n"
                                "os.write(1, b'begin')\n"
                                "while True: signal.pause()\n";
    engine::Child child;
    ASSERT_EQ(0, child.start("/usr/bin/python3", {"-c", program}));
    auto const listenUntil = [&child](std::string const& text) {
        for (auto const end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
             child.said().size() < text.size() && std::chrono::steady_clock::now() < end;) {
            std::vector<pollfd> waiting;
            child.waitsFor(waiting);
            ::poll(waiting.data(), waiting.size(), 100);
            child.listen();
        }
        return child.said();
    };
    std::string expected = "begin";
    ASSERT_EQ(expected, listenUntil(expected));
    for (int i = 0; i < 50; ++i) { // two that come close together may be taken for one
        std::this_thread::sleep_for(std::chrono::milliseconds(1)); // so that it waits by then
        child.terminate();
        expected += static_cast<char>(SIGTERM);
        ASSERT_EQ(expected, listenUntil(expected));
    }
}

TEST_F(RunnerTest, theEndOfTheModulesLogComesAlongWhenItDidNotEndWell)
{
    ::test::TemporaryFolder const folder;
    options.logFolder = folder.path();
    std::filesystem::create_directory(folder.path("logs"));
    EXPECT_EQ("last line\n", ended("crash").logTail);
    EXPECT_EQ("", ended("pass").logTail);
    if (::geteuid() != 0)
        return; // who cannot give a file away cannot try the rest
    // Where anybody may write, another one's folder, file or link is none of the module's.
    EXPECT_EQ("", engine::tailOf(folder.path("logs"), "absent", 100));
    std::ofstream(folder.path("logs/mine")) << "mine\n";
    EXPECT_EQ("mine\n", engine::tailOf(folder.path("logs"), "mine", 100));
    std::filesystem::create_directory_symlink("logs", folder.path("link"));
    EXPECT_EQ("", engine::tailOf(folder.path("link"), "mine", 100));
    ASSERT_EQ(0, ::chown(folder.path("logs/mine").c_str(), 65534, 65534));
    EXPECT_EQ("", engine::tailOf(folder.path("logs"), "mine", 100));
    std::ofstream(folder.path("logs/ours")) << "ours\n";
    ASSERT_EQ(0, ::chown(folder.path("logs").c_str(), 65534, 65534));
    EXPECT_EQ("", engine::tailOf(folder.path("logs"), "ours", 100));
}
