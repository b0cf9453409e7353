// The module "cpu": tests of the processors that this process may use.

#include <common/SeedParameter.h>
#include <common/TimedHost.h>
#include <cpu/Coherence.h>
#include <cpu/CoreTest.h>
#include <cpu/Events.h>
#include <cpu/Texts.h>
#include <cpu/load/LoadTest.h>

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
using namespace krel5::modules::cpu;

TimedHost s_host;
Parameter* s_seconds = nullptr;
Parameter* s_pairs = nullptr;
Parameter* s_rounds = nullptr;
Parameter* s_patience = nullptr;
Parameter* s_seed = nullptr;
Parameter* s_loadSeconds = nullptr;

CoreTestOptions coreOptions(bool allAtOnce)
{
    CoreTestOptions options;
    options.m_seconds = s_seconds->value().valueDouble();
    options.m_seed = seedOfRun(*s_seed);
    options.m_allAtOnce = allAtOnce;
    return options;
}

template <KernelTable (*kTable)() noexcept>
TestResult eachCore(DiagDevice const&)
{
    return s_host.run(
        [](TestHost& host) { return runCoreTest(host, kTable(), systemAffinity(), coreOptions(false)); });
}

/// Every kernel there is, on all cores at the same time.
TestResult allCores(DiagDevice const&)
{
    return s_host.run([](TestHost& host) {
        std::vector<Kernel> all;
        for (KernelTable const table : {integerKernels(), floatingPointKernels(), vectorKernels()})
            all.insert(all.end(), table.begin(), table.end());
        return runCoreTest(host, all, systemAffinity(), coreOptions(true));
    });
}

TestResult load(DiagDevice const&)
{
    return s_host.run([](TestHost& host) {
        LoadOptions options;
        options.m_seconds = s_loadSeconds->value().valueDouble();
        options.m_seed = seedOfRun(*s_seed);
        return runLoadTest(host, systemAffinity(), MachineFolder("/"), options);
    });
}

TestResult coherence(DiagDevice const&)
{
    return s_host.run([](TestHost& host) {
        CoherenceOptions options;
        options.m_maxPairs = s_pairs->value().valueUint32();
        options.m_rounds = s_rounds->value().valueUint32();
        options.m_patienceSeconds = s_patience->value().valueDouble();
        return runCoherenceTest(host, systemAffinity(), options);
    });
}

Test* createCpuTest(char const* key, Test::Callback callback)
{
    // Every run takes all the cores, whichever package it was started for.
    return DiagModule::createTest(key, DeviceCapability::CPU(), callback)
        ->setDestructive(false)
        ->setSupportsParallelTesting(false)
        ->setEnumeratesOnlyOnce(true);
}

} // namespace

int main(int argc, char** argv)
{
    DiagModule::setCmdLineArgs(argc, argv);
    DiagModule::setVersion(1, 0, "1");
    s_seconds =
        DiagModule::createParameter("SecondsPerCore", DataType::DOUBLE(), "2", false, false, "0..86400");
    s_pairs = DiagModule::createParameter("MaxPairs", DataType::UINT32(), "0", false, false, "0..");
    s_rounds = DiagModule::createParameter("Rounds", DataType::UINT32(), "100000", false, false, "1..");
    s_patience =
        DiagModule::createParameter("PatienceSeconds", DataType::DOUBLE(), "10", false, false, "0.1..3600");
    s_loadSeconds =
        DiagModule::createParameter("Seconds", DataType::DOUBLE(), "60", false, false, "0.1..604800");
    s_seed = createSeedParameter();
    s_host.createEvents(kEvents);
    s_host.createTexts(kTexts);
    s_host.watchEvidence();
    createCpuTest("integer", eachCore<integerKernels>)->addParameter(s_seconds)->addParameter(s_seed);
    createCpuTest("floatingpoint", eachCore<floatingPointKernels>)
        ->addParameter(s_seconds)
        ->addParameter(s_seed);
    createCpuTest("vector", eachCore<vectorKernels>)->addParameter(s_seconds)->addParameter(s_seed);
    createCpuTest("coherence", coherence)
        ->addParameter(s_pairs)
        ->addParameter(s_rounds)
        ->addParameter(s_patience);
    createCpuTest("allcores", allCores)->addParameter(s_seconds)->addParameter(s_seed);
    createCpuTest("load", load)->addParameter(s_loadSeconds)->addParameter(s_seed);
    return DiagModule::start();
}
