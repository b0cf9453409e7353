// When a test or an indicator applies to a device; docs/enumeration-rules.md says the same in words.
#include <zel/foundation/Logger.h>
#include <zel/model/module/IndicatorImp.h>
#include <zel/model/module/TestImp.h>
#include <zel/model/state/StateManager.h>
#include <zel/model/values/ValidRange.h>

#include <optional>

namespace zel {
namespace {

Logger& logger()
{
    static Logger& s_logger = LogFactory::getLogger("zel.EnumerationRules");
    return s_logger;
}

bool anyDeviceHas(StateManager const& state, CapabilityImp const& capability)
{
    return state.nextDevice(nullptr, capability) != nullptr;
}

bool propertyFits(DeviceImp const& device, DeviceRequirement const& requirement)
{
    PropertyImp const* const property = device.property(requirement.propertyKey);
    String reason;
    auto const range = ValidRange::parse(requirement.validRange, reason);
    bool const inRange = property && range && range->contains(property->value());
    return requirement.exclusion ? !inRange : inRange;
}

String misfit(DeviceImp const& device, DeviceRequirement const& requirement)
{
    PropertyImp const* const property = device.property(requirement.propertyKey);
    if (!property)
        return "it has no property " + requirement.propertyKey;
    return "its " + requirement.propertyKey + " is " + property->value().toString() +
           (requirement.exclusion ? ", inside the range \"" : ", outside the range \"") +
           requirement.validRange + "\"";
}

using Conditions = std::vector<TestImp::Condition>;

void add(Conditions& conditions, String text, bool holds, String const& reason)
{
    conditions.push_back({std::move(text), holds, holds ? String() : reason});
}

String nameOf(CapabilityImp const& capability) { return "a " + capability.toString(); }

// What only a test asks of the machine and of the device.
void addOwn(Conditions& conditions, TestImp const& test, DeviceImp const& device, StateManager const& state)
{
    for (CapabilityImp const& capability : test.existenceRequirements())
        add(conditions, "the machine has " + nameOf(capability), anyDeviceHas(state, capability),
            "no device is " + nameOf(capability));
    for (CapabilityImp const& capability : test.absenceRequirements())
        add(conditions, "the machine has not " + nameOf(capability), !anyDeviceHas(state, capability),
            "there is " + nameOf(capability));
    for (DeviceRequirement const& requirement : test.propertyRequirements())
        add(conditions,
            "its " + requirement.propertyKey + (requirement.exclusion ? " is not in \"" : " is in \"") +
                requirement.validRange + "\"",
            propertyFits(device, requirement), misfit(device, requirement));
}

void addOwn(Conditions& conditions, IndicatorImp const& indicator, DeviceImp const&, StateManager const&)
{
    add(conditions, "it is bound to devices", !indicator.isFree(), "it is bound to no device");
}

template <typename Function>
bool isMeant(Function const& function, DeviceImp const& device)
{
    return device.deviceCapabilities().intersects(function.deviceCapabilities());
}

template <typename Function>
Conditions conditionsOf(Function const& function, DeviceImp const& device, StateManager const& state)
{
    Conditions conditions;
    add(conditions, "the device is one of: " + function.deviceCapabilities().toString(),
        isMeant(function, device), "it is " + nameOf(device.deviceType()));
    add(conditions, "the settings leave it on", !function.isSwitchedOff(), "the settings switch it off");
    add(conditions, "the device is not disabled", device.state() != DeviceStateImp::DISABLED(),
        "the device is disabled");
    addOwn(conditions, function, device, state);
    return conditions;
}

DeviceImp* firstHolder(TestImp const& test, StateManager const& state)
{
    return state.deviceByTestAtIndex(test, 0);
}

DeviceImp* firstHolder(IndicatorImp const& indicator, StateManager const& state)
{
    return state.deviceByIndicatorAtIndex(indicator, 0);
}

// Why the function does not apply to the device; nothing when it does. What stands in the way of nearly every
// pair, the capability, comes without words: devices are many.
template <typename Function>
std::optional<String> objection(Function const& function, DeviceImp const& device, StateManager const& state)
{
    if (!isMeant(function, device))
        return String();
    for (TestImp::Condition& condition : conditionsOf(function, device, state))
        if (!condition.holds)
            return std::move(condition.reason);
    return std::nullopt;
}

template <typename Function>
bool applies(Function const& function, DeviceImp const& device, StateManager const& state,
             DeviceImp** previousDevice)
{
    if (previousDevice)
        *previousDevice = nullptr;
    if (auto const reason = objection(function, device, state)) {
        if (!reason->empty())
            ZEL_LOG(logger(), LogLevel::Debug)
                << function.guid() << " does not apply to " << device.name() << ": " << *reason;
        return false;
    }
    if (!function.flags().enumeratesOnlyOnce)
        return true;
    DeviceImp* const holder = firstHolder(function, state);
    if (!holder)
        return true;
    if (holder->guid() == device.guid() || holder->deviceType().rank() >= device.deviceType().rank())
        return false;
    if (previousDevice)
        *previousDevice = holder;
    return true;
}

} // namespace

bool TestImp::canEnumerateOnDevice(TestImp const& test, DeviceImp const& device, StateManager const& state,
                                   DeviceImp** previousDevice)
{
    return applies(test, device, state, previousDevice);
}

std::vector<TestImp::Condition> TestImp::conditions(TestImp const& test, DeviceImp const& device,
                                                    StateManager const& state)
{
    return conditionsOf(test, device, state);
}

bool IndicatorImp::canEnumerateOnDevice(IndicatorImp const& indicator, DeviceImp const& device,
                                        StateManager const& state, DeviceImp** previousDevice)
{
    return applies(indicator, device, state, previousDevice);
}

} // namespace zel
