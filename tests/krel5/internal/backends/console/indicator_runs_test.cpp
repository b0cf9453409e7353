// The console's part in the indicator loop, pass by pass.
#include <libKrel5/internal/backends/console/CommStandAlone.h>
#include <libKrel5/internal/module/CommandLine.h>
#include <libKrel5/objects/UpdateInterval.h>

#include <krel5/DeviceCapability.h>
#include <krel5/DiagDevice.h>
#include <krel5/Indicator.h>
#include <krel5/IndicatorReturnData.h>
#include <krel5/InternalException.h>
#include <krel5/KrelString.h>
#include <krel5/TestResult.h>

#include <zel/model/state/StateManager.h>

#include <gtest/gtest.h>

using namespace krel5;

namespace {

zel::StateManager& state() { return zel::StateManager::instance(); }

std::unique_ptr<zel::DeviceImp> device(char const* name)
{
    return zel::DeviceImp::createGeneric(zel::CapabilityImp::HardDrive(), zel::CapabilityImp(), name, "", "",
                                         name, zel::CapabilityImp());
}

// An indicator of devices with two of them, and a free one.
class IndicatorPasses : public ::testing::Test
{
protected:
    IndicatorPasses()
    {
        state().clear();
        state().addIndicator(heat);
        state().addIndicator(free);
    }
    ~IndicatorPasses() override { state().clear(); }

    zel::DeviceImp& plugIn(char const* name)
    {
        zel::DeviceImp& one = state().addDevice(device(name), nullptr);
        state().associate(one, heat, false);
        return one;
    }
    void passes(int count)
    {
        for (int i = 0; i < count; ++i) {
            EXPECT_TRUE(comm.receiveIndicatorMessages());
            state().releaseRemoved();
        }
    }
    std::string runs()
    {
        std::string text;
        for (std::size_t i = 0; i < state().indicatorRunCount(); ++i) {
            zel::IndicatorRunImp const& run = state().indicatorRunAtIndex(i);
            text += run.indicator().keyInModule().toUtf8() + "@" +
                    (run.device() ? run.device()->name().toUtf8() : "-") + (run.hasBeenCalled() ? "! " : " ");
        }
        return text;
    }

    CommStandAlone comm;
    zel::IndicatorImp heat{"heat", zel::CapabilityImp::HardDrive(), false};
    zel::IndicatorImp free{"free", zel::CapabilityImp(), true};
};
using IndicatorPassesDeathTest = IndicatorPasses;

} // namespace

TEST_F(IndicatorPasses, makeEachRunOnceAndLeaveItsClockAlone)
{
    zel::String const a = plugIn("a").guid();
    plugIn("b");
    passes(1);
    EXPECT_EQ(runs(), "heat@a heat@b free@- ");
    state().indicatorRunAtIndex(0).resetLastCallTime();
    passes(10);
    EXPECT_EQ(runs(), "heat@a! heat@b free@- ");
    plugIn("c");
    state().removeDevice(a);
    passes(10);
    EXPECT_EQ(runs(), "heat@b free@- heat@c ");
    plugIn("a");
    passes(10);
    EXPECT_EQ(runs(), "heat@b free@- heat@c heat@a ") << "plugged in again: a new run, due at once";
}

TEST_F(IndicatorPassesDeathTest, endOnlyWhenThereNeverWasARun)
{
    free.resolveParameterData(
        zel::SettingsResource(zel::KeyTextFile::parse("Indicator.free.Enable.value=false", "f")));
    EXPECT_EXIT(comm.receiveIndicatorMessages(), ::testing::ExitedWithCode(TestResult::NOINDICATOR().value()),
                "Error: No devices are associated with any of the indicators in this module.\n$");
    zel::String const guid = plugIn("a").guid();
    passes(1);
    state().removeDevice(guid);
    passes(10);
    EXPECT_EQ(runs(), "") << "the indicator of devices does not become a free one";
    plugIn("a");
    passes(1);
    EXPECT_EQ(runs(), "heat@a ");
}

// The number is for the list at the start. In a process of its own, since options are the process's.
TEST_F(IndicatorPassesDeathTest, countTheDevicesNumberOnce)
{
    zel::String const a = plugIn("a").guid();
    zel::String const b = plugIn("b").guid();
    auto const run = [&](char const* number) {
        char const* const words[] = {"module", "-d", number};
        CommandLine::addFacadeOptions(Facade::Kind::Indicator);
        CommandLine::addCommonOptions();
        CommandLine::parse(3, words);
        std::string seen;
        passes(2);
        seen += runs() + "| ";
        state().removeDevice(a);
        passes(2);
        seen += runs() + "| ";
        state().removeDevice(b);
        passes(2);
        std::fputs((seen + runs()).c_str(), stderr);
        std::_Exit(0);
    };
    EXPECT_EXIT(run("2"), ::testing::ExitedWithCode(0), "^heat@b free@- [|] heat@b free@- [|] free@- $");
    EXPECT_EXIT(run("1"), ::testing::ExitedWithCode(0), "^heat@a free@- [|] free@- [|] free@- $");
    EXPECT_EXIT(run("3"), ::testing::ExitedWithCode(TestResult::NODEVICE().value()), "is too large");
}

TEST_F(IndicatorPassesDeathTest, takeTheIntervalFromTheSettings)
{
    auto const intervalWith = [&](char const* line) {
        auto const error =
            updateIntervalParameter().resolve(zel::SettingsResource(zel::KeyTextFile::parse(line, "f")));
        plugIn("a");
        passes(1);
        std::fprintf(stderr, "%g %s", state().indicatorRunAtIndex(0).updateInterval(),
                     error ? "refused" : "");
        std::_Exit(0);
    };
    using ::testing::ExitedWithCode;
    EXPECT_EXIT(intervalWith(""), ExitedWithCode(0), "^5 $");
    EXPECT_EXIT(intervalWith("Parameter.UpdateIntervalInSeconds.value=0.25"), ExitedWithCode(0), "^0.25 $");
    EXPECT_EXIT(intervalWith("Parameter.UpdateIntervalInSeconds.value=-1"), ExitedWithCode(0), "^5 refused$");
    EXPECT_EXIT(intervalWith("Parameter.UpdateIntervalInSeconds.value=soon"), ExitedWithCode(0),
                "^5 refused$");
    EXPECT_EQ(updateIntervalParameter().key(), zel::String("UpdateIntervalInSeconds"));
    EXPECT_EQ(updateIntervalParameter().type(), zel::DataTypeImp::DOUBLE());
}

// The whole way of a reading: a callback removes its own device, and what it returned is sent with that device.
TEST_F(IndicatorPasses, aReadingOfADeviceThatTheCallbackRemovedIsStillSent)
{
    zel::DeviceImp& a = plugIn("a");
    passes(1);
    static zel::String s_guid;
    s_guid = a.guid();
    Indicator const indicator("heat", DeviceCapability::HardDrive(), [](DiagDevice const&) {
        state().removeDevice(s_guid);
        return IndicatorReturnData();
    });
    zel::IndicatorRunImp& run = state().indicatorRunAtIndex(0);
    EXPECT_THROW(indicator.runIndicator(), InternalException) << "it needs a device";
    IndicatorReturnData const data = indicator.runIndicator(DiagDevice(run.device()));
    EXPECT_TRUE(run.hasEnded());
    ::testing::internal::CaptureStdout();
    comm.sendDeviceUpdateMessage(data, *run.device());
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "Device: " + s_guid.toUtf8() + "\n");
    passes(1);
    EXPECT_EQ(runs(), "free@- ");
}
