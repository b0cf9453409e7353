// Copies under full load: sound memory passes, and what reads wrong once is told once, where it was.

#include <memory/CheckRegion.h>
#include <memory/Events.h>
#include <memory/MemoryTest.h>
#include <memory/Texts.h>
#include <modules/RecordingHost.h>

#include <atomic>
#include <bit>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <set>
#include <string>
#include <vector>

namespace krel5::modules::memory::test {
namespace {

using modules::test::RecordingHost;
using modules::test::valueOf;

/// From the third copy on, one bit of one word reads wrong: each time, or once.
struct BadWire
{
    std::uint64_t* m_word;
    std::atomic<int>* m_reads;
    bool m_once;

    template <typename Sink>
    void operator()(std::uint64_t const* source, std::uint64_t* target, std::size_t count,
                    BusWords const& expected, std::uint64_t flip, Sink const& sink) const
    {
        bool const isThere = m_word >= source && m_word < source + count;
        int const reads = isThere ? ++*m_reads : 0;
        if (m_once ? reads == 3 : reads >= 3)
            *m_word = expected[static_cast<std::size_t>(m_word - source)] ^ 0x100;
        copyBlock(source, target, count, expected, flip, sink);
    }
};

constexpr std::size_t kWords = 8 * BusTest<CopyPastCaches>::kBlockWords;

TEST(BusTest, WrongWordIsToldOnceForEachTimeThatItReadsWrong)
{
    for (bool const once : {true, false}) {
        std::vector<std::uint64_t> storage(kWords + 8);
        auto* const words = reinterpret_cast<std::uint64_t*>(
            (reinterpret_cast<std::uintptr_t>(storage.data()) + 63) / 64 * 64);
        std::atomic<int> reads{0};
        FaultLog log;
        BrokenPages const whole(4096);
        RecordingHost host;
        BusTest bus(words, kWords, 1, 7, log, whole, BadWire{words + 40000, &reads, once});
        ASSERT_TRUE(bus.run(host, std::chrono::milliseconds(30)));
        ASSERT_GE(reads, 3);
        EXPECT_EQ(log.total(), once ? 1u : static_cast<unsigned>(reads - 2));
        auto const faults = log.take();
        ASSERT_FALSE(faults.empty());
        EXPECT_EQ(faults[0].m_index, 40000u);
        EXPECT_EQ(faults[0].m_expected ^ faults[0].m_actual, 0x100u);
        EXPECT_EQ(host.m_progress.back(), 100);
    }
}

TEST(BusTest, OneWrongWordFailsALostPageTooAndTooManyEndIt)
{
    std::vector<std::uint64_t> storage(kWords + 8);
    auto* const words =
        reinterpret_cast<std::uint64_t*>((reinterpret_cast<std::uintptr_t>(storage.data()) + 63) / 64 * 64);
    std::atomic<int> reads{0};
    auto const check = [&](BrokenPages& pages, RecordingHost& host, auto const& copy, int milliseconds) {
        return checkBus(host, words, kWords, 1, 7, pages, std::chrono::milliseconds(milliseconds), copy);
    };
    BrokenPages whole(4096), one(4096), many(64);
    RecordingHost sound, wrong, stopped, lost, broken;
    EXPECT_EQ(check(whole, sound, CopyPastCaches(), 1), Outcome::Pass);
    EXPECT_EQ(check(whole, wrong, BadWire{words + 40000, &reads, true}, 30), Outcome::Fail);
    ASSERT_EQ(wrong.m_faults.size(), 1u);
    EXPECT_EQ(valueOf(wrong.m_faults[0], "DifferingBits"), "0x100");
    reads = 0;
    stopped.m_pollsBeforeStop = 5;
    EXPECT_EQ(check(whole, stopped, BadWire{words + 40000, &reads, false}, 600'000), Outcome::Fail);
    one.add(8192, {});
    EXPECT_EQ(check(one, lost, CopyPastCaches(), 1), Outcome::Fail);
    EXPECT_EQ(lost.m_faults.size(), 1u);
    for (std::uint64_t page = 0; page <= BrokenPages::kMost; ++page)
        many.add(page * 64, {});
    EXPECT_EQ(check(many, broken, CopyPastCaches(), 600'000), Outcome::Fail);
    EXPECT_EQ(broken.m_faults.size(), FaultLog::kKeptPerPass + 2) << "the rest in one, and that it ended";
}

/// Notes which blocks are read.
struct Noting
{
    std::atomic<unsigned>* m_read;
    std::uint64_t* m_words;
    template <typename Sink>
    void operator()(std::uint64_t const* source, std::uint64_t*, std::size_t, BusWords const&, std::uint64_t,
                    Sink const&) const
    {
        *m_read |= 1u << static_cast<std::size_t>(source - m_words) / BusTest<Noting>::kBlockWords;
    }
};

TEST(BusTest, EveryThreadsBlocksAreReadHoweverShortItIs)
{
    std::vector<std::uint64_t> storage(kWords + 8);
    auto* const words =
        reinterpret_cast<std::uint64_t*>((reinterpret_cast<std::uintptr_t>(storage.data()) + 63) / 64 * 64);
    std::atomic<unsigned> read{0};
    FaultLog log;
    BrokenPages const whole(4096);
    RecordingHost host;
    BusTest bus(words, kWords, 3, 7, log, whole, Noting{&read, words});
    ASSERT_TRUE(bus.run(host, std::chrono::milliseconds(0)));
    EXPECT_EQ(std::popcount(read.load()), 8);
    EXPECT_EQ(bus.wordsCopied(), 3 * BusTest<Noting>::kBlockWords) << "to one empty block in each slice";
}

TEST(BusWords, MakeEveryWireSwitchAndRest)
{
    std::set<std::uint64_t> switching;
    for (std::uint64_t random = 0; random < BusWords::kKinds; ++random) {
        BusWords const words(random);
        BusWords inverted(random);
        inverted.invert(~std::uint64_t{0});
        std::uint64_t changes = 0;
        for (std::size_t i = 0; i < 2 * BusWords::kPeriod; ++i) {
            changes |= words[i] ^ words[i + 1];
            ASSERT_EQ(inverted[i], ~words[i]);
        }
        switching.insert(changes);
    }
    EXPECT_TRUE(switching.contains(~std::uint64_t{0}));
    EXPECT_EQ(switching.size(), 2u) << "one kind keeps a wire at rest";
}

TEST(BusTest, RunsOnRealMemoryAndSaysHowMuchItCopied)
{
    RecordingHost host;
    MemorySettings settings;
    settings.m_mebibytes = 2;
    settings.m_busSeconds = 1;
    settings.m_seed = 5;
    ASSERT_EQ(runBusTest(host, settings), Outcome::Pass);
    EXPECT_TRUE(std::ranges::is_sorted(host.m_progress));
    EXPECT_EQ(host.m_progress.back(), 100);
    EXPECT_EQ(valueOf(host.m_notes.at(1), "Seed"), "5");
    EXPECT_GT(std::stoull(valueOf(host.m_notes.at(2), "MiB")), 2u);
    host.m_pollsBeforeStop = 5;
    EXPECT_EQ(runBusTest(host, settings), Outcome::Stopped);
}

TEST(RegionSize, IsReadFromItsText)
{
    struct Case
    {
        char const* m_text;
        bool m_good;
        std::uint64_t m_mebibytes;
        unsigned m_percent;
    };
    for (auto const& one :
         {Case{"0", true, 0, 0}, Case{"4096", true, 4096, 0}, Case{"max", true, 0, 100},
          Case{"1%", true, 0, 1}, Case{"100%", true, 0, 100}, Case{"0%", false, 0, 0},
          Case{"101%", false, 0, 0}, Case{"", false, 0, 0}, Case{"%", false, 0, 0}, Case{"-1", false, 0, 0},
          Case{"1 %", false, 0, 0}, Case{"12x", false, 0, 0}, Case{"99999999999999999999", false, 0, 0}}) {
        RecordingHost host;
        MemorySettings settings;
        EXPECT_EQ(readSize(host, one.m_text, settings), one.m_good) << one.m_text;
        EXPECT_EQ(settings.m_mebibytes, one.m_mebibytes) << one.m_text;
        EXPECT_EQ(settings.m_percent, one.m_percent) << one.m_text;
        EXPECT_EQ(host.m_problems.size(), one.m_good ? 0u : 1u) << one.m_text;
    }
}

TEST(RegionSize, IsAShareOfTheMostThatCanBeTaken)
{
    std::string root = testing::TempDir() + "memory.XXXXXX";
    ASSERT_NE(mkdtemp(root.data()), nullptr);
    std::filesystem::create_directory(root + "/proc");
    std::ofstream(root + "/proc/meminfo") << "MemTotal: 409600 kB\nMemAvailable: 204800 kB\n";
    auto const region = [&root](unsigned percent) {
        RecordingHost host;
        MemorySettings settings;
        settings.m_root = root + "/";
        settings.m_percent = percent;
        settings.m_busSeconds = 0;
        EXPECT_EQ(runBusTest(host, settings), Outcome::Pass);
        return valueOf(host.m_notes.at(0), "SizeMiB");
    };
    EXPECT_EQ(region(100), "72") << "of 200 MiB, 128 of which are left";
    EXPECT_EQ(region(25), "18");
    EXPECT_EQ(region(1), "1");
    std::filesystem::remove_all(root);
}

} // namespace
} // namespace krel5::modules::memory::test
