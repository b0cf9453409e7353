// The module "memory": tests of the machine's main memory.

#include <common/SeedParameter.h>
#include <common/TimedHost.h>
#include <memory/Events.h>
#include <memory/MemoryReport.h>
#include <memory/MemoryTest.h>
#include <memory/Texts.h>

#include <krel5/DataType.h>
#include <krel5/DeviceCapability.h>
#include <krel5/DiagDevice.h>
#include <krel5/DiagModule.h>
#include <krel5/Parameter.h>
#include <krel5/Test.h>
#include <krel5/TestResult.h>
#include <krel5/Value.h>

namespace {

using namespace krel5;
using namespace krel5::modules;
using namespace krel5::modules::memory;

TimedHost s_host;
Parameter* s_size = nullptr;
Parameter* s_threads = nullptr;
Parameter* s_flush = nullptr;
Parameter* s_pause = nullptr;
Parameter* s_seed = nullptr;

template <Algorithm kAlgorithm>
TestResult runTest(DiagDevice const&)
{
    return s_host.run([](TestHost& host) {
        MemorySettings settings;
        settings.m_mebibytes = s_size->value().valueUint64();
        settings.m_threads = s_threads->value().valueUint32();
        settings.m_pauseSeconds = s_pause->value().valueUint32();
        settings.m_seed = seedThatWasSet(*s_seed);
        if (!readFlushMode(host, s_flush->value().valueString().getUTF8Buffer(), settings.m_flush))
            return Outcome::BadParameters;
        return runMemoryTest(host, kAlgorithm, settings);
    });
}

Test* createMemoryTest(char const* key, Test::Callback callback)
{
    // All memory is one device to these tests; one that two of them try at once would be measured against
    // itself.
    return DiagModule::createTest(key, DeviceCapability::Memory(), callback)
        ->setDestructive(false)
        ->setSupportsParallelTesting(false)
        ->setEnumeratesOnlyOnce(true)
        ->addParameter(s_size)
        ->addParameter(s_threads)
        ->addParameter(s_flush);
}

} // namespace

int main(int argc, char** argv)
{
    DiagModule::setCmdLineArgs(argc, argv);
    DiagModule::setVersion(1, 0, "1");
    s_size = DiagModule::createParameter("SizeMiB", DataType::UINT64(), "0", false);
    s_threads = DiagModule::createParameter("Threads", DataType::UINT32(), "0", false, false, "0..1024");
    s_flush = DiagModule::createParameter("CacheFlush", DataType::STRING(), "pass", false);
    s_pause = DiagModule::createParameter("PauseSeconds", DataType::UINT32(), "60", false, false, "1..86400");
    s_seed = createSeedParameter();
    s_host.createEvents(kEvents);
    s_host.createTexts(kTexts);
    createMemoryTest("quick", runTest<Algorithm::Quick>);
    createMemoryTest("standard", runTest<Algorithm::Standard>);
    createMemoryTest("thorough", runTest<Algorithm::Thorough>);
    createMemoryTest("patterns", runTest<Algorithm::Patterns>);
    createMemoryTest("fade", runTest<Algorithm::Fade>)->addParameter(s_pause);
    createMemoryTest("random", runTest<Algorithm::Random>)->addParameter(s_seed);
    return DiagModule::start();
}
