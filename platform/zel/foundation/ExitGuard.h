#pragma once
// Notices when module code ends the process behind the library's back.

#include <zel/foundation/Export.h>

namespace zel {

/// While armed, a call of std::exit or std::quick_exit, and a return from main, first runs `notice` and then
/// ends the process with the given status, whatever status the caller asked for. One guard a process.
struct ZEL_EXPORT ExitGuard
{
    static void arm(int exitStatus, void (*notice)());
    static void disarm() noexcept;
};

} // namespace zel
