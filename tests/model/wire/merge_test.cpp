// A state that was read is taken in: its runs become those of this process.
#include "../TestDevices.h"

#include <zel/model/runs/TestRunManager.h>
#include <zel/model/wire/Serializable.h>

#include <gtest/gtest.h>

using namespace zel;
using namespace zel::test;

namespace {

// What both sides know of themselves: a module with a test and an indicator.
struct Side
{
    Side()
    {
        test.addParameter(ParameterImp("loops", "1", DataTypeImp::UINT32(), "1..100", false, false));
        test.setModuleGuid("m");
        heat.setModuleGuid("m");
        state.addTest(test);
        state.addIndicator(heat);
    }

    StateManager state;
    DeviceImp& drive = state.addDevice(device("drive"), nullptr);
    TestImp test{"t", CapabilityImp::HardDrive()};
    IndicatorImp heat{"heat", CapabilityImp::HardDrive(), false};
};

} // namespace

TEST(SerializedState, givesItsRunsToTheTestsAndDevicesThatAreThere)
{
    Side engine, module;
    TestRunImp run(&engine.test, &engine.drive);
    ASSERT_FALSE(run.parameter("loops")->setValue(ValueImp(7u), ParameterSourceImp::CLIENT()));
    String const guid = engine.state.addTestRun(std::move(run)).guid();
    engine.state.associate(engine.drive, engine.test, false);
    engine.state.addIndicatorRun(IndicatorRunImp(engine.heat, &engine.drive, 5)).forceUpdate();

    {
        StateManager received;
        Serializable::deserializeUtf8(Serializable::serializeUtf8(engine.state, "StateManager"), received);
        ASSERT_EQ(received.testRunCount(), 1u);
        EXPECT_EQ(received.testRunAtIndex(0).test(), received.testAtIndex(0));
        module.state.mergeWithTracking(received);
        module.state.mergeWithTracking(received);
    }
    ASSERT_EQ(module.state.testRunCount(), 1u);
    TestRunImp const& mine = module.state.testRunAtIndex(0);
    EXPECT_EQ(mine.guid(), guid);
    EXPECT_EQ(mine.test(), &module.test);
    EXPECT_EQ(mine.device(), &module.drive);
    EXPECT_EQ(mine.parameter("loops")->value().uint32(), 7u);
    ASSERT_EQ(module.state.indicatorRunCount(), 1u);
    EXPECT_EQ(&module.state.indicatorRunAtIndex(0).indicator(), &module.heat);
    EXPECT_EQ(module.state.indicatorRunAtIndex(0).device(), &module.drive);
    EXPECT_TRUE(module.state.indicatorRunAtIndex(0).hasUpdateBeenForced());
    EXPECT_TRUE(module.state.isAssociated(module.drive, module.test));
}

TEST(SerializedState, queuesNoTestByBeingMerged)
{
    Side engine;
    engine.state.addTestRun(TestRunImp(&engine.test, &engine.drive));
    StateManager& instance = StateManager::instance();
    instance.mergeWithTracking(engine.state);
    EXPECT_EQ(instance.testRunCount(), 0u);
    EXPECT_EQ(instance.deviceCount(), 1u);

    TestRunManager::instance().addTestRun(TestRunImp(instance.testAtIndex(0), instance.deviceAtIndex(0)));
    StateManager seen;
    Serializable::deserializeUtf8(Serializable::serializeUtf8(instance, "StateManager"), seen);
    ASSERT_EQ(seen.testRunCount(), 1u) << "what the process is about to run is part of its state";
    EXPECT_EQ(seen.testRunAtIndex(0).guid(), TestRunManager::instance().testRunAtIndex(0).guid());
    TestRunManager::instance().clear();
    instance.clear();
}
