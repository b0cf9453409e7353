// The memory module's march element against a hand-written volatile loop that does the same reads and writes
// over the same region, on one thread.

#include <memory/Kernels.h>
#include <memory/RealMemory.h>

#include <benchmark/benchmark.h>
#include <cstdint>
#include <vector>

namespace {

using namespace krel5::modules::memory;

constexpr std::uint64_t kZero = 0x5555555555555555u;
constexpr std::uint64_t kOne = ~kZero;

/// One element that reads D and writes its complement, then one that does the reverse.
constexpr MarchTest kReadWrite = march("", "up(r0,w1); down(r1,w0)");

std::vector<std::uint64_t>& region(benchmark::State const& state)
{
    static std::vector<std::uint64_t> s_words;
    s_words.assign(static_cast<std::size_t>(state.range(0)) / sizeof(std::uint64_t), kZero);
    return s_words;
}

void count(benchmark::State& state, std::uint64_t wrong, std::int64_t operationsPerWord)
{
    if (wrong != 0)
        state.SkipWithError("memory read wrong");
    state.SetBytesProcessed(state.iterations() * state.range(0) * operationsPerWord);
}

/// In the order of kReadWrite, and counting what is wrong as the module must.
void handWrittenReadWrite(benchmark::State& state)
{
    auto& words = region(state);
    std::uint64_t wrong = 0;
    for (auto _ : state) {
        std::uint64_t volatile* const base = words.data();
        std::size_t const size = words.size();
        for (std::size_t i = 0; i < size; ++i) {
            if (base[i] != kZero)
                ++wrong;
            base[i] = kOne;
        }
        for (std::size_t i = size; i-- > 0;) {
            if (base[i] != kOne)
                ++wrong;
            base[i] = kZero;
        }
    }
    count(state, wrong, 4);
}

void moduleReadWrite(benchmark::State& state)
{
    auto& words = region(state);
    std::uint64_t wrong = 0;
    RealMemory memory(words.data(), LineFlush::None);
    auto sink = [&](std::size_t, std::uint64_t, std::uint64_t) __attribute__((noinline, cold)) { ++wrong; };
    for (auto _ : state) {
        marchWords<kReadWrite, 0>(memory, 0, words.size(), Background<std::uint64_t>{kZero}, sink);
        marchWords<kReadWrite, 1>(memory, 0, words.size(), Background<std::uint64_t>{kZero}, sink);
    }
    count(state, wrong, 4);
}

/// The two longest elements of the thorough test: the second leaves the region as the first found it.
constexpr MarchTest kLongest =
    march("", "up(r0,r0,w1,w1,r1,r1,w0,w0,r0,w1); up(r1,r1,w0,w0,r0,r0,w1,w1,r1,w0)");

[[gnu::always_inline]] inline void handWrittenElement(std::uint64_t volatile* base, std::size_t size,
                                                      std::uint64_t zero, std::uint64_t one,
                                                      std::uint64_t& wrong)
{
    for (std::size_t i = 0; i < size; ++i) {
        wrong += base[i] != zero;
        wrong += base[i] != zero;
        base[i] = one;
        base[i] = one;
        wrong += base[i] != one;
        wrong += base[i] != one;
        base[i] = zero;
        base[i] = zero;
        wrong += base[i] != zero;
        base[i] = one;
    }
}

void handWrittenLongest(benchmark::State& state)
{
    auto& words = region(state);
    std::uint64_t wrong = 0;
    for (auto _ : state) {
        handWrittenElement(words.data(), words.size(), kZero, kOne, wrong);
        handWrittenElement(words.data(), words.size(), kOne, kZero, wrong);
    }
    count(state, wrong, 20);
}

void moduleLongest(benchmark::State& state)
{
    auto& words = region(state);
    std::uint64_t wrong = 0;
    RealMemory memory(words.data(), LineFlush::None);
    auto sink = [&](std::size_t, std::uint64_t, std::uint64_t) __attribute__((noinline, cold)) { ++wrong; };
    for (auto _ : state) {
        marchWords<kLongest, 0>(memory, 0, words.size(), Background<std::uint64_t>{kZero}, sink);
        marchWords<kLongest, 1>(memory, 0, words.size(), Background<std::uint64_t>{kZero}, sink);
    }
    count(state, wrong, 20);
}

void sizes(benchmark::internal::Benchmark* benchmark)
{
    benchmark->Arg(256 << 10)->Arg(256 << 20)->Unit(benchmark::kMillisecond);
}

} // namespace

BENCHMARK(handWrittenReadWrite)->Apply(sizes);
BENCHMARK(moduleReadWrite)->Apply(sizes);
BENCHMARK(handWrittenLongest)->Apply(sizes);
BENCHMARK(moduleLongest)->Apply(sizes);
BENCHMARK_MAIN();
