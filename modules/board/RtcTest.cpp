#include <board/RtcTest.h>

#include <board/Events.h>

#include <common/Decimals.h>

#include <cmath>
#include <cstdlib>
#include <ctime>

namespace krel5::modules::board {
namespace {

constexpr std::chrono::milliseconds kStep{10};
constexpr std::int64_t kYear2020 = 1'577'836'800; // what has lost its time begins earlier
constexpr std::int64_t kZone = 900,
                       kMostZone =
                           14 * 3600; // zones are whole quarters of an hour; it may keep the local time

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
    auto const first = clocks.realTime();
    if (!first) {
        host.problem({kEventRtcNone, {}});
        return Outcome::NotSupported;
    }
    bool isBad = false;
    auto const fault = [&](EventKey key, std::vector<std::pair<std::string, std::string>> values) {
        isBad = true;
        host.fault({key, std::move(values)});
    };
    if (isBatteryDead(machine))
        fault(kEventRtcBattery, {});
    if (*first < kYear2020) {
        fault(kEventRtcLost, {{"Date", dateText(*first)}});
    } else {
        std::int64_t const aside = *first - systemTime;
        std::int64_t const zones = std::llround(static_cast<double>(aside) / kZone);
        bool const isZone = std::llabs(zones) * kZone <= kMostZone;
        std::int64_t const rest = isZone ? aside - zones * kZone : aside;
        if (static_cast<double>(std::llabs(rest)) > settings.mostAside)
            host.warning({kEventRtcAside, {{"Seconds", std::to_string(rest)}}});
    }
    double const begin = clocks.raw();
    double now = begin;
    std::int64_t last = *first;
    for (; now - begin < settings.seconds; now = clocks.raw()) {
        if (host.stopRequested())
            return isBad ? Outcome::Fail : Outcome::Stopped;
        host.progress(static_cast<int>(100 * (now - begin) / settings.seconds));
        clocks.wait(kStep);
        last = clocks.realTime().value_or(last);
    }
    double const passed = now - begin;
    double const steps = static_cast<double>(last - *first);
    if (steps == 0)
        fault(kEventRtcStands, {{"Seconds", decimals(passed, 1)}});
    else if (std::abs(steps - passed) > 1.5) // the first and the last second were cut
        fault(kEventRtcJumps, {{"Steps", decimals(steps, 1)}, {"Seconds", decimals(passed, 1)}});
    else
        host.note(
            {kEventRtcRuns,
             {{"Date", dateText(last)}, {"Steps", decimals(steps, 1)}, {"Seconds", decimals(passed, 1)}}});
    return isBad ? Outcome::Fail : Outcome::Pass;
}

} // namespace krel5::modules::board
