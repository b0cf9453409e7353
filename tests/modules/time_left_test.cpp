// The estimate of the time left: what is told, and when it is too early for it.

#include <common/TimeLeft.h>

#include <gtest/gtest.h>

namespace krel5::modules::test {
namespace {

struct Step
{
    int m_percent;
    double m_now;
    std::optional<unsigned> m_told;
};

void expectSteps(std::initializer_list<Step> steps)
{
    TimeLeft left;
    for (Step const& one : steps)
        EXPECT_EQ(left.tell(one.m_percent, one.m_now), one.m_told) << one.m_percent << " % at " << one.m_now;
}

TEST(TimeLeft, WaitsForFivePercentAndForFiveSeconds)
{
    expectSteps({{0, 100, {}}, {1, 102.9, {}}, {4, 120, {}}, {5, 120, 380}});
    expectSteps({{0, 100, {}}, {60, 103, {}}, {80, 104.9, {}}, {90, 106, 1}});
}

TEST(TimeLeft, CountsFromTheFirstPercentageAndNotFromItsOwnBirth)
{
    expectSteps({{0, 1000, {}}, {50, 1010, 10}});
}

TEST(TimeLeft, IsToldEveryTwoSecondsAndNotAtTheEnd)
{
    expectSteps({{0, 0, {}}, {50, 10, 10}, {55, 11.9, {}}, {60, 12, 8}, {60, 14, 9}, {100, 20, {}}});
}

TEST(TimeLeft, StartsAnewWithEveryRun)
{
    expectSteps({{0, 0, {}}, {99, 99, 1}, {100, 100, {}}, {0, 100, {}}, {10, 104, {}}, {10, 105, 45}});
}

TEST(TimeLeft, ForgetsARunThatEndedEarly)
{
    TimeLeft left;
    EXPECT_EQ(left.tell(10, 100), std::nullopt);
    EXPECT_EQ(left.tell(10, 110), 90u);
    left.beginRun(); // where the former one stood, so that no percentage tells them apart
    EXPECT_EQ(left.tell(10, 111), std::nullopt);
    EXPECT_EQ(left.tell(20, 115.9), std::nullopt);
    EXPECT_EQ(left.tell(50, 121), 10u);
}

} // namespace
} // namespace krel5::modules::test
