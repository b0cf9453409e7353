#include <zel/foundation/linux/AppendTarget.h>

#include <zel/foundation/FileSystem.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zel {
namespace {

char const* whyNotOurs(struct stat const& file) noexcept
{
    if (!S_ISREG(file.st_mode))
        return "it is no regular file";
    if (file.st_nlink != 1)
        return "it has further names";
    return file.st_uid == ::geteuid() ? nullptr : "it belongs to somebody else";
}

FileDescriptor openIn(FileDescriptor const& folder, std::string const& name, int flags) noexcept
{
    return FileDescriptor(
        retryOnInterrupt([&] { return ::openat(folder.number(), name.c_str(), flags | O_CLOEXEC, 0644); }));
}

/// Zero or the errno value of the last, which whoever can open the folder passes over: it was there already.
int makeFolders(std::vector<std::string> const& folders) noexcept
{
    int error = 0;
    for (std::string const& folder : folders)
        error = ::mkdir(folder.c_str(), 0755) == 0 ? 0 : errno;
    return error;
}

} // namespace

AppendTarget::AppendTarget(std::string path) : m_path(std::move(path))
{
    m_name = m_path.substr(m_path.rfind('/') + 1); // npos + 1 is the beginning
    std::string const folder = FileSystem::folderOf(m_path);
    for (std::size_t end = folder.find('/', 1); end != std::string::npos; end = folder.find('/', end + 1))
        m_folders.push_back(folder.substr(0, end));
    m_folders.push_back(folder);
}

FileDescriptor AppendTarget::openFolder(Opened& result) const noexcept
{
    auto const open = [this] {
        return FileDescriptor::open(m_folders.back().c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW);
    };
    FileDescriptor folder = open();
    if (!folder.isOpen() && errno == ENOENT) {
        int const error = makeFolders(m_folders);
        folder = open();
        result.errorNumber = error;
    }
    struct stat status;
    if (folder.isOpen() && ::fstat(folder.number(), &status) == 0) {
        if (status.st_uid == ::geteuid() || status.st_uid == 0)
            return folder;
        result.reason = "its folder belongs to somebody else";
    } else if (errno == ENOTDIR || errno == ELOOP) {
        result.reason = "its folder is no folder, or a link to one";
    }
    if (result.errorNumber == 0)
        result.errorNumber = errno;
    return FileDescriptor();
}

void AppendTarget::openFile(FileDescriptor const& folder, Opened& result) const noexcept
{
    // O_NONBLOCK: a FIFO under that name must not stop the module.
    constexpr int kFlags = O_WRONLY | O_APPEND | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY;
    result.file = openIn(folder, m_name, kFlags | O_CREAT | O_EXCL);
    if (result.file.isOpen())
        return;
    if (errno == EEXIST)
        result.file = openIn(folder, m_name, kFlags);
    struct stat status;
    if (!result.file.isOpen() || ::fstat(result.file.number(), &status) != 0) {
        result.errorNumber = errno;
        result.file = FileDescriptor();
        return;
    }
    result.reason = whyNotOurs(status);
    result.isContinued = status.st_size > 0;
    if (result.reason)
        result.file = FileDescriptor();
}

AppendTarget::Opened AppendTarget::open() const noexcept
{
    Opened result;
    FileDescriptor const folder = openFolder(result);
    if (folder.isOpen()) {
        result.errorNumber = 0;
        openFile(folder, result);
    }
    return result;
}

} // namespace zel
