// The storage module's read test against plain reads of the same blocks past the cache, on a file without a
// name in the working directory; its drive is the one that is measured.

#include <storage/Drive.h>
#include <storage/ReadTest.h>

#include <benchmark/benchmark.h>

#include <cstring>
#include <new>

namespace {

using namespace krel5::modules;
using namespace krel5::modules::storage;

constexpr std::uint64_t kFileBytes = std::uint64_t(256) << 20;
constexpr std::size_t kBlock = std::size_t(1) << 20;

struct SilentHost : TestHost
{
    void progress(int) override {}
    bool stopRequested() override { return false; }
    void fault(Fault const&) override { m_clean = false; }
    void problem(Report const&) override { m_clean = false; }
    void note(Report const&) override {}
    bool m_clean = true;
};

SeededContent const& content()
{
    static SeededContent const s_content(1);
    return s_content;
}

BlockSource* scratch(benchmark::State& state)
{
    static OpenedSource const s_opened =
        makeScratchFile(".", kFileBytes, content(), [](std::uint64_t) { return true; });
    if (s_opened.m_error != 0)
        state.SkipWithError(std::strerror(s_opened.m_error));
    else if (!s_opened.m_direct)
        state.SkipWithError("no reading past the cache here");
    else
        return s_opened.m_source.get();
    return nullptr;
}

void plainReads(benchmark::State& state)
{
    BlockSource* const source = scratch(state);
    auto* const memory = static_cast<std::byte*>(::operator new(kBlock, std::align_val_t(kReadAlignment)));
    for (auto _ : state) {
        for (std::uint64_t offset = 0; offset < kFileBytes; offset += kBlock)
            if (!source->readAt(offset, {memory, kBlock}).complete(kBlock))
                state.SkipWithError("a read failed");
        state.SetBytesProcessed(state.bytes_processed() + static_cast<std::int64_t>(kFileBytes));
    }
    ::operator delete(memory, std::align_val_t(kReadAlignment));
}
BENCHMARK(plainReads)->UseRealTime()->Unit(benchmark::kMillisecond);

void readTest(benchmark::State& state, bool checked)
{
    BlockSource* const source = scratch(state);
    ReadPlan plan;
    plan.m_order = ReadPlan::Order::Surface;
    plan.m_blockSize = kBlock;
    plan.m_check = checked ? &content() : nullptr;
    for (auto _ : state) {
        SilentHost host;
        if (runReadTest(host, *source, plan).m_outcome != Outcome::Pass || !host.m_clean)
            state.SkipWithError("the test did not pass");
        state.SetBytesProcessed(state.bytes_processed() + static_cast<std::int64_t>(kFileBytes));
    }
}
BENCHMARK_CAPTURE(readTest, contentUnknown, false)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(readTest, contentChecked, true)->UseRealTime()->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
