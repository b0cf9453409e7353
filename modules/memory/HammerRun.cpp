#include <memory/HammerRun.h>

#include <memory/Events.h>
#include <memory/HammerTest.h>
#include <memory/MemoryReport.h>
#include <memory/RealMemory.h>
#include <memory/Texts.h>

#include <chrono>
#include <string>
#include <vector>

namespace krel5::modules::memory {
namespace {

class HammeredMemory
{
public:
    explicit HammeredMemory(std::uint64_t* words) : m_words(words) {}

    std::uint64_t read(std::size_t index) const noexcept { return m_words[index]; }
    void write(std::size_t index, std::uint64_t word) noexcept { m_words[index] = word; }
    void drop(std::size_t first, std::size_t last) const noexcept
    {
        for (std::size_t i = first; i < last; i += kWordsPerLine)
            flushLine(const_cast<std::uint64_t*>(m_words + i), m_flush);
        flushFence();
    }
    /// Nanoseconds.
    std::uint64_t alternate(std::size_t first, std::size_t second, unsigned rounds) const noexcept
    {
        auto const begin = now();
        for (unsigned i = 0; i < rounds; ++i) {
            (void)m_words[first];
            (void)m_words[second];
            flushLine(const_cast<std::uint64_t*>(m_words + first), m_flush);
            flushLine(const_cast<std::uint64_t*>(m_words + second), m_flush);
            flushFence();
        }
        return static_cast<std::uint64_t>(
            std::chrono::duration_cast<std::chrono::nanoseconds>(now() - begin).count());
    }
    static std::chrono::steady_clock::time_point now() noexcept { return std::chrono::steady_clock::now(); }

private:
    std::uint64_t volatile* m_words;
    LineFlush m_flush = bestLineFlush();
};

/// First words of the large pages' worth of memory that lies together. Absent where the system does not tell frames.
std::optional<std::vector<std::size_t>> blocksOf(LockedMemory const& region,
                                                 std::function<bool()> const& stop)
{
    constexpr std::size_t kBytes = HammerTest<HammeredMemory>::kBlockWords * sizeof(std::uint64_t);
    std::size_t const all = region.wordCount() * sizeof(std::uint64_t);
    auto const frames = frameNumbers(region.words(), all, stop);
    if (std::ranges::count(frames, 0u) != 0)
        return std::nullopt;
    std::vector<std::size_t> blocks;
    std::size_t const begin = -reinterpret_cast<std::uintptr_t>(region.words()) % kBytes;
    std::size_t const pages = kBytes / pageSize();
    for (std::size_t at = begin; at + kBytes <= frames.size() * pageSize(); at += kBytes) {
        std::size_t const first = at / pageSize();
        std::size_t together = 1;
        while (together < pages && frames[first + together] == frames[first] + together)
            ++together;
        if (together == pages)
            blocks.push_back(at / sizeof(std::uint64_t));
    }
    return blocks;
}

class Reporter : public HammerReporter
{
public:
    Reporter(MemoryReport& report, std::uint64_t const* words, bool isFault)
        : m_report(report), m_words(words), m_isFault(isFault)
    {}
    void flipped(HammerPair const& pair, WordFault const& flip) override
    {
        if (m_flips++ < FaultLog::kKeptPerPass)
            m_report.reportFlip(flip, m_words + pair.m_first, m_words + pair.m_second, m_isFault);
    }
    void broken(WordFault const& fault) override
    {
        if (m_broken++ < FaultLog::kKeptPerPass)
            m_report.report({kTextHammer.m_english, kTextFill.m_english, fault.m_expected}, fault);
    }

private:
    MemoryReport& m_report;
    std::uint64_t const* m_words;
    bool m_isFault;
    std::size_t m_flips = 0, m_broken = 0;
};

void noteCounts(TestHost& host, HammerCounts const& counts)
{
    host.note(Report(kEventHammered, {{"Pairs", std::to_string(counts.m_pairs)},
                                      {"Timed", std::to_string(counts.m_timedPairs)},
                                      {"Activations", std::to_string(counts.m_activations)},
                                      {"Flips", std::to_string(counts.m_flips)}}));
}

} // namespace

Outcome checkHammer(TestHost& host, MemorySettings const& settings, LockedMemory const& region,
                    std::uint64_t seed, BrokenPages& brokenPages)
{
    if (!kCanFlush) {
        host.problem(Report(kEventNoMemory, {{"Reason", host.text(kTextFlushNotOffered)}}));
        return Outcome::CannotRun;
    }
    auto const blocks = blocksOf(region, [&host] { return host.stopRequested(); });
    if (host.stopRequested())
        return Outcome::Stopped;
    if (!blocks) {
        host.problem(Report(kEventNoFrames, {}));
        return Outcome::InsufficientPrivilege;
    }
    if (blocks->empty()) {
        host.problem(Report(kEventNoMemory, {{"Reason", host.text(kTextNothingTogether)}}));
        return Outcome::CannotRun;
    }
    MemoryReport report(host, region.words(), brokenPages.pageBytes());
    Reporter reporter(report, region.words(), settings.m_judgesFlips);
    HammeredMemory memory(region.words());
    HammerTest<HammeredMemory> test(host, memory, *blocks, seed, brokenPages, reporter);
    bool const finished = test.run(std::chrono::seconds(settings.m_busSeconds),
                                   std::chrono::milliseconds(settings.m_hammerMilliseconds));
    auto pages = brokenPages.take();
    pages.resize(std::min(pages.size(), FaultLog::kKeptPerPass));
    for (auto const& page : pages)
        report.report({kTextHammer.m_english, kTextFill.m_english, 0}, page);
    HammerCounts counts = test.counts();
    counts.m_broken += brokenPages.total();
    noteCounts(host, counts);
    return hammerOutcome(counts, settings.m_judgesFlips, finished);
}

} // namespace krel5::modules::memory
