// A module whose test finds a fault in its third pass; repeating.sh runs it.

#include <common/DiagHost.h>

#include <krel5/DeviceCapability.h>
#include <krel5/DiagModule.h>
#include <krel5/Test.h>
#include <krel5/TestResult.h>

namespace {

using namespace krel5;
using namespace krel5::modules;

DiagHost s_host;

TestResult findsAFaultLater(DiagDevice const&)
{
    static int s_pass = 0;
    ++s_pass;
    return s_host.run([](TestHost& host) {
        std::string const pass = std::to_string(s_pass);
        host.note({"Seed", {{"Pass", pass}}});
        host.signOfLife({"Alive", {{"Pass", pass}}});
        if (s_pass == 3)
            host.fault({"Found", {{"Pass", pass}}});
        host.note({"Done", {{"Pass", pass}}});
        return s_pass == 3 ? Outcome::Fail : Outcome::Pass;
    });
}

} // namespace

int main(int argc, char** argv)
{
    DiagModule::setCmdLineArgs(argc, argv);
    DiagModule::setVersion(1, 0, "1");
    s_host.createEvents({"Seed", "Alive", "Found", "Done"});
    DiagModule::createTest("later", DeviceCapability::CPU(), findsAFaultLater)
        ->setDestructive(false)
        ->setSupportsParallelTesting(false)
        ->setEnumeratesOnlyOnce(true);
    return DiagModule::start();
}
