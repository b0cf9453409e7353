#include <libKrel5/basics/OwnProcess.h>

#include <zel/foundation/ExitGuard.h>
#include <zel/foundation/FaultHandler.h>
#include <zel/foundation/StopSignal.h>
#include <zel/foundation/System.h>

#include <atomic>

namespace krel5 {
namespace {

// What std::get_terminate gives where the program has set no handler.
#ifdef __GLIBCXX__
std::terminate_handler const s_defaultTerminate = __gnu_cxx::__verbose_terminate_handler;
#else
std::terminate_handler const s_defaultTerminate = std::get_terminate(); // as this library is loaded
#endif

constinit std::atomic<std::terminate_handler> s_terminate{nullptr};
constinit std::atomic<bool> s_isOurs{true};

} // namespace

void OwnProcess::leaveToHost() noexcept
{
    s_isOurs = false;
    if (s_terminate && std::get_terminate() == s_terminate)
        std::set_terminate(s_defaultTerminate);
}

bool OwnProcess::isOurs() noexcept { return s_isOurs; }

void OwnProcess::setTerminate(std::terminate_handler handler) noexcept { s_terminate = handler; }

void OwnProcess::showUncaught() noexcept
{
    if (s_isOurs && s_terminate && std::get_terminate() == s_defaultTerminate)
        std::set_terminate(s_terminate);
}

void OwnProcess::secureStandardStreams() noexcept
{
    if (s_isOurs)
        zel::System::secureStandardStreams();
}

void OwnProcess::secureSignals() noexcept
{
    if (s_isOurs)
        zel::System::secureSignals();
}

void OwnProcess::catchFaults(int exitStatus, void (*report)(zel::String const& text))
{
    if (!s_isOurs)
        return;
    std::set_terminate(s_terminate);
    zel::FaultHandler::install(exitStatus, report);
}

void OwnProcess::prepareThread()
{
    if (s_isOurs)
        zel::FaultHandler::prepareThread();
}

void OwnProcess::guardExit(int exitStatus, void (*notice)())
{
    if (s_isOurs)
        zel::ExitGuard::arm(exitStatus, notice);
}

void OwnProcess::stopOnSignal(int exitStatusOfSecond)
{
    if (s_isOurs)
        zel::StopSignal::install(exitStatusOfSecond);
}

} // namespace krel5
