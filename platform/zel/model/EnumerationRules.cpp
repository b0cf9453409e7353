// When a test applies to a device; docs/enumeration-rules.md says the same in words.
#include <zel/model/StateManager.h>
#include <zel/model/TestImp.h>
#include <zel/model/ValidRange.h>

#include <algorithm>

namespace zel {
namespace {

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

bool requirementsHold(TestImp const& test, DeviceImp const& device, StateManager const& state)
{
    auto exists = [&](CapabilityImp const& capability) { return anyDeviceHas(state, capability); };
    auto fits = [&](DeviceRequirement const& requirement) { return propertyFits(device, requirement); };
    return std::all_of(test.existenceRequirements().begin(), test.existenceRequirements().end(), exists) &&
           std::none_of(test.absenceRequirements().begin(), test.absenceRequirements().end(), exists) &&
           std::all_of(test.propertyRequirements().begin(), test.propertyRequirements().end(), fits);
}

} // namespace

bool TestImp::canEnumerateOnDevice(TestImp const& test, DeviceImp const& device, StateManager const& state,
                                   DeviceImp** previousDevice)
{
    if (previousDevice)
        *previousDevice = nullptr;
    if (test.isSwitchedOff() || device.state() == DeviceStateImp::DISABLED() ||
        !device.deviceCapabilities().intersects(test.deviceCapabilities()) ||
        !requirementsHold(test, device, state))
        return false;
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
