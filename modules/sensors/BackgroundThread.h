#pragma once

#include <functional>

namespace krel5::modules::sensors {

/// Runs `work` in a thread that nobody waits for and that gets no signals: those belong to the module. False: the system has no
/// thread to give. `work` does not throw.
bool startInBackground(std::function<void()> work);

} // namespace krel5::modules::sensors
