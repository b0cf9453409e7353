#pragma once
// The events that tell of the machine's own counters, and a list of all for DiagHost.

#include <common/EventKey.h>

namespace krel5::modules::evidence {

#define MODULE_EVENT(constant, key) inline constexpr EventKey constant{key};
#include <common/evidence/Events.def>

inline constexpr EventKey kEvents[] = {
#define MODULE_EVENT(constant, key) constant,
#include <common/evidence/Events.def>
};

} // namespace krel5::modules::evidence
