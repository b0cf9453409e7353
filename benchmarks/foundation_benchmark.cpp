// Text conversion against iconv, log lines against the bare write(2) of the same bytes.

#include <zel/foundation/Logger.h>
#include <zel/foundation/Utf.h>

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <iconv.h>
#include <stdexcept>
#include <stdlib.h>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

std::string repeated(std::string const& sample, std::size_t bytes)
{
    std::string text;
    while (text.size() < bytes)
        text += sample;
    return text;
}

std::string const& sampleText(std::int64_t index)
{
    static std::vector<std::string> const s_texts = {
        repeated("The quick brown fox jumps over the lazy dog. ", 16384),
        repeated("Déjà vu: çà et là, où l'été a été fêté à Noël près de Orléans. ", 16384),
        repeated("内存测试通过，硬盘需要进一步检查，请联系技术支持。", 16384),
        repeated("Test 内存 5: été 😀 пройден за 3.5 s, Größe 64 GiB — ok. ", 16384),
        repeated("Тест памяти пройден успешно за три секунды. ", 16384),
    };
    return s_texts[static_cast<std::size_t>(index)];
}

void decodeWithPlatform(benchmark::State& state)
{
    std::string const& text = sampleText(state.range(0));
    std::vector<zel::utf::Unit> units(text.size());
    for (auto _ : state) {
        benchmark::DoNotOptimize(zel::utf::decodeUtf8(text.data(), text.size(), units.data()));
        benchmark::ClobberMemory();
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}

void decodeWithIconv(benchmark::State& state)
{
    std::string text = sampleText(state.range(0));
    std::vector<zel::utf::Unit> units(text.size() + 1);
    iconv_t const converter = ::iconv_open("UTF-16LE", "UTF-8");
    for (auto _ : state) {
        char* in = text.data();
        char* out = reinterpret_cast<char*>(units.data());
        std::size_t inLeft = text.size(), outLeft = 2 * units.size();
        benchmark::DoNotOptimize(::iconv(converter, &in, &inLeft, &out, &outLeft));
        benchmark::ClobberMemory();
    }
    ::iconv_close(converter);
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}

/// A file of its own, removed at the end.
class ScratchFile
{
public:
    ScratchFile()
    {
        if (!::mkdtemp(m_folder.data()))
            throw std::runtime_error("no scratch folder");
        m_path = m_folder + "/scratch.log";
    }
    ~ScratchFile()
    {
        ::unlink(path().c_str());
        ::rmdir(m_folder.c_str());
    }
    std::string const& path() const { return m_path; }

private:
    std::string m_folder = "/tmp/foundation-benchmark-XXXXXX", m_path;
};

zel::Logger& logger()
{
    static zel::Logger& s_logger = zel::LogFactory::getLogger("krel5.Benchmark");
    return s_logger;
}

constexpr std::string_view kWritten =
    "2026-01-31T23:59:59.123Z error krel5.Benchmark 345 test returned result: PASSED after 17 seconds\n";

// The file is cut now and then, in both programs alike, so that its growth is not what is measured.
void cutSometimes(benchmark::State& state, std::string const& path, std::size_t& lines)
{
    if (++lines % 100000 != 0)
        return;
    state.PauseTiming();
    if (::truncate(path.c_str(), 0) != 0)
        state.SkipWithError("cannot cut the file");
    state.ResumeTiming();
}

void bareWrite(benchmark::State& state)
{
    ScratchFile const file;
    int const descriptor = ::open(file.path().c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
    std::size_t lines = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(::write(descriptor, kWritten.data(), kWritten.size()));
        cutSometimes(state, file.path(), lines);
    }
    ::close(descriptor);
}

void logLineWritten(benchmark::State& state)
{
    ScratchFile const file;
    zel::LogFactory::createDefaultFileAppender(file.path());
    int seconds = 17;
    benchmark::DoNotOptimize(seconds);
    std::size_t lines = 0;
    for (auto _ : state) {
        ZEL_LOG_LINE(logger(), zel::LogLevel::Error, 345)
            << "test returned result: PASSED after " << seconds << " seconds";
        cutSometimes(state, file.path(), lines);
    }
}

void logLineBelowThreshold(benchmark::State& state)
{
    int seconds = 17;
    benchmark::DoNotOptimize(seconds);
    for (auto _ : state) {
        ZEL_LOG_LINE(logger(), zel::LogLevel::Debug, 345)
            << "test returned result: PASSED after " << seconds << " seconds";
        benchmark::ClobberMemory();
    }
}

void traceScopeBelowThreshold(benchmark::State& state)
{
    for (auto _ : state) {
        zel::TraceScope const scope(logger(), "benchmark", 1);
        benchmark::ClobberMemory();
    }
}

} // namespace

// 0 ASCII, 1 Latin, 2 CJK, 3 mixed, 4 Cyrillic.
BENCHMARK(decodeWithPlatform)->DenseRange(0, 4);
BENCHMARK(decodeWithIconv)->DenseRange(0, 4);
BENCHMARK(bareWrite);
BENCHMARK(logLineWritten);
BENCHMARK(logLineBelowThreshold);
BENCHMARK(traceScopeBelowThreshold);

BENCHMARK_MAIN();
