// Module and engine die, are stopped, or find the disk full at each stage of a run: what the session says, and what its report
// says to who reads it afterwards.
#include <engine/commands/RunPlan.h>
#include <engine/pages/Pages.h>
#include <engine/report/ReportReader.h>
#include <engine/show/PlainView.h>
#include <engine/show/SessionObserver.h>

#include <foundation/ChildProcess.h>
#include <foundation/TemporaryFolder.h>
#include <tools/engine/report/Sessions.h>

#include <zel/model/state/StateManager.h>

#include <gtest/gtest.h>

#include <csignal>
#include <sched.h>
#include <sys/mount.h>

namespace engine::test {

namespace {

/// What a session says, on standard output.
class Told final : public zel::OStream
{
public:
    void write(std::string_view utf8) override { std::fwrite(utf8.data(), 1, utf8.size(), stdout); }
    void flush() override {}
    bool failed() const override { return false; }
};

/// Dies when it has kept so many records.
class Mortal final : public RunObserver
{
public:
    Mortal(RunObserver& real, int records) : m_real(real), m_left(records) {}
    bool take(Record const& record) override
    {
        bool const isKept = m_real.take(record);
        if (--m_left == 0) {
            flush();
            ::kill(::getpid(), SIGKILL);
        }
        return isKept;
    }
    bool flush() override { return m_real.flush(); }
    void progressed(RunId run, int percent, unsigned pass, unsigned left, std::string const& text) override
    {
        m_real.progressed(run, percent, pass, left, text);
    }
    void ask(RunId run, zel::MessageBoxImp& box, bool (*isOver)()) override { m_real.ask(run, box, isOver); }

private:
    RunObserver& m_real;
    int m_left;
};

class Deaths : public testing::Test
{
protected:
    Deaths()
    {
        machine.addDevice(zel::DeviceImp::restored({"disk", "disk", "", "", "", zel::CapabilityImp("disk"),
                                                    zel::CapabilityImp("disk"), zel::CapabilityImp()}),
                          nullptr);
    }
    /// The whole of a session, from its first record to its last; its exit status.
    int session(std::vector<std::string> const& tests, std::string const& file, int records = -1)
    {
        Plan const plan = planOf(tests);
        Told out;
        PlainView view(out);
        ReportWriter report(file, [&](std::string const& what) { view.say(what + "\n"); });
        SessionObserver real(report, view);
        Mortal observer(real, records);
        observer.take(sessionBegan());
        Outcome const outcome = Runner(machine, observer, options).run(plan);
        observer.take(SessionEnded{at(60), outcome.verdict, outcome.exitStatus, 60});
        return outcome.exitStatus;
    }
    Plan planOf(std::vector<std::string> const& tests) const
    {
        Plan plan;
        for (std::string const& test : tests) {
            PlannedRun run;
            run.program = WAYWARD_MODULE;
            run.moduleGuid = "wayward";
            run.test = test;
            run.device = machine.deviceAtIndex(0);
            run.shutdownSeconds = 1;
            plan.runs.push_back(run);
        }
        return plan;
    }

    ::test::TemporaryFolder folder;
    std::string const path = folder.path("r.jsonl");
    zel::StateManager machine;
    RunnerOptions options;
};

#define EXPECT_HAS(text, part) EXPECT_NE(std::string::npos, (text).find(part)) << (text)

} // namespace

TEST_F(Deaths, aModuleThatIsKilledAtAnyStageIsNoPass)
{
    struct
    {
        char const *word, *test, *result, *note;
    } const cases[] = {
        {"killedBefore", "pass", "MODULE FAILED TO START", "ended by SIGKILL before it registered"},
        {"killedThen", "pass", "MODULE FAILED TO START", "ended by SIGKILL before it registered"},
        {"killedAfter", "pass", "EXITED ABNORMALLY", "ended by SIGKILL and gave no result"},
        {"", "killed", "EXITED ABNORMALLY", "ended by SIGKILL and gave no result"},
        {"", "passThenKilled", "EXITED ABNORMALLY", "gave PASS, then ended by SIGKILL"},
        {"", "passAndLeaveThenKilled", "EXITED ABNORMALLY", "gave PASS, then ended by SIGKILL"},
    };
    for (auto const& one : cases) {
        options.words = {one.word};
        std::string const file = folder.path(std::string(one.word) + one.test);
        EXPECT_EQ(22, session({one.test}, file)) << one.word << one.test;
        Session const read = readReport(file);
        EXPECT_EQ("BROKEN", read.verdict());
        ASSERT_EQ(1u, read.runs.size());
        ASSERT_TRUE(read.runs[0].ended);
        EXPECT_EQ(one.result, read.runs[0].ended->result) << one.word << one.test;
        EXPECT_HAS(read.runs[0].ended->note, one.note);
        EXPECT_EQ("SIGKILL", read.runs[0].ended->signal);
    }
}

TEST_F(Deaths, anEngineThatIsKilledAtAnyStageLeavesAReportThatSaysHowFarItCame)
{
    std::vector<std::string> const tests{"fail", "pass"};
    ASSERT_EQ(23, session(tests, path));
    Session const whole = readReport(path);
    ASSERT_EQ("FAIL", whole.verdict());
    int records = 0;
    for (bool isWhole = false; !isWhole && records < 50;) {
        std::string const file = folder.path(std::to_string(++records));
        auto const child = ::test::runInChild([&] { session(tests, file, records); });
        isWhole = child.signal == 0;
        if (isWhole)
            break;
        ASSERT_EQ(SIGKILL, child.signal) << child.output;
        Session const read = readReport(file);
        EXPECT_TRUE(read.damage.empty()) << records;
        EXPECT_FALSE(read.isWritten) << records;
        std::string const page = text(read, 80);
        bool isFail = false, isOpen = false;
        for (RunReport const& run : read.runs) {
            isFail = isFail || (run.ended && run.ended->result == "FAIL");
            isOpen = isOpen || !run.ended;
        }
        EXPECT_EQ(isFail ? "FAIL" : "DID NOT END", read.verdict()) << records;
        EXPECT_EQ(isOpen, resultTable(read, 80).find("DID NOT END") != std::string::npos) << page;
    }
    EXPECT_GE(records, 7) << "both runs began and ended, between the session's beginning and end";
}

TEST_F(Deaths, engineAndModuleThatAreStoppedForAWhileGoOn)
{
    auto const child = ::test::runInChild([&] { ::_exit(session({"stopBoth", "pass"}, path)); });
    EXPECT_EQ(0, child.status) << child.output;
    EXPECT_EQ("PASS", readReport(path).verdict());
}

TEST_F(Deaths, aDiskThatBecomesFullIsNoPassAndNothingMoreBegins)
{
    std::string const file = folder.path("full/r.jsonl");
    ::mkdir(folder.path("full").c_str(), 0700);
    constexpr int kCannot = 77;
    auto const child = ::test::runInChild([&] {
        if (::unshare(CLONE_NEWNS) != 0 || ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
            ::mount("none", folder.path("full").c_str(), "tmpfs", 0, "size=64k") != 0)
            ::_exit(kCannot);
        int const status = session({"flood", "pass"}, file);
        Session const read = readReport(file);
        std::printf("%zu runs, %s\n", read.runs.size(), read.verdict().c_str());
        std::fflush(stdout);
        ::_exit(status);
    });
    if (child.status == kCannot)
        GTEST_SKIP() << "no file system can be mounted here";
    EXPECT_EQ(22, child.status) << child.output;
    EXPECT_EQ(1u, ::test::occurrences(child.output, "r.jsonl is not complete: No space left on device"))
        << child.output;
    EXPECT_HAS(child.output, "1 runs, DID NOT END");
}

// The disk takes a little more each time, until it takes all but the last record.
TEST_F(Deaths, whatIsPrintedIsWhatTheExitStatusSaysWhereverTheDiskBecomesFull)
{
    constexpr int kCannot = 77;
    bool isSeen = false;
    ::mkdir(folder.path("full").c_str(), 0700);
    for (std::size_t more = 0; more < 4096 && !isSeen; more += 50) {
        auto const child = ::test::runInChild([&] {
            if (::unshare(CLONE_NEWNS) != 0 ||
                ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
                ::mount("none", folder.path("full").c_str(), "tmpfs", 0, "size=4k") != 0)
                ::_exit(kCannot);
            RunOptions how;
            how.report = folder.path("full/r.jsonl");
            how.command = std::string(more, 'x');
            int const status = runPlan(planOf({"pass"}), how, machine);
            Session const read = readReport(how.report);
            std::printf("report: %s %s\n", read.runs.empty() ? "" : read.resultOf(read.runs[0]).c_str(),
                        read.verdict().c_str());
            std::fflush(stdout);
            ::_exit(status);
        });
        if (child.status == kCannot)
            GTEST_SKIP() << "no file system can be mounted here";
        EXPECT_HAS(child.output, child.status == 0 ? "\nVerdict: PASS" : "\nVerdict: BROKEN");
        isSeen = child.output.find("report: PASS DID NOT END") != std::string::npos;
    }
    EXPECT_TRUE(isSeen);
}

} // namespace engine::test
