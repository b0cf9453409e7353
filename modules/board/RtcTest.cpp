#include <board/RtcTest.h>

#include <board/Events.h>

#include <common/Decimals.h>

#include <cmath>
#include <cstdlib>
#include <ctime>
#include <optional>

namespace krel5::modules::board {
namespace {

constexpr std::chrono::milliseconds kStep{10};
constexpr std::int64_t kYear2020 = 1'577'836'800; // what has lost its time begins earlier
constexpr std::int64_t kZone = 900,
                       kMostZone =
                           14 * 3600; // zones are whole quarters of an hour; it may keep the local time

constexpr double kCut = 1.5; // seconds: the first and the last were cut

/// Its second, and when it was asked and had answered.
struct Reading
{
    double before, after;
    std::int64_t second;
};

std::optional<Reading> readingOf(Clocks const& clocks)
{
    double const before = clocks.raw();
    auto const second = clocks.realTime();
    return second ? std::optional(Reading{before, clocks.raw(), *second}) : std::nullopt;
}

std::string dateText(std::int64_t seconds)
{
    std::time_t const time = seconds;
    std::tm parts{};
    char text[64];
    return ::gmtime_r(&time, &parts) && std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &parts) > 0
               ? text
               : std::to_string(seconds);
}

bool isBatteryDead(MachineFolder const& machine)
{
    std::string const text = machine.read("proc/driver/rtc").value_or("");
    auto const line = text.find("batt_status");
    return line != text.npos && text.substr(line, text.find('\n', line) - line).find("dead") != text.npos;
}

} // namespace

Outcome runRtcTest(TestHost& host, MachineFolder const& machine, Clocks const& clocks,
                   std::int64_t systemTime, RtcSettings const& settings)
{
    if (!clocks.hasRealTime) {
        host.problem({kEventRtcNone, {}});
        return Outcome::NotSupported;
    }
    double const slept = clocks.slept(), begin = clocks.raw();
    bool isBad = false;
    auto const fault = [&](EventKey key, std::vector<std::pair<std::string, std::string>> values) {
        isBad = true;
        host.fault({key, std::move(values)});
    };
    std::optional<Reading> first, last;
    for (double now = begin; now - begin < settings.seconds; now = clocks.raw()) {
        if (host.stopRequested())
            return Outcome::Stopped;
        host.progress(static_cast<int>(100 * (now - begin) / settings.seconds));
        if (auto const one = readingOf(clocks)) {
            first = first ? first : one;
            last = one;
        }
        clocks.wait(kStep);
    }
    if (isBatteryDead(machine))
        fault(kEventRtcBattery, {});
    if (!first || last->before - first->after < settings.seconds / 2) {
        fault(kEventRtcUnread, {{"Seconds", decimals(clocks.raw() - (last ? last->after : begin), 1)}});
        return Outcome::Fail;
    }
    if (first->second < kYear2020) {
        fault(kEventRtcLost, {{"Date", dateText(first->second)}});
    } else {
        std::int64_t const aside = first->second - systemTime;
        std::int64_t const zones = std::llround(static_cast<double>(aside) / kZone);
        bool const isZone = std::llabs(zones) * kZone <= kMostZone;
        std::int64_t const rest = isZone ? aside - zones * kZone : aside;
        if (static_cast<double>(std::llabs(rest)) > settings.mostAside)
            host.warning({kEventRtcAside, {{"Seconds", std::to_string(rest)}}});
    }
    std::int64_t const steps = last->second - first->second;
    double const least = last->before - first->after, most = last->after - first->before;
    std::vector<std::pair<std::string, std::string>> const values = {
        {"Date", dateText(last->second)}, {"Steps", std::to_string(steps)}, {"Seconds", decimals(most, 1)}};
    bool const isEven = static_cast<double>(steps) > least - kCut && static_cast<double>(steps) < most + kCut;
    if (isEven)
        host.note({kEventRtcRuns, values});
    else if (hasSlept(clocks, slept))
        host.problem({kEventClockSlept, {}});
    else
        fault(steps == 0 ? kEventRtcStands : kEventRtcJumps, values);
    return isBad ? Outcome::Fail : isEven ? Outcome::Pass : Outcome::CannotRun;
}

} // namespace krel5::modules::board
