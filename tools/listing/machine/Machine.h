#pragma once
// A machine as it is listed, saved and compared: plain values, whether they come from a state manager or a saved file.
//
//     listing::Machine machine = listing::machineOf(state);
//     listing::selectClasses(machine, {zel::CapabilityImp::HardDrive()});
//     std::string const text = listing::tree(machine, 0);
//
// Thread rule: plain values.

#include <zel/foundation/String.h>
#include <zel/model/devices/PropertySpecImp.h>
#include <zel/model/values/ValueImp.h>
#include <zel/model/vocabulary/CapabilityImp.h>

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

namespace zel {
class StateManager;
}

namespace listing {

struct Property
{
    std::shared_ptr<zel::PropertySpecImp const> spec; ///< never null
    zel::ValueImp value;

    zel::String const& key() const { return spec->keyInModule(); }
    /// What a person calls it; the key where nobody gave it a name.
    zel::String const& name() const { return spec->defaultName().empty() ? key() : spec->defaultName(); }
    /// Changes by itself: a temperature, a counter.
    bool isVolatile() const;
    /// Tells this machine from others of its kind: a serial number, an address.
    bool isIdentifying() const;
    /// A group that has no value of its own: listings for people, which show no groups, leave it out.
    bool isHeading() const;
};

struct Device
{
    static constexpr std::size_t kNone = static_cast<std::size_t>(-1);

    zel::CapabilityImp type, capabilities, busClass;
    zel::String name, description, hwLocator, osLocator, guid, state;
    std::vector<zel::String> childBusIds;
    std::vector<Property> properties;
    std::size_t parent = kNone; ///< index in Machine::devices, smaller than the device's own
    std::size_t depth = 0;      ///< number of parents above it
    bool isPath = false;        ///< listed only as parent of others: properties are left out

    /// Type and location, which tell devices of one machine apart.
    zel::String const& location() const { return hwLocator.empty() ? osLocator : hwLocator; }
    bool isFunctional() const;
    /// Null when absent.
    Property const* property(zel::String const& key) const;
};

/// Where a listing comes from.
struct Origin
{
    zel::String program; ///< and its version; both empty for a file of the old form
    zel::String version;
    zel::String date;   ///< "2026-11-22T09:00:00Z"
    bool isLive = true; ///< false: read from a captured tree
    bool isMasked = false;
    std::vector<zel::String> classes; ///< only devices of these; empty: all
    std::vector<zel::String> gaps;    ///< why devices may be missing, one line each
};

struct Machine
{
    Origin origin;
    /// Each before its children, these before its next sibling.
    std::vector<Device> devices;

    /// Name of the device that is the whole machine; empty when there is none.
    zel::String name() const;
    zel::String hostName() const;
};

/// All devices of `state`. What changes in `state` later does not change the copy.
Machine machineOf(zel::StateManager const& state);

/// Keeps the devices that have one of `classes` as type or capability, and their parents as a path to them.
/// Nothing changes when `classes` is empty.
void selectClasses(Machine& machine, std::vector<zel::CapabilityImp> const& classes);

/// The specification by which properties of the key are listed when a file does not say: the enumerator's own, if it
/// has one, else one that only has the key.
std::shared_ptr<zel::PropertySpecImp const> specificationOf(zel::String const& key);

/// Calls `enter(device)` for each device and `leave()` after its last descendant.
template <typename Enter, typename Leave>
void walk(Machine const& machine, Enter enter, Leave leave)
{
    std::size_t open = 0;
    for (Device const& device : machine.devices) {
        for (; open > device.depth; --open)
            leave();
        enter(device);
        ++open;
    }
    for (; open > 0; --open)
        leave();
}

} // namespace listing
