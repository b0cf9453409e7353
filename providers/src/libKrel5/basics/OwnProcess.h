#pragma once

#include <exception>

namespace krel5 {

/// What belongs to the whole process, not to the library. Thread rule: main thread, but for showUncaught.
struct OwnProcess
{
    /// What an exception that nobody catches comes to; given, as the library is loaded, by the room that knows
    /// how the process ends.
    static void setTerminate(std::terminate_handler handler) noexcept;
    /// From now on that handler is in charge, unless the program has one of its own. Each exception of the
    /// library sees to it, since the first may be thrown before any facade is in use: by a static object, say.
    static void showUncaught() noexcept;
};

} // namespace krel5
