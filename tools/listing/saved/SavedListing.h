#pragma once
// A listing that was saved as JSON (docs/zel-devices.md), read back. The file may come from anybody.
//
//     listing::Machine const before = listing::readSaved(listing::readBytes("before.json"), "before.json");
//
// Pure functions but for readBytes.

#include <listing/machine/Machine.h>

#include <cstddef>
#include <string>
#include <string_view>

namespace listing {

constexpr char kSavedFormat[] = "zel-devices";
constexpr unsigned kSavedVersion = 1; ///< newer files are refused: what they say may mean something else

/// What a file may cost.
struct SavedLimits
{
    std::size_t bytes = 64u << 20;
    std::size_t depth = 160; ///< of nested arrays and objects; a device takes two
    std::size_t values = 4'000'000;
};

/// The whole file; "-" is standard input. Throws zel::ParseException that names the file and the reason.
std::string readBytes(std::string const& path, SavedLimits const& limits = {});

/// Throws zel::ParseException "{name}:{line}: {reason}" for what is no such listing, whatever is wrong with it: cut
/// off, too deep, a value of another type than it says, the same device or property twice. What the format does
/// not know is skipped.
Machine readSaved(std::string_view utf8, std::string const& name, SavedLimits const& limits = {});

} // namespace listing
