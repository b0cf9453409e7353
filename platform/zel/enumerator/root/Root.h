#pragma once
// The machine as a tree of files: every read of /sys and /proc goes through one Root.

#include <zel/foundation/Export.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zel {

/// What kept a machine from being read to the end: not that something is missing, but that nobody could look.
struct RootFailure
{
    std::string reason; ///< in the system's words: "Too many open files"
    std::string path;   ///< where it happened first, relative to the root
    std::size_t count = 0;

    /// "Too many open files (12 times, first at /sys/class/net)"
    ZEL_EXPORT std::string toString() const;
};

/// How full a file system is, in bytes.
struct FileSystemUsage
{
    std::uint64_t size = 0, used = 0;
    std::uint64_t available = 0; ///< to those without privilege; less than what is not used
};

/// Reads below one directory. Paths are relative to it, without a leading slash
/// ("sys/class/net/eth0/address"). Symbolic links are resolved inside the root: an absolute or upward link
/// can never lead out of it. What is missing, unreadable, not of the expected kind or too large is *absent*:
/// a captured tree with holes yields fewer facts, never a failure. Thread rule: const operations may run in
/// several threads.
class ZEL_EXPORT Root
{
public:
    virtual ~Root();

    /// True for the running machine ("/"). Nothing with side effects, no hardware access beyond these files,
    /// and no look-up in system calls (statvfs, ioctl) runs on a root that is not live.
    virtual bool isLive() const = 0;
    /// Content of a regular file, at most `limit` bytes (the rest is left out). Nothing else is ever opened:
    /// to open a device or a FIFO can have effects.
    virtual std::optional<std::string> read(std::string const& path, std::size_t limit = 1u << 20) const = 0;
    /// Names in a directory, sorted so that numbers count as numbers (cpu2 before cpu10); empty when absent.
    virtual std::vector<std::string> list(std::string const& path) const = 0;
    /// The path, relative to the root and free of links, that a path leads to; absent when it leads nowhere.
    virtual std::optional<std::string> resolve(std::string const& path) const = 0;
    /// Of the file system that is mounted at an absolute path; only on the live machine, and only where `device`
    /// ("8:1"; empty: any) is what stands there now and not covered by another mount.
    virtual std::optional<FileSystemUsage> usage(std::string const&, std::string const&) const
    {
        return std::nullopt;
    }
    /// What the driver of a network interface says of the firmware of its card; only on the live machine, where no file
    /// has it. No privilege is needed.
    virtual std::optional<std::string> networkFirmware(std::string const&) const { return std::nullopt; }
    bool exists(std::string const& path) const { return resolve(path).has_value(); }
    /// Last component of where a link says that it leads ("driver" -> "e1000e"), also when nothing stands
    /// there: a captured tree often holds the link and not the driver's directory. Absent when it is no link.
    virtual std::optional<std::string> linkName(std::string const& path) const = 0;
    /// Directories, relative to the root ("" for itself), that the operations so far could not read or enter
    /// for lack of permission, sorted: where what was found may not be all there is. A file that may not be
    /// read is not among them; there are many that only the administrator may read.
    virtual std::vector<std::string> refused() const { return {}; }
    /// One for each reason for which operations so far found nothing though something may stand there:
    /// descriptors or memory ran out, or a medium cannot be read. What was found is then not all there is. An
    /// attribute that a driver answers with an I/O error is not among them: its device is there, and silent.
    virtual std::vector<RootFailure> failures() const { return {}; }

    /// First line without white space at both ends; absent when the file is absent or the line empty.
    std::optional<std::string> text(std::string const& path) const;
    /// A decimal or 0x-number filling the whole first line; absent when it is anything else or out of range.
    std::optional<std::int64_t> number(std::string const& path) const;
    std::optional<std::uint64_t> hexadecimal(std::string const& path) const; ///< with or without 0x

    /// Opens a directory as root. Null when it cannot be opened; errno says why.
    static std::unique_ptr<Root> open(std::string const& directory);
};

} // namespace zel
