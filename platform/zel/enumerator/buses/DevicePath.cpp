#include <zel/enumerator/buses/DevicePath.h>

#include <zel/enumerator/root/Text.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdio>

namespace zel {

namespace {

constexpr std::size_t kMaxUsbPorts = 8;
constexpr std::size_t kMaxComponents = 256;
constexpr std::string_view kDevices = "sys/devices/";

template <typename Number>
bool whole(std::string_view text, Number& number, int base = 10) noexcept
{
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
    return error == std::errc() && end == text.data() + text.size() && !text.empty();
}

/// Folders that stand between a device and what a driver made of it: ".../fe340000.mmc/mmc_host/mmc0/...".
bool isClassFolder(std::string_view name)
{
    static constexpr std::array<std::string_view, 7> kFolders{"block", "net",  "tty",     "sound",
                                                              "input", "nvme", "mmc_host"};
    return std::find(kFolders.begin(), kFolders.end(), name) != kFolders.end();
}

/// Names that the kernel gives in order of discovery ("host9", "virtio0", "mmc0:aaaa"): a record located by one
/// would be another device after the next start.
bool isUnstable(std::string_view name)
{
    static constexpr std::array<std::string_view, 4> kPrefixes{"host", "ata", "virtio", "card"};
    return name.find(':') != std::string_view::npos ||
           std::any_of(kPrefixes.begin(), kPrefixes.end(),
                       [&](std::string_view prefix) { return text::indexAfter(name, prefix).has_value(); });
}

void readComponent(DevicePath& path, std::string const& name)
{
    if (auto const pci = PciAddress::parse(name)) {
        path.pci = pci;
        path.usb.reset(); // a bridge in a dock: what stands behind it hangs on PCI again
        path.usbInterface.reset();
    } else if (auto usb = UsbAddress::parse(name)) {
        path.usb = std::move(usb);
        path.usbInterface.reset();
    } else if (auto const scsi = ScsiAddress::parse(name)) {
        path.scsi = scsi;
    } else if (auto const ata = text::indexAfter(name, "ata")) {
        path.ata = ata;
    } else if (path.usb) { // "1-2.3:1.0": device, ':', configuration, '.', interface
        std::size_t const colon = name.find(':'), dot = name.find('.', colon);
        std::uint32_t interface = 0;
        if (dot != std::string::npos &&
            UsbAddress::parse(std::string_view(name).substr(0, colon)) == path.usb &&
            whole(std::string_view(name).substr(dot + 1), interface))
            path.usbInterface = interface;
    }
}

} // namespace

std::optional<PciAddress> PciAddress::parse(std::string_view text) noexcept
{
    // "0000:00:1f.2". The domain has four digits or more (behind some storage controllers it is 10000), so
    // positions count from the colon behind it.
    std::size_t const colon = text.find(':');
    if (colon == std::string_view::npos || colon < 4 || colon > 8)
        return std::nullopt;
    std::string_view const behind = text.substr(colon + 1); // "00:1f.2"
    if (behind.size() != 7 || behind[2] != ':' || behind[5] != '.')
        return std::nullopt;
    PciAddress address;
    if (!whole(text.substr(0, colon), address.domain, 16) || !whole(behind.substr(0, 2), address.bus, 16) ||
        !whole(behind.substr(3, 2), address.device, 16) || !whole(behind.substr(6), address.function, 16) ||
        address.device > 31 || address.function > 7) // five bits and three in a function's number
        return std::nullopt;
    return address;
}

std::string PciAddress::toString() const
{
    std::array<char, 32> buffer{};
    int const size =
        std::snprintf(buffer.data(), buffer.size(), "%04x:%02x:%02x.%x", domain, bus, device, function);
    return std::string(buffer.data(), static_cast<std::size_t>(size));
}

std::optional<UsbAddress> UsbAddress::parse(std::string_view text)
{
    UsbAddress address;
    if (text.starts_with("usb"))
        return whole(text.substr(3), address.bus) ? std::optional(address) : std::nullopt;
    // "1-2.3": bus, '-', the ports on the way, with dots between them
    std::size_t const dash = text.find('-');
    if (dash == std::string_view::npos || !whole(text.substr(0, dash), address.bus))
        return std::nullopt;
    for (std::string_view const port : text::split(text.substr(dash + 1), '.')) {
        std::uint32_t number = 0;
        if (!whole(port, number) || address.ports.size() == kMaxUsbPorts)
            return std::nullopt;
        address.ports.push_back(number);
    }
    return address;
}

std::optional<UsbAddress> UsbAddress::hub() const
{
    if (isRootHub())
        return std::nullopt;
    UsbAddress hub = *this;
    hub.ports.pop_back();
    return hub;
}

std::optional<ScsiAddress> ScsiAddress::parse(std::string_view text) noexcept
{
    ScsiAddress address;
    std::array<std::uint32_t*, 3> const numbers{&address.host, &address.channel, &address.target};
    for (std::uint32_t* number : numbers) {
        std::size_t const colon = text.find(':');
        if (colon == std::string_view::npos || !whole(text.substr(0, colon), *number))
            return std::nullopt;
        text.remove_prefix(colon + 1);
    }
    return whole(text, address.unit) ? std::optional(address) : std::nullopt;
}

DevicePath DevicePath::parse(std::string_view path)
{
    DevicePath result;
    if (!path.starts_with(kDevices))
        return result;
    path.remove_prefix(kDevices.size());
    for (std::string_view const component : text::split(path, '/')) {
        if (component.empty() || result.components.size() == kMaxComponents)
            continue;
        result.components.emplace_back(component);
        readComponent(result, result.components.back());
    }
    result.isVirtual = !result.components.empty() && result.components.front() == "virtual";
    return result;
}

std::string DevicePath::upTo(std::string_view component) const
{
    std::string path(kDevices.substr(0, kDevices.size() - 1));
    for (std::string const& name : components) {
        path += '/';
        path += name;
        if (name == component)
            return path;
    }
    return std::string();
}

bool DevicePath::has(std::string_view component) const
{
    return std::find(components.begin(), components.end(), component) != components.end();
}

std::string DevicePath::platformName() const
{
    auto const device = std::find_if(components.begin(), components.end(), isClassFolder);
    for (auto name = std::make_reverse_iterator(device); name != components.rend(); ++name)
        if (!isUnstable(*name))
            return *name;
    return std::string();
}

} // namespace zel
