#pragma once
// A Root over a directory descriptor.

#include <zel/enumerator/root/Root.h>
#include <zel/foundation/linux/FileDescriptor.h>

#include <sys/stat.h>

#include <atomic>
#include <map>
#include <mutex>
#include <set>

namespace zel {

/// Links are resolved by the kernel where it can confine them (openat2, Linux 5.6), else component by
/// component here, with the same result: at most 40 links, "/" and ".." stop at the root, a loop leads
/// nowhere.
class DirectoryRoot final : public Root
{
public:
    enum class Resolution { Kernel, Walk };

    /// `directory` is an open directory descriptor.
    DirectoryRoot(FileDescriptor directory, Resolution resolution);

    bool isLive() const override { return m_live; }
    std::optional<std::string> read(std::string const& path, std::size_t limit) const override;
    std::vector<std::string> list(std::string const& path) const override;
    std::optional<std::string> resolve(std::string const& path) const override;
    std::optional<std::string> linkName(std::string const& path) const override;
    std::optional<FileSystemUsage> usage(std::string const& mountPoint,
                                         std::string const& device) const override;
    std::optional<std::string> networkFirmware(std::string const& interface) const override;
    std::vector<std::string> refused() const override;
    std::vector<RootFailure> failures() const override;

private:
    /// Leaves errno as the system set it when what it returns is not open.
    FileDescriptor open(std::string const& path, int flags) const;
    FileDescriptor openRegular(std::string const& path, struct stat& status) const;
    /// After an operation that found nothing, for the reason `error` (an errno): keeps what people must know.
    void note(int error, std::string const& path, bool isDirectory) const;
    /// After an operation was refused: finds which directory on the way it was, and keeps it.
    void noteRefusal(std::string const& path, bool isDirectory) const;
    FileDescriptor openConfined(std::string const& path, int flags) const;
    /// Path of an open descriptor below the root; nothing when the kernel cannot tell.
    std::optional<std::string> pathOf(int descriptor) const;

    FileDescriptor m_directory;
    std::string m_prefix; ///< absolute path of the root without a slash at its end; empty for "/"
    bool m_live = false;
    bool m_prefixKnown = false;
    mutable std::atomic<bool> m_kernelConfines;
    mutable std::mutex m_notesLock;
    mutable std::set<std::string> m_refused;
    mutable std::map<int, RootFailure> m_failures; ///< by errno
};

} // namespace zel
