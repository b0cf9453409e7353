#include <modules/ReportLog.h>
#include <modules/storage/PaperDrive.h>

#include <storage/ScratchChoice.h>
#include <storage/StorageTest.h>

#include <gtest/gtest.h>

#include <cerrno>

namespace krel5::modules::storage {
namespace {

using Step = ScratchStep;

/// A directory that answers with this error while a file is made or written; 0 takes the file.
struct Directory
{
    int m_error;
    Step m_step = Step::Making;
};

struct Choice
{
    char const* m_name;
    std::vector<Directory> m_directories; ///< called 0, 1, 2
    Outcome m_outcome;
    char const* m_said;
    std::size_t m_tried;
};

void PrintTo(Choice const& one, std::ostream* out) { *out << one.m_name; } // the test's name

/// A file that reads back right.
struct PaperFile : BlockSource
{
    SeededContent const& m_content;
    std::uint64_t m_size;
    PaperFile(SeededContent const& content, std::uint64_t size) : m_content(content), m_size(size) {}
    std::uint64_t size() const override { return m_size; }
    std::uint32_t sectorSize() const override { return SeededContent::kUnit; }
    ReadOutcome readAt(std::uint64_t offset, std::span<std::byte> into) override
    {
        m_content.fill(offset, into);
        return {into.size(), 0};
    }
};

StorageSettings fileSettings()
{
    StorageSettings settings;
    settings.m_useFile = true;
    settings.m_fileBytes = 4 << 20;
    return settings;
}

class Choices : public testing::TestWithParam<Choice>
{};

TEST_P(Choices, loseNoFailureOfTheDrive)
{
    std::size_t tried = 0;
    DriveAccess access;
    access.m_directories = [](std::string const&) {
        std::vector<std::string> names;
        for (std::size_t i = 0; i < GetParam().m_directories.size(); ++i)
            names.push_back(std::to_string(i));
        return names;
    };
    access.m_make = [&tried](std::string const& name, std::uint64_t size, SeededContent const& content,
                             ScratchProgress const&) {
        ++tried;
        Directory const& directory = GetParam().m_directories[std::stoul(name)];
        OpenedSource opened;
        opened.m_place = name;
        opened.m_error = directory.m_error;
        opened.m_driveFailed = isDriveFailure(directory.m_error, directory.m_step);
        if (directory.m_error == 0)
            opened.m_source = std::make_unique<PaperFile>(content, size);
        return opened;
    };
    ReportLog host;
    EXPECT_EQ(runStorageTest(host, "/dev/drive", fileSettings(), access), GetParam().m_outcome);
    EXPECT_EQ(tried, GetParam().m_tried);
    std::vector<std::string> said = host.m_faults;
    said.insert(said.end(), host.m_problems.begin(), host.m_problems.end());
    EXPECT_EQ(said.size(), *GetParam().m_said ? 1u : 0u);
    for (std::string const& line : said)
        EXPECT_EQ(line.rfind(GetParam().m_said, 0), 0u) << line;
    EXPECT_EQ(host.m_faults.size(), GetParam().m_outcome == Outcome::Fail ? 1u : 0u);
}

INSTANTIATE_TEST_SUITE_P(
    Each, Choices,
    testing::Values(
        Choice{"taken", {{EPERM}, {0}}, Outcome::Pass, "", 2},
        Choice{"failsThenWouldTake",
               {{EIO, Step::Writing}, {0}},
               Outcome::Fail,
               "StorageWriteFailed Directory=0 Reason=",
               1},
        Choice{"failsWhenMade", {{EACCES}, {EIO}, {0}}, Outcome::Fail, "StorageWriteFailed Directory=1", 2},
        Choice{"damaged", {{EUCLEAN}, {0}}, Outcome::Fail, "StorageWriteFailed", 1},
        Choice{"turnsReadOnly", {{EROFS, Step::Writing}, {0}}, Outcome::Fail, "StorageWriteFailed", 1},
        Choice{"goes", {{ENODEV, Step::Writing}, {0}}, Outcome::NoDevice, "StorageDeviceGone", 1},
        Choice{
            "doesNotAnswer", {{ETIMEDOUT, Step::Writing}, {0}}, Outcome::CannotRun, "StorageUnanswered", 1},
        Choice{"givesUp", {{EREMOTEIO, Step::Writing}, {0}}, Outcome::CannotRun, "StorageDriveGaveUp", 1},
        Choice{"linkDown", {{ENOLINK, Step::Writing}, {0}}, Outcome::CannotRun, "StoragePathFailed", 1},
        Choice{"reserved", {{EBADE, Step::Writing}}, Outcome::CannotRun, "StorageReserved Offset=unknown", 1},
        Choice{"busy", {{EBUSY, Step::Writing}, {0}}, Outcome::Pass, "", 2},
        Choice{"tryAgain", {{EAGAIN, Step::Writing}}, Outcome::CannotRun, "StorageTryAgain", 1},
        Choice{"isReadOnly", {{EROFS}, {0}}, Outcome::Pass, "", 2},
        Choice{"stopped", {{ECANCELED, Step::Writing}, {0}}, Outcome::Stopped, "", 1},
        Choice{"fullBeforeForbidden",
               {{ENOSPC}, {EPERM}, {ENOENT}},
               Outcome::CannotRun,
               "StorageFileFailed Directory=0 Reason=No space",
               3},
        Choice{"fullAfterForbidden",
               {{EACCES}, {ENOSPC}},
               Outcome::CannotRun,
               "StorageFileFailed Directory=1 Reason=No space",
               2},
        Choice{"forbidden",
               {{ENOENT}, {EPERM}, {EACCES}},
               Outcome::InsufficientPrivilege,
               "StorageFileFailed Directory=1",
               3},
        Choice{"readOnlyBeforeFull",
               {{ENOSPC}, {EROFS}},
               Outcome::CannotRun,
               "StorageReadOnly Directory=1 Reason=Read-only",
               2},
        Choice{"none", {}, Outcome::CannotRun, "StorageNoFileSystem", 0}),
    [](auto const& row) { return row.param.m_name; });

TEST(StorageTest, ofAFileSaysWhatItsHostHasToHear)
{
    DriveAccess access;
    access.m_directories = [](std::string const&) { return std::vector<std::string>{"here"}; };
    access.m_make = [](std::string const&, std::uint64_t size, SeededContent const&,
                       ScratchProgress const& progress) {
        EXPECT_TRUE(progress(0) && progress(1) && progress(size));
        auto drive = std::make_unique<PaperDrive>(size);
        drive->m_sectorSize = drive->m_unitSize = SeededContent::kUnit;
        drive->m_bad[3] = EIO;
        OpenedSource opened;
        opened.m_source = std::move(drive);
        return opened;
    };
    struct : ReportLog
    {
        std::vector<int> m_told;
        void progress(int percent) override { m_told.push_back(m_percent = percent); }
    } host;
    EXPECT_EQ(runStorageTest(host, "/dev/drive", fileSettings(), access), Outcome::Fail);
    EXPECT_EQ(host.m_told, (std::vector<int>{0, 50, 62, 75, 87, 100})) << "half of it for writing";
    EXPECT_FALSE(host.m_faults.empty());
    ASSERT_FALSE(host.m_signsOfLife.empty()) << "of a read that takes long";
    EXPECT_EQ(host.m_signsOfLife[0].rfind("StorageReadFailing Lba=", 0), 0u) << host.m_signsOfLife[0];
    EXPECT_EQ(host.m_percent, 100);
}

TEST(StorageTest, writesNothingForAPlanThatCannotBeCarriedOut)
{
    DriveAccess access;
    access.m_directories = [](std::string const&) { return std::vector<std::string>{"here"}; };
    bool made = false;
    access.m_make = [&made](auto&&...) {
        made = true;
        return OpenedSource();
    };
    StorageSettings settings = fileSettings();
    settings.m_plan.m_blockSize = 5 << 10;
    ReportLog host;
    EXPECT_EQ(runStorageTest(host, "/dev/drive", settings, access), Outcome::BadParameters);
    EXPECT_FALSE(made);
    ASSERT_EQ(host.m_problems.size(), 1u);
    EXPECT_EQ(host.m_problems[0].rfind("StorageBadBlockSize BlockSize=5120 SectorSize=4096 ", 0), 0u);
}

TEST(StorageTest, saysHowMuchSpaceIsWantedAndFree)
{
    DriveAccess access;
    access.m_directories = [](std::string const&) { return std::vector<std::string>{"/full", "/secret"}; };
    access.m_make = [](std::string const& directory, auto&&...) {
        OpenedSource opened;
        opened.m_place = directory;
        opened.m_error = directory == "/full" ? ENOSPC : EPERM;
        opened.m_free = 5 << 20;
        opened.m_wanted = directory == "/full" ? 8 << 20 : 0;
        return opened;
    };
    ReportLog host;
    EXPECT_EQ(runStorageTest(host, "/dev/drive", fileSettings(), access), Outcome::CannotRun);
    EXPECT_EQ(host.m_problems,
              std::vector<std::string>{"StorageNoSpace Directory=/full FreeMiB=5 WantedMiB=8 FileMiB=4"});
}

TEST(StorageTest, takesMoreThanACacheHoldsOrWhatThereIsRoomFor)
{
    for (std::uint64_t const freeMebibytes : {9000u, 900u, 90u}) {
        std::vector<std::uint64_t> sizes;
        DriveAccess access;
        access.m_directories = [](std::string const&) { return std::vector<std::string>{"/here"}; };
        access.m_make = [&](std::string const&, std::uint64_t size, SeededContent const& content, auto&&...) {
            sizes.push_back(size >> 20);
            OpenedSource opened;
            opened.m_free = freeMebibytes << 20;
            if (size * 2 > opened.m_free) {
                opened.m_error = ENOSPC;
                opened.m_wanted = size * 2;
            } else {
                opened.m_source = std::make_unique<PaperFile>(content, size);
            }
            return opened;
        };
        ReportLog host;
        StorageSettings settings = fileSettings();
        settings.m_fileBytes = 0;
        settings.m_plan.m_amount = 4 << 20;
        Outcome const outcome = runStorageTest(host, "/dev/drive", settings, access);
        if (freeMebibytes == 90) { // a file of 45 MiB would prove little
            EXPECT_EQ(outcome, Outcome::CannotRun);
            EXPECT_EQ(sizes, std::vector<std::uint64_t>{1024});
            continue;
        }
        EXPECT_EQ(outcome, Outcome::Pass);
        EXPECT_EQ(sizes, freeMebibytes == 9000 ? std::vector<std::uint64_t>{1024}
                                               : (std::vector<std::uint64_t>{1024, 450}));
        EXPECT_EQ(host.m_warnings, freeMebibytes == 9000
                                       ? std::vector<std::string>{}
                                       : std::vector<std::string>{"StorageFileSmall MiB=450 CacheMiB=512"});
    }
}

TEST(StorageTest, doesNotCallSpaceMissingThatWasThere)
{
    DriveAccess access;
    access.m_directories = [](std::string const&) { return std::vector<std::string>{"/thin"}; };
    access.m_make = [](std::string const& directory, auto&&...) {
        OpenedSource opened;
        opened.m_place = directory;
        opened.m_error = ENOSPC;
        opened.m_free = 100 << 20;
        return opened;
    };
    ReportLog host;
    EXPECT_EQ(runStorageTest(host, "/dev/drive", fileSettings(), access), Outcome::CannotRun);
    EXPECT_EQ(host.m_problems, std::vector<std::string>{"StorageFilledUp Directory=/thin FreeMiB=100"});
}

TEST(StorageTest, namesTheWayOutOnlyWhereThereIsOne)
{
    for (auto const& [error, outcome, said] :
         {std::tuple{EPERM, Outcome::InsufficientPrivilege, "StorageOpenRefused Device=/dev/drive "},
          std::tuple{ENOENT, Outcome::NoDevice, "StorageOpenFailed Device=/dev/drive "},
          std::tuple{ENOMEDIUM, Outcome::NoMedia, "StorageOpenFailed Device=/dev/drive "}}) {
        DriveAccess access;
        access.m_open = [error = error](std::string const&) {
            OpenedSource opened;
            opened.m_error = error;
            return opened;
        };
        ReportLog host;
        EXPECT_EQ(runStorageTest(host, "/dev/drive", StorageSettings(), access), outcome);
        ASSERT_EQ(host.m_problems.size(), 1u);
        EXPECT_EQ(host.m_problems[0].rfind(said, 0), 0u) << host.m_problems[0];
    }
}

} // namespace
} // namespace krel5::modules::storage
