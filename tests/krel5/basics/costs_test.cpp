// What must not cost more than it needs, in allocations: those can be counted, times cannot.
#include <libKrel5/facades/IndicatorLoop.h>
#include <libKrel5/internal/backends/console/CommStandAlone.h>
#include <libKrel5/internal/module/ModuleCommon.h>

#include <krel5/DataType.h>
#include <krel5/DeviceCapability.h>
#include <krel5/DiagDevice.h>
#include <krel5/IndicatorModule.h>
#include <krel5/InvalidInitException.h>
#include <krel5/PropertyCategory.h>
#include <krel5/SyncDeviceProperty.h>
#include <krel5/SysInfoDevice.h>
#include <krel5/Value.h>

#include <zel/model/state/StateManager.h>

#include <foundation/ChildProcess.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>
#include <new>

namespace {

std::atomic<unsigned> s_allocations{0};

template <typename Action>
unsigned allocationsOf(Action action)
{
    unsigned const before = s_allocations;
    action();
    return s_allocations - before;
}

constexpr unsigned kDepth = 60;
unsigned volatile s_depth = kDepth;

[[gnu::noinline]] void throwFromBelow(unsigned depth)
{
    if (depth == 0)
        throw krel5::InvalidInitException("deep");
    throwFromBelow(depth - 1);
    s_depth = kDepth; // work left to do: the call above stays one
}

} // namespace

// Not inlined: the compiler would see half of a pair at times and warn of a mismatch.
[[gnu::noinline]] void* operator new(std::size_t size)
{
    ++s_allocations;
    if (void* const memory = std::malloc(size))
        return memory;
    throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void* memory) noexcept { std::free(memory); }
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

TEST(Costs, namesOfATraceAreLookedUpOnceAndOnlyWhenTheyAreRead)
{
    unsigned const unread = allocationsOf([] {
        try {
            throwFromBelow(s_depth);
        } catch (krel5::KrelException const&) {
            return;
        }
    });
    EXPECT_LT(unread, kDepth) << "less than one a frame";
    try {
        throwFromBelow(s_depth);
    } catch (krel5::KrelException const& caught) {
        krel5::KrelException const copy(caught), outer("outer", copy);
        std::string const text = copy.toString().getUTF8Buffer();
        EXPECT_GE(test::occurrences(text, "throwFromBelow(unsigned int)"), std::size_t{kDepth}) << text;
        EXPECT_LT(allocationsOf([&] { EXPECT_EQ(caught.toString(), copy.toString()); }), kDepth);
        EXPECT_LT(allocationsOf([&] { EXPECT_EQ(outer.toString().getUTF8Buffer(), "outer:\n" + text); }),
                  kDepth);
    }
}

// Reading a text that other threads may read at the same moment changes nothing: its UTF-8 form is there already.
TEST(Costs, aTextOfADeviceIsReadyBeforeAnybodyHasIt)
{
    using namespace krel5;
    SysInfoDevice* const drive =
        SysInfoDevice::createGeneric(DeviceCapability::HardDrive(), DeviceCapability::SCSI(), "a name",
                                     "a description", "/dev/disk/by-path/a", "at a place");
    static SyncDeviceProperty s_serial("costs.serial", PropertyCategory::SysInfo(), DataType::STRING(),
                                       DeviceCapability::HardDrive());
    drive->addPropertyValue(s_serial, "A1");
    DiagDevice const device(&drive->imp());
    DeviceProperty const& serial = *device.property("costs.serial");
    for (KrelString const* const text :
         {&device.name(), &device.description(), &device.osLocator(), &device.hwLocator(), &serial.key(),
          &serial.localizedName(), &serial.localizedDescription(), &serial.category().toString()})
        EXPECT_EQ(allocationsOf([&] { static_cast<void>(text->getUTF8Buffer()); }), 0u)
            << text->getUTF8Buffer();
}

TEST(Costs, assigningAValueCostsNoMoreThanCopyingIt)
{
    krel5::Value const text("a text that is too long to be kept inside its string");
    krel5::Value assigned(17);
    unsigned const copying = allocationsOf([&] { krel5::Value const copy(text); });
    EXPECT_LE(allocationsOf([&] { assigned = text; }), copying);
    EXPECT_EQ(assigned, text);
}

// Ten times a second, for weeks.
TEST(Costs, aPassInWhichNoIndicatorIsDueAllocatesNothing)
{
    using namespace krel5;
    auto& state = zel::StateManager::instance();
    state.clear();
    ModuleCommon::setComm(std::make_unique<CommStandAlone>());
    static unsigned s_calls = 0;
    Indicator& indicator =
        *IndicatorModule::createIndicator("heat", DeviceCapability::HardDrive(), [](DiagDevice const&) {
            ++s_calls;
            return IndicatorReturnData();
        });
    state.addIndicator(indicator.imp());
    for (unsigned i = 0; i < 1000; ++i) {
        zel::String const name = zel::String::number(std::uint64_t{i});
        auto device =
            zel::DeviceImp::createGeneric(zel::CapabilityImp::HardDrive(), zel::CapabilityImp::HardDrive(),
                                          name, "", "", name, zel::CapabilityImp());
        IndicatorLoop::tie(state.addDevice(std::move(device), nullptr));
    }
    CommInterface& comm = *ModuleCommon::comm();
    comm.receiveIndicatorMessages();
    ASSERT_EQ(state.indicatorRunCount(), 1000u);
    for (std::size_t i = 0; i < state.indicatorRunCount(); ++i)
        state.indicatorRunAtIndex(i).resetLastCallTime();
    IndicatorLoop loop(comm);
    auto const pass = [&] {
        comm.receiveIndicatorMessages();
        loop.pass();
        if (IndicatorModule::stopRequested())
            ADD_FAILURE();
    };
    pass(); // makes the loggers
    EXPECT_EQ(allocationsOf(pass), 0u);
    EXPECT_EQ(s_calls, 0u);
    state.clear();
    ModuleCommon::setComm(nullptr);
}
