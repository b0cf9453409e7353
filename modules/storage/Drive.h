#pragma once
// Opening what the read checks read: the drive itself, or a file on one of its file systems.
//
//     OpenedSource drive = openDrive("/dev/sda");
//     if (drive.m_error == EPERM)
//         drive = makeScratchFile(directory, size, content, progress); // one of scratchDirectories("/dev/sda")
//
// Everything but what openDriveForWriting opens is opened for reading only; the scratch file's writing descriptor is closed before it is
// read.
//
// Thread rule: plain functions; a source is used from one thread at a time.

#include <storage/BlockSource.h>
#include <storage/Content.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace krel5::modules::storage {

struct OpenedSource
{
    std::unique_ptr<BlockSource> m_source; ///< null exactly when m_error is not zero
    int m_error = 0;                       ///< errno value; ECANCELED when the making was stopped
    bool m_driveFailed = false;            ///< the error is the drive's, not a refusal
    bool m_direct = true;                  ///< false when the system offers no reading past its cache
    std::string m_place;                   ///< what was opened, or failed
    std::uint64_t m_wanted = 0;            ///< bytes; not zero when less was free for a scratch file
    std::uint64_t m_free = 0; ///< bytes on its file system before it was written; zero when not known
};

/// Opens a block device. ENOTBLK for anything else.
OpenedSource openDrive(std::string const& path);

/// What a drive is overwritten with, past the caches.
struct WritableDrive
{
    std::unique_ptr<BlockSource> source; ///< null exactly when error is not zero
    int error = 0;                       ///< errno value; EBUSY: mounted, or otherwise in use
    /// Both give an errno value; zero: done. Offset and length as for reading.
    std::function<int(std::uint64_t offset, std::span<std::byte const> bytes)> write;
    std::function<int()> sync; ///< waits until the drive has it
};

/// Opens a block device that nobody uses, for oneself alone: a drive of which a partition is mounted, swapped to, or part of an
/// array or of volumes is refused with EBUSY. ENOTBLK for anything else.
WritableDrive openDriveForWriting(std::string const& path);

/// Directories of writable file systems on the drive, its partitions, and what is stacked upon them
/// (encryption, volumes). Empty when there are none or nothing can be told.
std::vector<std::string> scratchDirectories(std::string const& drivePath);

/// Told the bytes written so far; false stops the making.
using ScratchProgress = std::function<bool(std::uint64_t written)>;

/// Makes a file of `size` bytes (a multiple of SeededContent::kUnit) with that content in the directory,
/// writes it to the drive, and opens it for reading. The file has no name from its beginning (or loses it at
/// once, where the file system cannot make such files), so that it is gone when the source is destroyed or
/// the process dies in whatever way. ENOSPC also when less than twice the size is free: the running system is
/// to have as much again.
OpenedSource makeScratchFile(std::string const& directory, std::uint64_t size, SeededContent const& content,
                             ScratchProgress const& progress);

} // namespace krel5::modules::storage
