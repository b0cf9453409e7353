#pragma once
// Devices and properties for tests of the model, made in one line each.

#include <zel/model/devices/DeviceImp.h>
#include <zel/model/state/StateManager.h>

#include <algorithm>
#include <string>

namespace zel::test {

/// Its name is its location.
inline std::unique_ptr<DeviceImp> device(std::string const& location,
                                         CapabilityImp const& type = CapabilityImp::HardDrive())
{
    return DeviceImp::createGeneric(type, CapabilityImp(), String(location), String(), String(),
                                    String(location), CapabilityImp());
}

inline std::shared_ptr<PropertySpecImp>
specification(char const* key, PropertyCategoryImp const& category = PropertyCategoryImp::SysInfo())
{
    return std::make_shared<PropertySpecImp>(key, category, DataTypeImp::STRING(), CapabilityImp::ALL());
}

inline PropertyImp& add(DeviceImp& to, char const* key, char const* value = "",
                        PropertyCategoryImp const& category = PropertyCategoryImp::SysInfo())
{
    PropertyImp const property(specification(key, category), ValueImp(String(value)));
    return to.addProperty(&property);
}

/// Names of the devices in the order of the walk, each behind its parent's: "a b<a".
inline std::string devices(StateManager const& state)
{
    std::string all;
    for (DeviceImp* one = state.nextDevice(nullptr, CapabilityImp::ALL()); one;
         one = state.nextDevice(one, CapabilityImp::ALL())) {
        DeviceImp const* const parent = state.parentOf(*one);
        all +=
            (all.empty() ? "" : " ") + one->name().toUtf8() + (parent ? "<" + parent->name().toUtf8() : "");
    }
    return all;
}

inline std::size_t countOf(std::vector<Change> const& changes, Change::Kind kind)
{
    return static_cast<std::size_t>(
        std::count_if(changes.begin(), changes.end(), [kind](auto const& one) { return one.kind == kind; }));
}

} // namespace zel::test
