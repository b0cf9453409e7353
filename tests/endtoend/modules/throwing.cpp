// A module whose callbacks beside the tests throw, each what its name says: called "observed", an observer of the
// reports does so on each notification; called "standard", "library" or "number", the exit callback does.
#include <krel5/krel5.h>

#include <cstdio>
#include <stdexcept>
#include <string_view>

using namespace krel5;

struct Angry : TestObserver
{
    void onPercentDone(int) override { throw std::runtime_error("no percentages"); }
    void onProgress(KrelString const&) override { throw KrelException("no texts"); }
    void onEvent(KrelString const&, KrelString const&, KrelString const&) override { throw 42; }
    void onResult(Test const&, TestResult const&) override { throw std::runtime_error("no results"); }
};

struct Calm : TestObserver
{
    void onPercentDone(int percent) override { std::printf("observed %d\n", percent); }
    void onProgress(KrelString const&) override { std::puts("observed a text"); }
    void onEvent(KrelString const&, KrelString const&, KrelString const&) override
    {
        std::puts("observed an event");
    }
    void onResult(Test const&, TestResult const& result) override
    {
        std::printf("observed %s\n", result.toString().getUTF8Buffer());
    }
};

static Event* s_note = nullptr;
static LocalizedString* s_text = nullptr;

static TestResult report(DiagDevice const&)
{
    DiagModule::informative(s_note, "throwing.cpp", 1);
    DiagModule::progress(s_text);
    return TestResult::PASS();
}

static TestResult fail(DiagDevice const&) { return TestResult::FAIL(); }

static std::string_view s_name;
static void throwByName()
{
    if (s_name == "standard")
        throw std::runtime_error("the fan would not stop");
    if (s_name == "library")
        throw KrelException("the lamp is still on");
    if (s_name == "number")
        throw 42;
}

int main(int argc, char** argv)
{
    static Angry s_angry;
    static Calm s_calm;
    s_name = argc > 0 ? argv[0] : "";
    DiagModule::setCmdLineArgs(argc, argv);
    DiagModule::setVersion(1, 0, "1");
    DiagModule::setModuleExitCallback(throwByName);
    s_note = DiagModule::createEvent("note");
    s_text = DiagModule::createLocalizedString("Text.looking", "looking around\n");
    DiagModule::createTest("report", DeviceCapability::Memory(), report);
    DiagModule::createTest("fail", DeviceCapability::Memory(), fail);
    if (s_name == "observed") {
        DiagModule::registerObserver(&s_angry);
        DiagModule::registerObserver(&s_calm);
    }
    return DiagModule::start();
}
