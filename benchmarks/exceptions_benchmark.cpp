// An exception of the library that is caught and not read, against one of the standard library and against one
// that is read; a value assigned against a value copied.

#include <krel5/KrelException.h>
#include <krel5/Value.h>

#include <benchmark/benchmark.h>

#include <stdexcept>

namespace {

template <typename Exception>
void caught(benchmark::State& state)
{
    for (auto _ : state) {
        try {
            throw Exception("a property that is not there");
        } catch (Exception const& exception) {
            benchmark::DoNotOptimize(&exception);
        }
    }
}

void caughtAndRead(benchmark::State& state)
{
    for (auto _ : state) {
        try {
            throw krel5::KrelException("a property that is not there");
        } catch (krel5::KrelException const& exception) {
            benchmark::DoNotOptimize(exception.toString().getUTF8Buffer());
        }
    }
}

krel5::Value const& sample()
{
    static krel5::Value const s_sample("a text that is too long to be kept inside its string");
    return s_sample;
}

void valueCopied(benchmark::State& state)
{
    for (auto _ : state) {
        krel5::Value const copy(sample());
        benchmark::DoNotOptimize(&copy);
    }
}

void valueAssigned(benchmark::State& state)
{
    krel5::Value assigned(17);
    for (auto _ : state) {
        assigned = sample();
        benchmark::DoNotOptimize(&assigned);
    }
}

} // namespace

BENCHMARK(caught<std::runtime_error>)->Name("standardException");
BENCHMARK(caught<krel5::KrelException>)->Name("exception");
BENCHMARK(caughtAndRead)->Name("exceptionRead");
BENCHMARK(valueCopied);
BENCHMARK(valueAssigned);

BENCHMARK_MAIN();
