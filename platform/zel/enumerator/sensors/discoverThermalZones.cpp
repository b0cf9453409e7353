// Thermal zones. Reads /sys/class/thermal/thermal_zone*: type, temp, mode,
// trip_point_*_type and _temp.

#include <zel/enumerator/sensors/discover.h>

#include <zel/enumerator/records/Describe.h>
#include <zel/enumerator/root/Text.h>
#include <zel/enumerator/sensors/SensorReading.h>

namespace zel {

namespace {

constexpr char kFolder[] = "sys/class/thermal/";

/// Lowest temperature at which the system is switched off.
std::optional<std::int64_t> criticalTrip(Root const& root, std::string const& zone)
{
    std::optional<std::int64_t> lowest;
    for (std::string const& name : root.list(zone)) {
        if (!name.starts_with("trip_point_") || !name.ends_with("_type") ||
            root.text(zone + name) != "critical")
            continue;
        std::string const point = zone + name.substr(0, name.size() - std::string_view("type").size());
        auto const millidegrees = root.number(point + "temp");
        if (millidegrees && (!lowest || *millidegrees < *lowest))
            lowest = millidegrees;
    }
    return lowest;
}

} // namespace

void discoverThermalZones(Root const& root, DeviceSink& sink)
{
    for (std::string const& name : root.list(kFolder)) {
        auto const number = text::indexAfter(name, "thermal_zone");
        if (!number)
            continue;
        std::string const zone = kFolder + name + "/";
        auto const type = text::meaningful(root.text(zone + "type"));
        DeviceDescription device;
        device.type = CapabilityImp::ThermalZone();
        device.capabilities = CapabilityImp::ThermalZone() | CapabilityImp::Hardware();
        device.name = joinedName({"Thermal zone " + std::to_string(*number),
                                  type ? std::optional("(" + *type + ")") : std::nullopt},
                                 "");
        device.description = "Thermal zone";
        device.osLocator = String("/" + zone.substr(0, zone.size() - 1));
        placeAt(device, "THERMAL:" + std::to_string(*number), "THERMAL");
        placeBelowSystem(device);
        auto const content = root.text(zone + "temp");
        auto const temperature = sensor::celsius(content ? text::toNumber(*content) : std::nullopt);
        device.add("Temperature", temperature);
        if (!temperature) { // there, but tells nothing
            device.state = DeviceStateImp::OTHER();
            bool const isOff = root.text(zone + "mode") == "disabled";
            device.add("Status", std::optional(isOff ? "Switched off" : sensor::silence(content)));
        }
        device.add("CriticalTemperature", sensor::celsius(criticalTrip(root, zone)));
        sink.add(std::move(device));
    }
}

} // namespace zel
