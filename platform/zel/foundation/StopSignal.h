#pragma once
// Ctrl-C and a polite kill as a request to stop.

#include <zel/foundation/Export.h>

namespace zel {

/// While installed, the first SIGINT or SIGTERM only sets a flag, and says so on standard error; the second
/// ends the process at once with the given status. Thread rule: any thread may ask.
struct ZEL_EXPORT StopSignal
{
    /// A signal that was ignored when the process started (a background job) stays ignored.
    static void install(int exitStatusOfSecond);
    static bool requested() noexcept;
};

} // namespace zel
