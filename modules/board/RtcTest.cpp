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

/// Whether it went on as time did.
bool isEven(Reading const& first, Reading const& last)
{
    auto const steps = static_cast<double>(last.second - first.second);
    return steps > last.before - first.after - kCut && steps < last.after - first.before + kCut;
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
    double const slept = clocks.slept();
    bool isBad = false;
    auto const fault = [&](EventKey key, std::vector<std::pair<std::string, std::string>> values) {
        isBad = true;
        host.fault({key, std::move(values)});
    };
    double begin = clocks.raw();
    std::optional<Reading> first, last;
    for (bool isAgain = false;; isAgain = true) {
        for (double now = begin; now - begin < settings.seconds; now = clocks.raw()) {
            if (host.stopRequested())
                return Outcome::Stopped;
            if (!isAgain)
                host.progress(static_cast<int>(100 * (now - begin) / settings.seconds));
            if (auto const one = readingOf(clocks)) {
                first = first ? first : one;
                last = one;
            }
            clocks.wait(kStep);
        }
        // One that was set meanwhile, as a system does that has its time from the network, is watched once more.
        bool const hasJumped =
            first && last->second != first->second && !isEven(*first, *last) && !hasSlept(clocks, slept);
        if (isAgain && !hasJumped)
            host.warning({kEventClockSet, {}});
        if (isAgain || !hasJumped)
            break;
        first = last = std::nullopt;
        begin = clocks.raw();
    }
    if (isBatteryDead(machine))
        fault(kEventRtcBattery, {});
    if ((!first || last->before - first->after < settings.seconds / 2) && clocks.isShort())
        return isBad ? Outcome::Fail : Outcome::CannotRun;
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
    std::vector<std::pair<std::string, std::string>> const values = {
        {"Date", dateText(last->second)},
        {"Steps", std::to_string(last->second - first->second)},
        {"Seconds", decimals(last->after - first->before, 1)}};
    bool const runs = isEven(*first, *last);
    if (runs)
        host.note({kEventRtcRuns, values});
    else if (hasSlept(clocks, slept))
        host.problem({kEventClockSlept, {}});
    else
        fault(last->second == first->second ? kEventRtcStands : kEventRtcJumps, values);
    return isBad ? Outcome::Fail : runs ? Outcome::Pass : Outcome::CannotRun;
}

} // namespace krel5::modules::board
