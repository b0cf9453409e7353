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
    std::size_t start = 0, dot = String::npos;
    for (std::size_t i = 0; i < path.size(); ++i) {
        if (path[i] == '/' || path[i] == '\\') {
            start = i + 1;
            dot = String::npos;
        } else if (path[i] == '.') {
            dot = i;
        }
    }
    bool const hasExtension = dot != String::npos && dot > start;
    return path.substr(start, hasExtension ? dot - start : String::npos);
}

std::string FileSystem::folderOf(std::string const& path)
{
    std::size_t const slash = path.rfind('/');
    if (slash == std::string::npos)
        return ".";
    return slash == 0 ? "/" : path.substr(0, slash);
}

} // namespace zel
