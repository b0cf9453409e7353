#pragma once

namespace krel5 {

/// Whether the work of this process should end. Thread rule: any thread.
struct StopRequest
{
    /// Asked for by a signal, by the module itself, or by whom the backend talks to, who may also be gone. Once
    /// it is made it stays.
    static bool isMade();
    /// The module itself asks.
    static void make();
};

} // namespace krel5
