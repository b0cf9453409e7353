// When a test applies to a device; docs/enumeration-rules.md says the same in words.
#include <zel/foundation/Logger.h>
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

// Why the test does not apply to the device; nothing when it does. What stands in the way of nearly every
// pair, the capability, comes without words: devices are many.
std::optional<String> objection(TestImp const& test, DeviceImp const& device, StateManager const& state)
{
    if (!device.deviceCapabilities().intersects(test.deviceCapabilities()))
        return String();
    if (test.isSwitchedOff())
        return String("the settings switch it off");
    if (device.state() == DeviceStateImp::DISABLED())
        return String("the device is disabled");
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

} // namespace

bool TestImp::canEnumerateOnDevice(TestImp const& test, DeviceImp const& device, StateManager const& state,
                                   DeviceImp** previousDevice)
{
    if (previousDevice)
        *previousDevice = nullptr;
    if (auto const reason = objection(test, device, state)) {
        if (!reason->empty())
            ZEL_LOG(logger(), LogLevel::Debug)
                << "test " << test.keyInModule() << " does not apply to " << device.name() << ": " << *reason;
        return false;
    }
    if (!test.flags().enumeratesOnlyOnce)
        return true;
    DeviceImp* const holder = state.deviceByTestAtIndex(test, 0);
    if (!holder)
        return true;
    if (holder->guid() == device.guid() || holder->deviceType().rank() >= device.deviceType().rank())
        return false;
    if (previousDevice)
        *previousDevice = holder;
    return true;
}

} // namespace zel
