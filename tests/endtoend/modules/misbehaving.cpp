// A module whose tests each behave, or misbehave, in one known way. The name by which the program is called
// chooses a wrong set-up instead: "noversion", "nocommandline", "badinit", "hoards", "doubleinit", "uncaught",
// "early", "twice", "nokey", "argumentstwice", "otherkind"; or a callback that picks the tests itself: "chooses", "choosesone" for one device only, "asksandchooses" by what the engine answers, "hesitates" for
// ever, "choosesandcrashes", and "stopped", where a stop comes meanwhile.
#include <krel5/krel5.h>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <stdexcept>
#include <string_view>
#include <sys/resource.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

using namespace krel5;

static Event* s_broken = nullptr;
static Event* s_note = nullptr;
static LocalizedString* s_text = nullptr;
static Parameter* s_count = nullptr;

static TestResult pass(DiagDevice const&)
{
    DiagModule::percentDone(50);
    return TestResult::PASS();
}

static TestResult const& fail(DiagDevice const&)
{
    s_broken->setVariable("part", Value("fan"));
    DiagModule::error(s_broken, "fail.cpp", 17);
    return TestResult::FAIL();
}

static TestResult lenient(DiagDevice const& device)
{
    fail(device);
    DiagModule::percentDone(100);
    DiagModule::informative(s_note, "lenient.cpp", 1);
    return TestResult::PASS();
}

static TestResult events(DiagDevice const& device)
{
    s_broken->setVariable("part", device.name());
    DiagModule::warning(s_broken, "events.cpp", 3);
    DiagModule::informative(s_note, "events.cpp", 4);
    DiagModule::progress(s_note);
    DiagModule::progress(s_text);
    DiagModule::estimatedTimeLeft(7);
    return TestResult::PASS();
}

static TestResult throwLibrary(DiagDevice const& device)
{
    device.getProperty(1000000);
    return TestResult::PASS();
}

static TestResult throwStandard(DiagDevice const&)
{
    throw std::runtime_error("what went wrong\nin \033[31m<red>");
}
static TestResult throwNumber(DiagDevice const&) { throw 42; }

__attribute__((noinline, no_sanitize("undefined"))) static void writeThroughNothing(int volatile* where)
{
    *where = 1;
}

static TestResult crash(DiagDevice const&)
{
    writeThroughNothing(nullptr);
    return TestResult::PASS();
}

static TestResult abortProcess(DiagDevice const&) { std::abort(); }

static TestResult exitZero(DiagDevice const&) { std::exit(0); }
static TestResult quickExitZero(DiagDevice const&) { std::quick_exit(0); }

// The thread sanitizer loses a signal that comes while its thread waits for the very first time.
static void firstWait() { usleep(1); }

static TestResult waitForStop(DiagDevice const&)
{
    firstWait();
    DiagModule::percentDone(1);
    while (!DiagModule::checkForStop())
        usleep(1000);
    return TestResult::PASS(); // wrong of it: the run was stopped
}

static TestResult ignoreStop(DiagDevice const&)
{
    firstWait();
    DiagModule::percentDone(1);
    for (;;)
        usleep(1000); // not pause: the thread sanitizer hands signals over only as a call begins or ends
}

static TestResult requestAbort(DiagDevice const&)
{
    DiagModule::requestAbort();
    return TestResult::PASS();
}

static TestResult lateSetUp(DiagDevice const&)
{
    auto const refused = [](auto call) {
        try {
            call();
            return false;
        } catch (InvalidInitException const& e) {
            std::puts(e.toString().getUTF8Buffer());
            return true;
        }
    };
    bool const all = refused([] { DiagModule::setVersion(2, 0, "2"); }) &&
                     refused([] { DiagModule::setModuleExitCallback(nullptr); }) &&
                     refused([] { DiagModule::createTest("late", DeviceCapability::Memory(), pass); }) &&
                     refused([] { DiagModule::createEvent("late"); });
    return all ? TestResult::PASS() : TestResult::FAIL();
}

static TestResult flood(DiagDevice const&)
{
    std::thread reporters[4];
    for (std::thread& one : reporters)
        one = std::thread([] {
            for (int i = 0; i <= 1000 && !DiagModule::checkForStop(); ++i) {
                DiagModule::percentDone(i % 101);
                DiagModule::estimatedTimeLeft(1);
                DiagModule::informative(s_note, "flood.cpp", i);
                DiagModule::progress(s_text);
            }
        });
    for (std::thread& one : reporters)
        one.join();
    for (int i = 0; i < 10000; ++i)
        DiagModule::informative(s_note, "flood.cpp", i);
    return TestResult::PASS();
}

// Leaves a thread behind that goes on reporting until the process is gone.
static TestResult late(DiagDevice const&)
{
    static std::atomic<bool> s_hasReported{false};
    std::thread([] {
        for (;;) {
            DiagModule::percentDone(50);
            DiagModule::informative(s_note, "late.cpp", 1);
            s_hasReported = true;
            std::this_thread::yield();
        }
    }).detach();
    while (!s_hasReported)
        std::this_thread::yield();
    return TestResult::PASS();
}

static TestResult ask(DiagDevice const&)
{
    MsgBoxReturn const answer = DiagModule::createMessageBox(
        MsgBoxType::YESNO, "Cable", "Is the cable in?", MsgBoxOption::DEFAULTSECOND, LookAndFeel::WARNING);
    return answer == MsgBoxReturn::YES ? TestResult::PASS() : TestResult::NOCABLE();
}

// A stop comes while the question stands.
static TestResult askStopped(DiagDevice const& device)
{
    std::raise(SIGINT);
    ask(device);
    DiagModule::error(s_broken, "askStopped.cpp", 1); // made of an answer that nobody gave
    return ask(device);
}

static TestResult deepThread(DiagDevice const&)
{
    struct Deep
    {
        static int fall(int depth)
        {
            char volatile room[512] = {};
            return depth == -1 ? 0 : fall(depth + 1) + room[static_cast<unsigned>(depth) % sizeof room];
        }
    };
    std::thread([] {
        DiagModule::checkForStop();
        Deep::fall(0);
    }).join();
    return TestResult::PASS();
}

static TestResult parameter(DiagDevice const&)
{
    std::printf("count = %s\n", s_count->value().toString().getUTF8Buffer());
    return TestResult::PASS();
}

// As when exec failed in a child: its status is its own.
static TestResult child(DiagDevice const&)
{
    pid_t const id = fork();
    if (id == 0)
        std::exit(7);
    int status = 0;
    waitpid(id, &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) == 7 ? TestResult::PASS() : TestResult::FAIL();
}

static TestResult childThrows(DiagDevice const&)
{
    pid_t const id = fork();
    if (id == 0)
        throw 42;
    int status = 0;
    waitpid(id, &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) == 22 ? TestResult::PASS() : TestResult::FAIL();
}

// A child that goes on with what is the parent's.
static TestResult childReturns(DiagDevice const&)
{
    pid_t const id = fork();
    int status = 0;
    if (id != 0)
        waitpid(id, &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) == (id == 0 ? 0 : 22) ? TestResult::PASS()
                                                                          : TestResult::FAIL();
}

static TestResult nested(DiagDevice const&)
{
    try {
        return DiagModule::runTest();
    } catch (KrelException const& e) {
        std::puts(e.toString().getUTF8Buffer());
        return TestResult::FAIL();
    }
}

static TestResult quit(DiagDevice const&) { return TestResult::SKIPPED(); }

static void init() { throw std::runtime_error("no hardware key"); }
static void hoard()
{
    rlimit const few{64, 64};
    setrlimit(RLIMIT_NOFILE, &few);
    while (open("/dev/null", O_RDONLY) >= 0) {
    }
}
static void createTwice() { DiagModule::createEvent("broken"); }

static void goodbye() { std::fputs("exit callback\n", stderr); }

static std::vector<Test*> s_chosen;
static void choose(DiagDevice& device)
{
    for (Test* const test : s_chosen)
        device.addTest(test);
}
static void choosesOne(DiagDevice& device) // of all devices that it is asked about
{
    static bool s_hasOne = false;
    if (!s_hasOne)
        device.addTest(s_chosen[0]);
    s_hasOne = true;
}
static void asksAndChooses(DiagDevice& device) // nothing, without an answer
{
    KrelString response;
    if (DiagModule::getCurrentStateManagerFromEngine(false) &&
        !IndicatorModule::httpGetRequest("http://127.0.0.1/", response, "") && *response.getUTF8Buffer() != 0)
        choose(device);
}
static void hesitate(DiagDevice&)
{
    for (;;)
        ::pause();
}
static void chooseAndCrash(DiagDevice& device)
{
    choose(device);
    std::abort();
}
static void chooseAndStop(DiagDevice& device)
{
    choose(device);
    std::raise(SIGINT);
}

static void createTests()
{
    auto const memory = DeviceCapability::Memory();
    s_chosen = {DiagModule::createTest("pass", memory, pass), DiagModule::createTest("fail", memory, fail)};
    DiagModule::createTest("events", memory, events);
    DiagModule::createTest("throwLibrary", memory, throwLibrary);
    DiagModule::createTest("throwStandard", memory, throwStandard);
    DiagModule::createTest("throwNumber", memory, throwNumber);
    DiagModule::createTest("crash", memory, crash);
    DiagModule::createTest("abort", memory, abortProcess);
    DiagModule::createTest("exitZero", memory, exitZero);
    DiagModule::createTest("waitForStop", memory, waitForStop);
    DiagModule::createTest("ignoreStop", memory, ignoreStop);
    DiagModule::createTest("requestAbort", memory, requestAbort);
    DiagModule::createTest("lateSetUp", memory, lateSetUp);
    DiagModule::createTest("flood", memory, flood);
    DiagModule::createTest("late", memory, late);
    DiagModule::createTest("ask", memory, ask)->setInteractive(true);
    DiagModule::createTest("parameter", memory, parameter)->addParameter(s_count);
    DiagModule::createTest("quit", memory, quit);
    DiagModule::createTest("noSuchDevice", DeviceCapability::TapeDrive(), pass);
    DiagModule::createTest("child", memory, child);
    DiagModule::createTest("nested", memory, nested);
    DiagModule::createTest("askStopped", memory, askStopped)->setInteractive(true);
    DiagModule::createTest("deepThread", memory, deepThread);
    DiagModule::createTest("childThrows", memory, childThrows);
    DiagModule::createTest("quickExitZero", memory, quickExitZero);
    DiagModule::createTest("mistyped", DeviceCapability("Memroy"), pass);
    DiagModule::createTest("lenient", memory, lenient);
    DiagModule::createTest("childReturns", memory, childReturns);
}

int main(int argc, char** argv)
{
    std::string_view name = argc > 0 ? argv[0] : "";
    name.remove_prefix(name.rfind('/') + 1);
    if (name == "early")
        DiagModule::createEvent("two words");
    DiagModule::setModuleExitCallback(goodbye);
    if (name != "nocommandline")
        DiagModule::setCmdLineArgs(argc, argv);
    if (name == "argumentstwice")
        DiagModule::setCmdLineArgs(argc, argv);
    if (name == "nokey")
        DiagModule::createEvent("");
    if (name != "noversion")
        DiagModule::setVersion(1, 2, "3");
    if (name == "badinit")
        DiagModule::setModuleInitCallback(init);
    if (name == "hoards")
        DiagModule::setModuleInitCallback(hoard);
    if (name == "doubleinit")
        DiagModule::setModuleInitCallback(createTwice);
    if (name == "chooses")
        DiagModule::setEnumTestsCallback(choose);
    if (name == "choosesone")
        DiagModule::setEnumTestsCallback(choosesOne);
    if (name == "asksandchooses")
        DiagModule::setEnumTestsCallback(asksAndChooses);
    if (name == "hesitates")
        DiagModule::setEnumTestsCallback(hesitate);
    if (name == "choosesandcrashes")
        DiagModule::setEnumTestsCallback(chooseAndCrash);
    if (name == "stopped")
        DiagModule::setEnumTestsCallback(chooseAndStop);
    s_broken = DiagModule::createEvent("broken");
    s_note = DiagModule::createEvent("note");
    s_text = DiagModule::createLocalizedString("Text.looking", "looking around");
    s_count = DiagModule::createParameter("count", DataType::UINT32(), "10", false, false, "1..100");
    createTests();
    if (name == "uncaught")
        createTests();
    if (name == "twice")
        DiagModule::start();
    return name == "otherkind" ? SysInfoModule::start() : DiagModule::start();
}
