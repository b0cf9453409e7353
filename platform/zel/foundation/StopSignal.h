#pragma once
// Ctrl-C, a polite kill and a lost terminal as a request to stop.

#include <zel/foundation/Export.h>

namespace zel {

/// While installed, the first SIGINT, SIGTERM or SIGHUP only sets a flag, and says so on standard error; the
/// second ends the process at once with the given status, unless it is one more SIGHUP (a shell and the
/// kernel both tell of one lost terminal) or comes within 0.3 seconds of the first (`timeout` signals a
/// process, and once more as one of its group). Thread rule: any thread may ask.
struct ZEL_EXPORT StopSignal
{
    /// A signal that was ignored when the process started (a background job, nohup) stays ignored.
    static void install(int exitStatusOfSecond);
    static bool requested() noexcept;
};

} // namespace zel
