#include <zel/ipc/linux/LinkThread.h>

#include <zel/foundation/System.h>

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <sys/eventfd.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace zel {

int LinkThread::start(std::function<void()> body)
{
    m_wake = FileDescriptor(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (!m_wake.isOpen())
        return errno;
    m_process = System::processId();
    sigset_t blocked, before;
    ::sigfillset(&blocked);
    for (int const fault : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGTRAP, SIGABRT})
        ::sigdelset(&blocked, fault);
    ::pthread_sigmask(SIG_SETMASK, &blocked, &before); // a thread begins with the mask of who makes it
    int error = 0;
    try {
        m_thread = std::make_unique<std::thread>(std::move(body));
    } catch (std::system_error const& e) {
        error = e.code().value();
    }
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return error;
}

void LinkThread::join() noexcept
{
    if (!m_thread)
        return;
    if (isHere())
        m_thread->join();
    else
        static_cast<void>(
            m_thread.release()); // of a thread that is not in this process, nothing may be asked
    m_thread.reset();
}

bool LinkThread::isHere() const noexcept { return m_process == System::processId(); }

void LinkThread::wake() const noexcept
{
    std::uint64_t const one = 1;
    if (isHere()) [[maybe_unused]]
        auto const written = ::write(m_wake.number(), &one, sizeof one);
}

void LinkThread::takeWakes() const noexcept
{
    std::uint64_t count = 0;
    [[maybe_unused]] auto const taken = ::read(m_wake.number(), &count, sizeof count);
}

} // namespace zel
