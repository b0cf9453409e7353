// Modules that are made with the library, well and ill, under the runner.
#include <engine/runner/Runner.h>

#include <foundation/TemporaryFolder.h>

#include <zel/model/state/StateManager.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <map>

using namespace engine;

namespace {

class Recorder : public RunObserver
{
public:
    bool take(Record const& record) override
    {
        if (auto const* begun = std::get_if<RunBegan>(&record))
            tests[begun->run] = begun->test;
        if (auto const* ended = std::get_if<RunEnded>(&record))
            ends[tests[ended->run]] = *ended;
        if (auto const* event = std::get_if<RunEvent>(&record))
            ++events[tests[event->run]];
        return true;
    }
    void progressed(RunId, int, unsigned, unsigned, std::string const&) override {}
    void ask(RunId, zel::MessageBoxImp& box, bool (*)()) override { box.setAnswer(box.defaultCode()); }

    std::map<RunId, std::string> tests;
    std::map<std::string, RunEnded> ends;
    std::map<std::string, int> events;
};

} // namespace

TEST(RealModule, endsAsItsTestDoesOrWithAResultThatSaysWhatHappened)
{
    if (::geteuid() != 0)
        GTEST_SKIP() << "modules need root";
    ::test::TemporaryFolder const folder;
    std::string const program = folder.path("misbehaving");
    std::filesystem::copy_file(MISBEHAVING_MODULE, program);
    zel::StateManager machine;
    machine.addDevice(zel::DeviceImp::createGeneric(zel::CapabilityImp::Memory(),
                                                    zel::CapabilityImp::Memory(), "memory", "", "", "slot 1",
                                                    zel::CapabilityImp()),
                      nullptr);
    struct
    {
        char const *test, *result, *note;
        int events = 0;
    } const cases[] = {
        {"pass", "PASS", ""},
        {"fail", "FAIL", "", 1},
        {"crash", "EXITED ABNORMALLY", "SIGSEGV"},
        {"abort", "EXITED ABNORMALLY", "SIGABRT"},
        {"throwStandard", "EXITED ABNORMALLY", "status 22"},
        {"exitZero", "EXITED ABNORMALLY", "status 22"},
        {"waitForStop", "MAX TIME EXCEEDED", "status 24"},
        {"ignoreStop", "MAX TIME EXCEEDED", "ended "}, // by SIGTERM as its second stop, or by SIGKILL
        {"noSuchTest", "EXITED ABNORMALLY", "status"},
    };
    Plan plan;
    for (auto const& one : cases) {
        PlannedRun run;
        run.program = program;
        run.moduleGuid = "misbehaving";
        run.test = one.test;
        run.device = machine.deviceAtIndex(0);
        run.shutdownSeconds = 1;
        if (std::string(one.result) == "MAX TIME EXCEEDED")
            run.limit = std::chrono::seconds(1);
        plan.runs.push_back(run);
    }
    RunnerOptions options;
    options.logFolder = folder.path();
    Recorder recorder;
    EXPECT_EQ("FAIL", Runner(machine, recorder, options).run(plan).verdict);
    for (auto const& one : cases) {
        RunEnded const& end = recorder.ends[one.test];
        EXPECT_EQ(one.result, end.result) << one.test << ": " << end.note << "\n" << end.output;
        EXPECT_NE(std::string::npos, (end.note + end.signal).find(one.note)) << one.test << ": " << end.note;
        EXPECT_EQ(one.events, recorder.events[one.test]) << one.test;
    }
    EXPECT_NE("", recorder.ends["crash"].logTail);
}
