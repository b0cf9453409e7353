#include <storage/DriveError.h>
#include <storage/Events.h>
#include <storage/ScratchChoice.h>
#include <storage/StorageTest.h>
#include <storage/Texts.h>

#include <common/ErrorText.h>

#include <algorithm>
#include <cerrno>

namespace krel5::modules::storage {
namespace {

// Drives hold up to so much in a cache of their own (hard drives of 2024: 512 MiB; solid-state drives use theirs for their tables),
// and answer from there what was written last. A file that is chosen is twice as large; the least is one that still takes a while.
constexpr std::uint64_t kLargestCache = std::uint64_t{512} << 20, kChosenFile = 2 * kLargestCache;
constexpr std::uint64_t kLeastChosenFile = std::uint64_t{64} << 20;
constexpr std::uint64_t kMebibyte = 1 << 20;
constexpr int kWritingShare = 50; // percent

Outcome outcomeOfOpening(int error)
{
    switch (error) {
    case EPERM:
    case EACCES:
        return Outcome::InsufficientPrivilege;
    case ENOENT:
    case ENXIO:
    case ENODEV:
        return Outcome::NoDevice;
#if defined(ENOMEDIUM)
    case ENOMEDIUM:
        return Outcome::NoMedia;
#endif
    case ENOTBLK:
        return Outcome::NotSupported;
    default:
        return Outcome::CannotRun;
    }
}

/// Passes everything on, with the progress squeezed into the last part of the whole.
class LastPart : public TestHost
{
public:
    LastPart(TestHost& host, int from) : m_host(host), m_from(from) {}
    void progress(int percent) override { m_host.progress(m_from + percent * (100 - m_from) / 100); }
    bool stopRequested() override { return m_host.stopRequested(); }
    void fault(Fault const& report) override { m_host.fault(report); }
    void warning(Report const& report) override { m_host.warning(report); }
    void problem(Report const& report) override { m_host.problem(report); }
    void note(Report const& report) override { m_host.note(report); }
    void signOfLife(Report const& report) override { m_host.signOfLife(report); }
    std::string text(LocalText const& text, TextValues const& values) override
    {
        return m_host.text(text, values);
    }

private:
    TestHost& m_host;
    int m_from;
};

Outcome readDrive(TestHost& host, std::string const& device, ReadPlan const& plan, DriveAccess const& access)
{
    OpenedSource const drive = access.m_open(device);
    if (drive.m_error != 0) {
        Outcome const outcome = outcomeOfOpening(drive.m_error);
        host.problem({outcome == Outcome::InsufficientPrivilege ? kEventOpenRefused : kEventOpenFailed,
                      {{"Device", device}, {"Reason", errorText(drive.m_error)}}});
        return outcome;
    }
    if (!drive.m_direct)
        host.note({kEventCached, {{"Device", device}}});
    return runReadTest(host, *drive.m_source, plan).m_outcome;
}

Outcome fileFailed(TestHost& host, OpenedSource const& scratch, std::uint64_t size)
{
    TextValues const values = {{"Directory", scratch.m_place}, {"Reason", errorText(scratch.m_error)}};
    if (scratch.m_error == ECANCELED)
        return Outcome::Stopped;
    DriveError const error = driveErrorOf(scratch.m_error);
    if (error != DriveError::Medium && error != DriveError::Refused) {
        Ending const ending = endingOf(error);
        host.problem({ending.m_event,
                      {{"Offset", host.text(kTextUnknown)},
                       {"Error", std::to_string(scratch.m_error)},
                       {"Reason", errorText(scratch.m_error)}}});
        return ending.m_outcome;
    }
    if (scratch.m_driveFailed) { // or the file system, which turns read-only when that is damaged
        host.fault({kEventWriteFailed, values});
        return Outcome::Fail;
    }
    if (scratch.m_wanted > 0) {
        host.problem({kEventNoSpace,
                      {{"Directory", scratch.m_place},
                       {"FreeMiB", std::to_string(scratch.m_free / kMebibyte)},
                       {"WantedMiB", std::to_string(scratch.m_wanted / kMebibyte)},
                       {"FileMiB", std::to_string(size / kMebibyte)}}});
        return Outcome::CannotRun;
    }
    if (scratch.m_error == ENOSPC && scratch.m_free > 0) {
        host.problem(
            {kEventFilledUp,
             {{"Directory", scratch.m_place}, {"FreeMiB", std::to_string(scratch.m_free / kMebibyte)}}});
        return Outcome::CannotRun;
    }
    host.problem({scratch.m_error == EROFS ? kEventReadOnly : kEventFileFailed, values});
    bool const refused = scratch.m_error == EPERM || scratch.m_error == EACCES;
    return refused ? Outcome::InsufficientPrivilege : Outcome::CannotRun;
}

OpenedSource makeFile(TestHost& host, std::vector<std::string> const& directories, std::uint64_t size,
                      SeededContent const& content, DriveAccess const& access)
{
    int told = -1;
    ScratchProgress const progress = [&](std::uint64_t written) {
        int const percent = static_cast<int>(kWritingShare * written / size);
        if (percent > told)
            host.progress(told = percent);
        return !host.stopRequested();
    };
    return firstThatTakes(directories, [&](std::string const& directory) {
        return access.m_make(directory, size, content, progress);
    });
}

Outcome readFile(TestHost& host, std::string const& device, StorageSettings const& settings,
                 DriveAccess const& access)
{
    if (auto const refused = refusedPlan(host, settings.m_plan, SeededContent::kUnit))
        return *refused;
    auto const directories = access.m_directories(device);
    if (directories.empty()) {
        host.problem({kEventNoFileSystem, {{"Device", device}}});
        return Outcome::CannotRun;
    }
    bool const isChosen = settings.m_fileBytes == 0;
    std::uint64_t size =
        isChosen ? kChosenFile : std::max<std::uint64_t>(settings.m_fileBytes / kMebibyte, 1) * kMebibyte;
    SeededContent const content(settings.m_plan.m_seed);
    OpenedSource scratch = makeFile(host, directories, size, content, access);
    if (std::uint64_t const half = scratch.m_free / 2 / kMebibyte * kMebibyte;
        isChosen && scratch.m_wanted > 0 && half >= kLeastChosenFile)
        scratch = makeFile(host, directories, size = half, content, access);
    if (scratch.m_error != 0)
        return fileFailed(host, scratch, size);
    if (size < kChosenFile)
        host.warning({kEventFileSmall,
                      {{"MiB", std::to_string(size / kMebibyte)},
                       {"CacheMiB", std::to_string(kLargestCache / kMebibyte)}}});
    host.note({kEventFile,
               {{"Directory", scratch.m_place},
                {"MiB", std::to_string(size / kMebibyte)},
                {"BlockBytes", std::to_string(scratch.m_source->sectorSize())}}});
    if (!scratch.m_direct)
        host.note({kEventCached, {{"Device", device}}});
    ReadPlan plan = settings.m_plan;
    plan.m_check = &content;
    LastPart reading(host, kWritingShare);
    return runReadTest(reading, *scratch.m_source, plan).m_outcome;
}

} // namespace

Outcome runStorageTest(TestHost& host, std::string const& device, StorageSettings const& settings,
                       DriveAccess const& access)
{
    return settings.m_useFile ? readFile(host, device, settings, access)
                              : readDrive(host, device, settings.m_plan, access);
}

} // namespace krel5::modules::storage
