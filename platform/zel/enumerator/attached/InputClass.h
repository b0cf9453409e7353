#pragma once
// What an input device is, from the event bits in its `uevent` file (linux/input-event-codes.h).

#include <zel/model/vocabulary/CapabilityImp.h>

#include <map>
#include <optional>
#include <string>

namespace zel {

struct InputKind
{
    CapabilityImp type;
    CapabilityImp capabilities;
    char const* description; ///< "Touchpad"
};

/// `uevent` holds the file's lines by key. Nothing for what no person works with the hand on: power buttons,
/// lids, headphone sockets.
std::optional<InputKind> inputKind(std::map<std::string, std::string, std::less<>> const& uevent);

/// What a person would call an input of that name: without what the kernel made of the ids of a device that
/// gives no name of its own ("HID 05f3:0007", "DLL07D1:01 044E:120B Touchpad"); empty when nothing is left.
std::string inputName(std::string const& name);

} // namespace zel
