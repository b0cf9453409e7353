// A pass of the indicator loop over many runs of which none is due, as the console has it.
#include <libKrel5/facades/IndicatorLoop.h>
#include <libKrel5/internal/backends/console/CommStandAlone.h>
#include <libKrel5/internal/module/ModuleCommon.h>

#include <krel5/DeviceCapability.h>
#include <krel5/DiagDevice.h>
#include <krel5/IndicatorModule.h>

#include <zel/model/state/StateManager.h>

#include <benchmark/benchmark.h>

using namespace krel5;

static void idlePass(benchmark::State& measured)
{
    auto& state = zel::StateManager::instance();
    ModuleCommon::setComm(std::make_unique<CommStandAlone>());
    CommInterface& comm = *ModuleCommon::comm();
    Indicator& indicator = *IndicatorModule::createIndicator(
        "heat", DeviceCapability::HardDrive(), [](DiagDevice const&) { return IndicatorReturnData(); });
    state.addIndicator(indicator.imp());
    for (std::uint64_t i = 0; i < 10000; ++i) {
        zel::String const name = zel::String::number(i);
        auto device =
            zel::DeviceImp::createGeneric(zel::CapabilityImp::HardDrive(), zel::CapabilityImp::HardDrive(),
                                          name, "", "", name, zel::CapabilityImp());
        zel::DeviceImp& known = state.addDevice(std::move(device), nullptr);
        IndicatorLoop::tie(known);
        state.addIndicatorRun(zel::IndicatorRunImp(indicator.imp(), &known, 1e9)).resetLastCallTime();
    }
    IndicatorLoop loop(comm);
    for (auto _ : measured) {
        comm.receiveIndicatorMessages();
        loop.pass();
        benchmark::DoNotOptimize(IndicatorModule::stopRequested());
    }
}
BENCHMARK(idlePass)->Iterations(1000)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
