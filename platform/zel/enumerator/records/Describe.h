#pragma once
// Small steps that every discoverer takes while it fills in a description.

#include <zel/enumerator/records/DeviceSink.h>
#include <zel/model/devices/Location.h>

#include <cstdint>
#include <optional>
#include <string>

namespace zel {

inline void placeAt(DeviceDescription& device, Location const& location)
{
    device.hwLocator = location.text;
    device.busClass = CapabilityImp(location.busClass);
}

/// For locations that no device factory builds; see docs/locations.md.
inline void placeAt(DeviceDescription& device, std::string const& location, char const* busClass)
{
    device.hwLocator = String(location);
    device.busClass = CapabilityImp(String(busClass));
}

inline void placeBelow(DeviceDescription& device, CapabilityImp const& parentType,
                       String const& parentLocator)
{
    device.parentType = parentType;
    device.parentLocator = parentLocator;
}

inline void placeBelowSystem(DeviceDescription& device)
{
    placeBelow(device, CapabilityImp::System(), location::system().text);
}

/// Where a device has the name of another one that it belongs to, says which of the two it is: "Intel I350 (Network
/// card)". REQUIRES: name and description.
inline void tellFrom(DeviceDescription& device, String const& other)
{
    if (device.name == other)
        device.name += " (" + device.description + ")";
}

/// The words that are there, with a blank between them; a word that the text so far begins with or that it
/// holds is left out ("Intel" before "Intel(R) Core(TM) i5"). `fallback` when there is none.
String joinedName(std::initializer_list<std::optional<std::string>> words, char const* fallback);

/// Numbers of 32 bits, for properties of type UINT32; absent when larger.
inline std::optional<std::uint32_t> narrow(std::optional<std::int64_t> number)
{
    return number && *number >= 0 && *number <= 0xFFFFFFFFLL
               ? std::optional(static_cast<std::uint32_t>(*number))
               : std::nullopt;
}

/// A count of events; absent when the kernel writes something negative in its place.
inline std::optional<std::uint64_t> counter(std::optional<std::int64_t> number)
{
    return number && *number >= 0 ? std::optional(static_cast<std::uint64_t>(*number)) : std::nullopt;
}

} // namespace zel
