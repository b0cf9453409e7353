#include <engine/runner/linux/Child.h>

#include <zel/foundation/System.h>
#include <zel/foundation/linux/ProgramStart.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace engine {
namespace {

constexpr std::size_t kTailBytes = 16u << 10;
constexpr int kReadsAtOnce = 64; // of one child; then the others are heard
constexpr int kPatienceMilliseconds = 2000;

// From a line's beginning, where there is one.
std::string tail(std::string text, std::size_t bytes)
{
    if (text.size() <= bytes)
        return text;
    text.erase(0, text.size() - bytes);
    std::size_t const line = text.find('\n');
    if (line != std::string::npos && line + 1 < text.size())
        text.erase(0, line + 1);
    return text;
}

std::string signalName(int number)
{
    char const* const name = ::sigabbrev_np(number);
    return name ? std::string("SIG") + name : "signal " + std::to_string(number);
}

} // namespace

Child::~Child()
{
    if (!isRunning())
        return;
    kill();
    for (int i = 0; i < kPatienceMilliseconds && !reap(); ++i)
        zel::System::sleepMilliseconds(1);
}

Child& Child::operator=(Child&& other) noexcept
{
    std::swap(m_id, other.m_id);
    std::swap(m_output, other.m_output);
    std::swap(m_process, other.m_process);
    std::swap(m_said, other.m_said);
    return *this;
}

int Child::start(std::string const& program, std::vector<std::string> const& words)
{
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0)
        return errno;
    m_output = zel::FileDescriptor(ends[0]);
    zel::FileDescriptor const writing(ends[1]);
    ::fcntl(m_output.number(), F_SETFL, O_NONBLOCK);
    zel::ProgramStart start{program, words};
    start.files = {{writing.number(), STDOUT_FILENO}, {writing.number(), STDERR_FILENO}};
    if (int const error = zel::startProgram(start, m_id); error != 0)
        return error;
    // Before Linux 5.3 there is none: then the end is found a little later.
    m_process = zel::FileDescriptor(static_cast<int>(::syscall(SYS_pidfd_open, m_id, 0)));
    return 0;
}

void Child::waitsFor(std::vector<pollfd>& waiting) const
{
    waiting.push_back({m_output.number(), POLLIN, 0});
    waiting.push_back({isRunning() ? m_process.number() : -1, POLLIN, 0});
}

void Child::listen()
{
    for (int i = 0; i < kReadsAtOnce && m_output.isOpen(); ++i) {
        std::array<char, 16384> buffer;
        ssize_t const count = ::read(m_output.number(), buffer.data(), buffer.size());
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0 && errno == EAGAIN)
            break;
        if (count <= 0) {
            m_output = zel::FileDescriptor();
            break;
        }
        m_said.append(buffer.data(), static_cast<std::size_t>(count));
        if (m_said.size() > 2 * kTailBytes)
            m_said = tail(std::move(m_said), kTailBytes);
    }
}

std::string Child::lastLine() const
{
    std::size_t const end = m_said.find_last_not_of("\r\n\t ");
    if (end == std::string::npos)
        return std::string();
    std::size_t const before = m_said.find_last_of('\n', end);
    std::size_t const begin = before == std::string::npos ? 0 : before + 1;
    return m_said.substr(begin, end - begin + 1);
}

// The group's number is the child's own until it is reaped, and not for sure any longer. Each gets the signal once: a module that
// gets a second one to end ends at once, without its end.
void Child::signalAll(int number) const
{
    if (!isRunning())
        return;
    ::kill(-m_id, number);
    if (::getpgid(m_id) != m_id) // it has left the group
        ::kill(m_id, number);
}

void Child::terminate() const { signalAll(SIGTERM); }
void Child::kill() const { signalAll(SIGKILL); }

std::optional<Child::End> Child::reap()
{
    siginfo_t found{};
    bool const isKnown = ::waitid(P_PID, static_cast<id_t>(m_id), &found, WEXITED | WNOHANG | WNOWAIT) == 0;
    if (isKnown && found.si_pid != m_id)
        return std::nullopt;
    if (!isKnown && errno == EINTR)
        return std::nullopt;
    listen();
    m_said = tail(std::move(m_said), kTailBytes);
    if (isKnown) {
        kill();
        zel::retryOnInterrupt([&] { return ::waitpid(m_id, nullptr, 0); });
    }
    m_id = -1;
    End end;
    if (isKnown && found.si_code == CLD_EXITED)
        end.status = found.si_status;
    else if (isKnown)
        end.signal = signalName(found.si_status);
    return end;
}

// Where anybody may write, anybody may have put a log there, or a link to something that is not for everybody.
std::string tailOf(std::string const& folder, std::string const& name, std::size_t bytes)
{
    auto const isOurs = [](zel::FileDescriptor const& one, struct stat& status) {
        return one.isOpen() && ::fstat(one.number(), &status) == 0 &&
               (status.st_uid == ::geteuid() || status.st_uid == 0);
    };
    struct stat status;
    auto const in = zel::FileDescriptor::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW);
    if (!isOurs(in, status))
        return std::string();
    zel::FileDescriptor const file(zel::retryOnInterrupt([&] {
        return ::openat(in.number(), name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
    }));
    if (!isOurs(file, status) || !S_ISREG(status.st_mode))
        return std::string();
    std::string text(bytes + 1, '\0'); // one more, to see whether there is more
    off_t const from = std::max<off_t>(status.st_size - static_cast<off_t>(text.size()), 0);
    ssize_t const count =
        zel::retryOnInterrupt([&] { return ::pread(file.number(), text.data(), text.size(), from); });
    text.resize(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
    return tail(std::move(text), bytes);
}

} // namespace engine
