#include <zel/foundation/linux/ProgramStart.h>

#include <zel/foundation/linux/FileDescriptor.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <linux/close_range.h>
#include <memory>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace zel {
namespace {

constexpr std::size_t kStackBytes = 128u << 10;
constexpr int kNotStarted = 127;
constexpr int kStandardFiles = 3;

// The thread sanitizer takes every clone for a fork, and its own state must not be shared then.
#if defined(__SANITIZE_THREAD__)
constexpr int kSharing = 0;
#else
constexpr int kSharing = CLONE_VM;
#endif

/// What the child needs; all of it is made before, since the child shares this process's memory and must not allocate.
struct Birth
{
    char const* program;
    char* const* words;
    char const* folder;
    std::vector<std::pair<int, int>> files; // copies of descriptors that no number of the child is among
    int highest;                            // number of the child
    pid_t parent;
    sigset_t mask;
    int report; // gets the errno value of why it did not become the program
};

bool takeFiles(Birth const& birth)
{
    int const nothing = ::open("/dev/null", O_RDWR | O_CLOEXEC);
    if (nothing < 0)
        return false;
    for (int number = 0; number < kStandardFiles; ++number)
        if (number != nothing && ::dup2(nothing, number) < 0)
            return false;
    if (nothing < kStandardFiles) // it is one of them itself
        ::fcntl(nothing, F_SETFD, 0);
    for (auto const& [from, to] : birth.files)
        if (::dup2(from, to) < 0)
            return false;
    ::close_range(static_cast<unsigned>(birth.highest) + 1, ~0u, CLOSE_RANGE_CLOEXEC);
    return true;
}

// A handler of this process must not run in a child that shares its memory.
void resetSignals(sigset_t const& mask)
{
    for (int number = 1; number < NSIG; ++number) {
        struct sigaction action;
        if (::sigaction(number, nullptr, &action) == 0 && action.sa_handler != SIG_IGN &&
            action.sa_handler != SIG_DFL)
            ::signal(number, SIG_DFL);
    }
    ::sigprocmask(SIG_SETMASK, &mask, nullptr);
}

// In the child, with nothing but system calls.
int becomeProgram(void* argument)
{
    Birth const& birth = *static_cast<Birth const*>(argument);
    // The parent may be gone before the first line is reached.
    if (::prctl(PR_SET_PDEATHSIG, SIGKILL) == 0 && ::getppid() != birth.parent)
        ::_exit(kNotStarted);
    ::setpgid(0, 0);
    if ((*birth.folder == '\0' || ::chdir(birth.folder) == 0) && takeFiles(birth)) {
        resetSignals(birth.mask);
        ::execve(birth.program, birth.words, environ);
    }
    int const error = errno;
    [[maybe_unused]] auto const written = ::write(birth.report, &error, sizeof error);
    ::_exit(kNotStarted);
}

} // namespace

int startProgram(ProgramStart const& start, pid_t& child)
{
    std::vector<std::string> words = start.words;
    words.insert(words.begin(), start.program);
    std::vector<char*> pointers;
    for (std::string& word : words)
        pointers.push_back(word.data());
    pointers.push_back(nullptr);
    Birth birth{start.program.c_str(),
                pointers.data(),
                start.folder.c_str(),
                {},
                kStandardFiles - 1,
                ::getpid(),
                {},
                -1};
    for (auto const& one : start.files)
        birth.highest = std::max(birth.highest, one.second);
    std::vector<FileDescriptor>
        copies; // above all numbers of the child, so that none is overwritten too early
    for (auto const& [from, to] : start.files) {
        copies.emplace_back(::fcntl(from, F_DUPFD_CLOEXEC, birth.highest + 1));
        if (!copies.back().isOpen())
            return errno;
        birth.files.emplace_back(copies.back().number(), to);
    }
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0)
        return errno;
    FileDescriptor const reading(ends[0]);
    FileDescriptor report(ends[1]);
    copies.emplace_back(::fcntl(report.number(), F_DUPFD_CLOEXEC, birth.highest + 1));
    if (!copies.back().isOpen())
        return errno;
    birth.report = copies.back().number();
    auto const stack = std::make_unique_for_overwrite<char[]>(kStackBytes);
    sigset_t all;
    ::sigfillset(&all);
    ::pthread_sigmask(SIG_SETMASK, &all, &birth.mask);
    child = ::clone(becomeProgram, stack.get() + kStackBytes, kSharing | CLONE_VFORK | SIGCHLD, &birth);
    int error = child < 0 ? errno : 0;
    ::pthread_sigmask(SIG_SETMASK, &birth.mask, nullptr);
    report = FileDescriptor();
    copies.clear();
    if (child < 0)
        return error;
    // Nothing, at once: it is the program now, and the pipe was closed by that.
    if (retryOnInterrupt([&] { return ::read(reading.number(), &error, sizeof error); }) != sizeof error)
        return 0;
    retryOnInterrupt([&] { return ::waitpid(child, nullptr, 0); });
    child = -1;
    return error;
}

} // namespace zel
