#pragma once
// The events that this module's reports are sent as, and a list of all for its main.

#include <common/EventKey.h>

namespace krel5::modules::pcie {

#define MODULE_EVENT(constant, key) inline constexpr EventKey constant{key};
#include <pcie/Events.def>

inline constexpr EventKey kEvents[] = {
#define MODULE_EVENT(constant, key) constant,
#include <pcie/Events.def>
};

} // namespace krel5::modules::pcie
