// What start() promises to the other end of the connection, and to the facade, whatever the module does.
#include <foundation/ChildProcess.h>
#include <foundation/TemporaryFolder.h>

#include <libKrel5/internal/backends/console/CommStandAlone.h>
#include <libKrel5/internal/module/CommandLine.h>
#include <libKrel5/internal/module/ErrorReporting.h>
#include <libKrel5/internal/module/ModuleCommon.h>

#include <krel5/InvalidInitException.h>
#include <krel5/krel5.h>

#include <zel/model/runs/TestRunManager.h>
#include <zel/model/state/StateManager.h>

#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>

using namespace krel5;

namespace {

void tell(char const* what)
{
    std::printf("* %s\n", what);
    std::fflush(stdout);
}

/// The lines that tell() wrote, in order.
std::string story(std::string const& output)
{
    std::string all, line;
    for (std::istringstream lines(output); std::getline(lines, line);)
        if (line.starts_with("* "))
            all += (all.empty() ? "" : ", ") + line.substr(2);
    return all;
}

zel::DeviceImp& memory()
{
    SysInfoDevice* const made = SysInfoDevice::createGeneric(
        DeviceCapability::Memory(), DeviceCapability::Memory(), "Memory", "", "", "");
    zel::StateManager& manager = zel::StateManager::instance();
    manager.addDevice(made->imp(), nullptr);
    return *manager.device(made->imp().guid());
}

/// The other end, as an engine would be: it sends the device with the run.
class Engine : public CommInterface
{
public:
    bool openConnection() override
    {
        tell("open");
        return true;
    }
    bool closeConnection() override
    {
        tell("close");
        return true;
    }
    void receiveDevices() override { memory(); }
    bool receiveTestRun() override
    {
        zel::StateManager& manager = zel::StateManager::instance();
        zel::TestRunManager::instance().addTestRun(zel::TestRunImp(manager.testAtIndex(0), &memory()));
        return true;
    }
    void sendFinalResult() override { tell("result"); }
    bool isStandAlone() const override { return false; }
};

struct Unreachable : Engine
{
    bool openConnection() override { return Engine::openConnection() && false; }
};

struct Breaking : Engine
{
    bool receiveTestRun() override { throw std::runtime_error("the line broke"); }
};

struct UnwillingToClose : Engine
{
    bool closeConnection() override
    {
        Engine::closeConnection();
        throw std::runtime_error("the line broke");
    }
};

/// A person at a console who asks for what no device has.
struct Console : CommStandAlone
{
    bool openConnection() override
    {
        tell("open");
        return true;
    }
    bool closeConnection() override
    {
        tell("close");
        return true;
    }
    void receiveDevices() override {}
};

template <typename Backend>
std::unique_ptr<CommInterface> make()
{
    return std::make_unique<Backend>();
}

TestResult passes(DiagDevice const&) { return TestResult::PASS(); }
TestResult throwsOurs(DiagDevice const&) { throw KrelException("out of paper"); }
TestResult throwsNumber(DiagDevice const&) { throw 42; }
TestResult postsItself(DiagDevice const&)
{
    ErrorReporting::post(KrelException("no way back")); // ends the process where it stands
    return TestResult::PASS();
}
void refusesDevices(DiagDevice&) { throw std::runtime_error("no"); }

TEST(Start, theConnectionIsClosedOnceOnEveryWayOutAndBeforeTheExitCallback)
{
    if (::geteuid() != 0)
        GTEST_SKIP() << "actions run as root only";
    int const internalError = TestResult::INTERNALERROR().value();
    struct Case
    {
        char const* action;
        krel5::Test::Callback test;
        std::unique_ptr<CommInterface> (*backend)();
        std::string story;
        int status;
    } const cases[] = {
        {"run", passes, make<Engine>, "open, result, close, exit callback", TestResult::PASS().value()},
        {"run", throwsOurs, make<Engine>, "open, close, exit callback", internalError},
        {"run", throwsNumber, make<Engine>, "open, close, exit callback", internalError},
        {"run", postsItself, make<Engine>, "open, close, exit callback", internalError},
        {"enum", passes, make<Engine>, "open, close, exit callback", internalError}, // refusesDevices
        {"run", passes, make<Breaking>, "open, close, exit callback", internalError},
        {"run", passes, make<Unreachable>, "open, exit callback", TestResult::CANNOTRUN().value()},
        {"run", passes, make<UnwillingToClose>, "open, result, close, exit callback",
         TestResult::PASS().value()},
        {"run", passes, make<Console>, "open, close", TestResult::NODEVICE().value()},
    };
    test::TemporaryFolder folder;
    std::string const logs = folder.path();
    for (Case const& one : cases) {
        auto const outcome = test::runInChild([&] {
            char const* const words[] = {"mod", one.action, "-bd", logs.c_str()};
            ModuleCommon::setComm(one.backend());
            DiagModule::setCmdLineArgs(4, words);
            DiagModule::setVersion(1, 0, "1");
            DiagModule::setModuleExitCallback([] { tell("exit callback"); });
            DiagModule::setEnumTestsCallback(refusesDevices);
            DiagModule::createTest("only", DeviceCapability::Memory(), one.test);
            ::_exit(DiagModule::start());
        });
        EXPECT_EQ(story(outcome.output), one.story) << outcome.output;
        EXPECT_EQ(outcome.status, one.status) << outcome.output;
    }
}

bool s_lacksCallback = false;

void checkSetUp()
{
    tell("check");
    if (s_lacksCallback)
        throw InvalidInitException("Cannot start a module without setting the device discovery callback");
}

TEST(Start, theFacadeChecksAfterTheInitCallbackAndBeforeAnyAnswer)
{
    static Facade const s_facade{"SmallModule", Facade::Kind::SysInfo, &zel::ModuleTypeImp::SYSINFO,
                                 &ErrorReporting::internalErrorPost, &checkSetUp};
    test::TemporaryFolder folder;
    std::string const logs = folder.path();
    auto const startWith = [&](bool lacksCallback) {
        return test::runInChild([&] {
            s_lacksCallback = lacksCallback;
            char const* const words[] = {"mod", "-version", "-bd", logs.c_str()};
            ModuleCommon::setCmdLineArgs(s_facade, 4, words);
            ModuleCommon::setVersion(1, 0, "1");
            ModuleCommon::setModuleInitCallback([] { tell("init callback"); });
            ModuleCommon::setModuleExitCallback([] { tell("exit callback"); });
            ::_exit(ModuleCommon::start(s_facade, [] { return TestResult::FAIL(); }));
        });
    };
    auto const good = startWith(false);
    EXPECT_EQ(story(good.output), "init callback, check, exit callback");
    EXPECT_LT(good.output.find("* check"), good.output.find("Version: 1.0.1"));
    EXPECT_NE(good.output.find("Version: 1.0.1"), std::string::npos) << good.output;
    EXPECT_EQ(good.status, TestResult::PASS().value());

    auto const refused = startWith(true);
    EXPECT_EQ(story(refused.output), "init callback, check, exit callback");
    EXPECT_EQ(refused.output.find("Version:"), std::string::npos) << refused.output;
    EXPECT_NE(
        refused.output.find("Exception in SmallModule::start():\nCannot start a module without setting the "
                            "device discovery callback"),
        std::string::npos)
        << refused.output;
    EXPECT_EQ(refused.status, TestResult::INTERNALERROR().value());
}

TEST(Start, theEnginesProcessIsTheOneThatIsNamedIfThereCanBeSuchAOne)
{
    test::TemporaryFolder folder;
    std::string const logs = folder.path(), parent = std::to_string(::getpid());
    for (auto const& [named, expected] :
         std::vector<std::pair<std::string, std::string>>{{"", parent},
                                                          {"-1", "0"},
                                                          {"0", "0"},
                                                          {"1", "1"},
                                                          {"2147483647", "2147483647"},
                                                          {"2147483648", "0"}}) {
        std::string const& process = named; // Clang 14 captures no name of a binding
        auto const outcome = test::runInChild([&] {
            char const* const words[] = {"mod", "enum", "-bd", logs.c_str(), "-ePid", process.c_str()};
            DiagModule::setCmdLineArgs(process.empty() ? 4 : 6, words);
            tell(std::to_string(DiagModule::getEngineProcessId()).c_str());
        });
        EXPECT_EQ(story(outcome.output), expected) << named << ": " << outcome.output;
    }
}

} // namespace
