// Modules that are made with the library, well and ill, under the runner.
#include <engine/plan/MakePlan.h>
#include <engine/runner/ModuleChoice.h>
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
    bool flush() override { return true; }
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
        {"throwStandard", "EXITED ABNORMALLY",
         "status 22 and gave no result; std::exception: what went wrong\\x0ain \\x1b[31m<red>"},
        {"throwNumber", "EXITED ABNORMALLY", "; Unknown \"...\" Exception in "},
        {"exitZero", "EXITED ABNORMALLY", "status 22"},
        {"waitForStop", "MAX TIME EXCEEDED", "stopped after 1 s, its limit"},
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
        EXPECT_EQ(std::string::npos, end.note.find('\n')) << one.test << ": " << end.note;
    }
    RunEnded const& crash = recorder.ends["crash"]; // the stack is not lost, only not in the note
    EXPECT_NE(std::string::npos, crash.output.find("Stack Trace:")) << crash.output;
    EXPECT_NE(std::string::npos, crash.logTail.find("Stack Trace:")) << crash.logTail;
}

TEST(RealModule, thatChoosesItsTestsIsAskedAndCostsOnlyItsOwnWhenItDoesNotAnswer)
{
    if (::geteuid() != 0)
        GTEST_SKIP() << "modules need root";
    ::test::TemporaryFolder const folder;
    std::filesystem::permissions(folder.path(), std::filesystem::perms::owner_all);
    for (char const* const name :
         {"asksandchooses", "choosesandcrashes", "choosesone", "hesitates", "misbehaving"})
        std::filesystem::copy_file(MISBEHAVING_MODULE, folder.path(name));
    CatalogRequest request;
    request.folders = {folder.path()};
    Catalog catalog = Catalog::read(request);
    ASSERT_EQ(5u, catalog.modules().size());
    zel::StateManager machine;
    for (char const* const place : {"slot 1", "slot 2"})
        machine.addDevice(zel::DeviceImp::createGeneric(zel::CapabilityImp::Memory(),
                                                        zel::CapabilityImp::Memory(), "memory", "", "", place,
                                                        zel::CapabilityImp()),
                          nullptr);
    {
        ModuleChoice choice(std::chrono::seconds(2));
        assignTests(catalog, machine, &choice);
    }
    std::string complaints;
    for (std::string const& one : catalog.complaints())
        complaints += one + "\n";
    std::string const says = " does not say which devices its tests are for: it ";
    EXPECT_EQ(2u, catalog.complaints().size()) << complaints;
    EXPECT_NE(std::string::npos,
              complaints.find("/choosesandcrashes:" + says + "ended with status 22, and said: "))
        << complaints;
    EXPECT_NE(std::string::npos, complaints.find("/hesitates:" + says + "took too long")) << complaints;
    for (auto const& module : catalog.modules())
        for (ModuleTest const& test : module->tests) {
            std::size_t wanted = module->guid() == "misbehaving" ? 2 : 0;
            if (module->guid() == "choosesone" && test.record.keyInModule() == zel::String("pass"))
                wanted = 1;
            bool const isChosen = test.record.keyInModule() == zel::String("pass") ||
                                  test.record.keyInModule() == zel::String("fail");
            if (module->guid() == "asksandchooses" && isChosen)
                wanted = 2;
            if (test.record.deviceCapabilities() == zel::CapabilityImp::Memory()) {
                EXPECT_EQ(wanted, test.devices.size()) << wordOf(*module, test);
            }
            EXPECT_FALSE(test.isDeclinable);
        }

    auto const numbered = testedDevices(catalog, machine);
    PlanRequest wanted;
    wanted.words = {"choosesone:pass"};
    Plan const plan = makePlan(wanted, catalog, machine, numbered);
    ASSERT_EQ(1u, plan.runs.size());
    RunnerOptions options;
    options.logFolder = folder.path();
    Recorder recorder;
    EXPECT_EQ("PASS", Runner(machine, recorder, options).run(plan).verdict);
    wanted.devices = {"slot 2"};
    Plan const other = makePlan(wanted, catalog, machine, numbered);
    ASSERT_EQ(1u, other.refusals.size());
    EXPECT_EQ("its module does not want it", other.refusals[0].reason);
    wanted = {};
    wanted.words = {"hesitates:pass"};
    Plan const none = makePlan(wanted, catalog, machine, numbered);
    ASSERT_EQ(1u, none.refusals.size());
    EXPECT_EQ("the module could not be asked: it took too long", none.refusals[0].reason);
}
