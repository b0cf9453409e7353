#include <zel/foundation/System.h>

#include <zel/foundation/linux/FaultText.h>
#include <zel/foundation/linux/FileDescriptor.h>
#include <zel/foundation/linux/PipeTransfer.h>

#include <atomic>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <new>
#include <pthread.h>
#include <stdexcept>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace zel {
namespace {

constexpr std::size_t kPipeLimit = 256u << 20;

thread_local int t_lastError = 0;

// A number that is none of a descriptor stays none: it must not be cut to one.
int descriptorOf(std::int64_t pipeId) noexcept
{
    return std::in_range<int>(pipeId) ? static_cast<int>(pipeId) : -1;
}

bool succeeded(int errorNumber) noexcept
{
    if (errorNumber != 0)
        t_lastError = errorNumber;
    return errorNumber == 0;
}

// O_NONBLOCK belongs to what all processes with this pipe or terminal share: taking it away would hit the others,
// and keeping it loses output, so the file is opened anew. A socket cannot be.
void waitWhenFull(int descriptor) noexcept
{
    struct stat status;
    int const flags =
        ::fcntl(descriptor, F_GETFL); // -1, with all bits, for what is closed: fstat says so too
    if ((flags & O_NONBLOCK) == 0 || ::fstat(descriptor, &status) != 0 ||
        !(S_ISFIFO(status.st_mode) || ::isatty(descriptor) == 1))
        return;
    std::string const self = "/proc/self/fd/" + std::to_string(descriptor);
    FileDescriptor const own =
        FileDescriptor::open(self.c_str(), (flags & O_ACCMODE) | (flags & O_APPEND) | O_NOCTTY);
    if (own.isOpen())
        ::dup2(own.number(), descriptor);
}

} // namespace

// A system call each time would be a tenth of an exchange with an engine, which asks on which side of a fork it is.
std::int64_t System::processId() noexcept
{
    static std::atomic<pid_t> s_known{0};
    static bool const s_isToldOfForks =
        ::pthread_atfork(nullptr, nullptr, [] { s_known.store(0, std::memory_order_relaxed); }) == 0;
    pid_t process = s_known.load(std::memory_order_relaxed);
    if (process == 0) {
        process = ::getpid();
        if (s_isToldOfForks)
            s_known.store(process, std::memory_order_relaxed);
    }
    return process;
}

std::int64_t System::parentProcessId() noexcept { return ::getppid(); }

bool System::userIsAdministrator() noexcept { return ::geteuid() == 0; }

String System::errorText(int errorNumber)
{
    if (char const* text = ::strerrordesc_np(errorNumber))
        return String(text);
    return String("Unknown error ") + String::number(errorNumber);
}

String System::getSystemErrorMsg() { return errorText(t_lastError); }

CString System::executablePath()
{
    char path[PATH_MAX];
    ssize_t const length = ::readlink("/proc/self/exe", path, sizeof path);
    if (length <= 0 || static_cast<std::size_t>(length) >= sizeof path)
        return CString();
    return CString(std::string(path, static_cast<std::size_t>(length)));
}

std::uint32_t System::currentTimeStamp() noexcept { return static_cast<std::uint32_t>(::time(nullptr)); }

void System::sleepMilliseconds(unsigned milliseconds)
{
    timespec left{static_cast<time_t>(milliseconds / 1000),
                  static_cast<long>(milliseconds % 1000) * 1'000'000};
    retryOnInterrupt([&] { return ::nanosleep(&left, &left); });
}

void System::exitProcess(int status) noexcept
{
    std::fflush(stdout);
    std::fflush(stderr);
    ::_exit(status);
}

void System::exitProcessAtOnce(int status) noexcept { ::_exit(status); }

bool System::readFromPipeUtf8(std::int64_t pipeId, std::string& utf8, std::size_t& byteCount, bool (*stop)())
{
    byteCount = 0;
    std::string bytes;
    if (!succeeded(readPipe(descriptorOf(pipeId), bytes, kPipeLimit, stop)))
        return false;
    utf8 = std::move(bytes);
    byteCount = utf8.size();
    return true;
}

bool System::readFromPipe(std::int64_t pipeId, String& text, std::size_t& byteCount, bool (*stop)())
try {
    std::string bytes;
    if (!readFromPipeUtf8(pipeId, bytes, byteCount, stop))
        return false;
    text = String(bytes);
    return true;
} catch (std::bad_alloc const&) {
    return succeeded(ENOMEM);
}

bool System::writeToPipeUtf8(std::int64_t pipeId, std::string_view utf8, std::size_t& byteCount,
                             bool (*stop)())
{
    return succeeded(writePipe(descriptorOf(pipeId), utf8, byteCount, stop));
}

bool System::writeToPipe(std::int64_t pipeId, String const& text, std::size_t& byteCount, bool (*stop)())
try {
    byteCount = 0;
    return writeToPipeUtf8(pipeId, text.toUtf8(), byteCount, stop);
} catch (std::bad_alloc const&) {
    return succeeded(ENOMEM);
}

void System::keepPipeFromChildren(std::int64_t pipeId) noexcept
{
    ::fcntl(descriptorOf(pipeId), F_SETFD, FD_CLOEXEC);
}

void System::secureStandardStreams() noexcept
{
    for (int const descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        // The lowest free number is this one, as those below are open. Read-only in place of an output makes
        // every write to it fail, so that lost output is noticed. Inherited by children, hence no O_CLOEXEC.
        if (::fcntl(descriptor, F_GETFD) == -1)
            retryOnInterrupt([] { return ::open("/dev/null", O_RDONLY); });
    }
    waitWhenFull(STDOUT_FILENO);
    waitWhenFull(STDERR_FILENO);
    for (int const number : {SIGPIPE, SIGXFSZ}) {
        struct sigaction current;
        if (::sigaction(number, nullptr, &current) == 0 && current.sa_handler == SIG_DFL)
            ::signal(number, SIG_IGN);
    }
}

void System::secureSignals() noexcept
{
    sigset_t heard;
    ::sigemptyset(&heard);
    for (int const number : {SIGINT, SIGTERM, SIGHUP})
        ::sigaddset(&heard, number);
    for (FaultSignal const& fault : faultSignals())
        ::sigaddset(&heard, fault.number);
    ::pthread_sigmask(SIG_UNBLOCK, &heard, nullptr);
    struct sigaction current;
    if (::sigaction(SIGCHLD, nullptr, &current) == 0 && current.sa_handler == SIG_IGN)
        ::signal(SIGCHLD, SIG_DFL);
}

} // namespace zel
