// Runs that were made elsewhere and become this module's own.
#include "../TestDevices.h"

#include <zel/foundation/Exception.h>
#include <zel/model/runs/TestRunImp.h>

#include <gtest/gtest.h>

using namespace zel;
using namespace zel::test;

namespace {

ParameterImp number(char const* key, char const* range)
{
    return ParameterImp(key, "1", DataTypeImp::UINT32(), range, false, false);
}

// A module's own state: one test with two parameters, two indicators, one device.
struct Own
{
    Own()
    {
        test.addParameter(number("loops", "1..100"));
        test.addParameter(number("size", ""));
        test.setModuleGuid("m");
        heat.setModuleGuid("m");
        state.addTest(test);
        state.addIndicator(heat);
        state.addIndicator(free);
    }

    StateManager state;
    DeviceImp& drive = state.addDevice(device("drive"), nullptr);
    TestImp test{"t", CapabilityImp::HardDrive()};
    IndicatorImp heat{"heat", CapabilityImp::HardDrive(), false}, free{"free", CapabilityImp(), true};
};

} // namespace

TEST(RestoredTestRun, isTheModulesOwnUnderTheGuidItCameWith)
{
    Own own;
    for (char const* name : {"t", "m.Test.t"}) {
        TestRunImp run = TestRunImp::restored("guid", name, own.drive.guid());
        EXPECT_EQ(run.testGuidOrKey(), String(name));
        run.setCurrentPass(3);
        run.setMinTime(60);
        run.setState(TestStateImp::RUNNING());
        run.setFinalResult(TestResultImp::FAIL());
        TestRunEventImp event;
        event.setSource("a.cpp", 12);
        run.addEvent(event);
        run.restoreParameter({"loops", ValueImp(std::uint32_t{7}), ParameterSourceImp::SETTINGSFILE()});
        EXPECT_EQ(run.test(), nullptr);
        own.state.bind(run);
        EXPECT_EQ(run.guid(), String("guid"));
        EXPECT_EQ(run.test(), &own.test);
        EXPECT_EQ(run.device(), &own.drive);
        EXPECT_EQ(run.currentPass(), 3u);
        EXPECT_EQ(run.minTime(), 60u);
        EXPECT_EQ(run.state(), TestStateImp::RUNNING());
        EXPECT_EQ(run.result(), TestResultImp::FAIL());
        EXPECT_EQ(run.nextEvent()->sourceLine(), 12);
        EXPECT_EQ(run.parameter("loops")->value().uint32(), 7u);
        EXPECT_EQ(run.parameter("loops")->valueSource(), ParameterSourceImp::SETTINGSFILE());
        EXPECT_EQ(run.parameter("size")->value().uint32(), 1u) << "the test's own";
        EXPECT_FALSE(run.parameter("size")->isSet());
        EXPECT_EQ(own.test.parameter("loops")->value().uint32(), 1u) << "the test keeps its value";
    }
    TestRunImp texts = TestRunImp::restored("guid", "t", own.drive.guid());
    texts.restoreParameter({"size", ValueImp(String("16")), ParameterSourceImp::SETTINGSFILE()});
    own.state.bind(texts);
    EXPECT_EQ(texts.parameter("size")->value().uint32(), 16u);
}

TEST(RestoredTestRun, saysWhatItCannotBeBoundTo)
{
    Own own;
    DeviceImp& other = own.state.addDevice(device("other"), nullptr);
    String const drive = own.drive.guid();
    struct Case
    {
        char const* test;
        String device;
        char const* key; // of a parameter; null: none
        ValueImp value;
        char const* error;
    };
    for (Case const& one : std::vector<Case>{
             {"x", drive, nullptr, ValueImp(), "is of the test \"x\", which is not known"},
             {"", drive, nullptr, ValueImp(), "is of the test \"\", which is not known"},
             {"t", "d", nullptr, ValueImp(), "is of the device \"d\", which is not known"},
             {"t", drive, "x", ValueImp(std::uint32_t{7}), "the test has no parameter \"x\""},
             {"t", drive, "loops", ValueImp(std::uint32_t{101}), "outside the valid range"},
             {"t", drive, "loops", ValueImp(true), "cannot become"},
             {"t", drive, "loops", ValueImp(String("many")), "parameter \"loops\""},
         }) {
        TestRunImp run = TestRunImp::restored("guid", one.test, one.device);
        if (one.key)
            run.restoreParameter({one.key, one.value, ParameterSourceImp::SETTINGSFILE()});
        try {
            own.state.bind(run);
            ADD_FAILURE() << one.error;
        } catch (StateException const& e) {
            std::string const text = e.toString().toUtf8();
            EXPECT_NE(text.find(one.error), std::string::npos) << text;
            EXPECT_NE(text.find("\"guid\""), std::string::npos) << "which run it is: " << text;
        }
        EXPECT_EQ(run.test(), nullptr) << one.error;
        EXPECT_EQ(run.parameter("size"), nullptr) << one.error;
    }
    TestRunImp run = TestRunImp::restored("guid", "t", drive);
    EXPECT_THROW(run.bind(own.test, other), StateException);
    EXPECT_THROW(TestRunImp::restored("", "t", drive), StateException);
}

TEST(RestoredIndicatorRun, keepsItsClockAndNamesItsPair)
{
    Own own;
    IndicatorRunImp run = IndicatorRunImp::restored("heat", own.drive.guid(), 2.5);
    EXPECT_FALSE(run.hasBeenCalled());
    run.restoreLastCall(40);
    run.forceUpdate();
    EXPECT_THROW(own.state.addIndicatorRun(run), AssertionException) << "not bound";
    EXPECT_EQ(own.state.indicatorRunCount(), 0u);
    own.state.bind(run);
    IndicatorRunImp& added = own.state.addIndicatorRun(run);
    EXPECT_EQ(&added.indicator(), &own.heat);
    EXPECT_EQ(added.device(), &own.drive);
    EXPECT_EQ(added.updateInterval(), 2.5);
    EXPECT_GE(added.elapsedSinceLastCall(), 40);
    EXPECT_TRUE(added.hasBeenCalled() && added.hasUpdateBeenForced());
    EXPECT_EQ(&own.state.addIndicatorRun(IndicatorRunImp(own.heat, &own.drive, 9)), &added);
    EXPECT_GE(added.elapsedSinceLastCall(), 40) << "the pair is there, with its clock";
    added.resetLastCallTime();
    EXPECT_LT(added.elapsedSinceLastCall(), 40);

    IndicatorRunImp free = IndicatorRunImp::restored("free", "", 1);
    own.state.bind(free);
    EXPECT_EQ(free.device(), nullptr);
    own.state.addIndicatorRun(free);
    EXPECT_EQ(own.state.indicatorRunCount(), 2u);
    for (auto [indicator, place] : {std::pair{"x", own.drive.guid()}, std::pair{"heat", String("d")}}) {
        IndicatorRunImp unknown = IndicatorRunImp::restored(indicator, place, 1);
        EXPECT_THROW(own.state.bind(unknown), StateException);
        EXPECT_FALSE(unknown.isBound());
    }
}
