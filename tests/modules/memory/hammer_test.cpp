// Row hammer against a simulated module: banks, rows, and cells that flip after so many activations of both neighbours.

#include <memory/Events.h>
#include <memory/HammerRun.h>
#include <memory/HammerTest.h>
#include <memory/MemoryReport.h>
#include <memory/MemoryTest.h>
#include <modules/RecordingHost.h>
#include <modules/memory/ToldFrames.h>

#include <gtest/gtest.h>
#include <map>

namespace krel5::modules::memory::test {
namespace {

using modules::test::RecordingHost;
using modules::test::valueOf;
using namespace std::chrono_literals;

/// Addresses go to the banks in turn, row by row.
struct HammeredModule
{
    static constexpr std::size_t kRowWords = 1024;
    static constexpr std::size_t kBanks = 16;

    explicit HammeredModule(std::size_t words) : m_words(words) {}
    static std::size_t bankOf(std::size_t index) { return index / kRowWords % kBanks; }
    static std::size_t rowOf(std::size_t index) { return index / kRowWords / kBanks; }

    std::uint64_t read(std::size_t index) const { return m_words[index] | (index == m_stuck ? 1u : 0u); }
    void write(std::size_t index, std::uint64_t word)
    {
        m_words[index] = word;
        m_opened.clear(); // all refreshed
    }
    void drop(std::size_t, std::size_t) {}
    std::uint64_t alternate(std::size_t first, std::size_t second, unsigned rounds)
    {
        m_clock += rounds * 200ns;
        ++m_calls;
        if (bankOf(first) != bankOf(second) || rowOf(first) == rowOf(second))
            return rounds * 200;
        for (std::size_t const index : {first, second}) {
            auto const row = std::pair(bankOf(index), rowOf(index));
            m_opened[row] += rounds;
            auto const beyond = m_opened.find({row.first, row.second + 2});
            auto const before = m_opened.find({row.first, row.second - 2});
            for (auto const& [other, victim] :
                 {std::pair(beyond, row.second + 1), std::pair(before, row.second - 1)})
                if (other != m_opened.end() && std::min(other->second, m_opened[row]) >= m_flipsAfter)
                    m_words[(victim * kBanks + row.first) * kRowWords + 77] ^= std::exchange(m_flip, 0);
        }
        return rounds * (m_tellsByTime ? 300 : 200);
    }
    std::chrono::steady_clock::time_point now() const { return m_clock; }

    std::vector<std::uint64_t> m_words;
    std::map<std::pair<std::size_t, std::size_t>, std::uint64_t> m_opened;
    std::uint64_t m_flipsAfter = UINT64_MAX, m_flip = 0x10;
    std::size_t m_stuck = SIZE_MAX, m_calls = 0;
    bool m_tellsByTime = true;
    std::chrono::steady_clock::time_point m_clock{};
};

struct Recorded : HammerReporter
{
    std::vector<std::pair<HammerPair, WordFault>> m_flips;
    std::vector<WordFault> m_broken;
    void flipped(HammerPair const& pair, WordFault const& flip) override { m_flips.emplace_back(pair, flip); }
    void broken(WordFault const& fault) override { m_broken.push_back(fault); }
};

struct HammerTestRun : testing::Test
{
    using Hammer = HammerTest<HammeredModule>;
    bool run(std::chrono::milliseconds duration = 500ms)
    {
        std::vector<std::size_t> const blocks{0, Hammer::kBlockWords};
        BrokenPages const pages(4096);
        Hammer hammer(m_host, m_module, blocks, 7, pages, m_found);
        bool const finished = hammer.run(duration, 20ms); // 100000 activations of a pair
        m_counts = hammer.counts();
        return finished;
    }
    HammeredModule m_module{2 * Hammer::kBlockWords};
    RecordingHost m_host;
    Recorded m_found;
    HammerCounts m_counts;
};

TEST_F(HammerTestRun, FlipsTheRowBetweenTwoThatWereFoundByTime)
{
    m_module.m_flipsAfter = 90000;
    ASSERT_TRUE(run());
    ASSERT_EQ(m_found.m_flips.size(), 1u);
    auto const& [pair, flip] = m_found.m_flips[0];
    EXPECT_TRUE(pair.m_isTimed);
    EXPECT_EQ(flip.m_expected ^ flip.m_actual, 0x10u);
    auto const bank = [](std::size_t index) { return HammeredModule::bankOf(index); };
    auto const row = [](std::size_t index) { return HammeredModule::rowOf(index); };
    EXPECT_EQ(bank(flip.m_index), bank(pair.m_first));
    EXPECT_EQ(row(flip.m_index), row(pair.m_first) + 1);
    EXPECT_EQ(row(flip.m_index), row(pair.m_second) - 1);
    EXPECT_EQ(m_counts.m_timedPairs, m_counts.m_pairs);
    EXPECT_EQ(m_counts.m_flips, 1u);
    EXPECT_EQ(m_host.m_progress.back(), 100);
}

TEST_F(HammerTestRun, GoesByDistanceWhereTimesDoNotTell)
{
    m_module.m_tellsByTime = false;
    m_module.m_flipsAfter = 90000;
    ASSERT_TRUE(run(2000ms));
    ASSERT_EQ(m_found.m_flips.size(), 1u);
    EXPECT_FALSE(m_found.m_flips[0].first.m_isTimed);
    EXPECT_EQ(m_counts.m_timedPairs, 0u);
    EXPECT_GT(m_counts.m_pairs, 10u);
}

TEST_F(HammerTestRun, SoundMemoryFlipsNothingAndAStuckBitIsNoFlip)
{
    ASSERT_TRUE(run());
    EXPECT_TRUE(m_found.m_flips.empty());
    m_module.m_flipsAfter = 200000; // more than a pair's time allows
    ASSERT_TRUE(run());
    EXPECT_TRUE(m_found.m_flips.empty());
    m_module.m_stuck = 4321;
    ASSERT_TRUE(run());
    EXPECT_TRUE(m_found.m_flips.empty());
    EXPECT_EQ(m_found.m_broken.size(), 1u);
}

TEST(HammerRun, FlipsFailWhereThatIsAskedForAndAreTold)
{
    HammerCounts flips;
    flips.m_flips = 1;
    HammerCounts broken;
    broken.m_broken = 1;
    EXPECT_EQ(hammerOutcome(flips, false, true), Outcome::Pass);
    EXPECT_EQ(hammerOutcome(flips, true, false), Outcome::Fail);
    EXPECT_EQ(hammerOutcome(broken, false, true), Outcome::Fail);
    EXPECT_EQ(hammerOutcome({}, true, false), Outcome::Stopped);
    std::vector<std::uint64_t> words(8);
    RecordingHost host;
    MemoryReport report(host, words.data(), 4096);
    report.reportFlip({3, 0xFF, 0xFE}, &words[0], &words[6], false);
    EXPECT_TRUE(host.m_faults.empty());
    EXPECT_EQ(valueOf(host.m_notes.at(0), "Actual"), "0xfe");
    report.reportFlip({3, 0xFF, 0xFE}, &words[0], &words[6], true);
    EXPECT_EQ(valueOf(host.m_faults.at(0), "Offset"), "0x18");
}

TEST_F(HammerTestRun, StopIsSeenAfterOneMoreBurst)
{
    m_host.m_pollsBeforeStop = 300; // while it hammers
    EXPECT_FALSE(run(std::chrono::hours(1)));
    EXPECT_LE(m_module.m_calls, 3 * 300u);
    m_host.m_pollsBeforeStop = 5; // while it searches
    m_module.m_calls = 0;
    EXPECT_FALSE(run(std::chrono::hours(1)));
    EXPECT_LE(m_module.m_calls, 3 * 6u);
}

TEST(HammerRun, RunsOnRealMemoryOrSaysThatItMayNot)
{
    RecordingHost host;
    MemorySettings settings;
    settings.m_mebibytes = 16;
    settings.m_threads = 1;
    settings.m_busSeconds = 1;
    settings.m_hammerMilliseconds = 50;
    auto const outcome = runHammerTest(host, settings);
    if (!framesAreTold() || !kCanFlush) {
        EXPECT_NE(outcome, Outcome::Pass);
        ASSERT_EQ(host.m_problems.size(), 1u);
    } else if (outcome == Outcome::CannotRun) { // no large page in so little
        ASSERT_EQ(host.m_problems.size(), 1u);
    } else {
        EXPECT_EQ(outcome, Outcome::Pass);
        ASSERT_EQ(host.m_notes.back().m_eventKey, kEventHammered)
            << "no share: it does not test all of the region";
        EXPECT_NE(valueOf(host.m_notes.back(), "Pairs"), "0");
    }
}

TEST(HammerRun, APageThatTheHardwareGaveUpFails)
{
    if (!framesAreTold() || !kCanFlush)
        GTEST_SKIP() << "no page frames are told here";
    auto const made =
        LockedMemory::make(std::size_t{16} << 20, [] { return false; }, {[] { return UINT64_MAX; }, 0, {}});
    ASSERT_TRUE(made.m_memory);
    RecordingHost host;
    MemorySettings settings;
    settings.m_busSeconds = 0;
    settings.m_hammerMilliseconds = 1;
    BrokenPages pages(pageSize());
    pages.add(0, {});
    auto const outcome = checkHammer(host, settings, *made.m_memory, 1, pages);
    if (outcome == Outcome::CannotRun)
        GTEST_SKIP() << "no large page in so little";
    EXPECT_EQ(outcome, Outcome::Fail);
    EXPECT_EQ(host.m_faults.size(), 1u);
}

} // namespace
} // namespace krel5::modules::memory::test
