// A module for runs under an engine: each test is one conversation with it.
#include <krel5/krel5.h>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

using namespace krel5;

static Event* s_note = nullptr;
static LocalizedString* s_text = nullptr;
static Parameter* s_size = nullptr;

static void say(char const* what, KrelString const& value)
{
    s_note->setVariable("what", Value(what));
    s_note->setVariable("value", Value(value));
    DiagModule::informative(s_note, "engaged.cpp", 1);
}

static void say(char const* what, unsigned number) { say(what, KrelString(std::to_string(number))); }

static MsgBoxReturn ask()
{
    return DiagModule::createMessageBox(MsgBoxType::YESNO, "Cable", "Is the cable in?",
                                        MsgBoxOption::DEFAULTFIRST, LookAndFeel::QUESTION);
}

// Everything that a run can say.
static TestResult whole(DiagDevice const& device)
{
    DiagModule::percentDone(10);
    say("device", device.name());
    say("size", s_size->value().toString());
    say("optional", DiagModule::optionalDeviceCount());
    say("pass", DiagModule::getCurrentPass());
    DiagModule::estimatedTimeLeft(7);
    DiagModule::progress(s_text);
    DiagModule::setTimeOut(9);
    say("time-out", DiagModule::getTimeOut());
    DiagModule::clearTimeOut();
    if (ask() != MsgBoxReturn::YES)
        return TestResult::NOCABLE();
    DiagModule::warning(s_note, "engaged.cpp", 2);
    return TestResult::PASS();
}

// While the question stands, another thread reports and asks for the engine's state.
static TestResult asksMeanwhile(DiagDevice const&)
{
    std::thread working([] {
        DiagModule::percentDone(77);
        auto const* const state = DiagModule::getCurrentStateManagerFromEngine(true);
        say("state", state ? "came" : "none");
    });
    MsgBoxReturn const answer = ask();
    working.join();
    return answer == MsgBoxReturn::NO ? TestResult::PASS() : TestResult::FAIL();
}

// Two questions at once, whose answers come in the other order.
static TestResult asksTwice(DiagDevice const&)
{
    MsgBoxReturn first = MsgBoxReturn::CANCEL;
    std::thread other([&] { first = ask(); });
    MsgBoxReturn const second = ask();
    other.join();
    return first != second ? TestResult::PASS() : TestResult::FAIL();
}

static TestResult obedient(DiagDevice const&)
{
    DiagModule::percentDone(1);
    while (!DiagModule::checkForStop())
        usleep(1000);
    return TestResult::PASS(); // wrong of it: the run was stopped
}

static TestResult stubborn(DiagDevice const&)
{
    DiagModule::percentDone(1);
    for (;;)
        usleep(1000);
}

static TestResult passes(DiagDevice const&) { return TestResult::PASS(); }
static TestResult throws(DiagDevice const&) { throw std::runtime_error("out of paper"); }
static TestResult exits(DiagDevice const&) { std::exit(0); }

__attribute__((noinline, no_sanitize("undefined"))) static void writeThrough(int volatile* where)
{
    *where = 1;
}
static TestResult crashes(DiagDevice const&)
{
    writeThrough(nullptr);
    return TestResult::PASS();
}
static TestResult threadThrows(DiagDevice const&)
{
    std::thread([] { throw std::runtime_error("lost in a thread"); }).join();
    return TestResult::PASS();
}

// Children that behave as if the link were theirs, and one that outlives the module.
static TestResult forks(DiagDevice const&)
{
    DiagModule::percentDone(20);
    for (bool const exits : {true, false}) {
        pid_t const child = fork();
        if (child == 0) {
            DiagModule::percentDone(66);
            s_note->setVariable("what", Value("child"));
            DiagModule::informative(s_note, "engaged.cpp", 3);
            if (exits)
                std::exit(0);
            _exit(0);
        }
        int status = 0;
        waitpid(child, &status, 0);
    }
    if (fork() == 0) {
        ::close(1);
        ::close(2);
        usleep(3'000'000);
        _exit(0);
    }
    DiagModule::percentDone(90);
    return TestResult::PASS();
}

static TestResult floods(DiagDevice const&)
{
    std::thread reporters[3];
    for (std::thread& one : reporters)
        one = std::thread([] {
            for (unsigned i = 0; i < 2000 && !DiagModule::checkForStop(); ++i) {
                DiagModule::estimatedTimeLeft(i);
                DiagModule::progress(s_text);
                DiagModule::informative(s_note, "engaged.cpp", 4);
            }
        });
    for (std::thread& one : reporters)
        one.join();
    return TestResult::PASS();
}

static void goodbye() { std::fputs("exit callback\n", stderr); }

int main(int argc, char** argv)
{
    DiagModule::setCmdLineArgs(argc, argv);
    DiagModule::setVersion(4, 2, "1");
    DiagModule::setModuleExitCallback(goodbye);
    s_note = DiagModule::createEvent("note");
    s_text = DiagModule::createLocalizedString("Text.looking", "looking around");
    s_size = DiagModule::createParameter("size", DataType::UINT32(), "10", false, false, "1..100");
    auto const drive = DeviceCapability::HardDrive();
    DiagModule::createTest("whole", drive, whole)
        ->addParameter(s_size)
        ->addOptionalDeviceCapabilities(DeviceCapability::Memory());
    DiagModule::createTest("asksMeanwhile", drive, asksMeanwhile)->setInteractive(true);
    DiagModule::createTest("asksTwice", drive, asksTwice)->setInteractive(true);
    DiagModule::createTest("obedient", drive, obedient);
    DiagModule::createTest("stubborn", drive, stubborn)->setMinShutdownSeconds(1);
    DiagModule::createTest("passes", drive, passes);
    DiagModule::createTest("throws", drive, throws);
    DiagModule::createTest("exits", drive, exits);
    DiagModule::createTest("crashes", drive, crashes);
    DiagModule::createTest("threadThrows", drive, threadThrows);
    DiagModule::createTest("forks", drive, forks);
    DiagModule::createTest("floods", drive, floods);
    return DiagModule::start();
}
