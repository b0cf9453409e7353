#include <libKrel5/facades/Enumeration.h>

#include <libKrel5/devices/EnumerationPhase.h>
#include <libKrel5/internal/backends/CommInterface.h>
#include <libKrel5/internal/backends/Connection.h>
#include <libKrel5/internal/backends/MissingDevices.h>
#include <libKrel5/internal/backends/StopRequest.h>
#include <libKrel5/internal/module/ErrorReporting.h>
#include <libKrel5/internal/module/ModuleCommon.h>
#include <libKrel5/internal/settings/PropertyOverrides.h>

#include <zel/foundation/Logger.h>
#include <zel/foundation/Stopwatch.h>
#include <zel/model/devices/SystemInformationFilter.h>
#include <zel/model/state/StateManager.h>

namespace krel5 {
namespace {

zel::Logger& logger()
{
    static zel::Logger& s_logger = zel::LogFactory::getLogger("krel5.SysInfoModule");
    return s_logger;
}

// Logs how long the step took and begins the next.
void endStep(char const* step, zel::Stopwatch& watch)
{
    ZEL_LOG(logger(), zel::LogLevel::Information) << step << " took " << watch.getElapsed() << " seconds.";
    watch.reset();
}

// Without a filter everything is told. Who wrote one that cannot be used meant something else, and learns it.
void loadFilter()
{
    auto const load = zel::SystemInformationFilter::instance().load();
    for (zel::String const& warning : load.warnings) {
        ZEL_LOG(logger(), zel::LogLevel::Warning) << warning;
        ErrorReporting::tell("WARNING: " + load.file + ": " + warning);
    }
    if (load.result == zel::SystemInformationFilter::Result::Loaded)
        return;
    ZEL_LOG(logger(), zel::LogLevel::Warning)
        << "start(): SysinfoFilter failed loading filter file: " << load.file
        << " result = " << static_cast<int>(load.result);
    if (load.result == zel::SystemInformationFilter::Result::Absent)
        return;
    ZEL_LOG(logger(), zel::LogLevel::Warning) << load.reason;
    ErrorReporting::tell("WARNING: " + load.reason + "; nothing is left out");
}

} // namespace

TestResult Enumeration::run(CommInterface& comm, void (*discover)())
{
    loadFilter();
    zel::Stopwatch const total;
    zel::Stopwatch step;
    Connection const connection(comm);
    if (!connection.isOpen())
        return TestResult::CANNOTRUN();
    comm.receiveDevices();
    comm.sendVersion();
    endStep("comm interface open & receive", step);
    if (!StopRequest::isMade()) {
        EnumerationPhase const phase;
        discover();
    }
    endStep("s_enumerationCallback", step);
    if (propertyOverridesAreOn())
        processPropertyOverrides();
    endStep("processPropertyOverrides", step);
    bool const isStopped = StopRequest::isMade();
    if (!isStopped)
        comm.sendAddDevices();
    bool const isWhole = isStopped || tellMissingDevices(); // of what the callback found with the enumerator
    if (!isStopped && zel::StateManager::instance().deviceCount() == 0)
        ErrorReporting::tell(
            "No devices reported"); // an empty list on standard output is no answer to a person
    endStep("sendEnumDevices", step);
    bool const isConfirmed = comm.isConfirmed();
    bool const endsEarly = isStopped || StopRequest::isMade(); // asked of a backend that is still open
    Connection::close();
    endStep("closeConnection", step);
    ZEL_LOG(logger(), zel::LogLevel::Information) << "total time = " << total.getElapsed() << " seconds.";
    if (endsEarly)
        return TestResult::USERABORTED();
    return isWhole && isConfirmed ? TestResult::PASS() : TestResult::CANNOTRUN();
}

} // namespace krel5
