#pragma once
// A read test of a drive from beginning to end: opens the drive, or makes the file that stands in for it, and
// reads.
//
//     StorageSettings settings;
//     settings.m_useFile = true;
//     Outcome outcome = runStorageTest(host, "/dev/sda", settings);
//
// Thread rule: as for runReadTest.

#include <storage/Drive.h>
#include <storage/ReadTest.h>

#include <optional>
#include <string>

namespace krel5::modules::storage {

struct StorageSettings
{
    ReadPlan m_plan;
    /// Read a file made on a file system of the drive instead of the drive. It has no name and is gone
    /// afterwards.
    bool m_useFile = false;
    std::uint64_t m_fileBytes = 0; ///< 0: more than a drive's cache holds, or what there is room for
};

/// What the test asks of the operating system.
struct DriveAccess
{
    std::function<OpenedSource(std::string const& device)> m_open = openDrive;
    std::function<std::vector<std::string>(std::string const& device)> m_directories = scratchDirectories;
    std::function<OpenedSource(std::string const& directory, std::uint64_t size, SeededContent const& content,
                               ScratchProgress const& progress)>
        m_make = makeScratchFile;
};

/// What runReadTest reports, and: problems "StorageOpenFailed" and "StorageOpenRefused" (Device, Reason),
/// "StorageNoFileSystem" (Device), "StorageFileFailed" and "StorageReadOnly" (Directory, Reason),
/// "StorageFileSmall" (MiB, CacheMiB), a warning; "StorageNoSpace" (Directory, FreeMiB, WantedMiB, FileMiB), "StorageFilledUp" (Directory, FreeMiB); fault
/// "StorageWriteFailed" (Directory, Reason), which is a problem when the drive has gone or cannot be reached;
/// notes "StorageFile" (Directory, MiB, BlockBytes), "StorageCached" (Device). A drive that may not be opened
/// is InsufficientPrivilege. Nothing is written for a plan that cannot be carried out.
Outcome runStorageTest(TestHost& host, std::string const& device, StorageSettings const& settings,
                       DriveAccess const& access = {});

} // namespace krel5::modules::storage
