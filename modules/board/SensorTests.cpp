#include <board/SensorTests.h>

#include <board/Events.h>
#include <board/Texts.h>

#include <common/Decimals.h>
#include <common/evidence/HwmonInputs.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace krel5::modules::board {
namespace {

constexpr std::chrono::milliseconds kStep{50};
constexpr double kBetweenLooks = 0.5; // seconds
constexpr double kMostReading = 1e7;  // thousandths; beyond that a chip says nonsense

/// Nothing for what no chip measures.
std::optional<double> reading(MachineFolder const& machine, std::string const& path)
{
    auto const value = machine.reading(path);
    return value && std::abs(*value) <= kMostReading ? value : std::nullopt;
}

/// Calls `look` now and then until the time is over. Nothing: it was to the end.
std::optional<Outcome> watch(TestHost& host, Pace const& pace, double seconds,
                             std::function<void()> const& look)
{
    double const begin = pace.now();
    double looked = begin - kBetweenLooks;
    for (double now = begin; now - begin < seconds; now = pace.now()) {
        if (host.stopRequested())
            return Outcome::Stopped;
        host.progress(static_cast<int>(100 * (now - begin) / seconds));
        if (now - looked >= kBetweenLooks) {
            looked = now;
            look();
        }
        pace.wait(kStep);
    }
    look();
    return std::nullopt;
}

// ---- fans

struct FanSeen
{
    HwmonInput input;
    double least = 0, most = 0, last = 0; // turns a minute
    bool isSeen = false, isAlarm = false;
    // The hottest, in degrees: at which it turned; at which it stood; at which it stood again, no cooler than when it turned. A
    // fan that rests below some temperature begins late and stops early.
    double turnedAt = -1e9, stoodAt = -1e9, stoppedAt = -1e9;
};

class FanTest
{
public:
    FanTest(TestHost& host, MachineFolder const& machine, Pace const& pace, FanSettings const& settings)
        : m_host(host), m_machine(machine), m_pace(pace), m_settings(settings),
          m_heat(hwmonInputs(machine, "temp"))
    {
        for (HwmonInput const& input : hwmonInputs(machine, "fan"))
            m_fans.push_back({input});
    }

    Outcome run()
    {
        auto const end =
            m_fans.empty() ? std::nullopt : watch(m_host, m_pace, m_settings.seconds, [this] { look(); });
        bool const isAny =
            std::any_of(m_fans.begin(), m_fans.end(), [](FanSeen const& one) { return one.isSeen; });
        if (!isAny && !end) {
            m_host.problem({kEventFanNone, {}});
            return Outcome::NotSupported;
        }
        judge(!end);
        return m_isBad ? Outcome::Fail : end.value_or(Outcome::Pass);
    }

private:
    double hottest() const
    {
        double most = -1e9;
        for (HwmonInput const& one : m_heat)
            most = std::max(most, reading(m_machine, one.path + "_input").value_or(-1e12) / 1000);
        return most < 150 ? most : -1e9; // a sensor that is not connected
    }

    void look()
    {
        double const heat = hottest();
        for (FanSeen& fan : m_fans) {
            auto const speed = reading(m_machine, fan.input.path + "_input");
            if (!speed || *speed < 0)
                continue;
            fan.least = fan.isSeen ? std::min(fan.least, *speed) : *speed;
            fan.most = std::max(fan.most, *speed);
            fan.last = *speed;
            fan.isSeen = true;
            if (*speed > 0)
                fan.turnedAt = std::max(fan.turnedAt, heat);
            else if (fan.most > 0 && heat >= fan.turnedAt)
                fan.stoppedAt = std::max(fan.stoppedAt, heat);
            else
                fan.stoodAt = std::max(fan.stoodAt, heat);
            fan.isAlarm |= reading(m_machine, fan.input.path + "_fault").value_or(0) > 0;
        }
    }

    void fault(EventKey key, std::vector<std::pair<std::string, std::string>> values)
    {
        m_isBad = true;
        m_host.fault({key, std::move(values)});
    }

    void judge(bool isWhole)
    {
        std::size_t seen = 0, standing = 0;
        double hottestStanding = -1e9;
        for (FanSeen const& fan : m_fans) {
            if (!fan.isSeen)
                continue;
            ++seen;
            if (fan.most == 0 && fan.stoodAt >= m_settings.hot) {
                ++standing;
                hottestStanding = std::max(hottestStanding, fan.stoodAt);
            }
        }
        bool const allStand = isWhole && seen > 0 && standing == seen;
        for (FanSeen const& fan : m_fans)
            if (fan.isSeen)
                judge(fan, allStand);
        if (allStand)
            fault(kEventFansStand,
                  {{"Count", std::to_string(seen)}, {"Temperature", decimals(hottestStanding, 0)}});
    }

    void judge(FanSeen const& fan, bool allStand)
    {
        std::string const least = decimals(reading(m_machine, fan.input.path + "_min").value_or(0), 0);
        m_host.note({kEventFan, {{"Fan", fan.input.name}, {"Speed", decimals(fan.last, 0)}}});
        if (fan.isAlarm)
            return fault(kEventFanAlarm, {{"Fan", fan.input.name}, {"Speed", decimals(fan.last, 0)}});
        if (fan.stoppedAt >= m_settings.hot)
            return fault(kEventFanStopped, {{"Fan", fan.input.name},
                                            {"Before", decimals(fan.most, 0)},
                                            {"Temperature", decimals(fan.stoppedAt, 0)}});
        // A limit of a chip that nobody has set is none: it is believed only of a fan that turns, and too slowly all the time.
        if (double const limit = reading(m_machine, fan.input.path + "_min").value_or(0);
            fan.most > 0 && limit > 0 && fan.most < limit)
            return fault(kEventFanSlow,
                         {{"Fan", fan.input.name}, {"Speed", decimals(fan.most, 0)}, {"Least", least}});
        if (fan.most == 0 && fan.stoodAt >= m_settings.hot && !allStand)
            m_host.warning(
                {kEventFanMaybe, {{"Fan", fan.input.name}, {"Temperature", decimals(fan.stoodAt, 0)}}});
    }

    TestHost& m_host;
    MachineFolder const& m_machine;
    Pace const& m_pace;
    FanSettings const& m_settings;
    std::vector<HwmonInput> const m_heat;
    std::vector<FanSeen> m_fans;
    bool m_isBad = false;
};

// ---- voltages

/// Thousandths of a volt between which an input is to stay.
struct Range
{
    double low = 0, high = 0;
    bool isSure = false; ///< outside is a fault
};

/// "+12V", "5VSB", "+3.3V", "VCC 3V3": what a rail is called after.
std::optional<double> nominalOf(std::string label)
{
    std::transform(label.begin(), label.end(), label.begin(),
                   [](unsigned char c) { return std::toupper(c); });
    if (label.starts_with('+'))
        label.erase(0, 1);
    if (label == "12V")
        return 12'000;
    if (label == "5V" || label == "5VSB")
        return 5'000;
    if (label == "3.3V" || label == "3V3" || label == "3VSB" || label == "3.3VSB")
        return 3'300;
    return std::nullopt;
}

struct VoltageSeen
{
    HwmonInput input;
    std::optional<Range> range;
    std::optional<double> least, most;
};

std::optional<Range> rangeOf(MachineFolder const& machine, HwmonInput const& input, bool isLimitStrict)
{
    auto const both = [&](char const* low, char const* high) -> std::optional<Range> {
        auto const from = reading(machine, input.path + low), to = reading(machine, input.path + high);
        // One that was never set is zero, or the end of what the chip can say.
        return from && to && *from<*to&& * to> 0 ? std::optional(Range{*from, *to}) : std::nullopt;
    };
    if (auto critical = both("_lcrit", "_crit")) {
        critical->isSure = true;
        return critical;
    }
    if (auto const nominal = nominalOf(input.label))
        return Range{*nominal * 0.95, *nominal * 1.05, true};
    auto limits = both("_min", "_max");
    if (limits)
        limits->isSure = isLimitStrict;
    return limits;
}

void judge(TestHost& host, VoltageSeen const& one, bool& isBad)
{
    if (!one.least || !one.most)
        return;
    bool const isLow = *one.least < one.range->low;
    double const worst = isLow ? *one.least : *one.most;
    std::vector<std::pair<std::string, std::string>> const values = {
        {"Input", one.input.name},
        {"Volts", decimals(worst / 1000, 3)},
        {"Low", decimals(one.range->low / 1000, 3)},
        {"High", decimals(one.range->high / 1000, 3)}};
    if (!isLow && *one.most <= one.range->high)
        return host.note({kEventVoltage, values});
    // So far off no machine runs: the chip's input stands behind a divider that nobody has told the driver of.
    auto const nominal = nominalOf(one.input.label);
    bool const isScaled = !nominal || (worst > 0.7 * *nominal && worst < 1.3 * *nominal);
    if (!one.range->isSure || !isScaled)
        return host.warning({kEventVoltageAside, values});
    isBad = true;
    host.fault({kEventVoltageBad, values});
}

} // namespace

Pace systemPace()
{
    using Clock = std::chrono::steady_clock;
    return {[] { return std::chrono::duration<double>(Clock::now().time_since_epoch()).count(); },
            [](std::chrono::milliseconds time) { std::this_thread::sleep_for(time); }};
}

Outcome runFanTest(TestHost& host, MachineFolder const& machine, Pace const& pace,
                   FanSettings const& settings)
{
    return FanTest(host, machine, pace, settings).run();
}

Outcome runVoltageTest(TestHost& host, MachineFolder const& machine, Pace const& pace,
                       VoltageSettings const& settings)
{
    std::vector<VoltageSeen> all;
    for (HwmonInput const& input : hwmonInputs(machine, "in"))
        if (auto const range = rangeOf(machine, input, settings.isLimitStrict))
            all.push_back({input, range, std::nullopt, std::nullopt});
    if (all.empty()) {
        host.problem({kEventVoltageNone, {}});
        return Outcome::NotSupported;
    }
    auto const end = watch(host, pace, settings.seconds, [&] {
        for (VoltageSeen& one : all)
            if (auto const now = reading(machine, one.input.path + "_input")) {
                one.least = std::min(one.least.value_or(*now), *now);
                one.most = std::max(one.most.value_or(*now), *now);
            }
    });
    bool isBad = false;
    for (VoltageSeen const& one : all)
        judge(host, one, isBad);
    bool const isAny =
        std::any_of(all.begin(), all.end(), [](VoltageSeen const& one) { return one.least.has_value(); });
    if (!isAny && !end) {
        host.problem({kEventVoltageNone, {}});
        return Outcome::NotSupported;
    }
    return isBad ? Outcome::Fail : end.value_or(Outcome::Pass);
}

} // namespace krel5::modules::board
