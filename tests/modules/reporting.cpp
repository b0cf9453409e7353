// A module that reports through DiagHost as the shipped ones do; repeating.sh and unlisted.sh run it.
// "later" finds a fault in its third pass. "unlisted" finds two whose events main has forgotten.

#include <common/DiagHost.h>

#include <krel5/DeviceCapability.h>
#include <krel5/DiagModule.h>
#include <krel5/Test.h>
#include <krel5/TestResult.h>

namespace {

using namespace krel5;
using namespace krel5::modules;

constexpr EventKey kEvents[] = {EventKey("Seed"), EventKey("Alive"), EventKey("Found"), EventKey("Done")};
constexpr EventKey kSeed = kEvents[0], kAlive = kEvents[1], kFound = kEvents[2], kDone = kEvents[3];
constexpr EventKey kForgotten("Forgotten"), kForgottenWithoutText("ForgottenWithoutText");

DiagHost s_host;

TestResult findsAFaultLater(DiagDevice const&)
{
    static int s_pass = 0;
    ++s_pass;
    return s_host.run([](TestHost& host) {
        std::string const pass = std::to_string(s_pass);
        host.note({kSeed, {{"Pass", pass}}});
        host.signOfLife({kAlive, {{"Pass", pass}}});
        if (s_pass == 3)
            host.fault({kFound, {{"Pass", pass}}});
        host.note({kDone, {{"Pass", pass}}});
        return s_pass == 3 ? Outcome::Fail : Outcome::Pass;
    });
}

TestResult findsFaultsOfNoList(DiagDevice const&)
{
    return s_host.run([](TestHost& host) {
        host.fault({kForgotten, {{"Part", "fan"}}});
        host.fault({kForgottenWithoutText, {{"Part", "fan"}}});
        return Outcome::Fail;
    });
}

void createReportingTest(char const* key, Test::Callback callback)
{
    DiagModule::createTest(key, DeviceCapability::CPU(), callback)
        ->setDestructive(false)
        ->setSupportsParallelTesting(false)
        ->setEnumeratesOnlyOnce(true);
}

} // namespace

int main(int argc, char** argv)
{
    DiagModule::setCmdLineArgs(argc, argv);
    DiagModule::setVersion(1, 0, "1");
    s_host.createEvents(kEvents);
    createReportingTest("later", findsAFaultLater);
    createReportingTest("unlisted", findsFaultsOfNoList);
    return DiagModule::start();
}
