#pragma once
// What to say first of a device when there is room for one line.

#include <listing/machine/Machine.h>

#include <string>

namespace listing {

/// "931.5 GiB, nvme", "6 x 3.2 GHz, 12 threads": the most telling first, at most a handful, harmless to a terminal;
/// a state other than functional, and errors that were counted, come before all else. Empty when nothing is
/// known. `controller` (or null) tells the rest: the function or USB device that this device is a use of.
std::string facts(Device const& device, Device const* controller);

/// The name by which the system knows the device where a person types such names ("/dev/sda", "eth0",
/// "0000:00:1f.2"), else its location.
std::string place(Device const& device);

} // namespace listing
