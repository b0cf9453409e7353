#pragma once

namespace krel5 {

/// The time in which a module's discovery callback runs: only then may devices be linked to each other.
/// Made on the main thread around the callback; asked from any thread.
class EnumerationPhase
{
public:
    EnumerationPhase();
    ~EnumerationPhase();
    EnumerationPhase(EnumerationPhase const&) = delete;
    EnumerationPhase& operator=(EnumerationPhase const&) = delete;

    static bool isActive() noexcept;
};

} // namespace krel5
