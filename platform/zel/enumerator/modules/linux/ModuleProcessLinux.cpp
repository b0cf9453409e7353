#include <zel/enumerator/modules/ModuleProcess.h>

#include <zel/foundation/System.h>
#include <zel/foundation/linux/FileDescriptor.h>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
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
constexpr int kLowest = 10;

struct Pipe
{
    FileDescriptor reading, writing;
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

/// The files that a child starts with.
class FileActions
{
public:
    FileActions() { ::posix_spawn_file_actions_init(&m_actions); }
    ~FileActions() { ::posix_spawn_file_actions_destroy(&m_actions); }
    FileActions(FileActions const&) = delete;
    FileActions& operator=(FileActions const&) = delete;

    void open(int target, char const* path, int flags)
    {
        ::posix_spawn_file_actions_addopen(&m_actions, target, path, flags, 0);
    }
    void duplicate(int source, int target) { ::posix_spawn_file_actions_adddup2(&m_actions, source, target); }
    posix_spawn_file_actions_t const* get() const { return &m_actions; }

private:
    posix_spawn_file_actions_t m_actions;
};

int start(std::string const& program, std::vector<std::string> words, Pipe const& in, Pipe const& out,
          pid_t& child)
{
    words.insert(words.begin(), program);
    words.insert(words.end(), {"-pipeIn", std::to_string(kChildIn), "-pipeOut", std::to_string(kChildOut)});
    std::vector<char*> argv;
    for (std::string& word : words)
        argv.push_back(word.data());
    argv.push_back(nullptr);
    FileActions actions;
    actions.open(STDIN_FILENO, "/dev/null", O_RDONLY);
    actions.open(STDOUT_FILENO, "/dev/null", O_WRONLY);
    actions.duplicate(in.reading.number(), kChildIn);
    actions.duplicate(out.writing.number(), kChildOut);
    return ::posix_spawn(&child, program.c_str(), actions.get(), nullptr, argv.data(), environ);
}

/// A write to a pipe that nobody reads is an error of the write for this thread, not the end of the process.
class BrokenPipesAreErrors
{
public:
    BrokenPipesAreErrors()
    {
        ::sigemptyset(&m_signals);
        ::sigaddset(&m_signals, SIGPIPE);
        ::pthread_sigmask(SIG_BLOCK, &m_signals, &m_before);
    }
    ~BrokenPipesAreErrors()
    {
        timespec const now{};
        if (!::sigismember(&m_before, SIGPIPE))
            ::sigtimedwait(&m_signals, nullptr, &now);
        ::pthread_sigmask(SIG_SETMASK, &m_before, nullptr);
    }
    BrokenPipesAreErrors(BrokenPipesAreErrors const&) = delete;
    BrokenPipesAreErrors& operator=(BrokenPipesAreErrors const&) = delete;

private:
    sigset_t m_signals{};
    sigset_t m_before{};
};

/// Writes and reads at the same time, so that neither side can wait for the other for ever.
class Exchange
{
public:
    Exchange(FileDescriptor toChild, FileDescriptor fromChild, std::string const& input,
             ModuleProcess::Limits const& limits)
        : m_toChild(std::move(toChild)), m_fromChild(std::move(fromChild)), m_input(input), m_limits(limits),
          m_end(Clock::now() + std::chrono::milliseconds(limits.milliseconds))
    {
        ::fcntl(m_toChild.number(), F_SETFL, O_NONBLOCK);
        ::fcntl(m_fromChild.number(), F_SETFL, O_NONBLOCK);
    }

    /// Until the child closes its output. Returns why it went wrong; empty when it did not.
    String run(std::string& output)
    {
        if (m_input.empty())
            m_toChild = FileDescriptor();
        for (;;) {
            std::array<pollfd, 2> waiting{
                {{m_fromChild.number(), POLLIN, 0}, {m_toChild.number(), POLLOUT, 0}}};
            int const ready = ::poll(waiting.data(), m_toChild.isOpen() ? 2 : 1, remaining());
            if (ready == 0)
                return "it took too long";
            if (ready < 0 && errno == EINTR)
                continue;
            if (ready < 0)
                return System::getSystemErrorMsg();
            if (m_toChild.isOpen() && waiting[1].revents != 0)
                write();
            if (waiting[0].revents != 0 && !read(output))
                return output.size() > m_limits.outputBytes ? String("its answer is too large") : String();
        }
    }
    int remaining() const
    {
        auto const left = std::chrono::duration_cast<std::chrono::milliseconds>(m_end - Clock::now()).count();
        return left > 0 ? static_cast<int>(left) : 0;
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
        return (count > 0 || again) && output.size() <= m_limits.outputBytes;
    }

    FileDescriptor m_toChild, m_fromChild;
    std::string const& m_input;
    std::size_t m_written = 0;
    ModuleProcess::Limits m_limits;
    Clock::time_point m_end;
};

/// Waits until `child` has ended or the time is over; then kills it. Returns what is wrong with how it ended.
String reap(pid_t child, Exchange const& exchange, bool kill)
{
    int status = 0;
    for (;;) {
        if (kill)
            ::kill(child, SIGKILL);
        pid_t const ended = ::waitpid(child, &status, kill ? 0 : WNOHANG);
        if (ended == child)
            break;
        if (ended < 0 && errno != EINTR)
            return System::getSystemErrorMsg();
        kill = kill || exchange.remaining() == 0;
        if (ended == 0)
            System::sleepMilliseconds(1); // it has closed its pipe, so its end is near
    }
    if (WIFSIGNALED(status))
        return String("it was ended by signal ") + String::number(WTERMSIG(status));
    if (WEXITSTATUS(status) != 0)
        return String("it ended with status ") + String::number(WEXITSTATUS(status));
    return String();
}

} // namespace

ModuleProcess::Outcome ModuleProcess::run(std::string const& program,
                                          std::vector<std::string> const& arguments, std::string const& input,
                                          Limits const& limits)
{
    Outcome outcome;
    Pipe in = makePipe();
    Pipe out = makePipe();
    if (!in.reading.isOpen() || !in.writing.isOpen() || !out.reading.isOpen() || !out.writing.isOpen()) {
        outcome.error = System::getSystemErrorMsg();
        return outcome;
    }
    pid_t child = -1;
    if (int const error = start(program, arguments, in, out, child); error != 0) {
        outcome.error = System::errorText(error);
        return outcome;
    }
    in.reading = FileDescriptor();
    out.writing = FileDescriptor();
    BrokenPipesAreErrors const guard; // after the start: a child inherits the mask
    Exchange exchange(std::move(in.writing), std::move(out.reading), input, limits);
    outcome.error = exchange.run(outcome.output);
    String const ended = reap(child, exchange, !outcome.error.empty());
    if (outcome.error.empty())
        outcome.error = ended;
    return outcome;
}

} // namespace zel
