#include <storage/Drive.h>
#include <storage/StorageTest.h>

#include <common/ErrorText.h>

#include <cerrno>

namespace krel5::modules {
namespace {

std::string reasonOf(int error) { return errorText(error); }

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
    std::string text(LocalText const& text, TextValues const& values) override
    {
        return m_host.text(text, values);
    }

private:
    TestHost& m_host;
    int m_from;
};

Outcome readDrive(TestHost& host, std::string const& device, ReadPlan const& plan)
{
    OpenedSource const drive = openDrive(device);
    if (drive.m_error != 0) {
        host.problem({"StorageOpenFailed", {{"Device", device}, {"Reason", reasonOf(drive.m_error)}}});
        return outcomeOfOpening(drive.m_error);
    }
    if (!drive.m_direct)
        host.note({"StorageCached", {{"Device", device}}});
    return runReadTest(host, *drive.m_source, plan).m_outcome;
}

Outcome fileFailed(TestHost& host, OpenedSource const& scratch)
{
    std::vector<std::pair<std::string, std::string>> const values = {{"Directory", scratch.m_place},
                                                                     {"Reason", reasonOf(scratch.m_error)}};
    if (scratch.m_error == ECANCELED)
        return Outcome::Stopped;
    if (scratch.m_error == EIO) {
        host.fault({"StorageWriteFailed", values});
        return Outcome::Fail;
    }
    host.problem({"StorageFileFailed", values});
    bool const refused = scratch.m_error == EPERM || scratch.m_error == EACCES;
    return refused ? Outcome::InsufficientPrivilege : Outcome::CannotRun;
}

Outcome readFile(TestHost& host, std::string const& device, StorageSettings const& settings)
{
    constexpr int kWritingShare = 50; // percent
    auto const directories = scratchDirectories(device);
    if (directories.empty()) {
        host.problem({"StorageNoFileSystem", {{"Device", device}}});
        return Outcome::CannotRun;
    }
    constexpr std::uint64_t kMebibyte = 1 << 20;
    std::uint64_t const size = std::max<std::uint64_t>(settings.m_fileBytes / kMebibyte, 1) * kMebibyte;
    SeededContent const content(settings.m_plan.m_seed);
    int told = -1;
    OpenedSource const scratch = makeScratchFile(directories, size, content, [&](std::uint64_t written) {
        int const percent = static_cast<int>(kWritingShare * written / size);
        if (percent > told)
            host.progress(told = percent);
        return !host.stopRequested();
    });
    if (scratch.m_error != 0)
        return fileFailed(host, scratch);
    host.note({"StorageFile",
               {{"Directory", scratch.m_place},
                {"MiB", std::to_string(size / kMebibyte)},
                {"BlockBytes", std::to_string(scratch.m_source->sectorSize())}}});
    if (!scratch.m_direct)
        host.note({"StorageCached", {{"Device", device}}});
    ReadPlan plan = settings.m_plan;
    plan.m_check = &content;
    LastPart reading(host, kWritingShare);
    return runReadTest(reading, *scratch.m_source, plan).m_outcome;
}

} // namespace

Outcome runStorageTest(TestHost& host, std::string const& device, StorageSettings const& settings)
{
    return settings.m_useFile ? readFile(host, device, settings) : readDrive(host, device, settings.m_plan);
}

} // namespace krel5::modules
