#include <board/SensorTests.h>

#include <board/Events.h>
#include <board/Texts.h>

#include <common/Decimals.h>
#include <common/evidence/HwmonInputs.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <map>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace krel5::modules::board {
namespace {

constexpr std::chrono::milliseconds kStep{50};
constexpr double kBetweenLooks = 0.5; // seconds
constexpr double kMostReading = 1e7;  // thousandths; beyond that a chip says nonsense
constexpr double kNoHeat = -1e9;      // degrees
constexpr double kOpenSensor = 125;   // degrees; from there on nothing is connected to it
constexpr double kSurelyHot = 80;     // degrees; quiet machines and cards let their fans rest well above 60
constexpr double kPatience = 3;       // seconds that a fan may take to begin, or a wrong reading may last
constexpr char kGraphicsClass[] = "0x03";

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

/// Whether something has held for kPatience without a break.
class Span
{
public:
    bool lasts(bool is, double now)
    {
        m_since = is ? m_since.value_or(now) : std::optional<double>();
        return m_since && now - *m_since >= kPatience;
    }

private:
    std::optional<double> m_since;
};

/// A graphics card cools itself, by its own temperatures; everything else shares the machine's fans. Which: its chip's folder, or nothing.
std::string partOf(MachineFolder const& machine, HwmonInput const& input)
{
    std::string const chip = input.path.substr(0, input.path.rfind('/') + 1);
    return machine.word(chip + "device/class").starts_with(kGraphicsClass) ? chip : std::string();
}

struct FanSeen
{
    HwmonInput input;
    std::string part;
    double most = 0, last = 0; // turns a minute
    bool isSeen = false, isAlarm = false;
    // The hottest, in degrees: at which it turned; at which it stood without having turned; at which it stood again for a while, no cooler than when it
    // turned. A fan that rests below some temperature begins late and stops early.
    double turnedAt = kNoHeat, stoodAt = kNoHeat, stoppedAt = kNoHeat;
    bool isIdleForLong = false; // stood without having turned, where all fans turn
    Span stopped = {}, idle = {};
};

class FanTest
{
public:
    FanTest(TestHost& host, MachineFolder const& machine, Pace const& pace, FanSettings const& settings)
        : m_host(host), m_machine(machine), m_pace(pace), m_settings(settings)
    {
        for (HwmonInput const& input : hwmonInputs(machine, "temp"))
            m_heat.push_back({input.path, partOf(machine, input)});
        for (HwmonInput const& input : hwmonInputs(machine, "fan"))
            m_fans.push_back({input, partOf(machine, input)});
    }

    Outcome run()
    {
        auto const end =
            m_fans.empty() ? std::nullopt : watch(m_host, m_pace, m_settings.seconds, [this] { look(); });
        std::erase_if(m_fans, [](FanSeen const& one) { return !one.isSeen; });
        if (m_fans.empty() && !end) {
            m_host.problem({kEventFanNone, {}});
            return Outcome::NotSupported;
        }
        judge(!end);
        return m_isBad ? Outcome::Fail : end.value_or(Outcome::Pass);
    }

private:
    /// By part.
    std::map<std::string, double> hottest() const
    {
        std::map<std::string, double> most;
        for (auto const& [path, part] : m_heat) {
            if (m_host.stopRequested())
                break;
            double const heat = reading(m_machine, path + "_input").value_or(1000 * kNoHeat) / 1000;
            bool const isOpen = heat >= kOpenSensor || reading(m_machine, path + "_fault").value_or(0) > 0;
            most[part] = std::max(most.try_emplace(part, kNoHeat).first->second, isOpen ? kNoHeat : heat);
        }
        return most;
    }

    // Some chips take a tenth of a second for each reading, so a stop is asked for before each.
    void look()
    {
        auto const heat = hottest();
        for (FanSeen& fan : m_fans) {
            if (m_host.stopRequested())
                return;
            auto const own = heat.find(fan.part);
            look(fan, own == heat.end() ? kNoHeat : own->second);
        }
    }

    void look(FanSeen& fan, double heat) const
    {
        auto const speed = reading(m_machine, fan.input.path + "_input");
        if (!speed || *speed < 0)
            return;
        bool const stands = *speed == 0;
        fan.most = std::max(fan.most, *speed);
        fan.last = *speed;
        fan.isSeen = true;
        double const now = m_pace.now();
        if (!stands)
            fan.turnedAt = std::max(fan.turnedAt, heat);
        if (fan.stopped.lasts(stands && fan.most > 0 && heat >= fan.turnedAt, now))
            fan.stoppedAt = std::max(fan.stoppedAt, heat);
        if (stands && fan.most == 0)
            fan.stoodAt = std::max(fan.stoodAt, heat);
        fan.isIdleForLong =
            fan.idle.lasts(fan.most == 0 && heat >= std::max(kSurelyHot, m_settings.hot), now);
        fan.isAlarm |= reading(m_machine, fan.input.path + "_fault").value_or(0) > 0;
    }

    void fault(EventKey key, std::vector<std::pair<std::string, std::string>> values)
    {
        m_isBad = true;
        m_host.fault({key, std::move(values)});
    }

    void judge(bool isWhole)
    {
        std::map<std::string, std::vector<FanSeen const*>> parts;
        for (FanSeen const& fan : m_fans)
            parts[fan.part].push_back(&fan);
        for (auto const& [name, fans] : parts) {
            bool const allStand = isWhole && std::all_of(fans.begin(), fans.end(), [](FanSeen const* one) {
                                      return one->isIdleForLong;
                                  });
            double heat = kNoHeat;
            for (FanSeen const* const fan : fans) {
                heat = std::max(heat, fan->stoodAt);
                judge(*fan, allStand);
            }
            if (allStand)
                fault(kEventFansStand,
                      {{"Count", std::to_string(fans.size())}, {"Temperature", decimals(heat, 0)}});
        }
    }

    void judge(FanSeen const& fan, bool allStand)
    {
        m_host.note({kEventFan, {{"Fan", fan.input.name}, {"Speed", decimals(fan.last, 0)}}});
        if (fan.isAlarm)
            return fault(kEventFanAlarm, {{"Fan", fan.input.name}, {"Speed", decimals(fan.last, 0)}});
        if (fan.stoppedAt >= m_settings.hot)
            return fault(kEventFanStopped, {{"Fan", fan.input.name},
                                            {"Before", decimals(fan.most, 0)},
                                            {"Temperature", decimals(fan.stoppedAt, 0)}});
        double const limit = reading(m_machine, fan.input.path + "_min").value_or(0);
        if (fan.most > 0 && fan.most < limit)
            return judgeSlow(fan, limit);
        if (fan.most == 0 && fan.stoodAt >= m_settings.hot && !allStand)
            m_host.warning(
                {kEventFanMaybe, {{"Fan", fan.input.name}, {"Temperature", decimals(fan.stoodAt, 0)}}});
    }

    // A limit that a chip was switched on with is nobody's; one of a fan that stands may be that of a plug without a fan.
    void judgeSlow(FanSeen const& fan, double limit)
    {
        std::vector<std::pair<std::string, std::string>> const values = {
            {"Fan", fan.input.name}, {"Speed", decimals(fan.most, 0)}, {"Least", decimals(limit, 0)}};
        if (m_settings.isLimitStrict)
            fault(kEventFanSlow, values);
        else
            m_host.warning({kEventFanBelow, values});
    }

    TestHost& m_host;
    MachineFolder const& m_machine;
    Pace const& m_pace;
    FanSettings const& m_settings;
    std::vector<std::pair<std::string, std::string>> m_heat; // path, part
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
    VoltageSeen(HwmonInput const& of, std::optional<Range> const& within) : input(of), range(within) {}

    HwmonInput input;
    std::optional<Range> range;
    std::optional<double> least, most; // of those that can be, and are no single one outside
    std::optional<double> impossible = std::nullopt;
    std::optional<double> once = std::nullopt; // one that was outside, between others that were not

    void take(double now)
    {
        bool const isOutside = now < range->low || now > range->high;
        if (isOutside && !m_wasOutside) {
            m_pending = now;
        } else {
            if (m_pending && isOutside)
                include(*m_pending);
            else if (m_pending)
                once = m_pending;
            m_pending.reset();
            include(now);
        }
        m_wasOutside = isOutside;
    }
    /// The last reading, and none after it that would say more.
    void end()
    {
        if (m_pending && least)
            once = m_pending;
        else if (m_pending)
            include(*m_pending);
    }

private:
    void include(double now)
    {
        least = std::min(least.value_or(now), now);
        most = std::max(most.value_or(now), now);
    }
    bool m_wasOutside = false;
    std::optional<double> m_pending = std::nullopt; // outside, the first of some or the only one
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

/// So far off no machine runs: the chip's input stands behind a divider that nobody has told the driver of, or was misread.
bool isImpossible(VoltageSeen const& one, double now)
{
    auto const nominal = nominalOf(one.input.label);
    return nominal && (now < 0.7 * *nominal || now > 1.3 * *nominal);
}

void judge(TestHost& host, VoltageSeen const& one, bool& isBad)
{
    auto const valuesOf = [&](double volts) {
        return std::vector<std::pair<std::string, std::string>>{
            {"Input", one.input.name},
            {"Volts", decimals(volts / 1000, 3)},
            {"Low", decimals(one.range->low / 1000, 3)},
            {"High", decimals(one.range->high / 1000, 3)}};
    };
    if (one.impossible)
        host.warning({kEventVoltageAside, valuesOf(*one.impossible)});
    if (one.once)
        host.warning({kEventVoltageOnce, valuesOf(*one.once)});
    if (!one.least || !one.most)
        return;
    bool const isLow = *one.least < one.range->low;
    auto const values = valuesOf(isLow ? *one.least : *one.most);
    if (!isLow && *one.most <= one.range->high)
        return host.note({kEventVoltage, values});
    if (!one.range->isSure)
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
            all.emplace_back(input, range);
    if (all.empty()) {
        host.problem({kEventVoltageNone, {}});
        return Outcome::NotSupported;
    }
    auto const end = watch(host, pace, settings.seconds, [&] {
        for (VoltageSeen& one : all)
            if (host.stopRequested())
                return;
            else if (auto const now = reading(machine, one.input.path + "_input")) {
                if (isImpossible(one, *now)) {
                    one.impossible = now;
                    continue;
                }
                one.take(*now);
            }
    });
    bool isBad = false;
    for (VoltageSeen& one : all) {
        one.end();
        judge(host, one, isBad);
    }
    bool const isAny = std::any_of(all.begin(), all.end(),
                                   [](VoltageSeen const& one) { return one.least || one.impossible; });
    if (!isAny && !end) {
        host.problem({kEventVoltageNone, {}});
        return Outcome::NotSupported;
    }
    return isBad ? Outcome::Fail : end.value_or(Outcome::Pass);
}

} // namespace krel5::modules::board
