#pragma once
// The core shared by the module facades: the module record, its life cycle, and what the command line set up.
//
//   setCmdLineArgs and setVersion (any order)  ->  initialize  ->  action  ->  exit step
//
// Thread rule: main thread, before any other exists; the queries afterwards from any thread.

#include <libKrel5/basics/ModuleIdentity.h>
#include <libKrel5/internal/module/Facade.h>

#include <krel5/TestResult.h>

#include <memory>

namespace krel5 {

class CommInterface;
class KrelString;

class ModuleCommon
{
public:
    using Callback = void (*)();

    static zel::ModuleImp& module() { return ModuleIdentity::module(); }

    /// Every facade's setCmdLineArgs: whose process this is, error reporting, the facade's own options, module
    /// guid, obsolete words, common options, parsing, logging. Errors are posted.
    static void setCmdLineArgs(Facade const& facade, int argc, char const* const argv[]);
    static void setVersion(unsigned major, unsigned minor, KrelString const& build);
    static void setModuleInitCallback(Callback callback);
    static void setModuleExitCallback(Callback callback);

    /// Throws InvalidInitException "Cannot call {name} after calling start" when the facade's start() has
    /// begun.
    static void checkNotStarted(bool started, char const* name);

    /// First step of start(): checks, module-init callback, registration of every object, settings.
    static void initialize(zel::ModuleTypeImp const& type);
    static bool isInsideInitCallback();

    /// start() of a facade: initialize, the facade's own checks, informational commands, backend, privileges,
    /// `action`, exit step. Returns the exit status.
    static int start(Facade const& facade, TestResult (*action)());

    /// Where it is still open.
    static void closeConnection() noexcept;
    /// Told once behind a pass of the indicator loop in which functions without a device were called: nobody knows what
    /// they wrote, so what stands in the buffer of standard output goes out.
    static void freeIndicatorsRan();
    /// Closes the connection where it is still open; then calls the module-exit callback, once, and only when
    /// start() has begun.
    static void runExitStep();

    /// Tells an engine, where the connection to one is open, of an error that ends the process. What goes wrong with that is
    /// dropped: the error stands in the log already. Any thread.
    static void sendInternalError(zel::String const& text) noexcept;

    /// The backend; null before it was chosen.
    static CommInterface* comm();
    /// Set before start(), takes the place of the backend that the command line asks for; for tests. The connection of the one before is closed.
    static void setComm(std::unique_ptr<CommInterface> comm);
    static zel::String baseDirectory();

    static void printUsage();
    static void printVersion();

private:
    static void understandCommandLine(int argc, char const* const argv[]);
    static void deriveGuid(int argc, char const* const argv[]);
    static void refuseObsoleteWords(int argc, char const* const argv[]);
    static void setUpLogging(zel::String const& baseDirectory);
    static void applyLanguage();
    static void callInitCallback();
    static void registerObjects();
    static bool runInformationalCommands(TestResult& result);
    static TestResult chooseBackend();
    static TestResult checkPrivileges();
};

} // namespace krel5
