#include <engine/report/linux/ReportFile.h>

#include <zel/foundation/Exception.h>
#include <zel/foundation/FileSystem.h>

#include <climits>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace engine {

using zel::FileDescriptor;
using zel::retryOnInterrupt;
using zel::SystemException;

namespace {

FileDescriptor openFolder(FileDescriptor const* in, std::string const& name, int flags)
{
    return FileDescriptor(retryOnInterrupt([&] {
        return ::openat(in ? in->number() : AT_FDCWD, name.c_str(),
                        O_RDONLY | O_DIRECTORY | O_CLOEXEC | flags);
    }));
}

// The base is where the system or the person has put it.
FileDescriptor openBase(std::string const& path)
{
    FileDescriptor folder = openFolder(nullptr, path, 0);
    if (folder.isOpen() || errno != ENOENT)
        return folder;
    int whyNotMade = 0;
    for (std::size_t end = path.find('/', 1);; end = path.find('/', end + 1)) {
        if (::mkdir(path.substr(0, end).c_str(), 0700) != 0 && errno != EEXIST && whyNotMade == 0)
            whyNotMade = errno;
        if (end == std::string::npos)
            break;
    }
    folder = openFolder(nullptr, path, 0);
    if (!folder.isOpen() && whyNotMade != 0)
        errno = whyNotMade; // says more than that it is missing
    return folder;
}

char const* whyNotOurs(FileDescriptor const& folder)
{
    struct stat status;
    if (::fstat(folder.number(), &status) != 0 || (status.st_uid != ::geteuid() && status.st_uid != 0))
        return "it belongs to somebody else";
    return (status.st_mode & (S_IWGRP | S_IWOTH)) != 0 ? "others can write there" : nullptr;
}

// A folder that was made here is on disk before anything in it is.
FileDescriptor openOwn(FileDescriptor const& in, std::string const& name, std::string const& path)
{
    if (::mkdirat(in.number(), name.c_str(), 0700) == 0)
        ::fsync(in.number());
    else if (errno != EEXIST)
        throw SystemException(zel::String(path), errno);
    FileDescriptor folder = openFolder(&in, name, O_NOFOLLOW);
    if (!folder.isOpen())
        throw SystemException(zel::String(path), errno);
    if (char const* const reason = whyNotOurs(folder))
        throw SystemException(zel::String(path + ": " + reason), EPERM);
    return folder;
}

} // namespace

ReportFile ReportFile::create(std::string const& path)
{
    std::string const folderPath = zel::FileSystem::folderOf(path);
    FileDescriptor folder = openFolder(nullptr, folderPath, O_NOFOLLOW);
    if (!folder.isOpen())
        throw SystemException(zel::String(folderPath), errno);
    return {std::move(folder), path.substr(path.rfind('/') + 1), path};
}

namespace {

std::pair<FileDescriptor, std::string> openAll(ReportFile::Folders const& folders)
{
    FileDescriptor folder = openBase(folders.base);
    if (!folder.isOpen())
        throw SystemException(zel::String(folders.base), errno);
    std::string path = folders.base;
    for (std::string const& below : folders.below) {
        path += "/" + below;
        folder = openOwn(folder, below, path);
    }
    return {std::move(folder), std::move(path)};
}

} // namespace

ReportFile ReportFile::create(Folders const& folders, std::string const& name)
{
    auto [folder, path] = openAll(folders);
    return {std::move(folder), name, path + "/" + name};
}

FileDescriptor ReportFile::link(Folders const& folders, std::string const& name, std::string const& target)
{
    auto [folder, path] = openAll(folders);
    if (::symlinkat(target.c_str(), folder.number(), name.c_str()) != 0)
        throw SystemException(zel::String(path + "/" + name), errno);
    return std::move(folder);
}

std::optional<std::string> ReportFile::linkTarget(std::string const& path)
{
    struct stat status;
    if (::lstat(path.c_str(), &status) != 0 || (status.st_uid != ::geteuid() && status.st_uid != 0))
        return std::nullopt;
    std::string target(PATH_MAX, '\0');
    ssize_t const count = ::readlink(path.c_str(), target.data(), target.size());
    if (count <= 0)
        return std::nullopt;
    target.resize(static_cast<std::size_t>(count));
    return target;
}

int ReportFile::syncFolder(FileDescriptor const& folder)
{
    // Some file systems do not do it for folders.
    return ::fsync(folder.number()) == 0 || errno == EINVAL ? 0 : errno;
}

ReportFile::ReportFile(FileDescriptor folder, std::string const& name, std::string path)
    : m_folder(std::move(folder)), m_path(std::move(path))
{
    m_file = FileDescriptor(retryOnInterrupt([&] {
        return ::openat(m_folder.number(), name.c_str(),
                        O_WRONLY | O_APPEND | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    }));
    if (!m_file.isOpen())
        throw SystemException(zel::String(m_path), errno);
    ::flock(m_file.number(),
            LOCK_EX | LOCK_NB); // nobody else can have it yet; some file systems know no locks
}

bool ReportFile::isBeingWritten(std::string const& path)
{
    FileDescriptor const file = FileDescriptor::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY);
    return file.isOpen() && ::flock(file.number(), LOCK_SH | LOCK_NB) != 0 && errno == EWOULDBLOCK;
}

int ReportFile::append(std::string_view bytes)
{
    std::string line;
    if (m_isTorn) { // what is left of the line before stands alone
        line = "\n";
        bytes = line.append(bytes);
    }
    std::size_t written = 0;
    int const error = zel::writeAll(m_file.number(), bytes.data(), bytes.size(), written);
    if (error == 0) {
        m_size += written;
        m_isTorn = false;
    } else if (written > 0 && ::ftruncate(m_file.number(), static_cast<off_t>(m_size)) != 0) {
        m_size += written;
        m_isTorn = true;
    }
    return error;
}

int ReportFile::sync()
{
    if (m_syncError == 0 && ::fdatasync(m_file.number()) != 0)
        m_syncError = errno;
    if (m_syncError == 0 && m_folder.isOpen()) {
        m_syncError = syncFolder(m_folder);
        m_folder = FileDescriptor();
    }
    return m_syncError;
}

} // namespace engine
