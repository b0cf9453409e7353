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

// What only a test asks of the machine and of the device.
std::optional<String> objectionOfItsOwn(TestImp const& test, DeviceImp const& device,
                                        StateManager const& state)
{
    for (CapabilityImp const& capability : test.existenceRequirements())
        if (!anyDeviceHas(state, capability))
            return "no device is a " + capability.toString();
    for (CapabilityImp const& capability : test.absenceRequirements())
        if (anyDeviceHas(state, capability))
            return "there is a " + capability.toString();
    for (DeviceRequirement const& requirement : test.propertyRequirements())
        if (!propertyFits(device, requirement))
            return misfit(device, requirement);
    return std::nullopt;
}

std::optional<String> objectionOfItsOwn(IndicatorImp const& indicator, DeviceImp const&, StateManager const&)
{
    return indicator.isFree() ? std::optional(String("it is bound to no device")) : std::nullopt;
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
    if (!device.deviceCapabilities().intersects(function.deviceCapabilities()))
        return String();
    if (function.isSwitchedOff())
        return String("the settings switch it off");
    if (device.state() == DeviceStateImp::DISABLED())
        return String("the device is disabled");
    return objectionOfItsOwn(function, device, state);
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

bool IndicatorImp::canEnumerateOnDevice(IndicatorImp const& indicator, DeviceImp const& device,
                                        StateManager const& state, DeviceImp** previousDevice)
{
    return applies(indicator, device, state, previousDevice);
}

} // namespace zel
