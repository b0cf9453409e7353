#include <libKrel5/internal/backends/Connection.h>

#include <libKrel5/internal/backends/CommInterface.h>
#include <libKrel5/internal/module/ErrorReporting.h>

#include <zel/foundation/Logger.h>

#include <atomic>
#include <exception>

namespace krel5 {
namespace {

std::atomic<CommInterface*> s_open{
    nullptr};                          // the backend whose link is open; any thread asks, in an error report
std::atomic<bool> s_isLeftOpen{false}; // by an exception

zel::Logger& logger()
{
    static zel::Logger& s_logger = zel::LogFactory::getLogger("krel5.ModuleCommon");
    return s_logger;
}

} // namespace

Connection::Connection(CommInterface& comm) : m_exceptions(std::uncaught_exceptions())
{
    if (s_isLeftOpen)
        close();
    ZEL_ASSERT_NAMED(!s_open, "!s_open");
    if (comm.openConnection()) {
        s_open = &comm;
        return;
    }
    ZEL_LOG(logger(), zel::LogLevel::Error) << "Cannot connect to engine";
    ErrorReporting::tell("Cannot connect to engine");
}

Connection::~Connection()
{
    if (std::uncaught_exceptions() > m_exceptions)
        s_isLeftOpen = isOpen();
    else
        close();
}

bool Connection::isOpen() noexcept { return s_open != nullptr; }

void Connection::close() noexcept
{
    s_isLeftOpen = false;
    CommInterface* const open = s_open.exchange(nullptr);
    if (!open)
        return;
    guarded(
        "closeConnection", [open] { open->closeConnection(); },
        [](KrelException const& error) { ZEL_LOG(logger(), zel::LogLevel::Error) << error.toString(); });
}

} // namespace krel5
