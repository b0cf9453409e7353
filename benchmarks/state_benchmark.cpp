// The state manager with many devices: cost for each property must not grow with the number of devices.
// `build` and `merge` time the adding only: what the memory allocator does when everything is given back is
// `destroy`.
#include <zel/model/state/StateManager.h>

#include <benchmark/benchmark.h>

#include <chrono>
#include <memory>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;
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

// Times `work` on a fresh manager and, where `end` says so, that manager's end instead.
template <typename Work>
void timeFresh(benchmark::State& state, bool end, Work work)
{
    for (auto _ : state) {
        auto manager = std::make_unique<zel::StateManager>();
        auto start = Clock::now();
        work(*manager);
        benchmark::DoNotOptimize(manager->deviceCount());
        auto const added = Clock::now() - start;
        start = Clock::now();
        manager.reset();
        auto const ended = Clock::now() - start;
        state.SetIterationTime(std::chrono::duration<double>(end ? ended : added).count());
    }
    perProperty(state);
}

void build(benchmark::State& state)
{
    int const devices = static_cast<int>(state.range(0));
    timeFresh(state, false, [devices](zel::StateManager& manager) { fill(manager, devices); });
}

void destroy(benchmark::State& state)
{
    int const devices = static_cast<int>(state.range(0));
    timeFresh(state, true, [devices](zel::StateManager& manager) { fill(manager, devices); });
}

void merge(benchmark::State& state)
{
    zel::StateManager source;
    fill(source, static_cast<int>(state.range(0)));
    timeFresh(state, false, [&source](zel::StateManager& manager) { manager.mergeWithTracking(source); });
}

// One device, one group: every member is known, or none is in a group yet.
std::unique_ptr<zel::DeviceImp> groupOf(int members, bool isGrouped)
{
    auto device =
        zel::DeviceImp::createGeneric(zel::CapabilityImp::HardDrive(), zel::CapabilityImp::SATA(), "drive",
                                      "/dev/sda", "a drive", "SATA:0:0:0:0", zel::CapabilityImp("SATA"));
    std::vector<zel::String> keys;
    for (int i = 0; i <= members; ++i) {
        keys.push_back(zel::String("Property") + zel::String::number(i));
        zel::PropertyImp property(
            std::make_shared<zel::PropertySpecImp>(keys.back(), zel::PropertyCategoryImp::SysInfo(),
                                                   zel::DataTypeImp::UINT32(), zel::CapabilityImp::ALL()));
        property.setPartOfGroup(isGrouped && i > 0);
        device->addProperty(&property);
    }
    keys.erase(keys.begin());
    if (isGrouped)
        device->getProperty(0).setChildren(std::move(keys));
    return device;
}

void mergeGroup(benchmark::State& state, bool isKnown)
{
    int const members = static_cast<int>(state.range(0));
    auto const theirs = groupOf(members, true);
    auto const mine = groupOf(members, isKnown);
    for (auto _ : state) {
        auto const copy = std::make_unique<zel::DeviceImp>(*mine);
        auto const start = Clock::now();
        benchmark::DoNotOptimize(copy->mergeFrom(*theirs));
        state.SetIterationTime(std::chrono::duration<double>(Clock::now() - start).count());
    }
    state.SetComplexityN(members);
    state.counters["ns/member"] =
        benchmark::Counter(static_cast<double>(members) / 1e9,
                           benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

} // namespace

#define GROUPS Arg(1000)->Arg(4000)->Arg(16000)->Arg(64000)->Unit(benchmark::kMicrosecond)->UseManualTime()
BENCHMARK_CAPTURE(mergeGroup, known, true)->GROUPS;
BENCHMARK_CAPTURE(mergeGroup, new, false)->GROUPS;
#define SIZES Arg(100)->Arg(1000)->Arg(10000)->Unit(benchmark::kMillisecond)->UseManualTime()
BENCHMARK(build)->SIZES;
BENCHMARK(merge)->SIZES;
BENCHMARK(destroy)->SIZES;
BENCHMARK_MAIN();
