// USB-C connectors. Reads sys/class/typec/port*/{data_role,power_role,power_operation_mode,orientation,
// usb_power_delivery_revision} and whether port*-partner is there (Documentation/ABI/testing/sysfs-class-typec).
#include <zel/enumerator/attached/TypecPorts.h>

#include <zel/enumerator/records/Describe.h>
#include <zel/enumerator/root/Text.h>

namespace zel {

namespace {

constexpr char kClass[] = "sys/class/typec/";

void addPort(HardwareTree& tree, DeviceSink& sink, std::string const& name, unsigned index)
{
    Root const& root = tree.root();
    std::string const folder = kClass + name + "/";
    auto const chosen = [&root, &folder](char const* attribute) -> std::optional<std::string> {
        auto const line = root.text(folder + attribute);
        auto word = line ? text::chosenOf(*line) : std::nullopt;
        return word == "unknown" ? std::nullopt : word;
    };
    DeviceDescription device;
    device.type = CapabilityImp::Port();
    device.capabilities = CapabilityImp::Port() | CapabilityImp::Hardware();
    device.name = String("USB-C port ") + String::number(index);
    device.description = "USB-C port";
    device.osLocator = String("/" + folder.substr(0, folder.size() - 1));
    tree.placeAt(device, String("TYPEC:" + name), "TYPEC");
    tree.placeBelowController(device, DevicePath::parse(root.resolve(folder).value_or("")));
    device.add("PartnerConnected", std::optional(root.exists(kClass + name + "-partner")));
    device.add("PowerRole", chosen("power_role"));
    device.add("DataRole", chosen("data_role"));
    device.add("PowerMode", chosen("power_operation_mode"));
    device.add("PlugOrientation", chosen("orientation"));
    auto const revision = chosen("usb_power_delivery_revision"); // 0.0: none
    if (revision && *revision != "0.0")
        device.add("PowerDeliveryRevision", revision);
    sink.add(std::move(device));
}

} // namespace

void addTypecPorts(HardwareTree& tree, DeviceSink& sink)
{
    for (std::string const& name : tree.root().list(kClass))
        if (auto const index = text::indexAfter(name, "port"))
            addPort(tree, sink, name, *index);
}

} // namespace zel
