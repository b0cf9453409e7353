// A share of the machine's memory: with a simulated system that gives out page frames, and with written trees.

#include <memory/CoverRun.h>
#include <memory/Events.h>
#include <memory/MemoryTest.h>
#include <memory/linux/LockedMemory.h>
#include <memory/linux/MachineMemory.h>
#include <memory/linux/MemoryNodes.h>
#include <modules/RecordingHost.h>
#include <modules/memory/ToldFrames.h>

#include <deque>
#include <filesystem>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <linux/mempolicy.h>
#include <numeric>
#include <set>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace krel5::modules::memory::test {
namespace {

using modules::test::RecordingHost;
using modules::test::valueOf;

/// Gives what was given back last first, as the kernel does, and keeps `m_margin` frames.
struct System
{
    struct Region
    {
        std::vector<std::uint64_t> m_frames;
        System* m_system;
        Region(std::vector<std::uint64_t> frames, System* system) : m_frames(frames), m_system(system) {}
        Region(Region const&) = delete;
        ~Region() { m_system->m_free.insert(m_system->m_free.begin(), m_frames.begin(), m_frames.end()); }
    };

    System(std::uint64_t frames, std::size_t margin) : m_free(frames), m_margin(margin)
    {
        std::iota(m_free.begin(), m_free.end(), 1);
    }
    std::unique_ptr<Region> take(bool fine)
    {
        if (m_shuffles && fine && m_taken++ % 100 == 0)
            std::rotate(m_free.begin(), m_free.end() - 1, m_free.end());
        std::size_t const size =
            std::min<std::size_t>(fine ? 5 : 50, m_free.size() - std::min(m_free.size(), m_margin));
        if (size == 0)
            return nullptr;
        auto const end = m_free.begin() + static_cast<std::ptrdiff_t>(size);
        std::vector<std::uint64_t> const frames(m_free.begin(), end);
        m_free.erase(m_free.begin(), end);
        return std::make_unique<Region>(frames, this);
    }
    std::vector<std::uint64_t> frames(Region const& region) const { return region.m_frames; }

    std::deque<std::uint64_t> m_free;
    std::size_t m_margin;
    bool m_shuffles = false; ///< others take and give back a page now and then
    unsigned m_taken = 0;
};

struct CoverRunTest : testing::Test
{
    template <typename Supplier>
    Covered cover(Supplier& system, CoverGoal goal)
    {
        auto const check = [this](TestHost& host, System::Region& region) {
            host.progress(0);
            m_checked.insert(region.m_frames.begin(), region.m_frames.end());
            ++m_checks;
            auto const outcome = m_during ? m_during(region) : Outcome::Pass;
            host.progress(100);
            return outcome;
        };
        return CoverRun(m_host, system, goal, check).run();
    }
    RecordingHost m_host;
    std::set<std::uint64_t> m_checked;
    unsigned m_checks = 0;
    std::function<Outcome(System::Region&)> m_during;
};

TEST_F(CoverRunTest, EndsAsSoonAsTheShareIsTestedAndGivesEverythingBack)
{
    System system(1000, 60);
    auto const covered = cover(system, {600, 1000});
    EXPECT_EQ(covered.m_end, CoverEnd::Reached);
    EXPECT_EQ(covered.m_frames, 600u);
    EXPECT_EQ(m_checked.size(), 600u);
    EXPECT_EQ(m_checks, 12u) << "no page twice";
    EXPECT_EQ(system.m_free.size(), 1000u);
    EXPECT_EQ(m_host.m_progress.back(), 100);
    EXPECT_TRUE(std::ranges::is_sorted(m_host.m_progress));
}

TEST_F(CoverRunTest, LaterRoundsFindWhatTheFirstCouldNotHave)
{
    System still(1000, 60);
    auto covered = cover(still, {1000, 1000});
    EXPECT_EQ(covered.m_end, CoverEnd::Short);
    EXPECT_EQ(covered.m_frames, 940u) << "the margin is never given";
    m_checked.clear();
    System lively(1000, 60);
    lively.m_shuffles = true;
    covered = cover(lively, {1000, 1000});
    EXPECT_GT(covered.m_frames, 940u);
    EXPECT_EQ(covered.m_frames, m_checked.size());
}

/// Always the same pages, and always more of them.
struct MeanSystem : System
{
    using System::System;
    std::unique_ptr<Region> take(bool)
    {
        m_free.assign({7, 8, 9});
        return System::take(true);
    }
};

TEST_F(CoverRunTest, TheSamePagesAgainAreTestedOnceAndEnd)
{
    MeanSystem system(3, 0);
    auto const covered = cover(system, {500, 1000});
    EXPECT_EQ(covered.m_end, CoverEnd::Short);
    EXPECT_EQ(covered.m_frames, 3u);
    EXPECT_EQ(m_checks, 1u);
}

TEST_F(CoverRunTest, PagesThatWereMovedMeanwhileDoNotCount)
{
    System system(100, 0);
    m_during = [](System::Region& region) { return region.m_frames[0] += 1000, Outcome::Pass; };
    auto const covered = cover(system, {100, 100});
    EXPECT_EQ(covered.m_end, CoverEnd::Short);
    EXPECT_LT(covered.m_frames, 100u);
}

TEST_F(CoverRunTest, AFaultAStopAndWhatTheSystemRefusesEndIt)
{
    System system(100, 0);
    m_during = [this](auto&) { return m_checks == 2 ? Outcome::Fail : Outcome::Pass; };
    auto covered = cover(system, {100, 1000});
    EXPECT_EQ(covered.m_end, CoverEnd::Ended);
    EXPECT_EQ(covered.m_outcome, Outcome::Fail);
    EXPECT_EQ(covered.m_frames, 100u);

    m_during = [this](auto&) { return m_host.m_pollsBeforeStop = 0, Outcome::Fail; };
    covered = cover(system, {100, 100});
    EXPECT_EQ(covered.m_outcome, Outcome::Fail);
    EXPECT_EQ(covered.m_frames, 0u) << "who knows how far it came";
    EXPECT_EQ(cover(system, {100, 100}).m_end, CoverEnd::Stopped);
    m_host.m_pollsBeforeStop = 1000;

    System refuses(100, 100);
    EXPECT_EQ(cover(refuses, {50, 100}).m_end, CoverEnd::NoRegion);
    System hides(100, 0);
    hides.m_free[3] = 0;
    EXPECT_EQ(cover(hides, {50, 100}).m_end, CoverEnd::NoFrames);
}

class CoverTreeTest : public testing::Test
{
protected:
    void SetUp() override
    {
        ASSERT_NE(mkdtemp(m_root.data()), nullptr);
        m_root += "/";
        available(1000);
        write("proc/iomem", "00001000-00000fff : System RAM\n"
                            "00100000-063fffff : Reserved\n"
                            "06400000-126fffff : System RAM\n" // 195 MiB
                            "  06400000-07ffffff : System RAM\n"
                            "100000000-1002fffff : System RAM\n" // 3 MiB
                            "200000000-2ffffffff : CXL Window 0\n"
                            "  200000000-2000fffff : System RAM\n" // a MiB
                            "  200100000-2ffffffff : dax0.0\n"
                            "    200100000-2001fffff : System RAM (kmem)\n" // a MiB
                            "300000000-3000fffff : System RAMBUS\n"
                            "zz\n1-2");
    }
    ~CoverTreeTest() override { std::filesystem::remove_all(m_root); }
    void write(std::string const& path, std::string const& text) const
    {
        std::filesystem::create_directories(std::filesystem::path(m_root + path).parent_path());
        std::ofstream(m_root + path) << text;
    }
    void available(unsigned mebibytes) const
    {
        write("proc/meminfo",
              "MemTotal: 2048 kB\nMemAvailable: " + std::to_string(mebibytes * 1024) + " kB\n");
    }
    MemorySettings settings(unsigned cover) const
    {
        MemorySettings settings;
        settings.m_root = m_root;
        settings.m_mebibytes = 64;
        settings.m_cover = cover;
        settings.m_flush = FlushMode::None;
        return settings;
    }
    std::string m_root = testing::TempDir() + "cover.XXXXXX";
};

TEST_F(CoverTreeTest, MemoryOfTheMachineIsItsSystemRam)
{
    EXPECT_EQ(totalMemory(m_root), std::uint64_t{200} << 20);
    write("proc/iomem", "00000000-00000000 : System RAM\n"); // without privilege
    EXPECT_EQ(totalMemory(m_root), std::uint64_t{2} << 20);
}

/// The system has no more after the first region.
struct HostThatTakesTheRest : RecordingHost
{
    std::function<void()> m_take;
    bool m_isTesting = false;
    void progress(int percent) override
    {
        if (std::exchange(m_isTesting, percent > 0) != m_isTesting)
            m_take();
    }
};

TEST_F(CoverTreeTest, RunTestsTheShareOrSaysWhatItGot)
{
    RecordingHost host;
    auto const outcome = runMemoryTest(host, Algorithm::Random, settings(50));
    if (!framesAreTold()) {
        EXPECT_EQ(outcome, Outcome::InsufficientPrivilege);
        ASSERT_EQ(host.m_problems.size(), 1u);
        EXPECT_EQ(host.m_problems[0].m_eventKey, kEventNoFrames);
        return;
    }
    EXPECT_EQ(outcome, Outcome::Pass);
    ASSERT_EQ(host.m_notes.size(), 3u) << "one seed for all";
    EXPECT_EQ(host.m_notes[0].m_eventKey, kEventCover);
    EXPECT_EQ(host.m_notes[2].m_eventKey, kEventShare);
    EXPECT_EQ(valueOf(host.m_notes[2], "TestedMiB"), "128");
    EXPECT_EQ(valueOf(host.m_notes[2], "Percent"), "64.0");

    HostThatTakesTheRest poor;
    poor.m_take = [this] { available(128); };
    EXPECT_EQ(runMemoryTest(poor, Algorithm::Random, settings(50)), Outcome::CannotRun);
    ASSERT_EQ(poor.m_problems.size(), 1u);
    EXPECT_EQ(poor.m_problems[0].m_eventKey, kEventCoverShort);
    EXPECT_EQ(valueOf(poor.m_problems[0], "Percent"), "32.0");
    EXPECT_EQ(valueOf(poor.m_problems[0], "Wanted"), "50");
}

TEST_F(CoverTreeTest, OneRegionNamesItsShareUnlessItWasStopped)
{
    RecordingHost host;
    EXPECT_EQ(runMemoryTest(host, Algorithm::Random, settings(0)), Outcome::Pass);
    EXPECT_EQ(host.m_notes.back().m_eventKey, kEventShare);
    EXPECT_EQ(valueOf(host.m_notes.back(), "Percent"), "32.0");
    RecordingHost impatient;
    impatient.m_pollsBeforeStop = 20;
    EXPECT_EQ(runMemoryTest(impatient, Algorithm::Thorough, settings(0)), Outcome::Stopped);
    EXPECT_NE(impatient.m_notes.back().m_eventKey, kEventShare);
}

TEST_F(CoverTreeTest, NodesAreThoseWithMemory)
{
    using Nodes = std::vector<unsigned>;
    EXPECT_EQ(memoryNodes(m_root), Nodes{});
    write("sys/devices/system/node/has_memory", "0-2,7\n");
    EXPECT_EQ(memoryNodes(m_root), (Nodes{0, 1, 2, 7}));
    for (auto const* const garbage : {"", "-", "1-", "2-1", "1,,2", "0-1024", "99999999999", "1;2", "0 1"})
        EXPECT_EQ(nodeList(garbage), Nodes{}) << garbage;
    EXPECT_EQ(nodeList("0-1023").size(), 1024u);
}

TEST_F(CoverTreeTest, RegionIsSpreadOverTheMachinesNodes)
{
    auto const nodes = memoryNodes("/");
    auto const policyOf = [](void const* address, unsigned long* mask) {
        int policy = -1;
        syscall(SYS_get_mempolicy, &policy, mask, 1025ul, address, static_cast<unsigned long>(MPOL_F_ADDR));
        return policy;
    };
    unsigned long mask[16] = {};
    std::vector<std::uint64_t> probe(4 * pageSize() / sizeof(std::uint64_t));
    auto const page = (reinterpret_cast<std::uintptr_t>(probe.data()) / pageSize() + 1) * pageSize();
    if (nodes.empty() || !spreadOverNodes(reinterpret_cast<void*>(page), pageSize(), nodes))
        GTEST_SKIP() << "no nodes here, or no policy permitted";
    auto const lockedOn = [](std::vector<unsigned> const& on) {
        return LockedMemory::make(4 * pageSize(), [] { return false; }, {[] { return UINT64_MAX; }, 0, on})
            .m_memory;
    };
    auto const one = lockedOn({nodes[0]}), several = lockedOn({nodes[0], nodes.back()});
    ASSERT_TRUE(one && several);
    EXPECT_EQ(policyOf(one->words(), mask), MPOL_DEFAULT);
    EXPECT_EQ(policyOf(several->words(), mask), MPOL_INTERLEAVE);
    EXPECT_TRUE(mask[nodes[0] / 64] >> nodes[0] % 64 & 1);
}

} // namespace
} // namespace krel5::modules::memory::test
