#pragma once
// What differs between two listings.
//
//     listing::align(before, after);
//     listing::Comparison const found = listing::compare(before, after, false);
//     std::cout << listing::text(found, before, after);
//
// Pure functions.

#include <listing/machine/Machine.h>

#include <string>
#include <vector>

namespace listing {

/// One property, or one of the texts about a device, that differs.
struct Change
{
    zel::String name;            ///< as a person calls it
    zel::String key;             ///< of the property; empty for a text about the device
    zel::ValueImp const* before; ///< in the listing compared; null: was not there, or see below
    zel::ValueImp const* after;
    zel::String beforeText, afterText; ///< of a text about the device, for which both pointers are null
};

struct ChangedDevice
{
    Device const* before;
    Device const* after;
    std::vector<Change> changes;
};

struct Comparison
{
    std::vector<Device const*> removed, added; ///< in the order of their listing
    std::vector<ChangedDevice> changed;
    bool leftOutVolatile = false;    ///< at least one volatile property differed and was not asked for
    bool leftOutIdentifying = false; ///< values that were masked were not compared

    bool isSame() const { return removed.empty() && added.empty() && changed.empty(); }
};

/// Leaves out of each listing what the other leaves out on purpose: devices of other classes, what is masked.
void align(Machine& before, Machine& after);

/// Devices belong together when type and location are the same; what is left, when type, model and serial number
/// are, each of which only one device has: a drive on another cable has changed its place. Without `all`, volatile properties
/// and the system's names, which follow the order of discovery, are left out. Values of identifying properties count only when
/// neither listing is masked. Points into both listings.
Comparison compare(Machine const& before, Machine const& after, bool all);

/// For people: what was removed, added, changed, then one line with the numbers. `beforeName` and `afterName` say
/// where the listings come from.
std::string text(Comparison const& comparison, Machine const& before, std::string const& beforeName,
                 Machine const& after, std::string const& afterName);

} // namespace listing
