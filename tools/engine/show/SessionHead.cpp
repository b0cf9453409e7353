#include <engine/show/SessionHead.h>

#include <listing/forms/Facts.h>

#include <algorithm>
#include <array>

namespace engine {

using zel::CapabilityImp;

namespace {

constexpr std::size_t kMostFacts = 64; // of a machine with hundreds of drives

std::array<CapabilityImp, 3> parts()
{
    return {CapabilityImp::CPU(), CapabilityImp::Memory(), CapabilityImp::HardDrive()};
}

bool isOfInterest(CapabilityImp const& type)
{
    auto const all = parts();
    return std::find(all.begin(), all.end(), type) != all.end();
}

// "ACME Drive (/dev/sda): 931.5 GiB, nvme"
std::string factOf(listing::Device const& device)
{
    std::string text = device.name.toUtf8();
    std::string const place = listing::place(device);
    if (!place.empty() && device.name != zel::String(place))
        text += " (" + place + ")";
    std::string const facts = listing::facts(device, nullptr);
    return text + (facts.empty() ? "" : ": ") + facts;
}

} // namespace

SessionBegan sessionHead(listing::Machine const& machine, Plan const& plan, std::size_t plannedRuns,
                         std::string const& engineVersion, std::string const& command)
{
    SessionBegan head;
    head.time = std::chrono::system_clock::now();
    head.engineVersion = engineVersion;
    head.command = command;
    head.machine = machine.name().toUtf8();
    head.hostname = machine.hostName().toUtf8();
    head.plan = plan.name;
    head.plannedRuns = plannedRuns;
    for (listing::Device const& device : machine.devices)
        if (device.type == CapabilityImp::System() && head.system.empty()) {
            head.system = listing::facts(device, nullptr);
            if (listing::Property const* const serial = device.property("SerialNumber"))
                head.serial = serial->value.toString().toUtf8();
        } else if (isOfInterest(device.type) && head.facts.size() < kMostFacts) {
            head.facts.emplace_back(device.type.toString().toUtf8(), factOf(device));
        }
    return head;
}

} // namespace engine
