#include <krel5/DeviceCapability.h>
#include <krel5/DiagDevice.h>
#include <krel5/DiagModule.h>
#include <krel5/Parameter.h>
#include <krel5/ParameterNotSetException.h>
#include <krel5/Test.h>
#include <krel5/TestResult.h>

#include <libKrel5/internal/module/ModuleCommon.h>
#include <libKrel5/internal/settings/ParameterSetup.h>
#include <libKrel5/internal/settings/SettingsRefusal.h>

#include "../../foundation/TemporaryFolder.h"

#include <zel/model/module/TestImp.h>
#include <zel/model/settings/SettingsResource.h>

#include <gtest/gtest.h>

#include <algorithm>

using namespace krel5;

namespace {

TestResult notRun(DiagDevice const&) { return TestResult::FAIL(); }

/// "key=value (source)" of each parameter, in order.
std::string parametersOf(krel5::Test& test)
{
    std::string text;
    for (zel::ParameterImp const& one : test.imp().parameters())
        text += one.key().toUtf8() + "=" + one.value().toString().toUtf8() + " (" +
                one.valueSource().toString().toUtf8() + ") ";
    return text;
}

} // namespace

// From the module's declarations and the settings file to what each test's parameters are.
TEST(ParameterSetup, handsDownResolvesAndInsists)
{
    test::TemporaryFolder folder;
    zel::SettingsResource::setSearchFolders({folder.path()});
    ModuleCommon::module().setGuid("setup");
    DiagModule::createParameter("speed", DataType::UINT32(), "5", false, true);
    Parameter* const level = DiagModule::createParameter("level", DataType::UINT32(), "7", true, true);
    DeviceCapability const& memory = DeviceCapability::Memory();
    krel5::Test* const own = DiagModule::createTest("own", memory, notRun)->addParameter(level);
    krel5::Test* const taking = DiagModule::createTest("taking", memory, notRun);
    krel5::Test* const none = DiagModule::createTest("none", memory, notRun)->setUsesNoGlobalParameters();

    folder.write("setup.w4i", "Test.own.level.value=2\nTest.taking.level=3\n");
    testing::internal::CaptureStderr();
    try {
        setUpParameters();
        ADD_FAILURE() << "a default is no value";
    } catch (ParameterNotSetException const& e) {
        EXPECT_EQ(std::string(e.toString().getUTF8Buffer())
                      .find("Parameter \"level\" not set in the settings file for Test \"taking\""),
                  0u);
    }
    EXPECT_EQ(
        testing::internal::GetCapturedStderr(),
        folder.path() +
            "/setup.w4i:2: Test.taking.level: nothing here reads this setting; did you mean "
            "Test.taking.level.value?; the test \"taking\" does not run\n"
            "Parameter not set: maybe you are using the old method of setting parameters; try changing it "
            "to:\nTest.taking.level.value=YOUR VALUE HERE\n");

    folder.write("setup.w4i", "Test.own.level.value=2\nParameter.level.value=3\nTest.own.Enable.value=of\n");
    zel::SettingsResource::clearCache();
    testing::internal::CaptureStderr();
    setUpParameters();
    EXPECT_NE(
        testing::internal::GetCapturedStderr().find(
            "setup.w4i:3: Test.own.Enable.value: \"of\" is neither true, yes, on, 1 nor false, no, off, "
            "0; the test \"own\" does not run"),
        std::string::npos);
    // A line that is there and wrong, or may be there, is not one that is missing: the runs are refused instead.
    for (char const* text : {"Test.own.level.value=many\nParameter.level.value=3\n", "level of all is 3\n"}) {
        folder.write("setup.w4i", text);
        zel::SettingsResource::clearCache();
        testing::internal::CaptureStderr();
        EXPECT_NO_THROW(setUpParameters()) << text;
        auto const settings = zel::SettingsResource::ofModule("setup");
        EXPECT_TRUE(refusesRunsOf(own->imp()) || refusesEveryRun(*settings)) << text;
        EXPECT_FALSE(refusesRunsOf(taking->imp()));
        testing::internal::GetCapturedStderr();
    }
    folder.write("setup.w4i", "Test.own.levle.value=2\nTest.own.level.value=2\nParameter.level.value=3\n"
                              "test.own.LEVEL.value=4\nTest.own.speed=1\nTest.none.speed.value=1\n"
                              "Test.none.Enable.value=false\nentirely.different=1\n");
    zel::SettingsResource::clearCache();
    testing::internal::CaptureStderr();
    setUpParameters();
    std::string const nothing = ": nothing here reads this setting", file = folder.path() + "/setup.w4i";
    std::string const ofOwn = "; the test \"own\" does not run\n";
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "WARNING: " + file + ":8: entirely.different" + nothing + "\n" + file +
                  ":1: Test.own.levle.value" + nothing + "; did you mean Test.own.level.value?" + ofOwn +
                  file + ":4: test.own.LEVEL.value" + nothing + "; did you mean Test.own.level.value?" +
                  ofOwn + file + ":5: Test.own.speed" + nothing + "; did you mean Test.own.speed.value?" +
                  ofOwn + file + ":6: Test.none.speed.value" + nothing +
                  "; did you mean Test.own.speed.value?" + ofOwn + file + ":6: Test.none.speed.value" +
                  nothing + "; did you mean Test.own.speed.value?; the test \"none\" does not run\n");
    testing::internal::CaptureStderr();
    EXPECT_TRUE(refusesRunsOf(none->imp()));
    EXPECT_FALSE(refusesRunsOf(taking->imp()));
    EXPECT_NE(testing::internal::GetCapturedStderr().find(
                  "Parameter \"Test.none.speed.value\" not valid for Test \"none\": "),
              std::string::npos);
    // A global parameter is meant for every test that takes it.
    folder.write("setup.w4i", "Test.own.level.value=2\nParameter.level.value=3\nParameter.sped.value=4\n");
    zel::SettingsResource::clearCache();
    testing::internal::CaptureStderr();
    setUpParameters();
    EXPECT_TRUE(refusesRunsOf(own->imp()) && refusesRunsOf(taking->imp()));
    EXPECT_FALSE(refusesRunsOf(none->imp()));
    testing::internal::GetCapturedStderr();
    folder.write("setup.w4i",
                 "Test.own.level.value=2\nParameter.level.value=3\nTest.own.ForceEvent.value=none\n");
    zel::SettingsResource::clearCache();
    testing::internal::CaptureStderr();
    setUpParameters();
    EXPECT_EQ(
        testing::internal::GetCapturedStderr(),
        folder.path() +
            "/setup.w4i:3: Test.own.ForceEvent.value: this module has no such event; the test \"own\" does "
            "not run\n");
    EXPECT_EQ(parametersOf(*own), "level=2 (SETTINGSFILE) speed=5 (NOTSET) ") << "keeps its own";
    EXPECT_EQ(parametersOf(*taking), "speed=5 (NOTSET) level=3 (SETTINGSFILE) ") << "in order of creation";
    EXPECT_EQ(parametersOf(*none), "");

    std::string many = "Test.own.level.value=2\nParameter.level.value=3\n";
    for (int i = 0; i < 150; ++i)
        many += "k" + std::to_string(i) + "=1\n";
    folder.write("setup.w4i", many);
    zel::SettingsResource::clearCache();
    testing::internal::CaptureStderr();
    setUpParameters();
    std::string const told = testing::internal::GetCapturedStderr();
    EXPECT_EQ(std::count(told.begin(), told.end(), '\n'), 101);
    EXPECT_NE(told.find("what follows may be; no test runs\n"), told.npos) << told;
    EXPECT_NE(told.find("setup.w4i:103: k100: so is this, "), told.npos) << told;

    // No single slip of a finger lets a test run that was to stay off, or one pass stand for a day.
    for (std::string const key : {"Test.own.Enable.value", "MinTimePerTest.value"}) {
        for (std::size_t i = 0; i < key.size(); ++i) {
            std::string left = key, doubled = key, swapped = key;
            left.erase(i, 1);
            doubled.insert(i, 1, key[i]);
            std::swap(swapped[i], swapped[std::min(i + 1, key.size() - 1)]);
            for (std::string const& typed : {left, doubled, swapped}) {
                folder.write("setup.w4i",
                             "Test.own.level.value=2\nParameter.level.value=3\n" + typed + "=no\n");
                zel::SettingsResource::clearCache();
                testing::internal::CaptureStderr();
                setUpParameters();
                auto const settings = zel::SettingsResource::ofModule("setup");
                EXPECT_TRUE(own->imp().isSwitchedOff() || refusesRunsOf(own->imp()) ||
                            refusesEveryRun(*settings))
                    << typed;
                testing::internal::GetCapturedStderr();
            }
        }
    }

    char const* const name = own->localizedName().getUTF8Buffer();
    EXPECT_EQ(own->localizedName().getUTF8Buffer(), name)
        << "reading a name again leaves the first one alone";
    zel::SettingsResource::setSearchFolders({});
}
