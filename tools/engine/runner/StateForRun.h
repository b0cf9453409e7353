#pragma once

#include <engine/plan/Plan.h>

#include <zel/model/state/StateManager.h>

#include <memory>

namespace engine {

/// What a module needs of the machine for this run: the device, what it stands below, the devices that the test may use
/// beside it, and who the module is.
std::shared_ptr<zel::StateManager const> stateFor(PlannedRun const& run, zel::StateManager const& machine);

} // namespace engine
