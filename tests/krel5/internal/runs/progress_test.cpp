// Which percentages reach the person who waits.
#include <libKrel5/internal/runs/ProgressFilter.h>

#include <gtest/gtest.h>

#include <vector>

using krel5::ProgressFilter;

namespace {

constexpr ProgressFilter::Decision kNothing{false, false};
constexpr ProgressFilter::Decision kValue{false, true};
constexpr ProgressFilter::Decision kZeroAndValue{true, true};

struct Report
{
    double at; // seconds
    int percent;
    ProgressFilter::Decision expected;
};

struct Case
{
    char const* name;
    std::vector<Report> reports;
};

} // namespace

TEST(ProgressFilter, sendsGrowingValuesTwiceASecond)
{
    for (Case const& one : std::vector<Case>{
             {"the first report goes out, after a zero", {{0, 7, kZeroAndValue}}},
             {"a zero needs no other zero", {{0, 0, kValue}, {1, 7, kValue}}},
             {"values do not shrink or repeat",
              {{0, 50, kZeroAndValue}, {1, 50, kNothing}, {2, 49, kNothing}}},
             {"what is no percentage is dropped",
              {{0, -1, kNothing}, {0, -7, kNothing}, {0, 101, kNothing}, {0, 1, kZeroAndValue}}},
             {"half a second has to pass",
              {{0, 1, kZeroAndValue}, {0.25, 2, kNothing}, {0.4375, 3, kNothing}, {0.5, 4, kValue}}},
             {"each half second counts from the last report that went out",
              {{0, 1, kZeroAndValue}, {0.5, 2, kValue}, {0.75, 3, kNothing}, {1, 3, kValue}}},
             {"a dropped report does not put the next one off",
              {{0, 1, kZeroAndValue}, {0.25, 2, kNothing}, {0.375, 1, kNothing}, {0.5, 2, kValue}}},
             {"100 goes out at once, and once",
              {{0, 1, kZeroAndValue}, {0, 100, kValue}, {0, 100, kNothing}}},
             {"the time counts from the first report, also when that was no percentage",
              {{5, 101, kNothing}, {5, 1, kZeroAndValue}, {5.25, 2, kNothing}, {5.5, 2, kValue}}},
         }) {
        double now = 0;
        int lastSent = -1;
        ProgressFilter filter([&now] { return now; });
        for (Report const& report : one.reports) {
            now = report.at;
            ProgressFilter::Decision const decision = filter.decide(report.percent, lastSent);
            EXPECT_EQ(decision, report.expected)
                << one.name << ": " << report.percent << " at " << report.at << " s";
            if (decision.send)
                lastSent = report.percent;
        }
    }
}

TEST(ProgressFilter, aNewRunStartsFromZeroButNotSooner)
{
    double now = 0;
    ProgressFilter filter([&now] { return now; });
    EXPECT_EQ(filter.decide(100, 99), kValue);
    EXPECT_EQ(filter.decide(5, -1), kNothing) << "the half second goes on across runs";
    EXPECT_EQ(filter.decide(0, -1), kValue);
    now = 0.5;
    EXPECT_EQ(filter.decide(5, -1), kZeroAndValue);
}
