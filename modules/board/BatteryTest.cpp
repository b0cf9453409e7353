#include <board/BatteryTest.h>

#include <board/Events.h>
#include <board/Texts.h>

#include <common/Decimals.h>

#include <algorithm>
#include <array>
#include <optional>

namespace krel5::modules::board {
namespace {

constexpr double kMostOverNew =
    1.5; // of what it held when it was new; more is a unit that its firmware confuses

struct Charge
{
    double now = 0, new_ = 0; // what it holds when full
};

// In the unit that its electronics count in.
std::optional<Charge> chargeOf(MachineFolder const& machine, std::string const& folder)
{
    for (char const* const unit : {"energy", "charge"}) {
        auto const full = machine.number(folder + unit + "_full");
        auto const design = machine.number(folder + unit + "_full_design");
        if (full && design && *design > 0)
            return Charge{static_cast<double>(*full), static_cast<double>(*design)};
    }
    return std::nullopt;
}

} // namespace

Outcome runBatteryTest(TestHost& host, MachineFolder const& machine, std::string const& name,
                       BatterySettings const& settings)
{
    std::string const battery = name.substr(name.rfind('/') + 1);
    std::string const folder = "sys/class/power_supply/" + battery + "/";
    bool const isName = !battery.empty() && battery[0] != '.';
    if (!isName || !machine.has(folder + "type") || machine.number(folder + "present").value_or(1) == 0) {
        host.problem({kEventBatteryNone, {{"Battery", battery}}});
        return Outcome::NoDevice;
    }
    std::string const health = machine.word(folder + "health");
    bool isBad = false;
    constexpr std::array kEndOfLife{"Dead", "Unspecified failure", "No battery"};
    constexpr std::array kPasses{"Overheat",
                                 "Over voltage",
                                 "Cold",
                                 "Over current",
                                 "Hot",
                                 "Cool",
                                 "Warm",
                                 "Watchdog timer expire",
                                 "Safety timer expire",
                                 "Calibration required"};
    if (std::find(kEndOfLife.begin(), kEndOfLife.end(), health) != kEndOfLife.end()) {
        isBad = true;
        host.fault({kEventBatteryBad, {{"Battery", battery}, {"Health", health}}});
    } else if (std::find(kPasses.begin(), kPasses.end(), health) != kPasses.end()) {
        host.warning({kEventBatteryNow, {{"Battery", battery}, {"Health", health}}});
    }
    auto const charge = chargeOf(machine, folder);
    if (!charge || charge->now > kMostOverNew * charge->new_) {
        if (isBad)
            return Outcome::Fail;
        host.problem({kEventBatteryUnknown, {{"Battery", battery}}});
        return Outcome::NotSupported;
    }
    double const wear = std::max(0.0, 100 * (1 - charge->now / charge->new_));
    std::string const unknown = host.text(kTextUnknown);
    auto const cycles = machine.number(folder + "cycle_count");
    host.note({kEventBattery,
               {{"Battery", battery},
                {"Wear", decimals(wear, 0)},
                {"Cycles", cycles.value_or(0) > 0 ? std::to_string(*cycles) : unknown},
                {"Health", health.empty() ? unknown : health}}});
    if (wear > settings.mostWear) {
        isBad = true;
        host.fault(
            {kEventBatteryWorn,
             {{"Battery", battery}, {"Wear", decimals(wear, 0)}, {"Most", decimals(settings.mostWear, 0)}}});
    }
    return isBad ? Outcome::Fail : Outcome::Pass;
}

} // namespace krel5::modules::board
