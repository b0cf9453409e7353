#pragma once
// What people call a device of which the machine tells only numbers. Names are knowledge, not state of a
// machine, so the same source serves the running machine and a captured tree.

#include <zel/foundation/String.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace zel {

struct PciId
{
    std::uint16_t vendor = 0, device = 0;
    std::uint16_t subsystemVendor = 0, subsystemDevice = 0; ///< 0 when the function does not say
};

struct UsbId
{
    std::uint16_t vendor = 0, product = 0;
};

struct HardwareName
{
    std::optional<std::string> vendor;  ///< "Intel Corporation"
    std::optional<std::string> product; ///< "82574L Gigabit Network Connection"
};

/// Thread rule: operations may run in several threads.
class ZEL_EXPORT HardwareNames
{
public:
    virtual ~HardwareNames();
    virtual HardwareName pci(PciId const& id) const = 0;
    virtual HardwareName usb(UsbId const& id) const = 0;

    /// Knows nothing.
    static HardwareNames const& none();
    /// The system's hardware database, opened on the first question; knows nothing where there is no
    /// database.
    static HardwareNames const& system();
};

/// Four lower-case hexadecimal digits.
std::string hexadecimal4(std::uint16_t number);
/// A vendor as people say it: without the legal form, or what stands in brackets: "Intel", "AMD/ATI".
std::string shortVendor(std::string_view vendor);
/// Vendor and product in one line, the vendor not twice. Empty when there is no product.
std::string joinName(std::optional<std::string> const& vendor, std::optional<std::string> const& product);
/// "Intel 82574L Gigabit Network Connection"; without a database "PCI device 8086:10d3".
std::string nameOf(HardwareName const& name, PciId const& id);
std::string nameOf(HardwareName const& name, UsbId const& id);

} // namespace zel
