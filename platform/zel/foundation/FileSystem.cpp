#include <zel/foundation/FileSystem.h>

#include <zel/foundation/System.h>

#include <cerrno>

namespace zel {

bool FileSystem::ReadResult::absent() const noexcept
{
    return errorNumber == ENOENT || errorNumber == ENOTDIR;
}

String FileSystem::ReadResult::reason() const
{
    if (content)
        return String();
    return distrust.empty() ? System::errorText(errorNumber) : distrust;
}

String FileSystem::extractBaseFileName(String const& path)
{
    std::string const bytes = path.toUtf8();
    std::string const name = bytes.substr(bytes.find_last_of("/\\") + 1); // npos + 1 is the beginning
    std::size_t const dot = name.rfind('.');
    return String(name.substr(0, dot == 0 ? std::string::npos : dot));
}

std::string FileSystem::folderOf(std::string const& path)
{
    std::size_t const slash = path.rfind('/');
    if (slash == std::string::npos)
        return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

} // namespace zel
