#include <board/ClockTest.h>

#include <board/Events.h>
#include <board/Texts.h>

#include <common/Decimals.h>

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

namespace krel5::modules::board {
namespace {

constexpr std::chrono::milliseconds kStep{10}, kNearEdge{1};
constexpr double kWindow = 1;   // seconds, over which a rate is taken
constexpr double kStanding = 3; // seconds of one clock without a step of the other
constexpr double kMostGap =
    0.5; // seconds: this process was paused meanwhile; an edge that fell into it is not known
constexpr double kLeastSleep = 0.1; // seconds; less is the time between two readings
constexpr char kStamp[] = "TSC", kReal[] = "RTC", kRaw[] = "monotonic raw";

class ClockTest
{
public:
    ClockTest(TestHost& host, Clocks const& clocks, ClockSettings const& settings)
        : m_host(host), m_clocks(clocks), m_settings(settings)
    {}

    Outcome run()
    {
        m_slept = m_clocks.slept();
        m_begin = m_last = m_clocks.raw();
        m_stamp = m_clocks.stamp();
        if (!m_stamp && !m_clocks.hasRealTime) {
            m_host.problem({kEventClockNone, {}});
            return Outcome::NotSupported;
        }
        m_window = sample();
        m_end = m_begin + m_settings.seconds;
        while (m_last < m_end || isWatchedAgain()) {
            if (m_host.stopRequested())
                return m_isBad ? Outcome::Fail : Outcome::Stopped;
            if (m_last - m_begin < m_settings.seconds)
                m_host.progress(static_cast<int>(100 * (m_last - m_begin) / m_settings.seconds));
            auto const step = isNearEdge() ? kNearEdge : kStep;
            m_clocks.wait(step);
            if (!look(1e-3 * static_cast<double>(step.count())))
                return outcome();
        }
        bool const isStampJudged = judgeStamp(), isRealJudged = judgeReal();
        bool const isAny = isStampJudged || isRealJudged;
        if (!isAny && outcome() == Outcome::Pass) {
            m_host.problem({kEventClockShort, {{"Seconds", decimals(m_settings.seconds, 1)}}});
            return Outcome::CannotRun;
        }
        if (m_isAgain && outcome() == Outcome::Pass)
            m_host.warning({kEventClockSet, {}});
        return outcome();
    }

private:
    Outcome outcome() const
    {
        return m_isBad ? Outcome::Fail : m_hasSlept ? Outcome::CannotRun : Outcome::Pass;
    }

    struct Sample
    {
        double raw = 0;
        std::uint64_t stamp = 0;
        double uncertain = 0; // seconds between the two readings
    };
    /// A reading of the real-time clock, and when it was asked and had answered: in between this process may lose its processor.
    struct Reading
    {
        double before = 0, after = 0;
        std::int64_t second = 0;
    };
    /// An edge of the real-time clock: its second began between two readings.
    struct Edge
    {
        double raw = 0, uncertain = 0;
        std::int64_t second = 0;
    };

    void fault(EventKey key, std::vector<std::pair<std::string, std::string>> values)
    {
        if (!m_hasSlept && hasSlept(m_clocks, m_slept)) {
            m_hasSlept = true;
            m_host.problem({kEventClockSlept, {}});
        }
        if (m_hasSlept)
            return;
        m_isBad = true;
        m_host.fault({key, std::move(values)});
    }

    /// The real-time clock from here on, once: somebody may have set it, as systems do that keep it right.
    bool beginAgain()
    {
        if (std::exchange(m_isAgain, true))
            return false;
        m_first.reset();
        m_lastEdge = {};
        m_end = m_last + m_settings.seconds;
        return true;
    }
    bool isWatchedAgain()
    {
        auto const drift = driftOfReal();
        return drift && drift->isTooFar(m_settings) && beginAgain();
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
        double const since = m_last - m_changed;
        return m_read && (!m_first || since - std::floor(since) > 0.95 || since - std::floor(since) < 0.05);
    }

    /// False for a clock that nothing more can be said of.
    bool look(double waited)
    {
        double const now = m_clocks.raw();
        if (now < m_last) {
            fault(kEventClockBack, {{"Clock", kRaw}, {"Amount", decimals(m_last - now, 6) + " s"}});
            return false;
        }
        m_waited = now > m_last ? 0 : m_waited + waited;
        if (m_waited >= kStanding) {
            fault(kEventClockStands, {{"Clock", kRaw}, {"Seconds", decimals(m_waited, 1)}});
            return false;
        }
        m_last = now;
        return lookAtStamp(now) && lookAtReal();
    }

    bool lookAtStamp(double now)
    {
        if (!m_stamp)
            return true;
        auto const stamp = m_clocks.stamp();
        if (stamp && *stamp < *m_stamp) {
            fault(kEventClockBack,
                  {{"Clock", kStamp}, {"Amount", std::to_string(*m_stamp - *stamp) + " ticks"}});
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

    bool lookAtReal()
    {
        if (!m_clocks.hasRealTime)
            return true;
        Reading now;
        now.before = m_clocks.raw();
        auto const second = m_clocks.realTime();
        now.after = m_clocks.raw();
        if (!second && m_clocks.isShort())
            return true;
        if (!second)
            return isWithin(kEventClockSilent, now.before - (m_read ? m_read->after : m_begin));
        now.second = *second;
        auto const last = std::exchange(m_read, now);
        if (!last) {
            m_changed = now.after;
            return true;
        }
        double const gap = now.after - last->before;
        bool const isAhead = static_cast<double>(now.second - last->second) > gap + 1;
        if ((now.second < last->second || isAhead) && beginAgain()) {
            m_changed = now.after;
            return true;
        }
        if (now.second < last->second) {
            fault(kEventClockBack,
                  {{"Clock", kReal}, {"Amount", std::to_string(last->second - now.second) + " s"}});
            return false;
        }
        if (now.second == last->second)
            return isWithin(kEventClockStands, now.before - m_changed);
        m_changed = now.after;
        if (gap < kMostGap) {
            m_lastEdge = {last->before + gap / 2, gap / 2, now.second};
            if (!m_first)
                m_first = m_lastEdge;
        }
        return true;
    }

    /// False, and a fault, when the real-time clock has not done for too long what it has to.
    bool isWithin(EventKey key, double seconds)
    {
        if (seconds < kStanding)
            return true;
        fault(key, {{"Clock", kReal}, {"Seconds", decimals(seconds, 1)}});
        return false;
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

    struct Drift
    {
        double seconds, ppm, uncertain;
        bool isTooFar(ClockSettings const& settings) const
        {
            return std::abs(ppm) - uncertain > settings.mostPpm;
        }
    };
    std::optional<Drift> driftOfReal() const
    {
        if (!m_first || m_lastEdge.second - m_first->second < 2)
            return std::nullopt;
        double const seconds = static_cast<double>(m_lastEdge.second - m_first->second);
        return Drift{seconds, ((m_lastEdge.raw - m_first->raw) / seconds - 1) * 1e6,
                     (m_lastEdge.uncertain + m_first->uncertain) / seconds * 1e6};
    }

    bool judgeReal()
    {
        auto const drift = driftOfReal();
        if (!drift)
            return false;
        std::string const ppm = decimals(drift->ppm, 0), uncertain = decimals(drift->uncertain, 0);
        m_host.note({kEventClockRate,
                     {{"Clock", kReal},
                      {"Rate", decimals(drift->seconds, 0) + " s"},
                      {"Ppm", ppm},
                      {"Uncertain", uncertain}}});
        if (drift->isTooFar(m_settings))
            fault(kEventClockDrift,
                  {{"Ppm", ppm}, {"Uncertain", uncertain}, {"Most", decimals(m_settings.mostPpm, 0)}});
        return true;
    }

    struct Rate
    {
        double rate, uncertain; // ticks a second; a share
    };

    TestHost& m_host;
    Clocks const& m_clocks;
    ClockSettings const& m_settings;
    double m_end = 0;                              // raw
    double m_begin = 0, m_last = 0, m_changed = 0; // raw; when the real-time clock's second was first seen
    double m_waited = 0;                           // seconds, in which the raw clock showed the same
    double m_slept = 0;
    std::optional<std::uint64_t> m_stamp;
    std::optional<Reading> m_read;
    std::optional<Edge> m_first;
    Edge m_lastEdge;
    Sample m_window;
    std::vector<Rate> m_rates;
    bool m_isBad = false, m_hasSlept = false, m_isAgain = false;
};

} // namespace

bool hasSlept(Clocks const& clocks, double before) { return clocks.slept() - before > kLeastSleep; }

Outcome runClockTest(TestHost& host, Clocks const& clocks, ClockSettings const& settings)
{
    return ClockTest(host, clocks, settings).run();
}

} // namespace krel5::modules::board
