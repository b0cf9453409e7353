// Modules under an engine: what each side hears of the other, and what becomes of a module whose engine asks for nonsense,
// falls silent or dies.
#include <endtoend/ModuleFolder.h>
#include <endtoend/TestEngine.h>

#include <krel5/MessageBox.h>

#include <zel/foundation/Stopwatch.h>

#include <csignal>
#include <functional>
#include <future>
#include <sys/wait.h>

namespace {

using krel5::MsgBoxReturn;
using test::has;
using test::holds;
using test::Outcome;
using test::TestEngine;
using What = zel::ProgressBody::What;

constexpr int kInternalError = 22, kUserAborted = 24, kCannotRun = 28;
constexpr double kPromptly = 10; // seconds, on a machine that is busy

/// What an engine knows of the machine: the module, a disk and a second device.
class Machine
{
public:
    Machine() { m_module.setGuid("engaged"); }

    enum class Has { Everything, NoModule, NoDevice };
    std::shared_ptr<zel::StateManager> state(Has what = Has::Everything)
    {
        auto state = std::make_shared<zel::StateManager>();
        if (what != Has::NoModule)
            state->addModule(m_module, false);
        if (what != Has::NoDevice)
            for (zel::DeviceImp const* one : {m_disk.get(), m_memory.get()})
                state->addDevice(std::make_unique<zel::DeviceImp>(*one), nullptr);
        return state;
    }
    zel::TestRunBody run(zel::String const& test, Has what = Has::Everything)
    {
        return {state(what), zel::TestRunImp::restored("run-1", test, m_disk->guid())};
    }

private:
    static std::unique_ptr<zel::DeviceImp> device(zel::CapabilityImp const& type, char const* name)
    {
        return zel::DeviceImp::createGeneric(type, type, name, zel::String("/dev/") + name, name, name,
                                             zel::CapabilityImp());
    }
    zel::ModuleImp m_module{"engaged"};
    std::unique_ptr<zel::DeviceImp> m_disk = device(zel::CapabilityImp::HardDrive(), "disk");
    std::unique_ptr<zel::DeviceImp> m_memory = device(zel::CapabilityImp::Memory(), "memory");
};

/// An engine in a process of its own, which can be killed.
class EngineProcess
{
public:
    /// `body` runs there; where it returns, the process is killed.
    explicit EngineProcess(
        std::function<void(TestEngine&, Machine&)> const& body,
        TestEngine::Accepts const& accepts = [](std::int64_t) { return true; })
    {
        int ready[2];
        if (::pipe(ready) != 0)
            ::abort();
        m_process = ::fork();
        if (m_process == 0) {
            ::close(ready[0]);
            {
                TestEngine engine(accepts);
                Machine machine;
                ::close(ready[1]);
                body(engine, machine);
                ::kill(::getpid(), SIGKILL);
            }
            ::_exit(1);
        }
        ::close(ready[1]);
        char none;
        [[maybe_unused]] auto const end = ::read(ready[0], &none, 1); // it listens now
        ::close(ready[0]);
    }
    ~EngineProcess() { ::waitpid(m_process, nullptr, 0); }
    std::string id() const { return std::to_string(m_process); }

private:
    pid_t m_process = -1;
};

struct Engine : test::ModuleFolder
{
    Engine() : ModuleFolder(ENGAGED_MODULE) {}

    std::future<Outcome> start(std::vector<std::string> words)
    {
        return std::async(std::launch::async,
                          [this, words = std::move(words)] { return module("engaged", words); });
    }
    Outcome runWith(EngineProcess const& engine)
    {
        return module("engaged", {"run", "-e", "-ePid", engine.id()});
    }
    /// Up to the message that comes before the run.
    std::future<Outcome> startRun(TestEngine& engine, zel::TestRunBody run)
    {
        auto outcome = start({"run", "-e"});
        engine.next<zel::ModuleStarted>();
        engine.send(zel::RunTestEngineToProvider(std::move(run)));
        return outcome;
    }
    /// The result, which the engine takes.
    static zel::TestResultImp takeResult(TestEngine& engine)
    {
        zel::ProgressBody const body = engine.next(What::FinalResult);
        EXPECT_EQ(body.state, zel::TestStateImp::EXITED());
        engine.send(zel::AcknowledgeEngineToProvider());
        return body.result;
    }
    static zel::MessageBoxBody takeQuestion(TestEngine& engine)
    {
        return engine.next<zel::MessageBoxProviderToEngine>()->body();
    }
    static void answer(TestEngine& engine, zel::MessageBoxBody const& question, MsgBoxReturn answer)
    {
        engine.send(zel::MessageBoxEngineToProvider({question.id, static_cast<int>(answer), false}));
    }
    /// The texts of the next report of events.
    static std::string events(TestEngine& engine)
    {
        std::string all;
        for (auto const& one : engine.next(What::Events).events)
            all += one.type().toString().toUtf8() + ": " + one.message().resolve().toUtf8() + "\n";
        return all;
    }

    Machine m_machine;
};

TEST_F(Engine, HearsAllOfARunAndNothingIsPrinted)
{
    m_folder.write("engaged.w4p", "Event.note.Message={what}: {value}\n");
    TestEngine engine;
    auto outcome = start({"run", "-e"});

    auto const module = engine.next<zel::ModuleStarted>()->body();
    EXPECT_EQ(module.guid, zel::String("engaged"));
    EXPECT_EQ(module.type, zel::ModuleTypeImp::DIAG().toString());
    EXPECT_EQ(module.version, zel::String("4.2.1"));
    EXPECT_FALSE(module.libraryVersion.empty());
    EXPECT_GT(module.processId, 0);

    zel::TestRunBody run = m_machine.run("whole");
    run.run->restoreParameter({"size", zel::ValueImp(std::uint32_t{42}), zel::ParameterSourceImp::CLIENT()});
    run.run->setCurrentPass(3);
    engine.send(zel::RunTestEngineToProvider(run));

    EXPECT_EQ(engine.next(What::PercentDone).percent, 0);
    zel::ProgressBody const report = engine.next(What::PercentDone);
    EXPECT_EQ(report.percent, 10);
    EXPECT_EQ(report.run, zel::String("run-1"));
    EXPECT_EQ(report.state, zel::TestStateImp::RUNNING());
    EXPECT_EQ(events(engine), "INFORMATIVE: device: disk\n") << "in the words of the module's text file";
    EXPECT_EQ(events(engine), "INFORMATIVE: size: 42\n");
    EXPECT_EQ(events(engine), "INFORMATIVE: optional: 1\n");
    EXPECT_EQ(events(engine), "INFORMATIVE: pass: 3\n");
    EXPECT_EQ(engine.next(What::TimeLeft).timeLeft, 7u);
    EXPECT_EQ(engine.next(What::Information).information, zel::String("looking around"));
    EXPECT_EQ(engine.next<zel::TimeOutProviderToEngine>()->body().seconds, 9u);
    EXPECT_EQ(events(engine), "INFORMATIVE: time-out: 9\n");
    EXPECT_FALSE(engine.next<zel::TimeOutProviderToEngine>()->body().seconds);

    zel::MessageBoxBody const question = takeQuestion(engine);
    EXPECT_EQ(question.run, zel::String("run-1"));
    EXPECT_EQ(question.box->text(), zel::String("Is the cable in?"));
    answer(engine, question, MsgBoxReturn::YES);

    EXPECT_TRUE(has(events(engine), "WARNING: "));
    EXPECT_EQ(engine.next(What::PercentDone).percent, 100);
    EXPECT_EQ(takeResult(engine), zel::TestResultImp::PASS());
    Outcome const end = outcome.get();
    EXPECT_EQ(end.status, 0) << end.err;
    EXPECT_EQ(end.out, "");
    EXPECT_EQ(end.err, "exit callback\n");
    EXPECT_TRUE(engine.hasLost(1));
    EXPECT_EQ(engine.lostBecause(), zel::String());
}

TEST_F(Engine, DrivenRunIsInTheLogStepByStep)
{
    TestEngine engine;
    auto outcome = start({"run", "-e", "-ll", "debug"});
    engine.next<zel::ModuleStarted>();
    engine.send(zel::RunTestEngineToProvider(m_machine.run("whole")));
    answer(engine, takeQuestion(engine), MsgBoxReturn::YES);
    takeResult(engine);
    EXPECT_EQ(outcome.get().status, 0);
    std::string const lines = log();
    std::size_t at = 0;
    for (char const* line :
         {"1200 CommInterface: using CommEngine\n", "1143 checkPrivileges()\n",
          " waitForMessage() timeout: 120000 before wait\n",
          " incoming_message_handler() received: RunTestEngineToProvider (31)\n",
          " wantThisMessage() received: RunTestEngineToProvider (31)\n", " returning true\n",
          "  wait succeded\n", " receiveTestRun(): received: RunTestEngineToProvider (31)\n",
          " StateManager::instance().testRunCount() = 1\n", " running TestRun, guid = run-1\n", " pass: 1\n",
          " Running whole on disk\n",
          " sendEvent priority = ", " createMessageBox: DiagModule::s_bGUIPromptSupported is 0\n",
          " wantThisMessage() received: MessageBoxEngineToProvider (57)\n",
          " 345 test returned result: PASS\n",
          " test done elapsed time: ", " sendFinalResult(): received: AcknowledgeEngineToProvider (16)\n"}) {
        std::size_t const found = lines.find(line, at);
        ASSERT_NE(found, std::string::npos) << line << " is not behind\n" << lines.substr(0, at);
        at = found;
    }
}

TEST_F(Engine, GetsTheTestsOfTheDevicesThatItNames)
{
    TestEngine engine;
    for (bool const takesIt : {true, false}) {
        auto outcome = start({"enum", "-e", "-x"}); // the engine wins
        engine.next<zel::ModuleStarted>();
        engine.send(zel::EnumerationReturnedEngineToClient({m_machine.state()}));
        auto const listing = engine.next<zel::EnumerationReturnedProviderToEngine>();
        auto const& state = *listing->body().state;
        EXPECT_EQ(state.deviceCount(), 2u);
        zel::TestImp const* const test = state.test("whole");
        ASSERT_NE(test, nullptr);
        ASSERT_EQ(state.deviceCountByTest(*test), 1u);
        EXPECT_EQ(state.deviceByTestAtIndex(*test, 0)->name(), zel::String("disk"));
        if (takesIt)
            engine.send(zel::AcknowledgeEngineToProvider());
        else
            engine.disconnect();
        Outcome const end = outcome.get();
        EXPECT_EQ(end.status, takesIt ? 0 : kCannotRun) << end.err;
        EXPECT_EQ(end.out, "");
    }
}

TEST_F(Engine, StopsARun)
{
    TestEngine engine;
    auto outcome = startRun(engine, m_machine.run("obedient"));
    engine.next(What::PercentDone);
    engine.send(zel::StopTestEngineToProvider());
    EXPECT_EQ(takeResult(engine), zel::TestResultImp::USERABORTED());
    EXPECT_EQ(outcome.get().status, kUserAborted);

    outcome = startRun(engine, m_machine.run("whole"));
    takeQuestion(engine);
    engine.send(zel::StopTestEngineToProvider());
    EXPECT_EQ(takeResult(engine), zel::TestResultImp::USERABORTED()) << "while a question stands";
    EXPECT_EQ(outcome.get().status, kUserAborted);

    outcome = start({"run", "-e"});
    engine.next<zel::ModuleStarted>();
    engine.send(zel::StopTestEngineToProvider());
    EXPECT_EQ(outcome.get().status, kUserAborted) << "while the module waits for its run";
}

TEST_F(Engine, RepeatsATestForTheTimeThatItAsksFor)
{
    TestEngine engine;
    zel::TestRunBody run = m_machine.run("passes");
    run.run->setMinTime(1);
    zel::Stopwatch const watch;
    auto outcome = startRun(engine, run);
    EXPECT_EQ(takeResult(engine), zel::TestResultImp::PASS());
    EXPECT_GE(watch.getElapsed(), 1);
    EXPECT_EQ(outcome.get().status, 0);
}

TEST_F(Engine, IsToldWhyARunCannotBeMade)
{
    zel::TestRunBody badParameter = m_machine.run("whole"), noSuchParameter = m_machine.run("whole");
    badParameter.run->restoreParameter(
        {"size", zel::ValueImp(std::uint32_t{101}), zel::ParameterSourceImp::CLIENT()});
    noSuchParameter.run->restoreParameter(
        {"sise", zel::ValueImp(std::uint32_t{1}), zel::ParameterSourceImp::CLIENT()});
    struct Case
    {
        zel::TestRunBody run;
        std::string why;
    } const cases[] = {
        {m_machine.run("whole", Machine::Has::NoModule), "CommEngine: No Module in StateManager"},
        {m_machine.run("whole", Machine::Has::NoDevice), "CommEngine: engine returned null DeviceImp"},
        {m_machine.run("hole"), "test \"hole\", which is not known"},
        {badParameter, "parameter \"size\""},
        {noSuchParameter, "the test has no parameter \"sise\""},
    };
    TestEngine engine;
    for (Case const& one : cases) {
        auto outcome = startRun(engine, one.run);
        EXPECT_TRUE(holds(engine.next<zel::InternalErrorProviderToEngine>()->body().text.toUtf8(), one.why));
        Outcome const end = outcome.get();
        EXPECT_EQ(end.status, kInternalError);
        EXPECT_TRUE(holds(end.err, one.why));
    }
    auto outcome = start({"run", "-e"});
    engine.next<zel::ModuleStarted>();
    engine.disconnect();
    EXPECT_EQ(outcome.get().status, kUserAborted) << "an engine that says goodbye without a word";
}

// By whatever way a module ends, the engine reads of it what the person at a console would.
TEST_F(Engine, IsToldOfErrorsThatEndTheModule)
{
    struct Case
    {
        char const* test;
        char const* text;
    };
    TestEngine engine;
    unsigned connections = 0;
    for (Case const& one : {Case{"throws", "out of paper"}, Case{"threadThrows", "lost in a thread"},
                            Case{"exits", "ended the process"}, Case{"crashes", "SIGSEGV"}}) {
        auto outcome = startRun(engine, m_machine.run(one.test));
        auto const error = engine.next<zel::InternalErrorProviderToEngine>();
        EXPECT_TRUE(holds(error->body().text.toUtf8() + outcome.get().err, one.text)) << one.test;
        EXPECT_EQ(error->body().run, zel::String("run-1")) << one.test;
        EXPECT_TRUE(engine.hasLost(++connections)) << one.test;
    }
    EXPECT_EQ(module("engaged", {"run", "-e", "-nonsense"}).status, kInternalError);
}

TEST_F(Engine, AnswersAQuestionWhileOtherThreadsGoOn)
{
    TestEngine engine;
    auto outcome = startRun(engine, m_machine.run("asksMeanwhile"));
    zel::MessageBoxBody question;
    bool hasQuestion = false, hasReport = false, hasRequest = false;
    while (
        !(hasQuestion && hasReport && hasRequest)) { // all of it comes before the answer, in whatever order
        auto const message = engine.next();
        ASSERT_NE(message, nullptr) << hasQuestion << hasReport << hasRequest;
        if (auto const* box = dynamic_cast<zel::MessageBoxProviderToEngine const*>(message.get())) {
            question = box->body();
            hasQuestion = true;
        }
        if (auto const* report = dynamic_cast<zel::TestProgressProviderToEngine const*>(message.get()))
            hasReport |= report->body().percent == 77;
        hasRequest |= message->typeCode() == zel::EnumerationMessage::kTypeCode;
    }
    engine.send(zel::InventoryTestEngineToProvider({m_machine.state()}));
    EXPECT_TRUE(has(events(engine), "state")) << "an exchange does not wait for the question";
    answer(engine, question, MsgBoxReturn::NO);
    EXPECT_EQ(takeResult(engine), zel::TestResultImp::PASS());
    EXPECT_EQ(outcome.get().status, 0);

    outcome = startRun(engine, m_machine.run("asksTwice"));
    zel::MessageBoxBody const first = takeQuestion(engine), second = takeQuestion(engine);
    EXPECT_NE(first.id, second.id);
    answer(engine, second, MsgBoxReturn::NO);
    answer(engine, first, MsgBoxReturn::YES);
    EXPECT_EQ(takeResult(engine), zel::TestResultImp::PASS()) << "each question has its own answer";
    EXPECT_EQ(outcome.get().status, 0);
}

TEST_F(Engine, AnswersNothingThatFits)
{
    TestEngine engine;
    for (bool const isCutShort : {true, false}) {
        auto outcome = startRun(engine, m_machine.run("whole"));
        zel::MessageBoxBody const question = takeQuestion(engine);
        engine.send(
            zel::MessageBoxEngineToProvider({question.id + 1, static_cast<int>(MsgBoxReturn::YES), false}));
        engine.send(zel::MessageBoxEngineToProvider(
            {question.id, isCutShort ? static_cast<int>(MsgBoxReturn::YES) : 1234, isCutShort}));
        EXPECT_EQ(takeResult(engine), zel::TestResultImp::USERABORTED()) << "nobody answered";
        EXPECT_EQ(outcome.get().status, kUserAborted);
    }
}

TEST_F(Engine, IsNotDisturbedByChildrenOfATest)
{
    TestEngine engine;
    auto outcome = startRun(engine, m_machine.run("forks"));
    for (;;) {
        auto const message = engine.next<zel::TestProgressProviderToEngine>();
        ASSERT_NE(message->body().percent, 66) << "a child spoke";
        ASSERT_NE(message->body().what, What::Events) << "a child spoke";
        if (message->body().what == What::FinalResult || HasFailure())
            break;
    }
    engine.send(zel::AcknowledgeEngineToProvider());
    EXPECT_EQ(outcome.get().status, 0);
    EXPECT_TRUE(engine.hasLost(1)) << "while a child of the module is still there";
}

TEST_F(Engine, GetsEveryEventOfAFloodAndTheResultLast)
{
    TestEngine engine;
    auto outcome = startRun(engine, m_machine.run("floods"));
    std::size_t events = 0;
    for (;;) {
        auto const message = engine.next<zel::TestProgressProviderToEngine>();
        events += message->body().events.size();
        if (message->body().what == What::FinalResult || HasFailure())
            break;
    }
    EXPECT_EQ(events, 6000u);
    engine.send(zel::AcknowledgeEngineToProvider());
    EXPECT_EQ(outcome.get().status, 0);
    EXPECT_EQ(engine.hasLost(1), true);
    EXPECT_EQ(engine.lostBecause(), zel::String());
}

TEST_F(Engine, RunsTwoModulesAtOnce)
{
    TestEngine engine;
    auto first = startRun(engine, m_machine.run("obedient"));
    engine.next(What::PercentDone);
    auto const firstPeer = engine.peer();
    auto second = startRun(engine, m_machine.run("passes"));
    EXPECT_EQ(takeResult(engine), zel::TestResultImp::PASS());
    EXPECT_NE(engine.peer(), firstPeer);
    EXPECT_EQ(second.get().status, 0);
    EXPECT_EQ(first.wait_for(std::chrono::seconds(0)), std::future_status::timeout) << "that one goes on";
    engine.sendTo(firstPeer, zel::StopTestEngineToProvider());
    EXPECT_EQ(takeResult(engine), zel::TestResultImp::USERABORTED());
    EXPECT_EQ(first.get().status, kUserAborted);
}

TEST_F(Engine, ThatIsNotThereEndsTheModule)
{
    pid_t const gone = ::fork();
    if (gone == 0)
        ::_exit(0);
    ::waitpid(gone, nullptr, 0);
    for (std::vector<std::string> const& words : {std::vector<std::string>{"run", "-e"},
                                                  {"enum", "-e"},
                                                  {"run", "-e", "-ePid", std::to_string(gone)}}) {
        zel::Stopwatch const watch;
        Outcome const end = module("engaged", words);
        EXPECT_EQ(end.status, kCannotRun) << end.err;
        EXPECT_TRUE(holds(end.err, "Cannot connect to engine\nexit callback\n"));
        EXPECT_EQ(end.out, "");
        EXPECT_LT(watch.getElapsed(), kPromptly);
    }
}

TEST_F(Engine, ThatIsKilledEndsTheModuleWhateverItDoes)
{
    auto const run = [](TestEngine& engine, Machine& machine, char const* test) {
        engine.next<zel::ModuleStarted>();
        engine.send(zel::RunTestEngineToProvider(machine.run(test)));
    };
    struct Case
    {
        char const* when;
        std::function<void(TestEngine&, Machine&)> body;
        int status;
        char const* told;
    } const cases[] = {
        {"it is asked for a run", [](TestEngine& engine, Machine&) { engine.next<zel::ModuleStarted>(); },
         kUserAborted, "exit callback"},
        {"a test runs",
         [&](TestEngine& engine, Machine& machine) {
             run(engine, machine, "obedient");
             engine.next(What::PercentDone);
         },
         kUserAborted, "exit callback"},
        {"a question stands",
         [&](TestEngine& engine, Machine& machine) {
             run(engine, machine, "whole");
             takeQuestion(engine);
         },
         kUserAborted, "exit callback"},
        {"a test runs that asks for no stop",
         [&](TestEngine& engine, Machine& machine) {
             run(engine, machine, "stubborn");
             engine.next(What::PercentDone);
         },
         kUserAborted, "the module did not end within 1 seconds"},
        {"it has the result and has not said so",
         [&](TestEngine& engine, Machine& machine) {
             run(engine, machine, "passes");
             engine.next(What::FinalResult);
         },
         kUserAborted, "exit callback"},
    };
    for (Case const& one : cases) {
        EngineProcess const engine(one.body);
        zel::Stopwatch const watch;
        Outcome const end = runWith(engine);
        EXPECT_EQ(end.status, one.status) << one.when << ": " << end.err;
        EXPECT_TRUE(holds(end.err, one.told)) << one.when;
        EXPECT_EQ(end.out, "") << one.when;
        EXPECT_LT(watch.getElapsed(), kPromptly) << one.when;
    }
    TestEngine const next; // an engine removes what dead ones have left
}

TEST_F(Engine, ThatIsKilledAsTheModuleLogsInEndsIt)
{
    auto const waitForTheEnd = [](TestEngine&, Machine&) {
        for (;;)
            ::pause();
    };
    EngineProcess const engine(waitForTheEnd, [](std::int64_t) { return ::kill(::getpid(), SIGKILL) == 0; });
    zel::Stopwatch const watch;
    Outcome const end = runWith(engine);
    EXPECT_TRUE(end.status == kCannotRun || end.status == kUserAborted) << end.status;
    EXPECT_LT(watch.getElapsed(), kPromptly);
}

struct EngineOfInventory : test::ModuleFolder
{
    EngineOfInventory() : ModuleFolder(INVENTORYING_MODULE) {}
};

TEST_F(EngineOfInventory, GetsTheVersionAndTheListing)
{
    TestEngine engine;
    Machine machine;
    for (bool const takesIt : {true, false}) {
        auto outcome = std::async(std::launch::async, [this] {
            return module("inventorying", {"enum", "-e"});
        });
        EXPECT_EQ(engine.next<zel::ModuleStarted>()->body().type, zel::ModuleTypeImp::SYSINFO().toString());
        engine.send(zel::EnumerationReturnedEngineToClient({machine.state()}));
        EXPECT_EQ(engine.next<zel::VersionProviderToEngine>()->body().guid, zel::String("inventorying"));
        auto const listing = engine.next<zel::EnumerationReturnedProviderToEngine>();
        EXPECT_GT(listing->body().state->deviceCount(), machine.state()->deviceCount())
            << "its own are there too";
        if (takesIt)
            engine.send(zel::AcknowledgeEngineToProvider());
        else
            engine.disconnect();
        Outcome const end = outcome.get();
        EXPECT_EQ(end.status, takesIt ? 0 : kUserAborted) << end.err;
    }
}

} // namespace
