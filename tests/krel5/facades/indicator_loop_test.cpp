// Passes of the indicator loop: what is called, how often, and what becomes of devices that go meanwhile.
#include <libKrel5/basics/LibraryMutex.h>
#include <libKrel5/facades/IndicatorLoop.h>
#include <libKrel5/internal/backends/CommInterface.h>
#include <libKrel5/internal/backends/StopRequest.h>
#include <libKrel5/internal/module/ModuleCommon.h>

#include <krel5/DeviceCapability.h>
#include <krel5/DiagDevice.h>
#include <krel5/IndicatorModule.h>

#include <zel/foundation/Exception.h>
#include <zel/model/state/StateManager.h>

#include <gtest/gtest.h>

#include <cmath>
#include <ctime>
#include <functional>
#include <thread>

using namespace krel5;

namespace {

zel::StateManager& state() { return zel::StateManager::instance(); }

bool holdsLibraryMutex()
{
    bool isFree = false;
    std::thread([&] {
        isFree = libraryMutex().try_lock();
        if (isFree)
            libraryMutex().unlock();
    }).join();
    return !isFree;
}

std::string s_calls;
std::function<void(std::string const& device)> s_onCall;

IndicatorReturnData read(DiagDevice const& device)
{
    EXPECT_FALSE(holdsLibraryMutex()) << "a function of the module is called under the mutex";
    std::string const name = device.name().getUTF8Buffer();
    s_calls += name + " ";
    if (s_onCall)
        s_onCall(name);
    return IndicatorReturnData();
}

void look()
{
    s_calls += "free ";
    if (s_onCall)
        s_onCall("");
}

struct Backend : CommInterface
{
    explicit Backend(std::string& sent) : m_sent(sent) {}
    void sendDeviceUpdateMessage(IndicatorReturnData const&, zel::DeviceImp& device) override
    {
        EXPECT_TRUE(holdsLibraryMutex());
        m_sent += device.name().toUtf8() + " ";
    }
    void propagateChanges() override
    {
        EXPECT_TRUE(holdsLibraryMutex());
        m_sent += "changes ";
    }
    bool isStandAlone() const override { return false; }
    std::string& m_sent;
};

class IndicatorLoopTest : public ::testing::Test
{
protected:
    IndicatorLoopTest()
    {
        state().clear();
        s_calls.clear();
        s_onCall = nullptr;
        ModuleCommon::setComm(std::make_unique<Backend>(m_sent));
        state().addIndicator(s_heat().imp());
        state().addIndicator(s_free().imp());
    }
    ~IndicatorLoopTest() override
    {
        state().clear();
        ModuleCommon::setComm(nullptr);
    }

    static Indicator& s_heat()
    {
        static Indicator& s_one =
            *IndicatorModule::createIndicator("heat", DeviceCapability::HardDrive(), read);
        return s_one;
    }
    static Indicator& s_free()
    {
        static Indicator& s_one = *IndicatorModule::createFreeIndicator("free", DeviceCapability(), look);
        return s_one;
    }

    zel::DeviceImp& device(std::string const& name)
    {
        zel::String const text(name);
        return state().addDevice(zel::DeviceImp::createGeneric(zel::CapabilityImp::HardDrive(),
                                                               zel::CapabilityImp::HardDrive(), text, "", "",
                                                               text, zel::CapabilityImp()),
                                 nullptr);
    }
    /// A device with a run that was called `secondsAgo`.
    zel::IndicatorRunImp& watched(std::string const& name, double interval = 1000)
    {
        return state().addIndicatorRun(zel::IndicatorRunImp(s_heat().imp(), &device(name), interval));
    }
    std::string pass()
    {
        s_calls.clear();
        m_sent.clear();
        IndicatorLoop(*ModuleCommon::comm()).pass();
        return s_calls;
    }
    static void remove(std::string const& name)
    {
        for (std::size_t i = 0; i < state().deviceCount(); ++i)
            if (state().deviceAtIndex(i)->name().toUtf8() == name) {
                state().removeDevice(zel::String(state().deviceAtIndex(i)->guid()));
                return;
            }
    }

    std::string m_sent;
};

} // namespace

TEST_F(IndicatorLoopTest, aRunIsDueWhenMoreThanItsIntervalHasGone)
{
    zel::IndicatorRunImp& run = watched("a", 5);
    EXPECT_TRUE(run.isDueAfter(0)) << "never called";
    run.resetLastCallTime();
    EXPECT_FALSE(run.isDueAfter(5));
    EXPECT_TRUE(run.isDueAfter(std::nextafter(5, 6)));
    auto const made = zel::Stopwatch::now(); // not before the clock was reset
    EXPECT_FALSE(run.isDueAt(made));
    EXPECT_TRUE(run.isDueAt(made + std::chrono::seconds(6)));
    EXPECT_FALSE(run.isDueAt(made - std::chrono::hours(1))) << "a moment before the call";
    run.restoreLastCall(5.5);
    EXPECT_EQ(pass(), "a ");
    EXPECT_LT(run.elapsedSinceLastCall(), 5.5);
    EXPECT_EQ(pass(), "");
    EXPECT_EQ(m_sent, "");
}

TEST_F(IndicatorLoopTest, aForcedCallComesBetweenAndLeavesTheClock)
{
    zel::IndicatorRunImp& run = watched("a");
    EXPECT_EQ(pass(), "a ");
    EXPECT_EQ(m_sent, "a ");
    run.restoreLastCall(400);
    run.forceUpdate();
    EXPECT_EQ(pass(), "a ");
    EXPECT_GE(run.elapsedSinceLastCall(), 400) << "the next call is due when it was";
    EXPECT_EQ(pass(), "") << "once for each request";
    run.restoreLastCall(1001);
    run.forceUpdate();
    EXPECT_EQ(pass(), "a ") << "due and forced is one call";
    EXPECT_EQ(pass(), "");
}

TEST_F(IndicatorLoopTest, freeIndicatorsAreCalledInEveryPassAndTheirChangesGoOut)
{
    state().addIndicatorRun(zel::IndicatorRunImp(s_free().imp(), nullptr, 1000));
    watched("a");
    EXPECT_EQ(pass(), "free a ");
    EXPECT_EQ(m_sent, "changes a ");
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(pass(), "free ");
        EXPECT_EQ(m_sent, "changes ");
    }
}

TEST_F(IndicatorLoopTest, whatIsSwitchedOffIsNotCalledWhoeverAsks)
{
    watched("a");
    s_heat().imp().restoreSwitch(zel::SettingsResource::Enable::Disabled, true, "a line");
    EXPECT_EQ(pass(), "");
    s_heat().imp().restoreSwitch(zel::SettingsResource::Enable::NotSet, false, "");
    EXPECT_EQ(pass(), "a ");
}

TEST_F(IndicatorLoopTest, devicesThatGoInACallCostTheOthersNothing)
{
    for (char const* const name : {"a", "b", "c", "d", "e"})
        watched(name, 0); // due in every pass
    s_onCall = [](std::string const& name) {
        if (name == "c")
            for (char const* const gone : {"a", "c", "d"})
                remove(gone);
    };
    EXPECT_EQ(pass(), "a b c e ") << "those behind the ones that went have their turn, and none has two";
    EXPECT_EQ(m_sent, "a b c e ") << "what was read of a device that has gone meanwhile is still its reading";
    EXPECT_EQ(state().removedCount(), 0u) << "nobody holds them any more";
    EXPECT_EQ(pass(), "b e ");
    s_onCall = [](std::string const& name) { remove(name); };
    EXPECT_EQ(pass(), "b e ");
    EXPECT_EQ(pass(), "");
}

TEST_F(IndicatorLoopTest, whatComesInACallHasItsTurnInTheSamePass)
{
    watched("a");
    s_onCall = [this](std::string const& name) {
        if (name == "a")
            watched("b");
    };
    EXPECT_EQ(pass(), "a b ");
    EXPECT_EQ(pass(), "");
}

// A bad contact: else the pass would have no end, and what it removes would never be freed.
TEST_F(IndicatorLoopTest, aDeviceThatEachOfItsReadingsReplacesHasItsTurnOncePerPass)
{
    watched("a");
    watched("b");
    s_onCall = [this](std::string const& name) {
        if (name != "a" || s_calls.size() > 100)
            return;
        remove("a");
        watched("a");
    };
    EXPECT_EQ(pass(), "a b ");
    remove("b"); // and back before its turn, by another thread
    watched("b");
    EXPECT_EQ(pass(), "a b ");
    EXPECT_EQ(state().removedCount(), 0u);
}

TEST_F(IndicatorLoopTest, aRunOfAnIndicatorThatTheModuleDoesNotHaveIsAnError)
{
    zel::IndicatorImp stranger("stranger", zel::CapabilityImp::HardDrive(), false);
    state().addIndicator(stranger);
    state().addIndicatorRun(zel::IndicatorRunImp(stranger, &device("a"), 5));
    EXPECT_THROW(pass(), zel::AssertionException);
}

TEST_F(IndicatorLoopTest, aDeviceIsTiedToTheIndicatorsThatAreForItOnce)
{
    zel::DeviceImp& a = device("a");
    IndicatorLoop::tie(a);
    IndicatorLoop::tie(a);
    EXPECT_EQ(state().indicatorCountByDevice(a), 1u) << "a free one is for no device";
    auto const memory = zel::DeviceImp::createGeneric(
        zel::CapabilityImp::Memory(), zel::CapabilityImp::Memory(), "m", "", "", "m", zel::CapabilityImp());
    state().addDevice(*memory, nullptr);
    IndicatorLoop::tie(*memory);
    EXPECT_EQ(state().indicatorCountByDevice(*memory), 0u);
}

// Last: a stop that was asked for stays.
TEST_F(IndicatorLoopTest, zStopEndsThePassBehindTheCallAndTheLoopWithPass)
{
    watched("a", 0);
    watched("b", 0);
    s_onCall = [](std::string const&) {
        if (s_calls == "a b a b a b a ")
            StopRequest::make();
    };
    s_calls.clear();
    zel::Stopwatch const watch;
    std::clock_t const before = std::clock(); // of the processor, which other processes do not disturb
    EXPECT_EQ(IndicatorLoop(*ModuleCommon::comm()).run(), TestResult::PASS());
    EXPECT_EQ(s_calls, "a b a b a b a ");
    EXPECT_GE(watch.getElapsed(), 0.3) << "a tenth of a second between two passes";
    EXPECT_LT(std::clock() - before, CLOCKS_PER_SEC / 10)
        << "it rests, and does not turn round until it is time";
}
