// Worker threads of the shipped tests: every way a run ends.

#include <common/Workers.h>
#include <modules/RecordingHost.h>

#include <algorithm>
#include <gtest/gtest.h>
#include <stdexcept>

namespace krel5::modules::test {
namespace {

TEST(Workers, EachRunsOnceAndProgressFillsItsSpan)
{
    RecordingHost host;
    std::atomic<unsigned> seen{0};
    EXPECT_TRUE(runWorkers(host, 5, 500,
                           [&](unsigned worker, WorkerControl& control) {
                               seen.fetch_or(1u << worker);
                               control.advance(100);
                           },
                           {20, 40}));
    EXPECT_EQ(seen.load(), 0b11111u);
    EXPECT_TRUE(std::ranges::is_sorted(host.m_progress));
    EXPECT_GE(host.m_progress.front(), 20);
    EXPECT_EQ(host.m_progress.back(), 40);
}

/// Lets the workers go on when it is told that they have done half.
struct HalfwayHost : RecordingHost
{
    std::atomic<bool> m_isHalfway{false};
    void progress(int percent) override { m_isHalfway = m_isHalfway || percent == 30; }
};

TEST(Workers, TellHowFarTheyAre)
{
    HalfwayHost host;
    EXPECT_TRUE(runWorkers(host, 2, 500,
                           [&host](unsigned, WorkerControl& control) {
                               control.advance(125);
                               while (!host.m_isHalfway)
                                   std::this_thread::yield();
                           },
                           {20, 40}));
}

TEST(Workers, StopReachesAllOfThem)
{
    RecordingHost host;
    host.m_pollsBeforeStop = 2;
    std::atomic<int> ended{0};
    auto const work = [&](unsigned, WorkerControl& control) {
        while (!control.stopping()) {
        }
        ++ended;
    };
    EXPECT_FALSE(runWorkers(host, 3, 1, work));
    EXPECT_EQ(ended.load(), 3);
    EXPECT_FALSE(runWorkers(host, 3, 1, work)) << "a stop asked for earlier starts nothing";
    EXPECT_EQ(ended.load(), 3);
}

TEST(Workers, ExceptionStopsTheOthersAndComesBack)
{
    RecordingHost host;
    auto const work = [](unsigned worker, WorkerControl& control) {
        if (worker == 1)
            throw std::runtime_error("broken");
        while (!control.stopping()) {
        }
    };
    EXPECT_THROW(runWorkers(host, 3, 1, work), std::runtime_error);
}

/// A host whose calls throw, as the library's do when the engine is gone.
struct ThrowingHost : RecordingHost
{
    void progress(int) override { throw std::runtime_error("gone"); }
};

TEST(Workers, ExceptionOfTheHostStopsThem)
{
    ThrowingHost host;
    auto const work = [](unsigned, WorkerControl& control) {
        while (!control.stopping()) {
        }
    };
    EXPECT_THROW(runWorkers(host, 2, 1, work), std::runtime_error);
}

} // namespace
} // namespace krel5::modules::test
