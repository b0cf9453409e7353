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
Parameter* s_cover = nullptr;
Parameter* s_flush = nullptr;
Parameter* s_seconds = nullptr;
Parameter* s_pairTime = nullptr;
Parameter* s_judge = nullptr;
Parameter* s_pause = nullptr;
Parameter* s_seed = nullptr;

/// What all tests have. False after a problem was reported.
bool readCommonSettings(TestHost& host, MemorySettings& settings)
{
    settings.m_threads = s_threads->value().valueUint32();
    settings.m_seed = seedThatWasSet(*s_seed);
    return readSize(host, s_size->value().valueString().getUTF8Buffer(), settings);
}

template <Algorithm kAlgorithm>
TestResult runTest(DiagDevice const&)
{
    return s_host.run([](TestHost& host) {
        MemorySettings settings;
        if constexpr (kAlgorithm != Algorithm::Fade) // does not have it: a pause for each region takes hours
            settings.m_cover = s_cover->value().valueUint32();
        settings.m_pauseSeconds = s_pause->value().valueUint32();
        if (!readCommonSettings(host, settings) ||
            !readFlushMode(host, s_flush->value().valueString().getUTF8Buffer(), settings.m_flush))
            return Outcome::BadParameters;
        return runMemoryTest(host, kAlgorithm, settings);
    });
}

TestResult runBus(DiagDevice const&)
{
    return s_host.run([](TestHost& host) {
        MemorySettings settings;
        settings.m_busSeconds = s_seconds->value().valueUint32();
        return readCommonSettings(host, settings) ? runBusTest(host, settings) : Outcome::BadParameters;
    });
}

TestResult runHammer(DiagDevice const&)
{
    return s_host.run([](TestHost& host) {
        MemorySettings settings;
        settings.m_seed = seedThatWasSet(*s_seed);
        settings.m_threads = 1; // it is the rate on one bank that counts
        settings.m_busSeconds = s_seconds->value().valueUint32();
        settings.m_hammerMilliseconds = s_pairTime->value().valueUint32();
        settings.m_judgesFlips = s_judge->value().valueBool();
        return readSize(host, s_size->value().valueString().getUTF8Buffer(), settings)
                   ? runHammerTest(host, settings)
                   : Outcome::BadParameters;
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
        ->addParameter(s_size);
}

Test* createPassTest(char const* key, Test::Callback callback)
{
    return createMemoryTest(key, callback)->addParameter(s_threads)->addParameter(s_flush);
}

} // namespace

int main(int argc, char** argv)
{
    DiagModule::setCmdLineArgs(argc, argv);
    DiagModule::setVersion(1, 0, "1");
    s_size = DiagModule::createParameter("SizeMiB", DataType::STRING(), "0", false);
    s_threads = DiagModule::createParameter("Threads", DataType::UINT32(), "0", false, false, "0..1024");
    s_cover = DiagModule::createParameter("Cover", DataType::UINT32(), "0", false, false, "0..100");
    s_flush = DiagModule::createParameter("CacheFlush", DataType::STRING(), "pass", false);
    s_pause = DiagModule::createParameter("PauseSeconds", DataType::UINT32(), "60", false, false, "1..86400");
    s_seconds = DiagModule::createParameter("Seconds", DataType::UINT32(), "60", false, false, "0..604800");
    s_pairTime =
        DiagModule::createParameter("PairMilliseconds", DataType::UINT32(), "200", false, false, "1..60000");
    s_judge = DiagModule::createParameter("Judge", DataType::BOOLEAN(), "false", false);
    s_seed = createSeedParameter();
    s_host.createEvents(kEvents);
    s_host.createTexts(kTexts);
    s_host.watchEvidence({.m_tellsOfHidden = true});
    createPassTest("quick", runTest<Algorithm::Quick>)->addParameter(s_cover);
    createPassTest("standard", runTest<Algorithm::Standard>)->addParameter(s_cover);
    createPassTest("thorough", runTest<Algorithm::Thorough>)->addParameter(s_cover);
    createPassTest("patterns", runTest<Algorithm::Patterns>)->addParameter(s_cover);
    createPassTest("fade", runTest<Algorithm::Fade>)->addParameter(s_pause);
    createPassTest("random", runTest<Algorithm::Random>)->addParameter(s_cover)->addParameter(s_seed);
    createMemoryTest("bus", runBus)->addParameter(s_threads)->addParameter(s_seconds)->addParameter(s_seed);
    createMemoryTest("hammer", runHammer)
        ->addParameter(s_seconds)
        ->addParameter(s_pairTime)
        ->addParameter(s_judge)
        ->addParameter(s_seed);
    return DiagModule::start();
}
