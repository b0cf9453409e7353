#pragma once
// What the class codes of a USB device and of its interfaces say about it (USB-IF defined class codes).

#include <zel/model/vocabulary/CapabilityImp.h>

#include <cstdint>
#include <span>

namespace zel {

struct UsbClass
{
    std::uint8_t base = 0, subclass = 0, protocol = 0;
    bool operator==(UsbClass const&) const = default;
};

struct UsbKind
{
    CapabilityImp type;
    CapabilityImp capabilities; ///< type included, USB included
    char const* description;    ///< "USB hub"
};

/// The class of the device itself counts where it says something; else that of the first interface which
/// does. Every interface adds its capabilities; interfaces of more than one kind make the device
/// USBComposite.
UsbKind usbKind(UsbClass const& device, std::span<UsbClass const> interfaces);
/// Every capability that usbKind() gives.
CapabilityImp usbCapabilities();

} // namespace zel
