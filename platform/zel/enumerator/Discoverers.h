#pragma once
// The list of device classes that the enumerator finds.

#include <zel/enumerator/buses/HardwareTree.h>
#include <zel/enumerator/records/DeviceSink.h>
#include <zel/enumerator/root/Root.h>

#include <span>
#include <variant>

namespace zel {

/// Describes the devices of one class, in a stable order. Does not throw for what a machine holds: what is
/// missing or damaged yields fewer facts.
using DiscoverOnRoot = void (*)(Root const&, DeviceSink&);
/// As the one above, for devices that hang on PCI or USB: the tree of both is read once a scan, when the first
/// class that needs it is asked for.
using DiscoverOnBuses = void (*)(HardwareTree&, DeviceSink&);

struct Discoverer
{
    char const* name;
    std::variant<DiscoverOnRoot, DiscoverOnBuses> discover;
    /// Every capability that a device of this class may have, but Hardware, which they all may: who asks for
    /// memory does not walk USB. A device that has one which is not here is missing for whoever asks for that.
    CapabilityImp (*yields)();
};

std::span<Discoverer const> discoverers() noexcept;

/// Runs every discoverer that may yield a device with one of `capabilities` (ALL: every one). The devices are
/// not filtered further; what is found of one class does not depend on which others run.
void discover(Root const& root, CapabilityImp const& capabilities, DeviceSink& sink,
              HardwareNames const& names = HardwareNames::system());

} // namespace zel
