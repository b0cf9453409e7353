// The smallest diagnostic module: one test of the machine's memory.
#include <krel5/DeviceCapability.h>
#include <krel5/DiagDevice.h>
#include <krel5/DiagModule.h>
#include <krel5/Test.h>
#include <krel5/TestResult.h>

#include <vector>

using namespace krel5;

static TestResult patternTest(DiagDevice const&)
{
    std::vector<unsigned> block(1u << 20);
    for (int percent = 0; percent <= 100; percent += 10) {
        if (DiagModule::checkForStop())
            return TestResult::USERABORTED();
        for (unsigned& word : block)
            word = 0x55555555u;
        for (unsigned const word : block)
            if (word != 0x55555555u)
                return TestResult::FAIL();
        DiagModule::percentDone(percent);
    }
    return TestResult::PASS();
}

int main(int argc, char** argv)
{
    DiagModule::setCmdLineArgs(argc, argv);
    DiagModule::setVersion(1, 0, "1");
    DiagModule::createTest("pattern", DeviceCapability::Memory(), patternTest)
        ->setDestructive(false)
        ->setSupportsParallelTesting(true);
    return DiagModule::start();
}
