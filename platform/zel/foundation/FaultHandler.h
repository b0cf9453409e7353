#pragma once
// Faults in module code: SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGTRAP and SIGSYS become one report and a
// defined exit status.

#include <zel/foundation/Export.h>
#include <zel/foundation/String.h>

namespace zel {

/// The process never vanishes silently: on such a signal one line naming it goes to standard error and to the
/// log file (made now, if no line stands in it yet) with nothing but system calls; then `report` gets the
/// full text (signal name, meaning, fault address, stack trace with function names) in ordinary program
/// context; then the process ends with the exit status. A second fault, or five seconds without an end (a
/// lock that the faulting code held), ends it at once with that status. Works for an exhausted stack and in
/// every thread that has an alternate stack of its own or enough stack left.
struct ZEL_EXPORT FaultHandler
{
    using Report = void (*)(String const& text);
    static void install(int exitStatus, Report report);
    /// Gives the calling thread an alternate stack for its life, so that its stack overflow is reported too.
    /// `install` does so for its own thread.
    static void prepareThread();
};

} // namespace zel
