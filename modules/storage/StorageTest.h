#pragma once
// A read test of a drive from beginning to end: opens the drive, or makes the file that stands in for it, and
// reads.
//
//     StorageSettings settings;
//     settings.m_useFile = true;
//     Outcome outcome = runStorageTest(host, "/dev/sda", settings);
//
// Thread rule: as for runReadTest.

#include <storage/ReadTest.h>

#include <optional>
#include <string>

namespace krel5::modules {

struct StorageSettings
{
    ReadPlan m_plan;
    /// Read a file made on a file system of the drive instead of the drive. It has no name and is gone
    /// afterwards.
    bool m_useFile = false;
    std::uint64_t m_fileBytes = std::uint64_t(256) << 20;
};

/// What runReadTest reports, and: problems "StorageOpenFailed" (Device, Reason), "StorageNoFileSystem"
/// (Device), "StorageFileFailed" (Directory, Reason); fault "StorageWriteFailed" (Directory, Reason); notes
/// "StorageFile" (Directory, MiB), "StorageCached" (Device). A drive that may not be opened is
/// InsufficientPrivilege.
Outcome runStorageTest(TestHost& host, std::string const& device, StorageSettings const& settings);

} // namespace krel5::modules
