#pragma once

namespace engine {

/// From here on the calling thread goes before the programs that are tested, which may keep all processors busy: reports, limits
/// and stops are to be in time. What it starts does not inherit that, threads neither. Of no effect for others than root, nor where
/// somebody has started the engine with a priority of its own.
void goBeforeModules() noexcept;

} // namespace engine
