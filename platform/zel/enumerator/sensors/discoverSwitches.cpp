// Lid sensors: ACPI devices PNP0C0D. Reads /sys/bus/acpi/devices and /proc/acpi/button/lid/*/state.

#include <zel/enumerator/sensors/discover.h>

#include <zel/enumerator/records/Describe.h>
#include <zel/enumerator/root/Text.h>

namespace zel {

namespace {

/// "state:      open" -> "open". The folders there have the firmware's names, so only one lid can be told.
std::optional<std::string> lidState(Root const& root)
{
    auto const lids = root.list("proc/acpi/button/lid");
    if (lids.size() != 1)
        return std::nullopt;
    auto const line = root.text("proc/acpi/button/lid/" + lids.front() + "/state");
    if (!line || line->rfind("state:", 0) != 0)
        return std::nullopt;
    return text::meaningful(std::string_view(*line).substr(std::string_view("state:").size()));
}

} // namespace

void discoverSwitches(Root const& root, DeviceSink& sink)
{
    for (std::string const& name : root.list("sys/bus/acpi/devices")) {
        if (!name.starts_with("PNP0C0D:"))
            continue;
        DeviceDescription device;
        device.type = CapabilityImp::LidSensor();
        device.capabilities = CapabilityImp::LidSensor() | CapabilityImp::Hardware();
        device.name = "Lid switch";
        device.description = "Lid sensor";
        device.osLocator = String("/sys/bus/acpi/devices/" + name);
        placeAt(device, "ACPI:" + name, "ACPI");
        placeBelowSystem(device);
        device.add("SwitchState", lidState(root));
        sink.add(std::move(device));
    }
}

} // namespace zel
