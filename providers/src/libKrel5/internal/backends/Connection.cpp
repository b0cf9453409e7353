#include <libKrel5/internal/backends/Connection.h>

#include <libKrel5/internal/backends/CommInterface.h>
#include <libKrel5/internal/module/ErrorReporting.h>

#include <zel/foundation/Logger.h>

#include <utility>

namespace krel5 {
namespace {

CommInterface* s_open = nullptr; // the backend whose link is open

zel::Logger& logger()
{
    static zel::Logger& s_logger = zel::LogFactory::getLogger("krel5.ModuleCommon");
    return s_logger;
}

} // namespace

Connection::Connection(CommInterface& comm)
{
    ZEL_ASSERT_NAMED(!s_open, "!s_open");
    if (comm.openConnection()) {
        s_open = &comm;
        return;
    }
    ZEL_LOG(logger(), zel::LogLevel::Error) << "Cannot connect to engine";
    ErrorReporting::tell("Cannot connect to engine");
}

bool Connection::isOpen() noexcept { return s_open != nullptr; }

void Connection::close() noexcept
{
    CommInterface* const open = std::exchange(s_open, nullptr);
    if (!open)
        return;
    guarded(
        "closeConnection", [open] { open->closeConnection(); },
        [](KrelException const& error) { ZEL_LOG(logger(), zel::LogLevel::Error) << error.toString(); });
}

} // namespace krel5
