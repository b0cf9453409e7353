#pragma once
// The device classes that the enumerator finds, and the one list of them.

#include <zel/enumerator/records/DeviceSink.h>
#include <zel/enumerator/root/Root.h>

#include <span>

namespace zel {

/// Each describes the devices of its class below `root`, in a stable order. None throws for what a machine
/// holds: what is missing or damaged yields fewer facts.
void discoverSystem(Root const& root, DeviceSink& sink);
void discoverProcessors(Root const& root, DeviceSink& sink);
void discoverMemory(Root const& root, DeviceSink& sink);
/// PCI functions, USB devices, and the drives, network cards, sound cards, input devices and ports on them:
/// one unit, because each names its controller as parent, and the controllers are read once.
void discoverHardware(Root const& root, DeviceSink& sink);
void discoverThermalZones(Root const& root, DeviceSink& sink);
void discoverSensors(Root const& root, DeviceSink& sink);
void discoverPower(Root const& root, DeviceSink& sink);
void discoverSwitches(Root const& root, DeviceSink& sink);

struct Discoverer
{
    char const* name;
    void (*discover)(Root const&, DeviceSink&);
    /// Every capability that a device of this class may have, but Hardware, which they all may: who asks for
    /// memory does not walk USB.
    CapabilityImp (*yields)();
};

std::span<Discoverer const> discoverers() noexcept;

/// Runs every discoverer that may yield a device with one of `capabilities` (ALL: every one). The devices are
/// not filtered further.
void discover(Root const& root, CapabilityImp const& capabilities, DeviceSink& sink);

} // namespace zel
