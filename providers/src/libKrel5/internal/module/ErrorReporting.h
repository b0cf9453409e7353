#pragma once
// What happens to an error that nobody below could handle: one place that logs it, shows it, and ends the
// process.

#include <libKrel5/internal/module/Facade.h>

#include <krel5/InternalException.h>
#include <krel5/KrelException.h>
#include <krel5/TestResult.h>

#include <zel/foundation/Exception.h>

#include <functional>

namespace krel5 {

class ErrorReporting
{
public:
    /// Makes `facade` the one whose internalErrorPost receives errors.
    static void putInCharge(Facade const& facade);
    /// The same. Where the process is ours, installs the
    /// handlers for uncaught exceptions and for faults in module code, and when `running` for an exit behind
    /// the library's back.
    static void install(Facade const& facade, bool running);
    static Facade const* facade();

    /// Hands an error to the facade in charge.
    static void post(KrelException const& error);
    /// The default behind every facade's internalErrorPost: inside the module-init callback the error is
    /// thrown, otherwise it is logged, shown on standard error, the exit step runs, and the process ends with
    /// INTERNALERROR. A host's process goes on: then this returns, and start() says INTERNALERROR.
    static void internalErrorPost(KrelException const& error);

    /// Ends the process with the result's value, whatever else is going on: standard output is flushed, a
    /// failure of which turns PASS into INTERNALERROR.
    [[noreturn]] static void endProcess(TestResult const& result);
    /// `result`, or INTERNALERROR with a message when it is PASS and standard output lost something. A host is told in other
    /// ways: its module has passed all the same.
    static TestResult withOutputChecked(TestResult const& result);

    /// A line for the person at the console: standard error, whole, flushed. What could steer the terminal,
    /// from a file or the command line, is written as an escape.
    static void tell(zel::String const& line);
    /// The text of an exception without its stack traces.
    static zel::String withoutStackTrace(zel::String const& text);
};

/// Runs `body`; an exception that leaves it is turned into a KrelException by class, in this order: of the
/// platform, of the library, anything else, and given to `handle`. `call` names the guarded call:
/// "DiagModule::start()". (The remaining class, a fault in module code,
/// is a signal: FaultHandler.)
void guarded(char const* call, std::function<void()> const& body,
             std::function<void(KrelException const&)> const& handle);

} // namespace krel5
