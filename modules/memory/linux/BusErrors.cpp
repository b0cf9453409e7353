#include <memory/linux/BusErrors.h>

#include <memory/linux/LockedMemory.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <sys/mman.h>

namespace krel5::modules::memory {
namespace {

// Written while the handler is not installed.
std::uintptr_t s_begin = 0;
std::uintptr_t s_end = 0;
BrokenPages* s_pages = nullptr;
struct sigaction s_previous = {};

/// Of what is lost: more than a page where the kernel could not split a larger one.
std::uintptr_t bytesLost(siginfo_t const& info) noexcept
{
    bool const told = info.si_code == BUS_MCEERR_AR || info.si_code == BUS_MCEERR_AO;
    auto const shift = static_cast<unsigned>(info.si_addr_lsb);
    std::uintptr_t const bytes = told && shift < 48 ? std::uintptr_t{1} << shift : 1;
    return std::max<std::uintptr_t>(bytes, s_pages->pageBytes());
}

// Runs in a signal handler: system calls and lock-free marks, nothing else.
bool giveUpPage(siginfo_t const& info) noexcept
{
    auto const address = reinterpret_cast<std::uintptr_t>(info.si_addr);
    if (info.si_code <= 0 || address < s_begin || address >= s_end) // no more than 0: another process sent it
        return false;
    std::uintptr_t const bytes = bytesLost(info);
    std::uintptr_t const from = std::max(address / bytes * bytes, s_begin);
    std::uintptr_t const to = std::min(address / bytes * bytes + bytes, s_end);
    // Marked before it is replaced: another thread may read the new page at once.
    for (std::uintptr_t page = from; page < to; page += s_pages->pageBytes())
        s_pages->add(page - s_begin, physicalAddress(reinterpret_cast<void*>(page)));
    if (info.si_code == BUS_MCEERR_AO)
        return true; // nobody has touched it yet; the access that does brings the other signal
    return mmap(reinterpret_cast<void*>(from), to - from, PROT_READ | PROT_WRITE,
                MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED, -1, 0) != MAP_FAILED;
}

void passOn(int number, siginfo_t* info, void* context)
{
    if (s_previous.sa_flags & SA_SIGINFO)
        return s_previous.sa_sigaction(number, info, context);
    if (s_previous.sa_handler != SIG_DFL && s_previous.sa_handler != SIG_IGN)
        return s_previous.sa_handler(number);
    (void)sigaction(number, &s_previous, nullptr);
    (void)raise(number);
}

void handle(int number, siginfo_t* info, void* context)
{
    int const error = errno;
    if (!giveUpPage(*info))
        passOn(number, info, context);
    errno = error;
}

} // namespace

BusErrors::BusErrors(void* begin, std::size_t bytes, BrokenPages& pages)
{
    s_begin = reinterpret_cast<std::uintptr_t>(begin);
    s_end = s_begin + bytes;
    s_pages = &pages;
    struct sigaction action = {};
    action.sa_sigaction = handle;
    // SA_NODEFER: whoever had the signal before may count on a second one reaching it.
    action.sa_flags = SA_SIGINFO | SA_ONSTACK | SA_NODEFER;
    (void)sigaction(SIGBUS, nullptr, &s_previous);
    (void)sigaction(SIGBUS, &action, nullptr);
}

BusErrors::~BusErrors() { (void)sigaction(SIGBUS, &s_previous, nullptr); }

} // namespace krel5::modules::memory
