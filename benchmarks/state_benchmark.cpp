// The state manager with many devices: cost for each property must not grow with the number of devices.
#include <zel/model/StateManager.h>

#include <benchmark/benchmark.h>

#include <memory>
#include <vector>

namespace {

constexpr int kProperties = 20;

std::vector<std::shared_ptr<zel::PropertySpecImp>> const& specs()
{
    static auto const s_specs = [] {
        std::vector<std::shared_ptr<zel::PropertySpecImp>> made;
        for (int i = 0; i < kProperties; ++i)
            made.push_back(std::make_shared<zel::PropertySpecImp>(
                zel::String("Property") + zel::String::number(i), zel::PropertyCategoryImp::SysInfo(),
                zel::DataTypeImp::STRING(), zel::CapabilityImp::ALL()));
        return made;
    }();
    return s_specs;
}

void fill(zel::StateManager& state, int devices)
{
    for (int d = 0; d < devices; ++d) {
        auto device = zel::DeviceImp::createGeneric(
            zel::CapabilityImp::HardDrive(), zel::CapabilityImp::SATA(), "drive", "/dev/sd", "a drive",
            zel::String("SATA:0:0:0:") + zel::String::number(d), zel::CapabilityImp("SATA"));
        for (auto const& spec : specs()) {
            zel::PropertyImp const property(spec, zel::ValueImp(zel::String("a value of some length")));
            device->addProperty(&property);
        }
        state.addDevice(std::move(device), nullptr);
    }
}

void perProperty(benchmark::State& state)
{
    double const properties = static_cast<double>(state.range(0)) * kProperties;
    state.counters["ns/property"] = benchmark::Counter(
        properties / 1e9, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void build(benchmark::State& state)
{
    for (auto _ : state) {
        zel::StateManager manager;
        fill(manager, static_cast<int>(state.range(0)));
        benchmark::DoNotOptimize(manager.deviceCount());
    }
    perProperty(state);
}

void merge(benchmark::State& state)
{
    zel::StateManager source;
    fill(source, static_cast<int>(state.range(0)));
    for (auto _ : state) {
        zel::StateManager manager;
        manager.mergeWithTracking(source);
        benchmark::DoNotOptimize(manager.deviceCount());
    }
    perProperty(state);
}

} // namespace

BENCHMARK(build)->Arg(100)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);
BENCHMARK(merge)->Arg(100)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond);
BENCHMARK_MAIN();
