#include <zel/foundation/LogFile.h>

#include <zel/foundation/LogLine.h>
#include <zel/foundation/System.h>
#include <zel/foundation/linux/AppendTarget.h>

#include <atomic>
#include <deque>
#include <fcntl.h>
#include <mutex>
#include <sys/stat.h>
#include <unistd.h>

namespace zel {
namespace {

// Set once and then only replaced in place by dup3, so that no writer ever holds a number that was closed.
std::atomic<int> s_descriptor{-1};
std::atomic<AppendTarget const*> s_next{nullptr};    // to be opened by the next line
std::atomic<AppendTarget const*> s_current{nullptr}; // open behind s_descriptor
std::atomic<bool> s_hasLine{false};                  // of this process, in s_current
std::atomic<bool> s_failureTold{false};
std::atomic<bool> s_lineCut{false}; // the last write ended inside a line

struct Targets
{
    std::mutex mutex;             // guards all, and one opening at a time; signal handlers do without
    std::deque<AppendTarget> all; // stay: a signal handler may be reading one
};

Targets& targets()
{
    static Targets& s_targets = *new Targets; // never destroyed: other statics' destructors may log
    return s_targets;
}

// Straight to the descriptor: the C stream may be locked by the code whose line failed.
void tellFailure(char const* what, std::string const& path, std::string const& reason)
{
    if (s_failureTold.exchange(true))
        return;
    std::string const line = std::string(what) + path + ": " + reason + "\n";
    std::size_t written = 0;
    writeAll(STDERR_FILENO, line.data(), line.size(), written, false);
}

bool isSameFile(int one, int other) noexcept
{
    struct stat first, second;
    return ::fstat(one, &first) == 0 && ::fstat(other, &second) == 0 && first.st_dev == second.st_dev &&
           first.st_ino == second.st_ino;
}

int append(int descriptor, std::string_view line) noexcept
{
    if (s_lineCut.load(std::memory_order_relaxed) && s_lineCut.exchange(false)) {
        std::size_t ended = 0;
        writeAll(descriptor, "\n", 1, ended, false);
    }
    std::size_t written = 0;
    int const error = writeAll(descriptor, line.data(), line.size(), written, false);
    if (error != 0 && written > 0)
        s_lineCut = true;
    return error;
}

// A process id comes again, and with it the name of the file.
void tellNewProcess(int descriptor) noexcept
{
    LogLine const line(std::chrono::system_clock::now(), LogLevel::Information, "zel.LogFile",
                       "1 a new process begins; the lines above are of an earlier one with the same id");
    append(descriptor, line.text());
}

// Puts the file in the place of the earlier one. Zero or an errno value. As its caller below, it calls nothing
// that a signal handler must not: no allocation, no lock.
int install(AppendTarget::Opened& opened) noexcept
{
    int descriptor = -1;
    opened.file.leaveStandardNumbers();
    bool const isContinued = opened.isContinued && !isSameFile(s_descriptor.load(), opened.file.number());
    if (s_descriptor.compare_exchange_strong(descriptor, opened.file.number()))
        descriptor = opened.file.release();
    else if (::dup3(opened.file.number(), descriptor, O_CLOEXEC) < 0)
        return errno;
    s_hasLine = false;
    s_lineCut = false;
    if (isContinued)
        tellNewProcess(descriptor);
    return 0;
}

AppendTarget::Opened openAndInstall(AppendTarget const* target) noexcept
{
    AppendTarget::Opened opened = target->open();
    bool const isOpen = opened.file.isOpen();
    if (isOpen)
        opened.errorNumber = install(opened);
    if (isOpen && opened.errorNumber == 0) {
        s_current = target;
        s_next.compare_exchange_strong(target, nullptr);
    }
    return opened;
}

// A thread that finds a file to be opened waits here until another has opened it.
void openNext()
{
    std::lock_guard<std::mutex> guard(targets().mutex);
    AppendTarget const* const target = s_next.load();
    if (!target)
        return;
    AppendTarget::Opened const opened = openAndInstall(target);
    s_next = nullptr; // also when refused: it is not tried again for each line
    if (opened.reason)
        tellFailure("Cannot open the log file ", target->path(), opened.reason);
    else if (opened.errorNumber != 0)
        tellFailure("Cannot open the log file ", target->path(),
                    System::errorText(opened.errorNumber).toUtf8());
}

void noteLine() noexcept
{
    if (!s_hasLine.load(std::memory_order_relaxed))
        s_hasLine = true;
}

} // namespace

bool LogFile::prepare(std::string const& path)
{
    Targets& known = targets();
    std::lock_guard<std::mutex> guard(known.mutex);
    s_failureTold = false;
    AppendTarget target(path);
    if (!target.namesFile()) {
        tellFailure("Cannot open the log file ", path, "it names no file");
        return false;
    }
    s_next = &known.all.emplace_back(std::move(target));
    return true;
}

void LogFile::write(std::string_view line) noexcept
try {
    if (s_next.load(std::memory_order_relaxed))
        openNext();
    int const descriptor = s_descriptor.load(std::memory_order_relaxed);
    if (descriptor < 0)
        return;
    int const error = append(descriptor, line);
    if (error == 0)
        noteLine();
    else if (!s_failureTold)
        tellFailure("Cannot write to the log file ", s_current.load()->path(),
                    System::errorText(error).toUtf8());
} catch (...) {
    // Only the text of the complaint can fail, for want of memory; a log line never stops its caller.
}

void LogFile::writeInSignalHandler(std::string_view line) noexcept
{
    if (AppendTarget const* const target = s_next.load())
        openAndInstall(target);
    int const descriptor = s_descriptor.load();
    if (descriptor >= 0 && append(descriptor, line) == 0)
        noteLine();
}

bool LogFile::takesLines() noexcept
{
    return s_descriptor.load(std::memory_order_relaxed) >= 0 || s_next.load(std::memory_order_relaxed);
}

std::string LogFile::path()
{
    AppendTarget const* const current = s_current.load();
    return current && s_hasLine ? current->path() : std::string();
}

} // namespace zel
