#pragma once
// From what the enumerator found to what the module reports.

#include <inventory/Declarations.h>

namespace zel {
class DeviceImp;
class StateManager;
} // namespace zel

namespace krel5::modules::inventory {

/// Reports the devices of `found`, each before those below it, with their properties in groups. The library's filter decides
/// about each device and property; what stood below a device that is left out stands below the next one above. Without
/// `all` cores, threads and caches are left out, and properties of detail. During enumeration.
void report(zel::StateManager const& found, Declarations const& declarations, bool all);

} // namespace krel5::modules::inventory
