#include <pcie/BusTest.h>

#include <pcie/Events.h>

#include <algorithm>
#include <set>

namespace krel5::modules::pcie {
namespace {

constexpr char kFunctions[] = "sys/bus/pci/devices/";
constexpr std::chrono::milliseconds kStep{20};
constexpr double kBetweenScans = 0.5; // seconds

} // namespace

std::vector<std::string> functionsOf(MachineFolder const& machine)
{
    auto all = machine.list(kFunctions);
    std::erase_if(all, [&](std::string const& one) { return isVirtual(machine, kFunctions + one + "/"); });
    return all;
}

Outcome runBusTest(TestHost& host, MachineFolder const& machine, std::vector<std::string> const& before,
                   double seconds, Load const& load)
{
    std::set<std::string> known(before.begin(), before.end()), gone;
    auto const scan = [&] {
        auto const now = functionsOf(machine);
        for (std::string const& one : known)
            if (!gone.contains(one) &&
                (std::find(now.begin(), now.end(), one) == now.end() ||
                 hasFallenOff(host, machine, kFunctions + one + "/", load)) &&
                machine.shortage() == 0) {
                gone.insert(one);
                host.fault({kEventGone, {{"Function", one}}});
            }
        known.insert(now.begin(), now.end());
    };
    std::size_t const first = before.size();
    double const begin = load.now();
    scan();
    if (known.empty()) {
        host.problem({kEventNoBus, {}});
        return Outcome::NotSupported;
    }
    double scanned = begin;
    bool isStopped = false;
    for (double now = begin; now - begin < seconds && !isStopped; now = load.now()) {
        isStopped = host.stopRequested();
        host.progress(static_cast<int>(100 * (now - begin) / seconds));
        load.wait(kStep);
        if (now - scanned < kBetweenScans)
            continue;
        scanned = now;
        scan();
    }
    if (!isStopped)
        scan();
    host.note({kEventBus,
               {{"Count", std::to_string(known.size() - gone.size())},
                {"New", std::to_string(known.size() - first)}}});
    return !gone.empty() ? Outcome::Fail : isStopped ? Outcome::Stopped : Outcome::Pass;
}

} // namespace krel5::modules::pcie
