// A module whose only test does nothing: what remains is what a run costs by itself.
#include <krel5/DeviceCapability.h>
#include <krel5/DiagDevice.h>
#include <krel5/DiagModule.h>
#include <krel5/Test.h>
#include <krel5/TestResult.h>

using namespace krel5;

static TestResult nothing(DiagDevice const&) { return TestResult::PASS(); }

int main(int argc, char** argv)
{
    DiagModule::setCmdLineArgs(argc, argv);
    DiagModule::setVersion(1, 0, "1");
    DiagModule::createTest("nothing", DeviceCapability::Memory(), nothing)->setSupportsParallelTesting(true);
    return DiagModule::start();
}
