// Keyboards, mice, touchpads, touch screens, pen tablets, game controllers. Reads
// sys/class/input/input*/uevent, and lists the folder for the event file. Needs no privilege.
#include <zel/enumerator/attached/discover.h>

#include <zel/enumerator/attached/InputClass.h>
#include <zel/enumerator/records/Describe.h>
#include <zel/enumerator/root/Text.h>

#include <algorithm>

namespace zel {

namespace {

using C = CapabilityImp;
using Uevent = std::map<std::string, std::string, std::less<>>;

constexpr std::string_view kBluetooth = "5/"; // BUS_BLUETOOTH, begin of PRODUCT

/// Texts stand in double quotes.
std::optional<std::string> quoted(Uevent const& uevent, std::string_view key)
{
    auto const found = uevent.find(key);
    if (found == uevent.end())
        return std::nullopt;
    std::string_view text = text::trimmed(found->second);
    if (text.size() >= 2 && text.front() == '"' && text.back() == '"')
        text = text.substr(1, text.size() - 2);
    return text::meaningful(text);
}

bool isBluetooth(Uevent const& uevent)
{
    auto const product = uevent.find("PRODUCT");
    return product != uevent.end() && product->second.starts_with(kBluetooth);
}

bool isPs2(DevicePath const& place)
{
    return std::any_of(place.components.begin(), place.components.end(), [](std::string const& component) {
        return text::indexAfter(component, "serio").has_value();
    });
}

/// A device on the air has its own address; what it is heard through does not say where it is.
std::pair<String, char const*> locationOf(Uevent const& uevent, DevicePath const& place)
{
    if (isBluetooth(uevent))
        if (auto const address = quoted(uevent, "UNIQ"))
            return {String("BLUETOOTH:") + String(*address), "BLUETOOTH"};
    if (isPs2(place))
        return {location::ps2().text, "PS/2"};
    if (place.usb)
        return busLocation(place);
    // Below a PCI function (I2C, sound) there may be several: the nearest name with an address counts.
    for (auto name = place.components.rbegin(); name != place.components.rend(); ++name)
        if (name->starts_with("i2c-") && !text::indexAfter(*name, "i2c-"))
            return {String(*name), ""};
    return busLocation(place);
}

String eventFile(Root const& root, std::string const& folder)
{
    for (std::string const& name : root.list(folder))
        if (text::indexAfter(name, "event"))
            return String("/dev/input/" + name);
    return String();
}

void addInput(InputKind const& kind, Uevent const& uevent, std::string const& path, DevicePath const& place,
              HardwareTree& tree, DeviceSink& sink)
{
    DeviceDescription device;
    device.type = kind.type;
    device.capabilities = kind.capabilities | C::Hardware();
    device.description = kind.description;
    std::string const name = inputName(quoted(uevent, "NAME").value_or(""));
    std::string const carrier = name.empty() ? tree.controllerName(place) : name;
    // Of a PCI function only a name that says what hangs on it helps.
    device.name = carrier.empty() || (name.empty() && !place.usb) ? device.description : String(carrier);
    tree.tellFromController(device, place);
    device.osLocator = eventFile(tree.root(), path);
    auto const [location, busClass] = locationOf(uevent, place);
    tree.placeAt(device, location, busClass);
    tree.placeBelowController(device, place);
    if (isBluetooth(uevent)) {
        device.capabilities |= C::BluetoothDevice();
        if (kind.type == C::Keyboard())
            device.capabilities |= C::WiKeyboard();
        if (kind.type == C::Mouse())
            device.capabilities |= C::WiMouse();
    } else if (place.usb) {
        device.capabilities |= C::USB() | C::HID();
    } else if (isPs2(place)) {
        device.capabilities |= C::PS2Bus();
    }
    if (auto const physical = quoted(uevent, "PHYS"))
        device.add("PhysicalPath", std::optional(String(*physical)));
    sink.add(std::move(device));
}

} // namespace

void discoverInputDevices(HardwareTree& tree, DeviceSink& sink)
{
    // One USB device may show several inputs of a kind (a receiver, extra keys): for a person it is one
    // keyboard.
    std::set<std::pair<String, UsbAddress>> seen;
    for (std::string const& name : tree.root().list("sys/class/input")) {
        if (!text::indexAfter(name, "input"))
            continue;
        auto const path = tree.root().resolve("sys/class/input/" + name);
        if (!path)
            continue;
        DevicePath const place = DevicePath::parse(*path);
        bool const throughUhid = place.has("uhid"); // Bluetooth keyboards stand below sys/devices/virtual
        if (place.components.empty() || (place.isVirtual && !throughUhid))
            continue;
        Uevent const uevent = text::keyValueLines(tree.root().read(*path + "/uevent", 1u << 16).value_or(""));
        auto const kind = inputKind(uevent);
        if (kind &&
            (!place.usb || isBluetooth(uevent) || seen.emplace(kind->type.toString(), *place.usb).second))
            addInput(*kind, uevent, *path, place, tree, sink);
    }
}

} // namespace zel
