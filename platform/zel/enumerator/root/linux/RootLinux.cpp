#include <zel/enumerator/root/Text.h>
#include <zel/enumerator/root/linux/DirectoryRoot.h>
#include <zel/enumerator/root/linux/LinkWalk.h>

#include <dirent.h>
#include <fcntl.h>
#include <linux/ethtool.h>
#include <linux/magic.h>
#include <linux/openat2.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/syscall.h>
#include <sys/sysmacros.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstring>
#include <system_error>
#include <utility>

namespace zel {

namespace {

constexpr std::size_t kMaxNames = 1u << 16; // in one directory; the rest is left out
constexpr std::size_t kMaxRefused = 1000;
constexpr int kOpenAttempts = 8; // openat2 answers EAGAIN while something in the path is being renamed

std::string withoutSlashes(std::string const& path)
{
    std::size_t const begin = path.find_first_not_of('/');
    return begin == std::string::npos ? "." : path.substr(begin);
}

bool hasZero(std::string const& path) { return path.find('\0') != std::string::npos; }

std::string lastComponent(std::string_view path)
{
    while (!path.empty() && path.back() == '/')
        path.remove_suffix(1);
    std::size_t const slash = path.rfind('/');
    return std::string(slash == std::string_view::npos ? path : path.substr(slash + 1));
}

bool isRegular(int descriptor, struct stat& status)
{
    return ::fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
}

/// Reads until the end or `limit`. One read is enough where the size is known and the answer is short: a
/// kernel attribute has a size of one page and comes whole; files of /proc have size 0 and come in pieces.
std::optional<std::string> readAll(int descriptor, bool sizeKnown, std::size_t limit)
{
    constexpr std::size_t kPiece = 4096;
    std::array<char, 4 * kPiece> buffer;
    std::string content;
    while (content.size() < limit) {
        std::size_t const wanted = std::min(buffer.size(), limit - content.size());
        ssize_t const got = ::read(descriptor, buffer.data(), wanted);
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            return std::nullopt;
        content.append(buffer.data(), static_cast<std::size_t>(got));
        // Binary attributes come a page at a time, so only less than a page is a sign of the end.
        if (got == 0 || (sizeKnown && static_cast<std::size_t>(got) < std::min(wanted, kPiece)))
            break;
    }
    return content;
}

/// Whether a driver answers what is read: its I/O error then speaks of one reading.
bool isAttribute(int descriptor)
{
    struct statfs system
    {};
    return ::fstatfs(descriptor, &system) == 0 && system.f_type == SYSFS_MAGIC;
}

} // namespace

DirectoryRoot::DirectoryRoot(FileDescriptor directory, Resolution resolution)
    : m_directory(std::move(directory)), m_kernelConfines(resolution == Resolution::Kernel)
{
    struct stat here
    {};
    struct stat top
    {};
    m_live = ::fstat(m_directory.number(), &here) == 0 && ::stat("/", &top) == 0 &&
             here.st_dev == top.st_dev && here.st_ino == top.st_ino;
    if (resolution == Resolution::Kernel) {
        auto const path = pathOf(m_directory.number());
        m_prefixKnown = path.has_value();
        m_prefix = path && *path != "/" ? *path : "";
    }
}

FileDescriptor DirectoryRoot::openConfined(std::string const& path, int flags) const
{
    open_how how{};
    how.flags = static_cast<std::uint64_t>(flags | O_CLOEXEC);
    how.resolve = RESOLVE_IN_ROOT | RESOLVE_NO_MAGICLINKS;
    for (int attempt = 0; attempt < kOpenAttempts; ++attempt) {
        long const descriptor = ::syscall(SYS_openat2, m_directory.number(), path.c_str(), &how, sizeof how);
        if (descriptor >= 0)
            return FileDescriptor(static_cast<int>(descriptor));
        if (errno != EAGAIN && errno != EINTR)
            break;
    }
    if (errno == ENOSYS || errno == EPERM) // an old kernel, or a sandbox that does not know the call
        m_kernelConfines = false;
    return FileDescriptor();
}

FileDescriptor DirectoryRoot::open(std::string const& path, int flags) const
{
    if (hasZero(path))
        return FileDescriptor();
    std::string const relative = withoutSlashes(path);
    if (m_live)
        return FileDescriptor(::openat(m_directory.number(), relative.c_str(), flags | O_CLOEXEC));
    if (m_kernelConfines) {
        FileDescriptor opened = openConfined(relative, flags);
        if (opened.isOpen() || m_kernelConfines)
            return opened;
    }
    LinkWalk walk(m_directory.number());
    if (walk.follow(relative, (flags & O_NOFOLLOW) == 0))
        return walk.open(flags);
    errno = walk.error();
    return FileDescriptor();
}

FileDescriptor DirectoryRoot::openRegular(std::string const& path, struct stat& status) const
{
    constexpr int kFlags = O_RDONLY | O_NONBLOCK | O_NOCTTY;
    FileDescriptor file;
    if (m_live) { // the kernel's own files, among which nobody plants devices: one look after the open will
                  // do
        file = open(path, kFlags);
    } else {
        // A descriptor that stands for the file without opening it tells what it is.
        FileDescriptor const there = open(path, O_PATH);
        if (!there.isOpen() || !isRegular(there.number(), status))
            return FileDescriptor();
        std::string const self = "/proc/self/fd/" + std::to_string(there.number());
        file = FileDescriptor(::open(self.c_str(), kFlags | O_CLOEXEC));
        if (!file.isOpen() && !m_prefixKnown) // a process without /proc
            file = open(path, kFlags);
    }
    return file.isOpen() && isRegular(file.number(), status) ? std::move(file) : FileDescriptor();
}

std::optional<std::string> DirectoryRoot::read(std::string const& path, std::size_t limit) const
{
    struct stat status
    {};
    errno = 0;
    FileDescriptor const file = openRegular(path, status);
    if (!file.isOpen()) {
        note(errno, path, false);
        return std::nullopt;
    }
    auto content = readAll(file.number(), status.st_size > 0, limit);
    if (int const error = errno; !content && !(error == EIO && isAttribute(file.number())))
        note(error, path, false);
    return content;
}

std::vector<std::string> DirectoryRoot::list(std::string const& path) const
{
    std::vector<std::string> names;
    errno = 0;
    FileDescriptor directory = open(path, O_RDONLY | O_DIRECTORY);
    DIR* const stream = directory.isOpen() ? ::fdopendir(directory.number()) : nullptr;
    if (!stream) {
        note(errno, path, true);
        return names;
    }
    directory.release(); // closedir closes it
    while (names.size() < kMaxNames) {
        errno = 0; // readdir's only sign that it is not the end
        dirent const* const entry = ::readdir(stream);
        if (!entry) {
            note(errno, path, true);
            break;
        }
        if (std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0)
            names.emplace_back(entry->d_name);
    }
    ::closedir(stream);
    std::sort(names.begin(), names.end(), text::naturalLess);
    return names;
}

void DirectoryRoot::note(int error, std::string const& path, bool isDirectory) const
{
    if (error == EACCES)
        noteRefusal(path, isDirectory);
    if (error != EMFILE && error != ENFILE && error != ENOMEM && error != EIO)
        return;
    std::lock_guard const lock(m_notesLock);
    RootFailure& failure = m_failures[error];
    if (failure.count++ == 0) {
        failure.reason = std::generic_category().message(error);
        failure.path = path;
    }
}

std::optional<FileSystemUsage> DirectoryRoot::usage(std::string const& mountPoint,
                                                    std::string const& device) const
{
    if (!m_live || hasZero(mountPoint))
        return std::nullopt;
    FileDescriptor const there = open(mountPoint, O_PATH | O_DIRECTORY);
    struct stat status
    {};
    struct statvfs counts
    {};
    if (!there.isOpen() || ::fstat(there.number(), &status) != 0 ||
        ::fstatvfs(there.number(), &counts) != 0 || counts.f_blocks < counts.f_bfree)
        return std::nullopt;
    std::string const number =
        std::to_string(major(status.st_dev)) + ":" + std::to_string(minor(status.st_dev));
    if (!device.empty() && device != number)
        return std::nullopt;
    return FileSystemUsage{counts.f_blocks * counts.f_frsize,
                           (counts.f_blocks - counts.f_bfree) * counts.f_frsize,
                           counts.f_bavail * counts.f_frsize};
}

// ETHTOOL_GDRVINFO, as the kernel's documentation of ethtool names it (linux/ethtool.h).
std::optional<std::string> DirectoryRoot::networkFirmware(std::string const& interface) const
{
    ifreq request{};
    if (!m_live || interface.size() >= sizeof request.ifr_name)
        return std::nullopt;
    FileDescriptor const any(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    ethtool_drvinfo answer{};
    answer.cmd = ETHTOOL_GDRVINFO;
    interface.copy(request.ifr_name, interface.size());
    request.ifr_data = reinterpret_cast<char*>(&answer);
    if (!any.isOpen() || ::ioctl(any.number(), SIOCETHTOOL, &request) != 0)
        return std::nullopt;
    return std::string(answer.fw_version, ::strnlen(answer.fw_version, sizeof answer.fw_version));
}

std::vector<RootFailure> DirectoryRoot::failures() const
{
    std::vector<RootFailure> all;
    std::lock_guard const lock(m_notesLock);
    for (auto const& [error, failure] : m_failures)
        all.push_back(failure);
    return all;
}

void DirectoryRoot::noteRefusal(std::string const& path, bool isDirectory) const
{
    // A walk without rights to read: it gets as far as the directory that may not be entered.
    LinkWalk walk(m_directory.number());
    bool const reached = walk.follow(withoutSlashes(path), true);
    if (!(reached ? isDirectory : walk.error() == EACCES))
        return; // a file that only others may read
    std::lock_guard const lock(m_notesLock);
    if (m_refused.size() < kMaxRefused)
        m_refused.insert(walk.path());
}

std::vector<std::string> DirectoryRoot::refused() const
{
    std::lock_guard const lock(m_notesLock);
    return {m_refused.begin(), m_refused.end()};
}

std::optional<std::string> DirectoryRoot::pathOf(int descriptor) const
{
    std::array<char, PATH_MAX> buffer;
    std::string const link = "/proc/self/fd/" + std::to_string(descriptor);
    ssize_t const length = ::readlink(link.c_str(), buffer.data(), buffer.size());
    if (length <= 0 || static_cast<std::size_t>(length) >= buffer.size() || buffer[0] != '/')
        return std::nullopt;
    return std::string(buffer.data(), static_cast<std::size_t>(length));
}

std::optional<std::string> DirectoryRoot::resolve(std::string const& path) const
{
    if (hasZero(path))
        return std::nullopt;
    if (m_prefixKnown && (m_live || m_kernelConfines)) {
        FileDescriptor const there = open(path, O_PATH);
        if (!there.isOpen() && (m_live || m_kernelConfines)) {
            note(errno, path, false);
            return std::nullopt;
        }
        auto const absolute = there.isOpen() ? pathOf(there.number()) : std::nullopt;
        if (absolute && *absolute == (m_prefix.empty() ? "/" : m_prefix))
            return "";
        // Anything else means that the root was moved meanwhile; then the walk below tells.
        if (absolute && absolute->compare(0, m_prefix.size() + 1, m_prefix + "/") == 0)
            return absolute->substr(m_prefix.size() + 1);
    }
    LinkWalk walk(m_directory.number());
    if (walk.follow(withoutSlashes(path), true))
        return walk.path();
    note(walk.error(), path, false);
    return std::nullopt;
}

std::optional<std::string> DirectoryRoot::linkName(std::string const& path) const
{
    if (hasZero(path))
        return std::nullopt;
    std::array<char, PATH_MAX> buffer;
    ssize_t length = 0;
    if (m_live) {
        length =
            ::readlinkat(m_directory.number(), withoutSlashes(path).c_str(), buffer.data(), buffer.size());
    } else {
        FileDescriptor const link = open(path, O_PATH | O_NOFOLLOW);
        length = link.isOpen() ? ::readlinkat(link.number(), "", buffer.data(), buffer.size()) : -1;
    }
    if (length < 0)
        note(errno, path, false);
    if (length <= 0)
        return std::nullopt;
    std::string name = lastComponent({buffer.data(), static_cast<std::size_t>(length)});
    if (name.empty() || name == "." || name == "..") {
        auto const target = resolve(path);
        name = target ? lastComponent(*target) : "";
    }
    return name.empty() ? std::nullopt : std::optional(name);
}

std::unique_ptr<Root> Root::open(std::string const& directory)
{
    FileDescriptor descriptor(::open(directory.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!descriptor.isOpen())
        return nullptr;
    descriptor.leaveStandardNumbers();
    return std::make_unique<DirectoryRoot>(std::move(descriptor), DirectoryRoot::Resolution::Kernel);
}

} // namespace zel
