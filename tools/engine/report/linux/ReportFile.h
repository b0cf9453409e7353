#pragma once
// The file of a report: new, nobody else's, and on disk when it says so.

#include <zel/foundation/linux/FileDescriptor.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace engine {

/// A file that its maker holds locked for as long as it writes. Thread rule: one thread at a time.
class ReportFile
{
public:
    /// What `create` is to make of the folders of a path.
    struct Folders
    {
        std::string base; ///< is there, or is made with those above it; links on the way are followed
        std::vector<std::string>
            below; ///< made where missing; the caller's own, no links, nobody else may write there
    };

    /// A new file in a folder that is there. Its folder may be anybody's, but no link.
    /// Throws zel::SystemException naming the path; EEXIST where anything has that name, a link to nothing too.
    static ReportFile create(std::string const& path);
    /// Throws zel::SystemException also for a folder below the base that others could have made or can change.
    static ReportFile create(Folders const& folders, std::string const& name);
    /// Makes a symbolic link to `target`, as create() makes a file. Gives its folder: the link is on disk when that is
    /// synced. Throws as create() does.
    static zel::FileDescriptor link(Folders const& folders, std::string const& name,
                                    std::string const& target);
    /// Where a link leads that the caller or root has made; nothing for all else.
    static std::optional<std::string> linkTarget(std::string const& path);
    /// 0 or an errno value.
    static int syncFolder(zel::FileDescriptor const& folder);
    /// False also for what cannot be opened.
    static bool isBeingWritten(std::string const& path);

    /// Behind what is there; whole, or not at all. 0 or an errno value.
    int append(std::string_view bytes);
    /// Waits until the file, with its name, is on disk. 0 or an errno value, which from then on is always given: what
    /// was lost is told by the system once.
    int sync();

    std::string const& path() const noexcept { return m_path; }

private:
    ReportFile(zel::FileDescriptor folder, std::string const& name, std::string path);

    zel::FileDescriptor m_file;
    zel::FileDescriptor m_folder; // until its entry of the file is on disk
    std::string m_path;
    std::size_t m_size = 0;
    bool m_isTorn = false; // a part of a line could not be taken back
    int m_syncError = 0;
};

} // namespace engine
