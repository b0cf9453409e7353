#include <zel/enumerator/buses/UsbClass.h>

#include <zel/foundation/FixedText.h>

namespace zel {

namespace {

using C = CapabilityImp;
using Code = CapabilityImp::Code;

constexpr int kAny = -1;

struct Row
{
    int base, subclass, protocol; ///< kAny fits any
    Code type;
    Code extra;
    FixedText<28> description;
};

// The first row that fits counts. What a keyboard or mouse is called is the record of the input device, found
// below; the USB device carries the capability and is an HID.
constexpr Row kRows[] = {
    {0x01, kAny, kAny, Code::USB, Code::NIL, "USB audio device"},
    {0x02, 0x02, kAny, Code::Modem, Code::NIL, "USB modem"},
    {0x02, 0x06, kAny, Code::CommunicationsController, Code::Ethernet, "USB network adapter"},
    {0x02, kAny, kAny, Code::CommunicationsController, Code::NIL, "USB communication device"},
    {0x03, 0x01, 0x01, Code::HID, Code::Keyboard, "USB keyboard"},
    {0x03, 0x01, 0x02, Code::HID, Code::Mouse, "USB mouse"},
    {0x03, kAny, kAny, Code::HID, Code::NIL, "USB human interface device"},
    {0x06, kAny, kAny, Code::Camera, Code::NIL, "USB still image device"},
    {0x07, kAny, kAny, Code::Printer, Code::NIL, "USB printer"},
    {0x08, 0x04, kAny, Code::USBMassStorage, Code::USB_UFI, "USB floppy drive"},
    {0x08, kAny, kAny, Code::USBMassStorage, Code::NIL, "USB storage device"},
    {0x09, kAny, kAny, Code::HUB, Code::NIL, "USB hub"},
    {0x0B, kAny, kAny, Code::CardReader, Code::Security, "USB smart card reader"},
    {0x0E, kAny, kAny, Code::Camera, Code::VideoCapture, "USB camera"},
    {0xE0, 0x01, 0x01, Code::BlueTooth, Code::NIL, "USB Bluetooth adapter"},
    {0xE0, kAny, kAny, Code::CommunicationsController, Code::Wireless, "USB wireless adapter"},
};

Row const* find(UsbClass const& code)
{
    auto const fits = [](int wanted, std::uint8_t given) { return wanted == kAny || wanted == given; };
    for (Row const& row : kRows)
        if (fits(row.base, code.base) && fits(row.subclass, code.subclass) &&
            fits(row.protocol, code.protocol))
            return &row;
    return nullptr;
}

} // namespace

UsbKind usbKind(UsbClass const& device, std::span<UsbClass const> interfaces)
{
    UsbKind kind{C::USB(), C::USB(), "USB device"};
    Row const* chosen = find(device);
    for (UsbClass const& interface : interfaces) {
        // 0x0A is the data half of a communication device, not a function of its own.
        if (interface.base != interfaces.front().base && interface.base != 0x0A)
            kind.capabilities |= C::USBComposite();
        Row const* const row = find(interface);
        if (!row)
            continue;
        kind.capabilities |= C(row->type) | C(row->extra);
        if (!chosen)
            chosen = row;
    }
    if (chosen) {
        kind.type = C(chosen->type);
        kind.capabilities |= kind.type | C(chosen->extra);
        kind.description = chosen->description;
    }
    return kind;
}

CapabilityImp usbCapabilities()
{
    C all = C::USB() | C::USBComposite();
    for (Row const& row : kRows)
        all |= C(row.type) | C(row.extra);
    return all;
}

} // namespace zel
