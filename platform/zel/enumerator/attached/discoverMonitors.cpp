// Monitors at the connectors of graphics cards. Reads sys/class/drm/card*-*/{status,edid} (Linux 2.6.30). Needs no
// privilege.
#include <zel/enumerator/attached/discover.h>

#include <zel/enumerator/attached/Edid.h>
#include <zel/enumerator/records/Describe.h>
#include <zel/enumerator/records/Measures.h>
#include <zel/enumerator/root/Text.h>

namespace zel {

namespace {

constexpr char kClass[] = "sys/class/drm/";

/// "DP-1" of "card0-DP-1"; nothing for a card itself.
std::optional<std::string> connectorOf(std::string const& name)
{
    std::size_t const dash = name.find('-');
    if (dash == std::string::npos || dash + 1 == name.size() ||
        !text::indexAfter(name.substr(0, dash), "card"))
        return std::nullopt;
    return name.substr(dash + 1);
}

measure::Reading metres(std::optional<unsigned> millimetres)
{
    return measure::reading(UnitType::METERS(),
                            millimetres ? std::optional(*millimetres / 1000.0) : std::nullopt, 3);
}

void addIdentity(DeviceDescription& device, Edid const& edid)
{
    device.name = joinedName({edid.manufacturer, edid.name}, "Monitor");
    device.add("Manufacturer", edid.manufacturer);
    device.add("Model", edid.name);
    device.add("SerialNumber", edid.serial);
    device.add("DeviceId", std::optional(String(hexadecimal4(edid.product))));
    device.add("PreferredMode", edid.preferredMode);
    device.add("PictureWidth", metres(edid.widthMm));
    device.add("PictureHeight", metres(edid.heightMm));
    device.add("YearOfManufacture", edid.year);
}

void addMonitor(HardwareTree& tree, DeviceSink& sink, std::string const& name, std::string const& connector)
{
    constexpr std::size_t kLimit = 1u << 15; // 255 further blocks
    Root const& root = tree.root();
    auto const content = root.read(kClass + name + "/edid", kLimit);
    auto const edid = content ? Edid::parse(*content) : std::nullopt;
    auto const status = root.text(kClass + name + "/status");
    if (status ? *status != "connected" : !edid)
        return;
    DeviceDescription device;
    device.type = CapabilityImp::Monitor();
    device.capabilities = CapabilityImp::Monitor() | CapabilityImp::Hardware();
    device.name = "Monitor";
    device.description = "Monitor";
    device.osLocator = String(name);
    // The card's number changes with the order in which drivers load, the connector's name does not.
    std::string const path = root.resolve(kClass + name).value_or("");
    DevicePath const card = DevicePath::parse(path.substr(0, path.find("/drm/")));
    String const place =
        card.components.empty() || card.isVirtual ? String("Monitor") : busLocation(card).first;
    tree.placeAt(device, place + ":" + String(connector), "MONITOR");
    tree.placeBelowController(device, card);
    device.add("Connector", std::optional(connector));
    if (edid)
        addIdentity(device, *edid);
    else if (content && !content->empty())
        device.add("Status", std::optional("The monitor's description of itself is damaged"));
    sink.add(std::move(device));
}

} // namespace

void discoverMonitors(HardwareTree& tree, DeviceSink& sink)
{
    for (std::string const& name : tree.root().list(kClass))
        if (auto const connector = connectorOf(name))
            addMonitor(tree, sink, name, *connector);
}

} // namespace zel
