#pragma once
// The events that this module's reports are sent as, and a list of all for its main.

#include <common/EventKey.h>

namespace krel5::modules::board {

#define MODULE_EVENT(constant, key) inline constexpr EventKey constant{key};
#include <board/Events.def>

inline constexpr EventKey kEvents[] = {
#define MODULE_EVENT(constant, key) constant,
#include <board/Events.def>
};

} // namespace krel5::modules::board
