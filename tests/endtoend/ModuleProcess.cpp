#include <endtoend/ModuleProcess.h>

#include <chrono>
#include <fcntl.h>
#include <grp.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

namespace test {
namespace {

constexpr auto kLongestRun = std::chrono::seconds(60);
constexpr unsigned kNobody = 65534;

struct Pipe
{
    int ends[2] = {-1, -1};
    Pipe()
    {
        if (::pipe2(ends, O_CLOEXEC) != 0)
            ::abort();
    }
    ~Pipe()
    {
        close(0);
        close(1);
    }
    void close(int end)
    {
        if (ends[end] >= 0)
            ::close(ends[end]);
        ends[end] = -1;
    }
};

[[noreturn]] void becomeModule(std::string const& program, Start const& start, Pipe& in, Pipe& out, Pipe& err)
{
    ::signal(start.stopSignal, SIG_DFL);
    for (int const number : start.ignored)
        ::signal(number, SIG_IGN);
    sigset_t blocked;
    ::sigemptyset(&blocked);
    for (int const number : start.blocked)
        ::sigaddset(&blocked, number);
    ::pthread_sigmask(SIG_SETMASK, &blocked, nullptr);
    if (!start.folder.empty() && ::chdir(start.folder.c_str()) != 0)
        ::_exit(120);
    ::dup2(in.ends[0], 0);
    int const file = start.outputFile.empty() ? out.ends[1] : ::open(start.outputFile.c_str(), O_WRONLY);
    ::dup2(file, 1);
    ::dup2(err.ends[1], 2);
    if (start.outputNeverWaits &&
        (::fcntl(1, F_SETPIPE_SZ, 4096) < 0 || ::fcntl(1, F_SETFL, O_NONBLOCK) != 0))
        ::_exit(123);
    if (start.closeOutput)
        ::close(1);
    if (start.closeErrors)
        ::close(2);
    if (start.asNobody && (::setgroups(0, nullptr) != 0 || ::setgid(kNobody) != 0 || ::setuid(kNobody) != 0))
        ::_exit(121);
    std::vector<char*> arguments{const_cast<char*>(start.name.c_str())};
    for (std::string const& one : start.arguments)
        arguments.push_back(const_cast<char*>(one.c_str()));
    arguments.push_back(nullptr);
    if (start.withoutArgv)
        arguments = {nullptr};
    ::execv(program.c_str(), arguments.data());
    ::_exit(122);
}

class Watch
{
public:
    Watch(pid_t child, Start const& start) : m_child(child), m_start(start) {}

    void output(Outcome const& outcome)
    {
        auto const stands = [this](std::string const& text) {
            return text.find(m_start.stopWhen) != std::string::npos;
        };
        bool const first =
            m_sent == 0 && !m_start.stopWhen.empty() && (stands(outcome.out) || stands(outcome.err));
        bool const next = m_sent > 0 && outcome.err.find("Press Ctrl-C again") != std::string::npos;
        if (m_sent < m_start.stops && (first || next)) {
            if (next)
                ::usleep(400000); // what comes sooner is the same request
            ::kill(m_child, m_start.stopSignal);
            ++m_sent;
        }
    }

private:
    pid_t m_child;
    Start const& m_start;
    int m_sent = 0;
};

void collect(pid_t child, Start const& start, Pipe& out, Pipe& err, Outcome& outcome)
{
    Watch watch(child, start);
    auto const deadline = std::chrono::steady_clock::now() + kLongestRun;
    struct Source
    {
        Pipe* pipe;
        std::string* text;
    } const sources[] = {{&out, &outcome.out}, {&err, &outcome.err}};
    while (out.ends[0] >= 0 || err.ends[0] >= 0) {
        pollfd waiting[2] = {{out.ends[0], POLLIN, 0}, {err.ends[0], POLLIN, 0}};
        if (std::chrono::steady_clock::now() > deadline)
            ::kill(child, SIGKILL);
        if (::poll(waiting, 2, 1000) <= 0)
            continue;
        for (int i = 0; i < 2; ++i) {
            if (waiting[i].revents == 0)
                continue;
            char buffer[65536];
            ssize_t const count = ::read(waiting[i].fd, buffer, sizeof buffer);
            if (count <= 0)
                sources[i].pipe->close(0);
            else
                sources[i].text->append(buffer, static_cast<std::size_t>(count));
        }
        watch.output(outcome);
    }
}

} // namespace

Outcome run(std::string const& program, Start const& start)
{
    ::signal(SIGPIPE, SIG_IGN);
    Pipe in, out, err;
    pid_t const child = ::fork();
    if (child == 0)
        becomeModule(program, start, in, out, err);
    in.close(0);
    out.close(1);
    err.close(1);
    [[maybe_unused]] auto const written = ::write(in.ends[1], start.input.data(), start.input.size());
    in.close(1);
    Outcome outcome;
    collect(child, start, out, err, outcome);
    int status = 0;
    ::waitpid(child, &status, 0);
    if (WIFEXITED(status))
        outcome.status = WEXITSTATUS(status);
    else
        outcome.signal = WTERMSIG(status);
    return outcome;
}

} // namespace test
