#pragma once

#include <zel/foundation/String.h>

namespace zel {

/// One condition on a property of the device under test.
struct DeviceRequirement
{
    String propertyKey;
    String validRange;      ///< syntax of zel/model/ValidRange.h
    bool exclusion = false; ///< true: a device whose value lies in the range is refused

    /// "key" for a requirement, "!key" for an exclusion.
    String toString() const { return (exclusion ? String("!") : String()) + propertyKey; }
};

} // namespace zel
