#pragma once

namespace krel5::modules::cpu {

/// The running system's ThreadClock.
double threadTime() noexcept;

} // namespace krel5::modules::cpu
