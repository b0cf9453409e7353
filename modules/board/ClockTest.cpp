#include <board/ClockTest.h>

#include <board/Events.h>
#include <board/Texts.h>

#include <common/Decimals.h>

#include <algorithm>
#include <cmath>
#include <vector>

namespace krel5::modules::board {
namespace {

constexpr std::chrono::milliseconds kStep{10}, kNearEdge{1};
constexpr double kWindow = 1;   // seconds, over which a rate is taken
constexpr double kStanding = 3; // seconds of one clock without a step of the other
constexpr double kMostGap =
    0.5; // seconds: this process was paused meanwhile; an edge that fell into it is not known
constexpr char kStamp[] = "TSC", kReal[] = "RTC", kRaw[] = "monotonic raw";

class ClockTest
{
public:
    ClockTest(TestHost& host, Clocks const& clocks, ClockSettings const& settings)
        : m_host(host), m_clocks(clocks), m_settings(settings)
    {}

    Outcome run()
    {
        m_begin = m_last = m_clocks.raw();
        m_stamp = m_clocks.stamp();
        m_real = m_clocks.realTime();
        m_realChanged = m_begin;
        if (!m_stamp && !m_real) {
            m_host.problem({kEventClockNone, {}});
            return Outcome::NotSupported;
        }
        m_window = sample();
        while (m_last - m_begin < m_settings.seconds) {
            if (m_host.stopRequested())
                return m_isBad ? Outcome::Fail : Outcome::Stopped;
            m_host.progress(static_cast<int>(100 * (m_last - m_begin) / m_settings.seconds));
            m_clocks.wait(isNearEdge() ? kNearEdge : kStep);
            if (!look())
                return Outcome::Fail;
        }
        bool const isStampJudged = judgeStamp(), isRealJudged = judgeReal();
        bool const isAny = isStampJudged || isRealJudged;
        if (!isAny && !m_isBad) {
            m_host.problem({kEventClockShort, {{"Seconds", decimals(m_settings.seconds, 1)}}});
            return Outcome::CannotRun;
        }
        return m_isBad ? Outcome::Fail : Outcome::Pass;
    }

private:
    struct Sample
    {
        double raw = 0;
        std::uint64_t stamp = 0;
        double uncertain = 0; // seconds between the two readings
    };
    /// An edge of the real-time clock: its second began between two looks.
    struct Edge
    {
        double raw = 0, uncertain = 0;
        std::int64_t second = 0;
    };

    void fault(EventKey key, std::vector<std::pair<std::string, std::string>> values)
    {
        m_isBad = true;
        m_host.fault({key, std::move(values)});
    }

    // The closest of some: between two readings the process may lose its processor.
    Sample sample()
    {
        Sample best;
        for (int i = 0; m_stamp && i < 5; ++i) {
            double const before = m_clocks.raw();
            auto const stamp = m_clocks.stamp();
            double const after = m_clocks.raw();
            if (stamp && (i == 0 || after - before < best.uncertain))
                best = {(before + after) / 2, *stamp, after - before};
        }
        return best;
    }

    bool isNearEdge() const
    {
        double const since = m_last - m_realChanged;
        return m_real && (!m_first || since - std::floor(since) > 0.95 || since - std::floor(since) < 0.05);
    }

    /// False for a clock that nothing more can be said of.
    bool look()
    {
        double const now = m_clocks.raw();
        if (now < m_last) {
            fault(kEventClockBack, {{"Clock", kRaw}, {"Seconds", decimals(m_last - now, 6)}});
            return false;
        }
        double const gap = now - m_last;
        m_last = now;
        return lookAtStamp(now) && lookAtReal(now, gap);
    }

    bool lookAtStamp(double now)
    {
        if (!m_stamp)
            return true;
        auto const stamp = m_clocks.stamp();
        if (stamp && *stamp < *m_stamp) {
            fault(kEventClockBack, {{"Clock", kStamp}, {"Seconds", decimals(now - m_begin, 3)}});
            return false;
        }
        m_stamp = stamp ? stamp : m_stamp;
        if (now - m_window.raw < kWindow)
            return true;
        Sample const next = sample();
        double const seconds = next.raw - m_window.raw;
        double const ticks = static_cast<double>(next.stamp - m_window.stamp);
        if (next.stamp <= m_window.stamp) {
            fault(kEventClockStands, {{"Clock", kStamp}, {"Seconds", decimals(seconds, 1)}});
            return false;
        }
        m_rates.push_back({ticks / seconds, (next.uncertain + m_window.uncertain) / seconds});
        m_window = next;
        return true;
    }

    bool lookAtReal(double now, double gap)
    {
        if (!m_real)
            return true;
        auto const real = m_clocks.realTime();
        if (real && *real < *m_real) {
            fault(kEventClockBack, {{"Clock", kReal}, {"Seconds", std::to_string(*m_real - *real)}});
            return false;
        }
        if (!real || *real == *m_real) {
            if (now - m_realChanged < kStanding)
                return true;
            fault(kEventClockStands, {{"Clock", kReal}, {"Seconds", decimals(now - m_realChanged, 1)}});
            return false;
        }
        m_real = real;
        m_realChanged = now;
        if (gap < kMostGap) {
            Edge const edge{now - gap / 2, gap / 2, *real};
            if (!m_first)
                m_first = edge;
            m_lastEdge = edge;
        }
        return true;
    }

    bool judgeStamp()
    {
        if (m_rates.size() < 2)
            return false;
        double mean = 0;
        for (Rate const& one : m_rates)
            mean += one.rate / static_cast<double>(m_rates.size());
        double worst = 0, uncertain = 0;
        for (Rate const& one : m_rates) {
            double const off = std::abs(one.rate / mean - 1) * 1e6 - one.uncertain * 1e6;
            worst = std::max(worst, off);
            uncertain = std::max(uncertain, one.uncertain * 1e6);
        }
        m_host.note({kEventClockRate,
                     {{"Clock", kStamp},
                      {"Rate", decimals(mean / 1e6, 3) + " MHz"},
                      {"Ppm", decimals(std::max(worst, 0.0), 1)},
                      {"Uncertain", decimals(uncertain, 1)}}});
        if (worst > m_settings.mostPpm)
            fault(
                kEventClockUneven,
                {{"Clock", kStamp}, {"Ppm", decimals(worst, 1)}, {"Most", decimals(m_settings.mostPpm, 0)}});
        return true;
    }

    bool judgeReal()
    {
        if (!m_first || m_lastEdge.second - m_first->second < 2)
            return false;
        double const seconds = static_cast<double>(m_lastEdge.second - m_first->second);
        double const ppm = ((m_lastEdge.raw - m_first->raw) / seconds - 1) * 1e6;
        double const uncertain = (m_lastEdge.uncertain + m_first->uncertain) / seconds * 1e6;
        m_host.note({kEventClockRate,
                     {{"Clock", kReal},
                      {"Rate", decimals(seconds, 0) + " s"},
                      {"Ppm", decimals(ppm, 0)},
                      {"Uncertain", decimals(uncertain, 0)}}});
        if (std::abs(ppm) - uncertain > m_settings.mostPpm)
            fault(kEventClockDrift, {{"Ppm", decimals(ppm, 0)},
                                     {"Uncertain", decimals(uncertain, 0)},
                                     {"Most", decimals(m_settings.mostPpm, 0)}});
        return true;
    }

    struct Rate
    {
        double rate, uncertain; // ticks a second; a share
    };

    TestHost& m_host;
    Clocks const& m_clocks;
    ClockSettings const& m_settings;
    double m_begin = 0, m_last = 0, m_realChanged = 0; // raw
    std::optional<std::uint64_t> m_stamp;
    std::optional<std::int64_t> m_real;
    std::optional<Edge> m_first;
    Edge m_lastEdge;
    Sample m_window;
    std::vector<Rate> m_rates;
    bool m_isBad = false;
};

} // namespace

Outcome runClockTest(TestHost& host, Clocks const& clocks, ClockSettings const& settings)
{
    return ClockTest(host, clocks, settings).run();
}

} // namespace krel5::modules::board
