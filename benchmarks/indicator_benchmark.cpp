// A pass of the indicator loop over many runs of which none is due, as the console has it, and the loop itself, which has nothing
// to do but to wait.
#include <libKrel5/facades/IndicatorLoop.h>
#include <libKrel5/internal/backends/console/CommStandAlone.h>
#include <libKrel5/internal/module/ModuleCommon.h>

#include <krel5/DeviceCapability.h>
#include <krel5/DiagDevice.h>
#include <krel5/IndicatorModule.h>

#include <zel/model/state/StateManager.h>

#include <benchmark/benchmark.h>

using namespace krel5;

// Devices whose indicator was called just now, and not again before the benchmark ends.
static void watchIdly(std::uint64_t count)
{
    auto& state = zel::StateManager::instance();
    static Indicator& s_indicator = *IndicatorModule::createIndicator(
        "heat", DeviceCapability::HardDrive(), [](DiagDevice const&) { return IndicatorReturnData(); });
    state.clear();
    state.addIndicator(s_indicator.imp());
    for (std::uint64_t i = 0; i < count; ++i) {
        zel::String const name = zel::String::number(i);
        auto device =
            zel::DeviceImp::createGeneric(zel::CapabilityImp::HardDrive(), zel::CapabilityImp::HardDrive(),
                                          name, "", "", name, zel::CapabilityImp());
        zel::DeviceImp& known = state.addDevice(std::move(device), nullptr);
        IndicatorLoop::tie(known);
        state.addIndicatorRun(zel::IndicatorRunImp(s_indicator.imp(), &known, 1e9)).resetLastCallTime();
    }
}

static void idlePass(benchmark::State& measured)
{
    watchIdly(10000);
    ModuleCommon::setComm(std::make_unique<CommStandAlone>());
    CommInterface& comm = *ModuleCommon::comm();
    IndicatorLoop loop(comm);
    for (auto _ : measured) {
        comm.receiveIndicatorMessages();
        loop.pass();
        benchmark::DoNotOptimize(IndicatorModule::stopRequested());
    }
}
BENCHMARK(idlePass)->Iterations(1000)->Unit(benchmark::kMillisecond);

namespace {

/// The console, until it has been asked often enough.
struct Console : CommStandAlone
{
    bool receiveStopMessage() override { return --m_left == 0; }
    int m_left = 50;
};

} // namespace

// Once: a stop that was asked for stays.
static void idleLoop(benchmark::State& measured)
{
    watchIdly(10);
    ModuleCommon::setComm(std::make_unique<Console>());
    for (auto _ : measured)
        IndicatorLoop(*ModuleCommon::comm()).run();
}
BENCHMARK(idleLoop)->Iterations(1)->MeasureProcessCPUTime()->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
