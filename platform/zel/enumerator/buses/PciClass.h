#pragma once
// What the class code of a PCI function says about it (PCI Code and ID Assignment Specification, chapter 1).

#include <zel/model/vocabulary/CapabilityImp.h>

#include <cstdint>

namespace zel {

struct PciKind
{
    CapabilityImp type;
    CapabilityImp capabilities; ///< type included, PCI included
    char const* description;    ///< "SATA controller"
};

/// `classCode` has 24 bits: base class, subclass, programming interface. Of a class that is not known the
/// type is PCI.
PciKind pciKind(std::uint32_t classCode);
/// Every capability that pciKind() gives.
CapabilityImp pciCapabilities();

} // namespace zel
