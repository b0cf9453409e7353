#pragma once
// A file that is named now and opened when it is needed, maybe by a signal handler. Internal to the
// foundation.

#include <zel/foundation/linux/FileDescriptor.h>

#include <string>
#include <vector>

namespace zel {

/// Everything that opening needs is worked out by the constructor. Thread rule: unchangeable once made.
class AppendTarget
{
public:
    explicit AppendTarget(std::string path);

    struct Opened
    {
        FileDescriptor file;          ///< not open: refused
        char const* reason = nullptr; ///< why; null where `errorNumber` says it
        int errorNumber = 0;
        bool isContinued = false; ///< lines of somebody else stand in it already
    };
    /// Makes missing folders, then opens the file to append, or makes it. Neither the folder nor the file is
    /// reached through a link, and both are the caller's (the folder maybe root's), so that a folder which
    /// others can write directs a privileged process nowhere. May be called in a signal handler.
    Opened open() const noexcept;

    std::string const& path() const noexcept { return m_path; }
    /// False for a path that ends with a folder.
    bool namesFile() const noexcept { return !m_name.empty(); }

private:
    FileDescriptor openFolder(Opened& result) const noexcept;
    void openFile(FileDescriptor const& folder, Opened& result) const noexcept;

    std::string m_path;
    std::vector<std::string> m_folders; // outermost first; the last is the file's own
    std::string m_name;
};

} // namespace zel
