#include <zel/enumerator/modules/ModuleProcess.h>

#include <zel/foundation/System.h>
#include <zel/foundation/linux/BrokenPipesAreErrors.h>
#include <zel/foundation/linux/FileDescriptor.h>

#include <fcntl.h>
#include <linux/close_range.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <new>

extern char** environ;

namespace zel {

namespace {

using Clock = std::chrono::steady_clock;

// Where the child finds its pipes; the parent's own ends stand higher, so that no dup2 meets another's
// source.
constexpr int kChildIn = 3;
constexpr int kChildOut = 4;
constexpr int kLowest = 10;
constexpr std::size_t kComplaintBytes = 500; // of standard error; the rest is read and forgotten
constexpr char kTooLong[] = "it took too long";
constexpr char kHangs[] = "it does not end, even when killed";
constexpr int kNotStarted = 127;
constexpr int kSliceMilliseconds = 20; // between two looks whether the child is still there
// After SIGKILL; what waits in the kernel for a drive that does not answer outlives the signal, maybe for ever.
constexpr std::chrono::seconds kDying{2};

int millisecondsUntil(Clock::time_point end)
{
    auto const left = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now()).count();
    return left > 0 ? static_cast<int>(left) : 0;
}

struct Pipe
{
    FileDescriptor reading, writing;

    bool isOpen() const { return reading.isOpen() && writing.isOpen(); }
};

/// One to the child, two from it.
struct Pipes
{
    Pipe in, out, errors;
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
bool takeFiles(int in, int out, int errors)
{
    int const nothing = ::open("/dev/null", O_RDWR); // may be 0 or 1 itself, which have to outlive the exec
    bool const taken = nothing >= 0 && ::dup2(nothing, STDIN_FILENO) >= 0 &&
                       ::dup2(nothing, STDOUT_FILENO) >= 0 && ::dup2(errors, STDERR_FILENO) >= 0 &&
                       ::dup2(in, kChildIn) >= 0 && ::dup2(out, kChildOut) >= 0;
    if (nothing > kChildOut)
        ::close(nothing);
    if (taken) // others may have opened files without O_CLOEXEC; before Linux 5.11 those go along
        ::close_range(kChildOut + 1, ~0u, CLOSE_RANGE_CLOEXEC);
    return taken;
}

[[noreturn]] void becomeModule(pid_t parent, SignalsBlocked const& blocked, Pipes const& pipes, int report,
                               char const* folder, char* const argv[])
{
    // A process that is killed takes its modules along; it may be gone before the first line is reached.
    if (::prctl(PR_SET_PDEATHSIG, SIGKILL) == 0 && ::getppid() != parent)
        ::_exit(kNotStarted);
    if ((*folder == '\0' || ::chdir(folder) == 0) &&
        takeFiles(pipes.in.reading.number(), pipes.out.writing.number(), pipes.errors.writing.number())) {
        blocked.endInChild();
        ::execve(argv[0], argv, environ);
    }
    int const error = errno;
    [[maybe_unused]] auto const written = ::write(report, &error, sizeof error);
    ::_exit(kNotStarted);
}

/// Kills the child and waits until it has ended, but not for ever. False when it has not.
bool endChild(pid_t child)
{
    ::kill(child, SIGKILL);
    for (auto const patience = Clock::now() + kDying; Clock::now() < patience; System::sleepMilliseconds(1))
        if (pid_t const ended = ::waitpid(child, nullptr, WNOHANG);
            ended == child || (ended < 0 && errno != EINTR))
            return true;
    return false;
}

/// Of a child: no way out of this file leaves it running.
class Child
{
public:
    Child() = default;
    ~Child()
    {
        if (m_id > 0)
            endChild(m_id);
    }
    Child(Child const&) = delete;
    Child& operator=(Child const&) = delete;

    void begin(pid_t id) { m_id = id; }
    pid_t id() const { return m_id; }
    /// It has been waited for, or waiting for it is of no use.
    void leave() { m_id = -1; }

private:
    pid_t m_id = -1;
};

/// Zero once the child is another program, which closes the pipe; otherwise what the child says of it. A program on
/// a file system that does not answer never becomes one.
int startFailure(Pipe report, Clock::time_point end)
{
    report.writing = FileDescriptor();
    pollfd waiting{report.reading.number(), POLLIN, 0};
    if (retryOnInterrupt([&] { return ::poll(&waiting, 1, millisecondsUntil(end)); }) == 0)
        return ETIMEDOUT;
    int error = 0;
    ssize_t const count =
        retryOnInterrupt([&] { return ::read(report.reading.number(), &error, sizeof error); });
    return count == sizeof error ? error : 0;
}

int start(std::string const& folder, std::string const& program, std::vector<std::string> words,
          Pipes const& pipes, Clock::time_point end, Child& child)
{
    words.insert(words.begin(), program);
    std::vector<char*> argv;
    for (std::string& word : words)
        argv.push_back(word.data());
    argv.push_back(nullptr);
    Pipe report = makePipe();
    if (!report.isOpen())
        return errno;
    pid_t const parent = ::getpid();
    {
        SignalsBlocked const blocked;
        child.begin(::fork());
        if (child.id() == 0)
            becomeModule(parent, blocked, pipes, report.writing.number(), folder.c_str(), argv.data());
    }
    return child.id() < 0 ? errno : startFailure(std::move(report), end);
}

/// Also when nobody can tell any more: a process that ignores SIGCHLD has its children reaped by the kernel.
bool hasEnded(pid_t child)
{
    siginfo_t found{};
    if (::waitid(P_PID, static_cast<id_t>(child), &found, WEXITED | WNOHANG | WNOWAIT) != 0)
        return errno == ECHILD;
    return found.si_pid == child;
}

/// Writes and reads at the same time, so that neither side can wait for the other for ever.
class Exchange
{
public:
    Exchange(Pipes pipes, std::string const& input, std::size_t outputBytes, Clock::time_point end)
        : m_toChild(std::move(pipes.in.writing)), m_fromChild(std::move(pipes.out.reading)),
          m_errors(std::move(pipes.errors.reading)), m_input(input), m_outputBytes(outputBytes), m_end(end)
    {
        for (FileDescriptor const* one : {&m_toChild, &m_fromChild, &m_errors})
            ::fcntl(one->number(), F_SETFL, O_NONBLOCK);
    }

    /// Until the child closes its output or ends: a descendant that escaped may hold the pipes open for ever.
    /// Returns why it went wrong; empty when it did not.
    String run(pid_t child, std::string& output)
    {
        if (m_input.empty())
            m_toChild = FileDescriptor();
        while (remaining() > 0) {
            bool const ended = hasEnded(child); // first: then all that it wrote is in the pipes
            std::array<pollfd, 3> waiting{{{m_fromChild.number(), POLLIN, 0},
                                           {m_errors.number(), POLLIN, 0}, // a closed one, -1, is passed over
                                           {m_toChild.number(), POLLOUT, 0}}};
            int const ready =
                ::poll(waiting.data(), waiting.size(), ended ? 0 : std::min(remaining(), kSliceMilliseconds));
            if (ready < 0 && errno != EINTR)
                return System::errorText(errno);
            if (ended && ready >= 0 && waiting[0].revents == 0)
                return String();
            if (ready <= 0)
                continue;
            if (waiting[1].revents != 0)
                readErrors();
            if (waiting[2].revents != 0)
                write();
            if (waiting[0].revents != 0 && !read(output))
                return output.size() > m_outputBytes ? String("its answer is too large") : String();
        }
        return kTooLong;
    }
    int remaining() const { return millisecondsUntil(m_end); }
    /// Takes what is in the pipe of standard error; the child must not wait because nobody reads it.
    void readErrors()
    {
        if (!m_errors.isOpen())
            return;
        std::array<char, 4096> buffer;
        ssize_t const count = ::read(m_errors.number(), buffer.data(), buffer.size());
        if (count == 0 || (count < 0 && errno != EINTR && errno != EAGAIN))
            m_errors = FileDescriptor();
        if (count > 0 && m_said.size() < kComplaintBytes)
            m_said.append(buffer.data(),
                          std::min(static_cast<std::size_t>(count), kComplaintBytes - m_said.size()));
    }
    /// First line of what the child said on standard error.
    String complaint()
    {
        readErrors();
        std::size_t const begin = std::min(m_said.find_first_not_of("\r\n\t "), m_said.size());
        return String(m_said.substr(begin, m_said.find('\n', begin) - begin)).withoutControls(false);
    }

private:
    /// A child that reads no further is no error: it has what it wants.
    void write()
    {
        ssize_t const count =
            ::write(m_toChild.number(), m_input.data() + m_written, m_input.size() - m_written);
        if (count > 0)
            m_written += static_cast<std::size_t>(count);
        bool const again = count < 0 && (errno == EINTR || errno == EAGAIN);
        if (m_written == m_input.size() || (count <= 0 && !again))
            m_toChild = FileDescriptor();
    }
    /// False at the end.
    bool read(std::string& output)
    {
        std::array<char, 65536> buffer;
        ssize_t const count = ::read(m_fromChild.number(), buffer.data(), buffer.size());
        if (count > 0)
            output.append(buffer.data(), static_cast<std::size_t>(count));
        bool const again = count < 0 && (errno == EINTR || errno == EAGAIN);
        return (count > 0 || again) && output.size() <= m_outputBytes;
    }

    FileDescriptor m_toChild, m_fromChild, m_errors;
    std::string const& m_input;
    std::size_t m_written = 0;
    std::string m_said;
    std::size_t m_outputBytes;
    Clock::time_point m_end;
};

/// Waits until the child has ended or the time is over; then kills it. Returns what is wrong with how it ended.
String reap(Child& child, Exchange& exchange)
{
    int status = 0;
    for (pid_t ended = 0; ended != child.id();) {
        ended = ::waitpid(child.id(), &status, WNOHANG);
        if (ended < 0 && errno != EINTR) {
            child.leave();
            return System::errorText(errno);
        }
        if (ended != child.id() && exchange.remaining() == 0)
            return kTooLong;
        exchange.readErrors();
        if (ended == 0)
            System::sleepMilliseconds(1); // it has closed its pipe, so its end is near
    }
    child.leave();
    if (WIFSIGNALED(status))
        return String("it was ended by signal ") + String::number(WTERMSIG(status));
    if (WEXITSTATUS(status) != 0)
        return String("it ended with status ") + String::number(WEXITSTATUS(status));
    return String();
}

/// Fills in what the child answers and what is wrong with it.
void converse(Child& child, Exchange& exchange, ModuleProcess::Outcome& outcome)
{
    outcome.error = exchange.run(child.id(), outcome.output);
    if (outcome.error.empty())
        outcome.error = reap(child, exchange);
    if (child.id() > 0) {
        if (!endChild(child.id()))
            outcome.error = kHangs;
        child.leave();
    }
    outcome.complaint = exchange.complaint();
}

ModuleProcess::Outcome runWith(std::string const& folder, std::string const& program,
                               std::vector<std::string> const& arguments, std::string const& input,
                               ModuleProcess::Limits const& limits)
{
    ModuleProcess::Outcome outcome;
    auto const end = Clock::now() + std::chrono::milliseconds(limits.milliseconds);
    Pipes pipes{makePipe(), makePipe(), makePipe()};
    if (!pipes.in.isOpen() || !pipes.out.isOpen() || !pipes.errors.isOpen()) {
        outcome.error = System::errorText(errno);
        return outcome;
    }
    Child child;
    if (int const error = start(folder, program, arguments, pipes, end, child); error != 0) {
        outcome.error = error == ETIMEDOUT ? String(kTooLong) : System::errorText(error);
        return outcome;
    }
    for (FileDescriptor* const childs : {&pipes.in.reading, &pipes.out.writing, &pipes.errors.writing})
        *childs = FileDescriptor();
    BrokenPipesAreErrors const guard; // after the start: a child inherits the mask
    try {
        Exchange exchange(std::move(pipes), input, limits.outputBytes, end);
        converse(child, exchange, outcome);
    } catch (std::bad_alloc const&) { // within its limit, and still more than there is
        outcome = {};
        outcome.error = System::errorText(ENOMEM);
    }
    return outcome;
}

} // namespace

ModuleProcess::Outcome ModuleProcess::run(std::string const& program,
                                          std::vector<std::string> const& arguments, std::string const& input,
                                          Limits const& limits)
{
    std::vector<std::string> words = arguments;
    words.insert(words.end(), {"-pipeIn", std::to_string(kChildIn), "-pipeOut", std::to_string(kChildOut)});
    return runWith(std::string(), program, words, input, limits);
}

ModuleProcess::Outcome ModuleProcess::runIn(std::string const& folder, std::string const& program,
                                            std::vector<std::string> const& arguments, Limits const& limits)
{
    return runWith(folder, program, arguments, std::string(), limits);
}

} // namespace zel
