// A device that is taken away while somebody works on it.
#include "../TestDevices.h"

#include <zel/model/runs/TestRunManager.h>

#include <gtest/gtest.h>

using namespace zel;
using namespace zel::test;

namespace {

// Names of the devices that a walk meets when `at(device)` is done to each.
template <typename Action>
std::string walk(StateManager& state, Action at)
{
    std::string names;
    for (DeviceImp* one = nullptr; (one = state.nextDevice(one, CapabilityImp::ALL()));) {
        names += one->name().toUtf8();
        at(*one);
    }
    return names;
}

} // namespace

TEST(Removal, aWalkGoesOnBehindTheOldPlace)
{
    struct Case
    {
        char const* during; // the device at which the others are removed
        std::vector<char const*> removed;
        std::string met;
    };
    for (Case const& one : std::vector<Case>{
             {"a", {"a"}, "abcde"},
             {"c", {"c"}, "abcde"},
             {"c", {"b", "c"}, "abcde"},
             {"c", {"c", "b", "a"}, "abcde"},
             {"c", {"a", "b", "c", "d"}, "abce"},
             {"e", {"e"}, "abcde"},
             {"c", {"c", "d", "e"}, "abc"},
         }) {
        StateManager state;
        std::map<std::string, String> guids;
        for (char const* name : {"a", "b", "c", "d", "e"})
            guids[name] = state.addDevice(device(name), nullptr).guid();
        std::string const met = walk(state, [&](DeviceImp const& at) {
            for (char const* name : one.removed)
                EXPECT_TRUE(at.name() != String(one.during) || state.removeDevice(guids[name]));
        });
        EXPECT_EQ(met, one.met) << one.during << " " << one.removed.size();
        EXPECT_EQ(state.removedCount(), one.removed.size());
        state.releaseRemoved();
        EXPECT_EQ(state.removedCount(), 0u);
    }
}

TEST(Removal, aDeviceThatCameBackIsMetAtItsNewPlace)
{
    StateManager state;
    auto const a = device("a"), b = device("b"), c = device("c");
    for (auto* one : {a.get(), b.get(), c.get()})
        state.addDevice(*one, nullptr);
    state.removeDevice(b->guid());
    state.removeDevice(a->guid());
    state.addDevice(*a, nullptr);
    EXPECT_EQ(state.nextDevice(b.get(), CapabilityImp::ALL()), c.get());
    EXPECT_EQ(state.nextDevice(a.get(), CapabilityImp::ALL()), nullptr);
    EXPECT_EQ(devices(state), "c a");
    state.releaseRemoved();
    EXPECT_EQ(devices(state), "c a");
}

// The indicator loop: a callback removes the very device that it was called for, and the loop then sends the data
// together with the device.
TEST(Removal, leavesTheLoopItsRunAndItsDevice)
{
    StateManager state;
    IndicatorImp heat("heat", CapabilityImp::HardDrive(), false);
    state.addIndicator(heat);
    for (char const* name : {"a", "b"}) {
        DeviceImp& one = state.addDevice(device(name), nullptr);
        add(one, "serial", name);
        state.associate(one, heat, false);
        state.addIndicatorRun(IndicatorRunImp(heat, &one, 5));
    }
    IndicatorRunImp& run = state.indicatorRunAtIndex(0);
    DeviceImp& held = *run.device();
    EXPECT_TRUE(state.removeDevice(held.guid()));
    EXPECT_TRUE(run.hasEnded());
    EXPECT_EQ(run.device(), &held);
    EXPECT_EQ(held.property("serial")->value().toString().toUtf8(), "a");
    EXPECT_EQ(state.device(held.guid()), nullptr);
    EXPECT_EQ(state.indicatorRunCount(), 1u);
    EXPECT_EQ(state.indicatorRun(heat, &held), nullptr);
    EXPECT_FALSE(state.indicatorRunAtIndex(0).hasEnded());

    // Plugged in again before anything was released: a new device of the same guid, with a new run.
    DeviceImp& again = state.addDevice(device("a"), nullptr);
    EXPECT_NE(&again, &held);
    EXPECT_EQ(state.nextDevice(&held, CapabilityImp::ALL())->name().toUtf8(), "b");
    IndicatorRunImp& renewed = state.addIndicatorRun(IndicatorRunImp(heat, &again, 5));
    EXPECT_NE(&renewed, &run);
    EXPECT_FALSE(renewed.hasEnded());
    EXPECT_EQ(state.removedCount(), 2u);
    state.releaseRemoved();
    EXPECT_EQ(state.removedCount(), 0u);
    EXPECT_EQ(devices(state), "b a");
}

TEST(Removal, waitsForTheTestRunsOfTheDevice)
{
    StateManager state;
    TestImp test("t", CapabilityImp::HardDrive());
    state.addDevice(device("first"), nullptr);
    DeviceImp& tested = state.addDevice(device("tested"), nullptr);
    state.addDevice(device("last"), nullptr);
    TestRunManager& queue = TestRunManager::instance();
    queue.clear();
    queue.addTestRun(TestRunImp(&test, state.device(device("last")->guid())));
    TestRunImp& run = queue.addTestRun(TestRunImp(&test, &tested));
    for (char const* name : {"tested", "first"})
        state.removeDevice(device(name)->guid());
    state.releaseRemoved();
    EXPECT_EQ(run.toString().toUtf8(), "t on tested (tested), pass 1");
    EXPECT_EQ(state.removedCount(), 1u) << "only what a run points to waits";
    EXPECT_EQ(state.nextDevice(run.device(), CapabilityImp::ALL())->name().toUtf8(), "last");
    queue.clear();
    state.releaseRemoved();
    EXPECT_EQ(state.removedCount(), 0u);
}
