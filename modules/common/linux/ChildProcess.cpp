#include <common/ChildProcess.h>

#include <common/Stopwatch.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/select.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace krel5::modules {
namespace {

constexpr int kPollMilliseconds = 20;

constexpr int kReport = STDERR_FILENO + 1; // where the child says why the program could not be started
constexpr int kLowest = 10; // the parent's ends stand higher than any that the child moves them to
constexpr int kNotStarted = 127;

struct Pipe
{
    int reading = -1, writing = -1;

    Pipe()
    {
        int ends[2];
        if (::pipe2(ends, O_CLOEXEC) != 0)
            return;
        reading = ends[0];
        writing = ::fcntl(ends[1], F_DUPFD_CLOEXEC, kLowest);
        ::close(ends[1]);
    }
    Pipe(Pipe const&) = delete;
    Pipe& operator=(Pipe const&) = delete;
    ~Pipe()
    {
        closeEnd(reading);
        closeEnd(writing);
    }
    bool isOpen() const { return reading != -1 && writing != -1; }
    static void closeEnd(int& end)
    {
        if (end != -1)
            ::close(std::exchange(end, -1));
    }
};

/// No handler of this process runs in a child that is not yet another program.
class SignalsBlocked
{
public:
    SignalsBlocked()
    {
        sigset_t all;
        sigfillset(&all);
        ::pthread_sigmask(SIG_SETMASK, &all, &m_before);
    }
    SignalsBlocked(SignalsBlocked const&) = delete;
    SignalsBlocked& operator=(SignalsBlocked const&) = delete;
    ~SignalsBlocked() { ::pthread_sigmask(SIG_SETMASK, &m_before, nullptr); }

private:
    sigset_t m_before;
};

// Between fork and exec, in the child: nothing but what a signal handler may call.
bool takeFiles(int output, int report)
{
    int const nothing = ::open("/dev/null", O_RDWR);
    if (nothing == -1 || ::dup2(nothing, STDIN_FILENO) == -1 || ::dup2(output, STDOUT_FILENO) == -1 ||
        ::dup2(nothing, STDERR_FILENO) == -1 || ::dup3(report, kReport, O_CLOEXEC) == -1)
        return false;
    // A child that is left behind must not keep this process's connections open.
    if (::syscall(SYS_close_range, kReport + 1, ~0u, 0) != 0)
        for (int other = kReport + 1; other < FD_SETSIZE; ++other)
            ::close(other);
    return true;
}

void takeDefaultSignals()
{
    for (int number = 1; number < NSIG; ++number)
        ::signal(number, SIG_DFL);
    sigset_t none;
    sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
}

[[noreturn]] void becomeProgram(pid_t parent, int output, int report, char* const arguments[],
                                char* const environment[])
{
    // A module that is killed takes its child along; it may be gone before the first line is reached.
    if (::prctl(PR_SET_PDEATHSIG, SIGKILL) == 0 && ::getppid() != parent)
        ::_exit(kNotStarted);
    ::setpgid(0, 0);
    if (takeFiles(output, report)) {
        report = kReport;
        takeDefaultSignals();
        ::execve(arguments[0], arguments, environment);
    }
    int const error = errno;
    [[maybe_unused]] auto const written = ::write(report, &error, sizeof error);
    ::_exit(kNotStarted);
}

/// A running child, which does not outlive this object, unless it cannot be killed.
class Child
{
public:
    Child() = default;
    Child(Child const&) = delete;
    Child& operator=(Child const&) = delete;
    ~Child()
    {
        Pipe::closeEnd(m_reading);
        end(ChildLimits());
    }

    /// Kills it and takes it off. The id of one that is still there after all; it is then no longer ours.
    pid_t end(ChildLimits const& limits)
    {
        if (m_id <= 0)
            return 0;
        ::kill(-m_id, limits.m_killSignal);
        Stopwatch watch;
        for (int status = 0; ::waitpid(m_id, &status, WNOHANG) == 0; pause())
            if (watch.getElapsed() > limits.m_secondsToDie)
                return std::exchange(m_id, 0);
        m_id = 0;
        return 0;
    }

    /// Zero or the errno value.
    int start(std::vector<std::string> const& words)
    {
        Pipe output, report;
        if (!output.isOpen() || !report.isOpen())
            return errno;
        std::vector<char*> arguments;
        for (std::string const& word : words)
            arguments.push_back(const_cast<char*>(word.c_str()));
        arguments.push_back(nullptr);
        char language[] = "LC_ALL=C";
        char path[] = "PATH=/usr/sbin:/usr/bin:/sbin:/bin";
        char* const environment[] = {language, path, nullptr};
        pid_t const parent = ::getpid();
        {
            SignalsBlocked const guard;
            m_id = ::fork();
            if (m_id == 0)
                becomeProgram(parent, output.writing, report.writing, arguments.data(), environment);
        }
        if (m_id == -1)
            return errno;
        Pipe::closeEnd(report.writing);
        m_reading = std::exchange(output.reading, -1);
        return startFailure(report.reading);
    }

    enum class Part { More, None, End };
    /// Takes what has been printed, waiting for it a little.
    Part read(std::string& into)
    {
        pollfd ready{m_reading, POLLIN, 0};
        if (::poll(&ready, 1, kPollMilliseconds) <= 0)
            return Part::None;
        char bytes[16384];
        ssize_t const got = ::read(m_reading, bytes, sizeof bytes); // which waits for nothing, as poll said
        if (got <= 0)
            return Part::End;
        into.append(bytes, static_cast<std::size_t>(got));
        return Part::More;
    }

    /// Takes what is in the pipe now, and waits for nothing.
    void readRest(std::string& into)
    {
        int left = 0;
        (void)::ioctl(m_reading, FIONREAD, &left);
        std::string bytes(static_cast<std::size_t>(left), '\0');
        ssize_t const got = ::read(m_reading, bytes.data(), bytes.size());
        into.append(bytes, 0, static_cast<std::size_t>(std::max<ssize_t>(got, 0)));
    }

    /// True when the child has ended. What it left in its group is then killed, before the id of the group
    /// can be anybody else's, and the child reaped. `lost`: somebody else, the kernel maybe, has reaped it.
    bool ended(int& status, bool& lost)
    {
        siginfo_t found = {};
        if (::waitid(P_PID, static_cast<id_t>(m_id), &found, WEXITED | WNOHANG | WNOWAIT) != 0) {
            lost = errno == ECHILD;
            if (lost)
                m_id = 0; // it may be another process's by now
            return lost;
        }
        if (found.si_pid != m_id)
            return false;
        ::kill(-m_id, SIGKILL);
        ::waitpid(m_id, &status, 0);
        m_id = 0;
        return true;
    }

    static void pause() { ::poll(nullptr, 0, 1); }

private:
    /// Zero once the child is another program, which closes the pipe; otherwise what the child says of it.
    int startFailure(int report)
    {
        int error = 0;
        ssize_t got;
        do
            got = ::read(report, &error, sizeof error);
        while (got == -1 && errno == EINTR);
        if (got != sizeof error)
            return 0;
        ::waitpid(std::exchange(m_id, 0), nullptr, 0);
        return error;
    }

    pid_t m_id = 0;
    int m_reading = -1;
};

} // namespace

ChildResult runChild(std::vector<std::string> const& words, ChildLimits const& limits,
                     std::function<bool()> const& stopping)
{
    ChildResult result;
    result.m_status = words.empty() || words[0].empty() || words[0][0] != '/' ? EINVAL : 0;
    if (result.m_status != 0)
        return result;
    Child child;
    result.m_status = child.start(words);
    if (result.m_status != 0)
        return result;
    Stopwatch watch;
    bool printing = true;
    for (;;) {
        if (printing)
            printing = child.read(result.m_output) != Child::Part::End;
        int status = 0;
        bool lost = false;
        // The end of the pipe is not waited for: a descendant that left the group may hold it for ever.
        if (child.ended(status, lost)) {
            child.readRest(result.m_output);
            if (lost) {
                result.m_end = ChildResult::End::Lost;
                return result;
            }
            bool const exited = WIFEXITED(status);
            result.m_end = exited ? ChildResult::End::Exited : ChildResult::End::Signalled;
            result.m_status = exited ? WEXITSTATUS(status) : WTERMSIG(status);
            return result;
        }
        if (!printing)
            Child::pause();
        if (result.m_output.size() > limits.m_bytes)
            result.m_end = ChildResult::End::TooMuchOutput;
        else if (stopping())
            result.m_end = ChildResult::End::Stopped;
        else if (watch.getElapsed() > limits.m_seconds)
            result.m_end = ChildResult::End::TimedOut;
        if (result.m_end != ChildResult::End::NotStarted) {
            result.m_leftBehind = child.end(limits);
            return result;
        }
    }
}

std::string findProgram(std::string const& name)
{
    for (char const* folder : {"/usr/sbin/", "/usr/bin/", "/sbin/", "/bin/"}) {
        std::string const path = folder + name;
        struct stat status = {};
        if (::stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) &&
            ::access(path.c_str(), X_OK) == 0)
            return path;
    }
    return "";
}

} // namespace krel5::modules
