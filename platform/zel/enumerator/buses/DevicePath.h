#pragma once
// Where a device sits, read from its path below sys/devices: the kernel nests a device's directory in that of
// the controller or hub it hangs on, so the path alone names every bus on the way.
//
//     auto const path =
//     DevicePath::parse("sys/devices/pci0000:00/0000:00:1f.2/ata1/host0/target0:0:0/0:0:0:0/block/sda");
//     path.pci->function; // 2

#include <zel/foundation/String.h>

#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zel {

/// A PCI function. Domains other than 0 are ordinary on servers (one per socket, or behind a storage
/// controller).
struct PciAddress
{
    std::uint32_t domain = 0;
    std::uint8_t bus = 0, device = 0, function = 0;

    /// "0000:00:1f.2"; the domain may have up to eight digits.
    static std::optional<PciAddress> parse(std::string_view text) noexcept;
    std::string toString() const;
    /// The bus as locations print it: unchanged in domain 0, else with the domain above the bus's eight bits.
    std::uint64_t busNumber() const noexcept { return (std::uint64_t{domain} << 8) | bus; }
    /// One number for the function, as adapter number of drives: bus number, five bits device, three
    /// function.
    std::uint64_t number() const noexcept { return busNumber() << 8 | std::uint64_t{device} << 3 | function; }
    auto operator<=>(PciAddress const&) const = default;
};

/// A USB device: bus and the port on each hub on the way to it; no ports for the root hub.
struct UsbAddress
{
    std::uint32_t bus = 0;
    std::vector<std::uint32_t> ports;

    /// "usb1", "1-2.3". Not an interface ("1-2.3:1.0"). At most 8 ports, more than USB allows.
    static std::optional<UsbAddress> parse(std::string_view text);
    bool isRootHub() const noexcept { return ports.empty(); }
    /// The hub that the device hangs on; nothing for a root hub.
    std::optional<UsbAddress> hub() const;
    auto operator<=>(UsbAddress const&) const = default;
};

/// "0:0:0:0": host, channel, target, logical unit.
struct ScsiAddress
{
    std::uint32_t host = 0, channel = 0, target = 0;
    std::uint64_t unit = 0;

    static std::optional<ScsiAddress> parse(std::string_view text) noexcept;
    bool operator==(ScsiAddress const&) const = default;
};

struct DevicePath
{
    std::vector<std::string> components; ///< those below sys/devices
    std::optional<PciAddress> pci;       ///< nearest PCI function on the way
    std::optional<UsbAddress> usb;       ///< nearest USB device, when it is nearer than any PCI function
    std::optional<std::uint32_t> usbInterface;
    std::optional<std::uint32_t> ata; ///< "ata3" -> 3: numbered over the whole machine, in order of discovery
    std::optional<ScsiAddress> scsi;
    bool isVirtual = false; ///< below sys/devices/virtual: no hardware of its own

    static DevicePath parse(std::string_view path);
    /// Path below the root up to and including the component, "" when it is not there.
    std::string upTo(std::string_view component) const;
    bool has(std::string_view component) const;
    /// Name of a device on a bus that gives no numbers ("fe340000.mmc"): the last component before what
    /// drivers made of it that is not numbered in order of discovery.
    std::string platformName() const;
};

} // namespace zel
