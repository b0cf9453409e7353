#include <storage/ChildProcess.h>

#include <common/Stopwatch.h>

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

namespace krel5::modules::storage {
namespace {

constexpr int kPollMilliseconds = 20;

/// Gives back what posix_spawn needs.
struct SpawnSetUp
{
    posix_spawn_file_actions_t m_actions;
    posix_spawnattr_t m_attributes;

    explicit SpawnSetUp(int output)
    {
        posix_spawn_file_actions_init(&m_actions);
        posix_spawn_file_actions_addopen(&m_actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
        posix_spawn_file_actions_adddup2(&m_actions, output, STDOUT_FILENO);
        posix_spawn_file_actions_addopen(&m_actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
#if __GLIBC_PREREQ(2, 34)
        // A child that is left behind must not keep this process's connections open.
        posix_spawn_file_actions_addclosefrom_np(&m_actions, STDERR_FILENO + 1);
#endif
        posix_spawnattr_init(&m_attributes);
        sigset_t none, all;
        sigemptyset(&none);
        sigfillset(&all);
        posix_spawnattr_setsigmask(&m_attributes, &none);
        posix_spawnattr_setsigdefault(&m_attributes, &all);
        posix_spawnattr_setpgroup(&m_attributes, 0);
        posix_spawnattr_setflags(&m_attributes,
                                 POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
    }
    SpawnSetUp(SpawnSetUp const&) = delete;
    SpawnSetUp& operator=(SpawnSetUp const&) = delete;
    ~SpawnSetUp()
    {
        posix_spawn_file_actions_destroy(&m_actions);
        posix_spawnattr_destroy(&m_attributes);
    }
};

/// A running child, which does not outlive this object, unless it cannot be killed.
class Child
{
public:
    Child() = default;
    Child(Child const&) = delete;
    Child& operator=(Child const&) = delete;
    ~Child()
    {
        if (m_reading >= 0)
            ::close(m_reading);
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
        int ends[2];
        if (::pipe2(ends, O_CLOEXEC) != 0)
            return errno;
        m_reading = ends[0];
        std::vector<char*> arguments;
        for (std::string const& word : words)
            arguments.push_back(const_cast<char*>(word.c_str()));
        arguments.push_back(nullptr);
        char language[] = "LC_ALL=C";
        char path[] = "PATH=/usr/sbin:/usr/bin:/sbin:/bin";
        char* const environment[] = {language, path, nullptr};
        SpawnSetUp const setUp(ends[1]);
        pid_t id = 0;
        int const error = posix_spawn(&id, words[0].c_str(), &setUp.m_actions, &setUp.m_attributes,
                                      arguments.data(), environment);
        ::close(ends[1]);
        if (error == 0)
            m_id = id;
        return error;
    }

    enum class Part { More, None, End };
    /// Takes what has been printed, waiting for it a little.
    Part read(std::string& into)
    {
        pollfd ready{m_reading, POLLIN, 0};
        if (::poll(&ready, 1, kPollMilliseconds) <= 0)
            return Part::None;
        char bytes[16384];
        ssize_t const got = ::read(m_reading, bytes, sizeof bytes);
        if (got > 0)
            into.append(bytes, static_cast<std::size_t>(got));
        else if (got == 0 || errno != EINTR)
            return Part::End;
        return Part::More;
    }

    /// Takes what is in the pipe now, and waits for nothing.
    void readRest(std::string& into)
    {
        int left = 0;
        if (::ioctl(m_reading, FIONREAD, &left) != 0 || left <= 0)
            return;
        std::string bytes(static_cast<std::size_t>(left), '\0');
        ssize_t const got = ::read(m_reading, bytes.data(), bytes.size());
        into.append(bytes, 0, got > 0 ? static_cast<std::size_t>(got) : 0);
    }

    /// True when the child has ended. What it left in its group is then killed, before the id of the group
    /// can be anybody else's, and the child reaped.
    bool ended(int& status)
    {
        siginfo_t found = {};
        if (::waitid(P_PID, static_cast<id_t>(m_id), &found, WEXITED | WNOHANG | WNOWAIT) != 0 ||
            found.si_pid != m_id)
            return false;
        ::kill(-m_id, SIGKILL);
        ::waitpid(m_id, &status, 0);
        m_id = 0;
        return true;
    }

    static void pause() { ::poll(nullptr, 0, 1); }

private:
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
        // The end of the pipe is not waited for: a descendant that left the group may hold it for ever.
        if (child.ended(status)) {
            child.readRest(result.m_output);
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

} // namespace krel5::modules::storage
