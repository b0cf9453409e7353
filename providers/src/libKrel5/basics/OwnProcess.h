#pragma once

#include <exception>

namespace zel {
class String;
}

namespace krel5 {

/// What belongs to the whole process, not to the library: standard streams, signals, the terminate handler, the
/// exit. Taken hold of only here, and only while the process is the module's own; in the process of a client
/// that hosts the module, each operation does nothing. Thread rule: main thread, unless it says otherwise.
struct OwnProcess
{
    /// The process is a host's from now on. Gives back what showUncaught took before that was known.
    static void leaveToHost() noexcept;
    /// Any thread.
    static bool isOurs() noexcept;

    /// What an exception that nobody catches comes to; given, as the library is loaded, by the room that knows
    /// how the process ends.
    static void setTerminate(std::terminate_handler handler) noexcept;
    /// From now on that handler is in charge, unless the program has one of its own. Each exception of the
    /// library sees to it, since the first may be thrown before any facade is in use: by a static object, say.
    /// Any thread.
    static void showUncaught() noexcept;

    /// See zel::System::secureStandardStreams.
    static void secureStandardStreams() noexcept;
    /// See zel::System::secureSignals.
    static void secureSignals() noexcept;
    /// Faults (zel::FaultHandler) go to `report` and uncaught exceptions to the handler above, whatever the
    /// program has set.
    static void catchFaults(int exitStatus, void (*report)(zel::String const& text));
    /// The calling thread's part of it; any thread.
    static void prepareThread();
    /// See zel::ExitGuard::arm.
    static void guardExit(int exitStatus, void (*notice)());
    /// See zel::StopSignal::install.
    static void stopOnSignal(int exitStatusOfSecond);
};

} // namespace krel5
