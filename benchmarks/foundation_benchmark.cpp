// Text conversion against iconv, log lines against the bare write(2) of the same bytes, pipes against bare read and write.

#include <zel/foundation/Logger.h>
#include <zel/foundation/System.h>
#include <zel/foundation/Utf.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <fcntl.h>
#include <iconv.h>
#include <stdexcept>
#include <stdlib.h>
#include <string>
#include <thread>
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

/// 64 MiB through a pipe to a reader on another thread.
template <typename Send, typename Receive>
void throughAPipe(benchmark::State& state, Send send, Receive receive)
{
    std::string const text(64u << 20, 'x');
    for (auto _ : state) {
        int ends[2] = {};
        if (::pipe2(ends, O_CLOEXEC) != 0)
            throw std::runtime_error("no pipe");
        std::size_t received = 0;
        std::thread reader([&] { received = receive(ends[0]); });
        send(ends[1], text);
        ::close(ends[1]);
        reader.join();
        ::close(ends[0]);
        if (received != text.size())
            throw std::runtime_error("not all of it arrived");
    }
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}

// What two programs would do that know nothing of pipes: the kernel's own size, and a buffer of that size.
void barePipe(benchmark::State& state)
{
    auto const send = [](int end, std::string const& text) {
        for (std::size_t at = 0; at < text.size();)
            at += static_cast<std::size_t>(std::max<ssize_t>(0, ::write(end, &text[at], text.size() - at)));
    };
    auto const receive = [](int end) {
        std::string all;
        std::vector<char> buffer(64u << 10);
        for (ssize_t count = 0; (count = ::read(end, buffer.data(), buffer.size())) > 0;)
            all.append(buffer.data(), static_cast<std::size_t>(count));
        return all.size();
    };
    throughAPipe(state, send, receive);
}

void platformPipe(benchmark::State& state)
{
    auto const send = [](int end, std::string const& text) {
        std::size_t count = 0;
        zel::System::writeToPipeUtf8(end, text, count);
    };
    auto const receive = [](int end) {
        std::string all;
        std::size_t count = 0;
        zel::System::readFromPipeUtf8(end, all, count);
        return all.size();
    };
    throughAPipe(state, send, receive);
}

} // namespace

// 0 ASCII, 1 Latin, 2 CJK, 3 mixed, 4 Cyrillic.
BENCHMARK(decodeWithPlatform)->DenseRange(0, 4);
BENCHMARK(decodeWithIconv)->DenseRange(0, 4);
BENCHMARK(bareWrite);
BENCHMARK(logLineWritten);
BENCHMARK(logLineBelowThreshold);
BENCHMARK(traceScopeBelowThreshold);
BENCHMARK(barePipe)->UseRealTime();
BENCHMARK(platformPipe)->UseRealTime();

BENCHMARK_MAIN();
