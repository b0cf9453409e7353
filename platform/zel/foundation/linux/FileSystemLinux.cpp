#include <zel/foundation/FileSystem.h>

#include <zel/foundation/Exception.h>
#include <zel/foundation/linux/FileDescriptor.h>

#include <atomic>
#include <ctime>
#include <fcntl.h>
#include <optional>
#include <sys/stat.h>
#include <unistd.h>

namespace zel {
namespace {

constexpr int kTemporaryAttempts = 100;
constexpr char kNotRegular[] = "is no regular file";

std::string temporaryName(std::string const& path)
{
    static std::atomic<unsigned> s_counter{0};
    return path + "." + std::to_string(::getpid()) + "-" + std::to_string(s_counter.fetch_add(1)) + ".tmp";
}

// A name that nobody uses yet: O_EXCL follows no link and opens no existing file.
FileDescriptor createTemporary(std::string const& path, std::string& name)
{
    for (int attempt = 0; attempt < kTemporaryAttempts; ++attempt) {
        name = temporaryName(path);
        FileDescriptor file = FileDescriptor::open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL, 0644);
        if (file.isOpen() || errno != EEXIST)
            return file;
    }
    return FileDescriptor();
}

int fillAndRename(FileDescriptor const& file, std::string const& content, std::string const& from,
                  std::string const& to)
{
    std::size_t written = 0;
    if (int const error = writeAll(file.number(), content.data(), content.size(), written))
        return error;
    if (retryOnInterrupt([&] { return ::fsync(file.number()); }) != 0)
        return errno;
    return ::rename(from.c_str(), to.c_str()) == 0 ? 0 : errno;
}

// What the running program allows its own owner and writers, so that a build folder under umask 002 and a stick
// on which everything is 0777 work; nothing when the program is not known.
std::optional<struct stat> programStatus()
{
    struct stat program;
    return ::stat("/proc/self/exe", &program) == 0 ? std::optional(program) : std::nullopt;
}

// An access control list that lets others write shows in the bits of the group.
String distrustOf(struct stat const& file, std::optional<struct stat> const& program)
{
    if (file.st_uid != 0 && file.st_uid != ::geteuid() && (!program || file.st_uid != program->st_uid))
        return String("belongs to user ") + String::number(std::uint64_t{file.st_uid}) +
               ", who is neither root nor the caller";
    mode_t others = file.st_mode & (S_IWGRP | S_IWOTH);
    if (program && program->st_gid == file.st_gid)
        others &= ~(program->st_mode & S_IWGRP);
    if (program)
        others &= ~(program->st_mode & S_IWOTH);
    if (others == 0)
        return String();
    return String(others & S_IWOTH ? "may be written by everybody" : "may be written by its group");
}

String distrustOf(struct stat const& file, FileSystem::Writers writers)
{
    if (writers == FileSystem::Writers::Anybody)
        return String();
    return distrustOf(file, writers == FileSystem::Writers::AsProgram ? programStatus() : std::nullopt);
}

} // namespace

String FileSystem::distrust(std::string const& path, Writers writers)
{
    struct stat status;
    if (writers == Writers::CallerOrRoot && ::lstat(path.c_str(), &status) == 0 && S_ISLNK(status.st_mode))
        return "is a symbolic link";
    return ::stat(path.c_str(), &status) == 0 ? distrustOf(status, writers) : String();
}

FileSystem::ReadResult FileSystem::readFile(std::string const& path, std::size_t limit, Writers writers)
{
    // O_NONBLOCK: opening a FIFO must not wait for its writer.
    int const links = writers == Writers::CallerOrRoot ? O_NOFOLLOW : 0;
    FileDescriptor const file = FileDescriptor::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | links);
    struct stat status;
    if (!file.isOpen() && errno == ELOOP && links != 0)
        return {std::nullopt, EPERM, "is a symbolic link"};
    if (!file.isOpen() || ::fstat(file.number(), &status) != 0)
        return {std::nullopt, errno};
    if (!S_ISREG(status.st_mode))
        return S_ISDIR(status.st_mode) ? ReadResult{std::nullopt, EISDIR}
                                       : ReadResult{std::nullopt, EINVAL, kNotRegular};
    if (String const distrust = distrustOf(status, writers); !distrust.empty())
        return {std::nullopt, EPERM, distrust};
    std::string content;
    if (int const error = readAll(file.number(), content, limit, static_cast<std::size_t>(status.st_size)))
        return {std::nullopt, error};
    return {std::move(content), 0};
}

void FileSystem::writeFileAtomically(std::string const& path, std::string const& content)
{
    // A rename would replace a file that its owner protected; the open for writing that it stands for would
    // not.
    if (::faccessat(AT_FDCWD, path.c_str(), W_OK, AT_EACCESS | AT_SYMLINK_NOFOLLOW) != 0 && errno != ENOENT)
        throw SystemException(path, errno);
    // Nor would that open replace a device or a pipe.
    struct stat there;
    if (::lstat(path.c_str(), &there) == 0 && !S_ISREG(there.st_mode) && !S_ISLNK(there.st_mode) &&
        !S_ISDIR(there.st_mode)) // a folder is refused by the rename
        throw SystemException(String(path) + " " + kNotRegular, ENOTSUP);
    std::string temporary;
    FileDescriptor const file = createTemporary(path, temporary);
    if (!file.isOpen())
        throw SystemException(path, errno);
    if (int const error = fillAndRename(file, content, temporary, path)) {
        ::unlink(temporary.c_str());
        throw SystemException(path, error);
    }
}

bool FileSystem::exists(std::string const& path)
{
    struct stat status;
    return ::lstat(path.c_str(), &status) == 0;
}

String FileSystem::modificationDate(std::string const& path)
{
    struct stat status;
    struct tm parts;
    if (::stat(path.c_str(), &status) != 0 || !::gmtime_r(&status.st_mtim.tv_sec, &parts))
        return String();
    char text[32];
    std::size_t const length = std::strftime(text, sizeof text, "%Y-%m-%d", &parts);
    return String(std::string_view(text, length));
}

} // namespace zel
