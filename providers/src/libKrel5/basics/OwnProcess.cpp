#include <libKrel5/basics/OwnProcess.h>

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

} // namespace

void OwnProcess::setTerminate(std::terminate_handler handler) noexcept { s_terminate = handler; }

void OwnProcess::showUncaught() noexcept
{
    if (s_terminate && std::get_terminate() == s_defaultTerminate)
        std::set_terminate(s_terminate);
}

} // namespace krel5
