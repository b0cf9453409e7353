#include <sensors/Judge.h>

#include <gtest/gtest.h>

#include <string>

namespace krel5::modules::sensors {
namespace {

using namespace std::chrono_literals;

Rule const& ruleOf(std::string const& alert)
{
    for (Rule const& rule : rules())
        if (rule.alert == alert)
            return rule;
    throw std::runtime_error(alert);
}

/// R raised, C cleared, . unchanged, one a reading, a second apart.
std::string verdicts(char const* alert, std::vector<double> const& readings, std::optional<double> limit)
{
    Judge judge;
    Judge::Clock::time_point now{};
    std::string all;
    for (double const reading : readings)
        all += ".RC"[static_cast<int>(judge.look(ruleOf(alert), reading, limit, now += 1s, 5s))];
    return all;
}

TEST(Judges, AskTwiceBeforeTheyRaiseAndThreeTimesBeforeTheyClear)
{
    EXPECT_EQ(verdicts("TooHot", {79, 81, 79, 81, 82, 90}, 80), "....R.") << "one glitch is none";
    EXPECT_EQ(verdicts("TooHot", {81, 81, 78, 78, 78, 78}, 80), ".R....") << "3 degrees are the margin";
    EXPECT_EQ(verdicts("TooHot", {81, 81, 77, 77, 78, 77, 77, 77}, 80), ".R.....C");
    EXPECT_EQ(verdicts("TooHot", {80, 80, 80}, 80), "...") << "the limit itself is allowed";
    EXPECT_EQ(verdicts("TooHot", {200, 200, 200}, std::nullopt), "...") << "no limit";
    EXPECT_EQ(verdicts("MuchTooHot", {101, 97, 97, 97}, 100), "R..C") << "a critical one comes at once";
    EXPECT_EQ(verdicts("FanTooSlow", {290, 290, 310, 310, 310, 316, 316, 316}, 300), ".R.....C") << "5 %";
    EXPECT_EQ(verdicts("TooCold", {-11, -12, -8, -8, -8, -7, -7, -7}, -10), ".R.....C") << "below zero";
    EXPECT_EQ(verdicts("ArrayDegraded", {0, 1, 1, 0, 0, 0}, 0), ".R...C");
}

TEST(Judges, TellCountersThatRiseUntilTheyAreQuiet)
{
    EXPECT_EQ(verdicts("MemoryErrors", {7, 7, 8, 8, 8, 10, 10, 10, 10, 10, 10}, std::nullopt), "..R..R....C")
        << "what was counted before the start is no news";
    EXPECT_EQ(verdicts("MemoryErrors", {7, 0, 0, 1}, std::nullopt), "...R") << "began anew";
    Judge judge;
    Judge::Clock::time_point now{};
    for (double const count : {5.0, 7.0, 8.0})
        judge.look(ruleOf("MemoryErrors"), count, std::nullopt, now += 1s, 5s);
    EXPECT_EQ(judge.risen(), 3) << "since the alert stands";
}

} // namespace
} // namespace krel5::modules::sensors
