#include <zel/enumerator/modules/linux/ModuleChild.h>

#include <zel/foundation/System.h>

#include <fcntl.h>
#include <linux/close_range.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>

extern char** environ;

namespace zel {

namespace {

using Clock = std::chrono::steady_clock;

// Where the child finds its pipes; the parent's own ends stand higher, so that no dup2 meets another's
// source.
constexpr int kChildIn = 3;
constexpr int kChildOut = 4;
constexpr int kChildReport = 5; // until it is another program
constexpr int kLowest = 10;
constexpr int kNotStarted = 127;

struct Pipe
{
    FileDescriptor reading, writing;

    bool isOpen() const { return reading.isOpen() && writing.isOpen(); }
};

/// One to the child, three from it.
struct Pipes
{
    Pipe in, out, errors, report;

    bool areOpen() const { return in.isOpen() && out.isOpen() && errors.isOpen() && report.isOpen(); }
};

FileDescriptor raised(int descriptor)
{
    FileDescriptor const low(descriptor);
    return FileDescriptor(::fcntl(descriptor, F_DUPFD_CLOEXEC, kLowest));
}

/// Both ends closed when it fails.
Pipe makePipe()
{
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0)
        return {};
    return {raised(ends[0]), raised(ends[1])};
}

/// Handlers of this process do not run in a child that is not yet another program.
class SignalsBlocked
{
public:
    SignalsBlocked()
    {
        sigset_t all;
        ::sigfillset(&all);
        ::pthread_sigmask(SIG_SETMASK, &all, &m_before);
    }
    ~SignalsBlocked() { ::pthread_sigmask(SIG_SETMASK, &m_before, nullptr); }
    SignalsBlocked(SignalsBlocked const&) = delete;
    SignalsBlocked& operator=(SignalsBlocked const&) = delete;

    /// What is ignored stays ignored, as across any start of a program.
    void endInChild() const
    {
        for (int number = 1; number < NSIG; ++number) {
            struct sigaction action;
            if (::sigaction(number, nullptr, &action) == 0 && action.sa_handler != SIG_IGN)
                ::signal(number, SIG_DFL);
        }
        ::sigprocmask(SIG_SETMASK, &m_before, nullptr);
    }

private:
    sigset_t m_before;
};

// Between fork and exec, in the child: nothing but what a signal handler may call.
bool takeFiles(Pipes const& pipes)
{
    int const nothing = ::open("/dev/null", O_RDWR); // may be 0 or 1 itself, which have to outlive the exec
    bool const taken = nothing >= 0 && ::dup2(nothing, STDIN_FILENO) >= 0 &&
                       ::dup2(nothing, STDOUT_FILENO) >= 0 &&
                       ::dup2(pipes.errors.writing.number(), STDERR_FILENO) >= 0 &&
                       ::dup2(pipes.in.reading.number(), kChildIn) >= 0 &&
                       ::dup2(pipes.out.writing.number(), kChildOut) >= 0 &&
                       ::dup3(pipes.report.writing.number(), kChildReport, O_CLOEXEC) >= 0;
    // Others may have opened files without O_CLOEXEC. Closed at once: a program that is never loaded must not hold the ends of
    // other children's pipes.
    if (taken)
        ::close_range(kChildReport + 1, ~0u, 0);
    return taken;
}

[[noreturn]] void becomeModule(pid_t parent, SignalsBlocked const& blocked, Pipes const& pipes,
                               char const* folder, char* const argv[])
{
    // A process that is killed takes its modules along; it may be gone before the first line is reached.
    if (::prctl(PR_SET_PDEATHSIG, SIGKILL) == 0 && ::getppid() != parent)
        ::_exit(kNotStarted);
    ::setpgid(0, 0);
    int report = pipes.report.writing.number();
    if ((*folder == '\0' || ::chdir(folder) == 0) && takeFiles(pipes)) {
        report = kChildReport;
        blocked.endInChild();
        ::execve(argv[0], argv, environ);
    }
    int const error = errno;
    [[maybe_unused]] auto const written = ::write(report, &error, sizeof error);
    ::_exit(kNotStarted);
}

} // namespace

ModuleChild::~ModuleChild()
{
    if (!isRunning())
        return;
    kill();
    int status = 0;
    for (auto const end = Clock::now() + kPatience; reap(status) == End::NotYet && Clock::now() < end;)
        System::sleepMilliseconds(1);
}

std::vector<std::string> ModuleChild::pipeWords()
{
    return {"-pipeIn", std::to_string(kChildIn), "-pipeOut", std::to_string(kChildOut)};
}

int ModuleChild::start(std::string const& folder, std::string const& program, std::vector<std::string> words)
{
    Pipes pipes{makePipe(), makePipe(), makePipe(), makePipe()};
    if (!pipes.areOpen())
        return errno;
    words.insert(words.begin(), program);
    std::vector<char*> argv;
    for (std::string& word : words)
        argv.push_back(word.data());
    argv.push_back(nullptr);
    pid_t const parent = ::getpid();
    {
        SignalsBlocked const blocked;
        m_id = ::fork();
        if (m_id == 0)
            becomeModule(parent, blocked, pipes, folder.c_str(), argv.data());
    }
    if (m_id < 0)
        return errno;
    ::setpgid(m_id, m_id); // by whoever comes first
    report = std::move(pipes.report.reading);
    toChild = std::move(pipes.in.writing);
    fromChild = std::move(pipes.out.reading);
    errors = std::move(pipes.errors.reading);
    for (FileDescriptor const* one : {&report, &toChild, &fromChild, &errors})
        ::fcntl(one->number(), F_SETFL, O_NONBLOCK);
    return 0;
}

bool ModuleChild::hasEnded() const
{
    siginfo_t found{};
    if (::waitid(P_PID, static_cast<id_t>(m_id), &found, WEXITED | WNOHANG | WNOWAIT) != 0)
        return errno == ECHILD;
    return found.si_pid == m_id;
}

// The group's number belongs to the child until it is reaped, and not for sure any longer.
ModuleChild::End ModuleChild::reap(int& status)
{
    siginfo_t found{};
    if (::waitid(P_PID, static_cast<id_t>(m_id), &found, WEXITED | WNOHANG | WNOWAIT) == 0) {
        if (found.si_pid != m_id)
            return End::NotYet;
        ::kill(-m_id, SIGKILL);
    }
    pid_t const ended = retryOnInterrupt([&] { return ::waitpid(m_id, &status, WNOHANG); });
    if (ended == 0)
        return End::NotYet;
    m_id = -1;
    return ended < 0 ? End::ReapedByKernel : End::Known;
}

// Nor when the kernel reaps it.
void ModuleChild::kill() const
{
    siginfo_t found{};
    if (!isRunning() || ::waitid(P_PID, static_cast<id_t>(m_id), &found, WEXITED | WNOHANG | WNOWAIT) != 0)
        return;
    ::kill(-m_id, SIGKILL);
    ::kill(m_id, SIGKILL);
}

} // namespace zel
