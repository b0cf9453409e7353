#include <zel/foundation/LogFile.h>

#include <zel/foundation/FileSystem.h>
#include <zel/foundation/System.h>
#include <zel/foundation/linux/FileDescriptor.h>

#include <atomic>
#include <fcntl.h>
#include <mutex>
#include <unistd.h>

namespace zel {
namespace {

// Set once and then only replaced in place by dup3, so that no writer ever holds a number that was closed.
std::atomic<int> s_descriptor{-1};
std::atomic<bool> s_failureTold{false};
std::atomic<bool> s_lineCut{false}; // the last write ended inside a line

struct Path
{
    std::mutex mutex; // guards value, and one open at a time
    std::string value;
};

Path& currentPath()
{
    static Path& s_path = *new Path; // never destroyed: other statics' destructors may log
    return s_path;
}

// Straight to the descriptor: the C stream may be locked by the code whose line failed.
void tellFailure(char const* what, std::string const& path, int errorNumber)
{
    if (s_failureTold.exchange(true))
        return;
    std::string const line = std::string(what) + path + ": " + System::errorText(errorNumber).toUtf8() + "\n";
    std::size_t written = 0;
    writeAll(STDERR_FILENO, line.data(), line.size(), written, false);
}

int openFile(std::string const& path, FileDescriptor& file)
{
    if (int const error = FileSystem::createFolders(FileSystem::folderOf(path)))
        return error;
    // O_NOFOLLOW: a link that somebody laid in the folder must not direct a privileged process elsewhere.
    // O_NONBLOCK: a FIFO under that name must not stop the module.
    file = FileDescriptor::open(path.c_str(),
                                O_WRONLY | O_APPEND | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY, 0644);
    return file.isOpen() ? 0 : errno;
}

} // namespace

bool LogFile::open(std::string const& path)
{
    Path& current = currentPath();
    std::lock_guard<std::mutex> guard(current.mutex);
    s_failureTold = false;
    FileDescriptor file;
    int error = openFile(path, file);
    int const previous = s_descriptor.load();
    if (error == 0 && previous >= 0 && ::dup3(file.number(), previous, O_CLOEXEC) < 0)
        error = errno;
    if (error != 0) {
        tellFailure("Cannot open the log file ", path, error);
        return false;
    }
    if (previous < 0)
        s_descriptor = file.release();
    s_lineCut = false;
    current.value = path;
    return true;
}

void LogFile::write(std::string_view line) noexcept
try {
    int const descriptor = s_descriptor.load(std::memory_order_relaxed);
    if (descriptor < 0)
        return;
    if (s_lineCut.load(std::memory_order_relaxed) && s_lineCut.exchange(false)) {
        std::size_t ended = 0;
        writeAll(descriptor, "\n", 1, ended, false);
    }
    std::size_t written = 0;
    int const error = writeAll(descriptor, line.data(), line.size(), written, false);
    if (error == 0)
        return;
    if (written > 0)
        s_lineCut = true;
    if (!s_failureTold)
        tellFailure("Cannot write to the log file ", path(), error);
} catch (...) {
    // Only the text of the complaint can fail, for want of memory; a log line never stops its caller.
}

std::string LogFile::path()
{
    Path& current = currentPath();
    std::lock_guard<std::mutex> guard(current.mutex);
    return current.value;
}

int LogFile::descriptor() noexcept { return s_descriptor.load(std::memory_order_relaxed); }

} // namespace zel
