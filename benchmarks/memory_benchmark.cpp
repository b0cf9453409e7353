// The memory module's march element against a hand-written volatile loop that does the same reads and writes
// over the same region, on one thread.

#include <memory/Kernels.h>
#include <memory/RealMemory.h>

#include <benchmark/benchmark.h>
#include <cstdint>
#include <type_traits>
#include <utility>
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

/// The march of the quick test with one background, written back line by line, by plain volatile loops.
template <bool kDown>
void handWrittenStep(std::uint64_t volatile* base, std::size_t size, std::uint64_t expected,
                     std::uint64_t written, LineFlush flush, std::uint64_t& wrong)
{
    for (std::size_t line = 0; line < size; line += kWordsPerLine) {
        std::size_t const first = kDown ? size - kWordsPerLine - line : line;
        for (std::size_t i = 0; i < kWordsPerLine; ++i) {
            std::size_t const index = first + (kDown ? kWordsPerLine - 1 - i : i);
            wrong += base[index] != expected;
            base[index] = written;
        }
        flushLine(const_cast<std::uint64_t*>(base + first), flush);
    }
    flushFence();
}

void handWrittenQuick(benchmark::State& state)
{
    auto& words = region(state);
    auto* const base = words.data();
    std::size_t const size = words.size();
    LineFlush const flush = bestLineFlush();
    std::uint64_t wrong = 0;
    for (auto _ : state) {
        for (std::size_t line = 0; line < size; line += kWordsPerLine) {
            for (std::size_t i = 0; i < kWordsPerLine; ++i)
                static_cast<std::uint64_t volatile*>(base)[line + i] = kZero;
            flushLine(base + line, flush);
        }
        flushFence();
        handWrittenStep<false>(base, size, kZero, kOne, flush, wrong);
        handWrittenStep<false>(base, size, kOne, kZero, flush, wrong);
        handWrittenStep<true>(base, size, kZero, kOne, flush, wrong);
        handWrittenStep<true>(base, size, kOne, kZero, flush, wrong);
        for (std::size_t line = 0; line < size; line += kWordsPerLine) {
            for (std::size_t i = 0; i < kWordsPerLine; ++i)
                wrong += static_cast<std::uint64_t volatile*>(base)[line + i] != kZero;
            flushLine(base + line, flush);
        }
        flushFence();
    }
    count(state, wrong, static_cast<std::int64_t>(kMarchCMinus.length()));
}

void moduleQuick(benchmark::State& state)
{
    auto& words = region(state);
    std::uint64_t wrong = 0;
    RealMemory memory(words.data(), bestLineFlush());
    auto sink = [&](std::size_t, std::uint64_t, std::uint64_t) __attribute__((noinline, cold)) { ++wrong; };
    auto const step = [&]<std::size_t kElement>(std::integral_constant<std::size_t, kElement>) {
        marchWords<kMarchCMinus, kElement>(memory, 0, words.size(), Background<std::uint64_t>{kZero}, sink);
        memory.settle();
    };
    for (auto _ : state) {
        [&]<std::size_t... kElements>(std::index_sequence<kElements...>)
        {
            (step(std::integral_constant<std::size_t, kElements>()), ...);
        }
        (std::make_index_sequence<kMarchCMinus.m_count>());
    }
    count(state, wrong, static_cast<std::int64_t>(kMarchCMinus.length()));
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
BENCHMARK(handWrittenQuick)->Arg(1 << 30)->Unit(benchmark::kMillisecond);
BENCHMARK(moduleQuick)->Arg(1 << 30)->Unit(benchmark::kMillisecond);
BENCHMARK_MAIN();
