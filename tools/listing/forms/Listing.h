#pragma once
// A machine's devices, as text for people or programs. Pure functions; each ends its text with a line end.

#include <listing/machine/Machine.h>

#include <string>

namespace listing {

/// One line a device: name, class, place, and the most telling facts, in columns. A device that is only what a driver
/// makes of a function or of a USB device shares its line; cores, threads and caches of a processor without
/// anything to report are counted, not listed. `width` is that of the terminal; 0: as wide as it becomes.
std::string tree(Machine const& machine, std::size_t width);
/// An indented tree, each device with its properties below its name.
std::string text(Machine const& machine);
/// The form that is saved: docs/zel-devices.md.
std::string json(Machine const& machine);
/// <Devices> with nested <Device> elements.
std::string xml(Machine const& machine);
/// One page that needs no other file and runs no script.
std::string html(Machine const& machine);

/// UTF-8 with what a terminal would take as a command as an escape: a captured tree or a file may hold anything.
std::string harmless(std::string const& text);
std::string harmless(zel::String const& text);

} // namespace listing
