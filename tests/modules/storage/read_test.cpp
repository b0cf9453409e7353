#include <modules/ReportLog.h>
#include <modules/storage/PaperDrive.h>

#include <storage/BlockReader.h>
#include <storage/Latencies.h>
#include <storage/ReadTest.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <numeric>

namespace krel5::modules::storage {
namespace {

constexpr std::size_t kBlock = 64 * 1024; // 128 sectors

ReadPlan surface()
{
    ReadPlan plan;
    plan.m_order = ReadPlan::Order::Surface;
    plan.m_blockSize = kBlock;
    return plan;
}

struct Damage
{
    char const* m_name;
    std::vector<std::uint64_t> m_sectors;
    int m_error;
    std::vector<std::string> m_faults; ///< Lba, offset, length, errno
};

void PrintTo(Damage const& one, std::ostream* out) { *out << one.m_name; } // the test's name

std::string bad(char const* event, std::uint64_t lba, std::uint64_t count, int error)
{
    return std::string(event) + " Lba=" + std::to_string(lba) +
           " LastLba=" + std::to_string(lba + count - 1) + " Offset=" + std::to_string(lba * 512) +
           " Length=" + std::to_string(count * 512) + " Error=" + std::to_string(error) + " Reason=";
}

std::string badSectors(std::uint64_t lba, std::uint64_t count, int error)
{
    return bad("StorageBadSectors", lba, count, error);
}

class Damages : public testing::TestWithParam<Damage>
{};

TEST_P(Damages, areNarrowedToTheirSectors)
{
    PaperDrive drive(16 * kBlock + 3 * 512); // the last block is short
    for (std::uint64_t sector : GetParam().m_sectors)
        drive.m_bad[sector] = GetParam().m_error;
    ReportLog host;
    EXPECT_EQ(runReadTest(host, drive, surface()).m_outcome, Outcome::Fail);
    ASSERT_EQ(host.m_faults.size(), GetParam().m_faults.size());
    for (std::size_t i = 0; i < host.m_faults.size(); ++i)
        EXPECT_EQ(host.m_faults[i].rfind(GetParam().m_faults[i], 0), 0u) << host.m_faults[i];
    EXPECT_EQ(host.m_percent, 100);
}

INSTANTIATE_TEST_SUITE_P(
    Each, Damages,
    testing::Values(
        Damage{"one", {777}, EIO, {badSectors(777, 1, EIO)}},
        Damage{"first", {0}, EIO, {badSectors(0, 1, EIO)}},
        Damage{"last", {16 * 128 + 2}, ENODATA, {badSectors(16 * 128 + 2, 1, ENODATA)}},
        Damage{"apart in one block", {130, 200}, EIO, {badSectors(130, 1, EIO), badSectors(200, 1, EIO)}},
        Damage{"three runs in one block",
               {128, 129, 130, 160, 255},
               EIO,
               {badSectors(128, 3, EIO), badSectors(160, 1, EIO), badSectors(255, 1, EIO)}},
        Damage{"across two blocks", {255, 256}, EIO, {badSectors(255, 2, EIO)}},
        Damage{"checksum of the file system", {2}, EBADMSG, {badSectors(2, 1, EBADMSG)}},
        Damage{"two blocks", {5, 1000}, EILSEQ, {badSectors(5, 1, EILSEQ), badSectors(1000, 1, EILSEQ)}}),
    [](auto const& row) {
        std::string name = row.param.m_name;
        std::replace(name.begin(), name.end(), ' ', '_');
        return name;
    });

TEST(Reading, ofASoundDriveTouchesEveryByteOnce)
{
    PaperDrive drive(10 * kBlock + 512);
    ReportLog host;
    ReadSummary const summary = runReadTest(host, drive, surface());
    EXPECT_EQ(summary.m_outcome, Outcome::Pass);
    EXPECT_EQ(summary.m_bytes, drive.m_size);
    EXPECT_EQ(drive.m_reads, 11u);
    EXPECT_TRUE(host.m_faults.empty() && host.m_warnings.empty() && host.m_problems.empty());
    ASSERT_EQ(host.m_notes.size(), 1u);
    EXPECT_EQ(
        host.m_notes[0].rfind("StorageRead Blocks=11 Planned=11 Bad=0 Bytes=655872 Repeated=0 Seconds=", 0),
        0u)
        << host.m_notes[0];
}

TEST(Reading, ofBlocksThatComeLateIsCountedAndAWarning)
{
    PaperDrive drive(100 * kBlock);
    drive.m_lateBlocks = {5 * kBlock, 77 * kBlock};
    drive.m_late = std::chrono::milliseconds(60);
    ReportLog host;
    ReadPlan plan = surface();
    plan.m_slowSeconds = 0.05;
    EXPECT_EQ(runReadTest(host, drive, plan).m_outcome, Outcome::Pass);
    ASSERT_EQ(host.m_warnings.size(), 1u);
    EXPECT_EQ(host.m_warnings[0].rfind("StorageSlowReads Count=2 Blocks=100 Milliseconds=50", 0), 0u)
        << host.m_warnings[0];
    double half = 0, most = 0, all = 0;
    auto const times = host.m_notes.back().find(" P50=");
    ASSERT_NE(times, std::string::npos) << host.m_notes.back();
    ASSERT_EQ(3, std::sscanf(&host.m_notes.back()[times], " P50=%lf P99=%lf P999=%lf", &half, &most, &all));
    EXPECT_LT(half, 20);
    EXPECT_GE(most, 60) << "two of a hundred are late";
    EXPECT_GE(all, most);
}

TEST(Latencies, AreAnsweredWithinNinePercent)
{
    Latencies none;
    EXPECT_EQ(0, none.percentile(50));
    Latencies some;
    for (int i = 1; i <= 10'000; ++i)
        some.add(i * 1e-4);
    for (double const percent : {0.1, 1.0, 50.0, 99.0, 99.9, 100.0}) {
        EXPECT_GE(some.percentile(percent), percent * 1e-2 * 0.999) << percent;
        EXPECT_LE(some.percentile(percent), percent * 1e-2 * 1.1) << percent;
    }
    Latencies odd;
    for (double const seconds : {-1.0, 0.0, 1e9, double(NAN), double(INFINITY)})
        odd.add(seconds);
    EXPECT_GE(odd.percentile(100), 1e4);
}

TEST(Reading, thatSucceedsAfterRepeatsIsAWarning)
{
    PaperDrive drive(4 * kBlock);
    drive.m_failures[130] = 2;
    ReportLog host;
    EXPECT_EQ(runReadTest(host, drive, surface()).m_outcome, Outcome::Pass);
    EXPECT_TRUE(host.m_faults.empty());
    ASSERT_EQ(host.m_warnings.size(), 1u);
    EXPECT_EQ(host.m_warnings[0].rfind("StorageReadRepeated Lba=128 Offset=65536 Repeats=2 Error=5 ", 0), 0u);
    EXPECT_EQ(host.m_signsOfLife.size(), 1u) << "of the first failure";
}

TEST(Reading, warnsOfAsManyRepeatsAsOfBadBlocksAndCountsThemAll)
{
    PaperDrive drive(8 * kBlock);
    for (std::uint64_t block = 1; block < 6; ++block)
        drive.m_failures[block * 128] = 1;
    ReadPlan plan = surface();
    plan.m_mostFaults = 3;
    ReportLog host;
    EXPECT_EQ(runReadTest(host, drive, plan).m_outcome, Outcome::Pass);
    EXPECT_EQ(host.m_warnings.size(), 3u);
    EXPECT_EQ(host.m_signsOfLife.size(), 3u);
    EXPECT_NE(host.m_notes.back().find(" Repeated=5 "), std::string::npos) << host.m_notes.back();
}

TEST(Reading, tellsEachPercentOnce)
{
    PaperDrive drive(1000 * 4096);
    ReadPlan plan = surface();
    plan.m_blockSize = 4096;
    struct : ReportLog
    {
        std::vector<int> m_told;
        void progress(int percent) override { m_told.push_back(percent); }
    } host;
    runReadTest(host, drive, plan);
    std::vector<int> all(101);
    std::iota(all.begin(), all.end(), 0);
    EXPECT_EQ(host.m_told, all);
}

TEST(Reading, thatComesShortOrFailsOnlyAsAWholeIsAFault)
{
    PaperDrive drive(2 * kBlock);
    drive.m_short = {140};
    ReportLog host;
    EXPECT_EQ(runReadTest(host, drive, surface()).m_outcome, Outcome::Fail);
    EXPECT_EQ(host.m_faults, std::vector<std::string>{badSectors(140, 1, 0) + "short read"});

    PaperDrive impatient(kBlock);
    impatient.m_longest = kBlock / 2;
    ReportLog other;
    EXPECT_EQ(runReadTest(other, impatient, surface()).m_outcome, Outcome::Fail);
    ASSERT_EQ(other.m_faults.size(), 1u);
    EXPECT_EQ(other.m_faults[0].rfind(bad("StorageBadBlock", 0, 128, EIO), 0), 0u) << other.m_faults[0];
}

struct Ending
{
    int m_error;
    Outcome m_outcome;
    char const* m_problem;
    unsigned m_repeats = 0;
};

void PrintTo(Ending const& one, std::ostream* out) { *out << one.m_problem; } // the test's name

class Endings : public testing::TestWithParam<Ending>
{};

TEST_P(Endings, ofTheDeviceBlameNoSector)
{
    PaperDrive drive(8 * kBlock);
    drive.m_bad[300] = GetParam().m_error;
    ReportLog host;
    EXPECT_EQ(runReadTest(host, drive, surface()).m_outcome, GetParam().m_outcome);
    EXPECT_EQ(drive.m_reads, 3u + GetParam().m_repeats);
    EXPECT_TRUE(host.m_faults.empty());
    ASSERT_EQ(host.m_problems.size(), 1u);
    EXPECT_EQ(host.m_problems[0].rfind(GetParam().m_problem, 0), 0u) << host.m_problems[0];
}
INSTANTIATE_TEST_SUITE_P(Each, Endings,
                         testing::Values(Ending{ENXIO, Outcome::NoDevice, "StorageDeviceGone Offset=131072"},
                                         Ending{ENODEV, Outcome::NoDevice, "StorageDeviceGone"},
                                         Ending{ENOMEDIUM, Outcome::NoMedia, "StorageNoMedia"},
                                         Ending{EPERM, Outcome::CannotRun, "StorageReadRefused"},
                                         Ending{ERANGE, Outcome::CannotRun, "StorageReadRefused"},
                                         Ending{EBADE, Outcome::CannotRun, "StorageReserved"},
                                         Ending{ETIMEDOUT, Outcome::CannotRun, "StorageUnanswered", 3},
                                         Ending{EREMOTEIO, Outcome::CannotRun, "StorageDriveGaveUp", 3},
                                         Ending{ENOLINK, Outcome::CannotRun, "StoragePathFailed", 3},
                                         Ending{EBUSY, Outcome::CannotRun, "StorageBusy", 3},
                                         Ending{EAGAIN, Outcome::CannotRun, "StorageTryAgain", 3}));

TEST(Reading, goesOnWhenWhatMayPassHasPassed)
{
    PaperDrive drive(8 * kBlock);
    drive.m_failures[300] = 2;
    drive.m_failuresError = EBUSY;
    ReportLog host;
    EXPECT_EQ(runReadTest(host, drive, surface()).m_outcome, Outcome::Pass);
    ASSERT_EQ(host.m_warnings.size(), 1u);
    EXPECT_EQ(host.m_warnings[0].rfind("StorageReadRepeated Lba=256 Offset=131072 Repeats=2 Error=16 ", 0),
              0u);
}

TEST(Reading, keepsTheFaultOfADriveThatVanishesWhileItIsNarrowed)
{
    PaperDrive drive(8 * kBlock);
    drive.m_bad[10] = EIO;
    drive.m_goneAfter = 8; // four reads of the block, and two halvings
    ReportLog host;
    EXPECT_EQ(runReadTest(host, drive, surface()).m_outcome, Outcome::Fail);
    ASSERT_EQ(host.m_faults.size(), 1u);
    EXPECT_EQ(host.m_faults[0].rfind(bad("StorageBadWithin", 0, 32, EIO), 0), 0u) << host.m_faults[0];
    ASSERT_EQ(host.m_problems.size(), 1u);
    EXPECT_EQ(host.m_problems[0].rfind("StorageDeviceGone", 0), 0u);
    EXPECT_EQ(drive.m_reads, 9u);
}

TEST(Reading, endsAsWhatARepeatBrings)
{
    PaperDrive drive(8 * kBlock);
    drive.m_bad[10] = EIO;
    drive.m_goneAfter = 1;
    ReportLog host;
    EXPECT_EQ(runReadTest(host, drive, surface()).m_outcome, Outcome::NoDevice);
    ASSERT_EQ(host.m_problems.size(), 1u);
    EXPECT_EQ(host.m_problems[0].rfind("StorageDeviceGone Offset=0 Error=6 ", 0), 0u) << host.m_problems[0];
}

TEST(Reading, tellsTheRunsOfALargeBlockApart)
{
    PaperDrive drive(1 << 20);
    drive.m_bad = {{10, EIO}, {11, ENODATA}, {2000, ENODATA}};
    ReadPlan plan = surface();
    plan.m_blockSize = 1 << 20;
    plan.m_repeats = 0;
    ReportLog host;
    EXPECT_EQ(runReadTest(host, drive, plan).m_outcome, Outcome::Fail);
    ASSERT_EQ(host.m_faults.size(), 3u);
    EXPECT_EQ(host.m_faults[0].rfind(badSectors(10, 1, EIO), 0), 0u) << host.m_faults[0];
    EXPECT_EQ(host.m_faults[1].rfind(badSectors(11, 1, ENODATA), 0), 0u) << host.m_faults[1];
    EXPECT_EQ(host.m_faults[2].rfind(badSectors(2000, 1, ENODATA), 0), 0u) << host.m_faults[2];
    EXPECT_LE(drive.m_failed, 1u + 2 * 11 + 1) << "half a minute each";
}

TEST(Reading, losesWholeUnitsOfTheDrive)
{
    PaperDrive drive(16 * kBlock + 3 * 512); // the last unit is cut short
    drive.m_unitSize = 4096;
    for (unsigned const sector : {8u, 9u, 10u, 11u, 12u, 13u, 14u, 15u, 2048u, 2049u, 2050u})
        drive.m_bad[sector] = EIO;
    ReportLog host;
    EXPECT_EQ(runReadTest(host, drive, surface()).m_outcome, Outcome::Fail);
    ASSERT_EQ(host.m_faults.size(), 2u);
    EXPECT_EQ(host.m_faults[0].rfind(badSectors(8, 8, EIO), 0), 0u) << host.m_faults[0];
    EXPECT_EQ(host.m_faults[1].rfind(badSectors(2048, 3, EIO), 0), 0u) << host.m_faults[1];
    EXPECT_LE(drive.m_failed, 2u * 4 + 4) << "both blocks, and the halves of the first";

    PaperDrive other(12 * 512);
    other.m_unitSize = 4096;
    other.m_bad[7] = EIO;
    ReadPlan plan = surface();
    plan.m_blockSize = 3 * 512;
    ReportLog misplaced;
    EXPECT_EQ(runReadTest(misplaced, other, plan).m_outcome, Outcome::Fail);
    ASSERT_EQ(misplaced.m_faults.size(), 1u);
    EXPECT_EQ(misplaced.m_faults[0].rfind(badSectors(7, 1, EIO), 0), 0u) << "blocks that begin within a unit";
}

TEST(Reading, givesUpOnADyingDrive)
{
    PaperDrive drive(100 * kBlock);
    for (std::uint64_t sector = 0; sector < drive.m_size / 512; ++sector)
        drive.m_bad[sector] = EIO;
    ReadPlan plan = surface();
    plan.m_mostFaults = 4;
    plan.m_repeats = 0;
    ReportLog host;
    EXPECT_EQ(runReadTest(host, drive, plan).m_outcome, Outcome::Fail);
    ASSERT_EQ(host.m_faults.size(), 4u);
    for (std::uint64_t i = 0; i < 4; ++i)
        EXPECT_EQ(host.m_faults[i].rfind(bad("StorageBadWithin", i * 128, 128, EIO), 0), 0u)
            << host.m_faults[i];
    EXPECT_EQ(host.m_warnings, std::vector<std::string>{"StorageEndedEarly BadBlocks=4"});
    EXPECT_EQ(host.m_signsOfLife.size(), 4u);
    EXPECT_LE(drive.m_reads, 4u + BlockReader::kMostFailures + 3 * BlockReader::kFurtherFailures);
}

TEST(Reading, enclosesARunThatIsTooLongToBeReadSectorBySector)
{
    PaperDrive drive(1 << 20);
    for (std::uint64_t sector = 1000; sector < 1100; ++sector)
        drive.m_bad[sector] = EIO;
    ReadPlan plan = surface();
    plan.m_blockSize = 1 << 20;
    ReportLog host;
    EXPECT_EQ(runReadTest(host, drive, plan).m_outcome, Outcome::Fail);
    EXPECT_LE(drive.m_failed, 4u + BlockReader::kMostFailures);
    ASSERT_EQ(host.m_faults.size(), 1u);
    // In parts of 8 sectors, which is how far the stock of failing reads brings it.
    EXPECT_EQ(host.m_faults[0].rfind(bad("StorageBadWithin", 1000, 104, EIO), 0), 0u) << host.m_faults[0];
}

/// Asks for the stop when the drive has been read so often.
struct StoppingAfter : ReportLog
{
    PaperDrive const& m_drive;
    std::uint64_t m_reads;
    StoppingAfter(PaperDrive const& drive, std::uint64_t reads) : m_drive(drive), m_reads(reads) {}
    bool stopRequested() override { return m_drive.m_reads >= m_reads; }
};

TEST(Reading, heedsAStopBeforeEveryRead)
{
    ReadPlan impatient = surface();
    impatient.m_repeats = 0;
    for (std::uint64_t reads = 1; reads < 14; ++reads) {
        PaperDrive drive(100 * kBlock);
        drive.m_bad[130] = EIO;
        StoppingAfter host(drive, reads);
        Outcome const outcome = runReadTest(host, drive, impatient).m_outcome;
        EXPECT_EQ(drive.m_reads, reads);
        EXPECT_EQ(outcome, reads == 1 ? Outcome::Stopped : Outcome::Fail) << reads;
        EXPECT_EQ(host.m_faults.size(), reads == 1 ? 0u : 1u) << reads;
    }
}

TEST(Reading, thatFailedOnceBeforeAStopIsMentioned)
{
    PaperDrive drive(100 * kBlock);
    drive.m_bad[0] = EIO;
    StoppingAfter host(drive, 1);
    EXPECT_EQ(runReadTest(host, drive, surface()).m_outcome, Outcome::Stopped);
    ASSERT_FALSE(host.m_notes.empty());
    EXPECT_EQ(host.m_notes[0].rfind("StorageReadFailing Lba=0 Offset=0 Error=5 ", 0), 0u)
        << "before the repeats";
    ASSERT_EQ(host.m_warnings.size(), 1u);
    EXPECT_EQ(host.m_warnings[0].rfind("StorageReadNotRepeated Lba=0 Offset=0 Repeats=0 Error=5 ", 0), 0u);
}

TEST(Reading, reportsAFaultBeforeItReadsOn)
{
    PaperDrive drive(100 * kBlock);
    drive.m_bad[130] = EIO;
    struct : ReportLog
    {
        PaperDrive const* m_drive = nullptr;
        std::uint64_t m_offsetAtFault = 0;
        void fault(Fault const& report) override
        {
            m_offsetAtFault = m_drive->m_offsets.back();
            ReportLog::fault(report);
        }
    } host;
    host.m_drive = &drive;
    runReadTest(host, drive, surface());
    EXPECT_EQ(host.m_offsetAtFault, 2 * kBlock) << "the next block could go on with the bad sectors";
}

TEST(Reading, stopsBetweenBlocksAndBetweenRepeats)
{
    PaperDrive drive(100 * kBlock);
    ReportLog host;
    host.m_stopAfterQuestions = 5;
    EXPECT_EQ(runReadTest(host, drive, surface()).m_outcome, Outcome::Stopped);
    EXPECT_EQ(drive.m_reads, 5u);

    PaperDrive bad(100 * kBlock);
    bad.m_bad[0] = EIO;
    ReadPlan patient = surface();
    patient.m_repeats = 1000000;
    ReportLog other;
    other.m_stopAfterQuestions = 5;
    EXPECT_EQ(runReadTest(other, bad, patient).m_outcome, Outcome::Stopped);
    EXPECT_EQ(bad.m_reads, 5u);
}

TEST(Reading, followsItsOrder)
{
    ReadPlan plan = surface();
    plan.m_order = ReadPlan::Order::Sequential;
    plan.m_amount = 2 * kBlock + 1;
    PaperDrive sequential(100 * kBlock);
    ReportLog host;
    runReadTest(host, sequential, plan);
    EXPECT_EQ(sequential.m_offsets, (std::vector<std::uint64_t>{0, kBlock, 2 * kBlock}));
    EXPECT_EQ(host.m_notes.size(), 1u) << "and none about a seed";

    plan.m_order = ReadPlan::Order::Random;
    plan.m_amount = 200 * kBlock;
    plan.m_seed = 99;
    PaperDrive first(100 * kBlock), second(100 * kBlock);
    runReadTest(host, first, plan);
    EXPECT_EQ(host.m_notes.at(1), "StorageSeed Seed=99");
    runReadTest(host, second, plan);
    EXPECT_EQ(first.m_offsets, second.m_offsets);
    std::set<std::uint64_t> const places(first.m_offsets.begin(), first.m_offsets.end());
    EXPECT_EQ(first.m_offsets.size(), 200u);
    EXPECT_GT(places.size(), 50u);
    EXPECT_EQ(*std::max_element(first.m_offsets.begin(), first.m_offsets.end()) % kBlock, 0u);

    first.m_bad[64 * 128 + 1] = EIO; // read more than once, reported once
    plan.m_amount = 2000 * kBlock;
    plan.m_mostFaults = 1000;
    ReportLog bad;
    EXPECT_EQ(runReadTest(bad, first, plan).m_outcome, Outcome::Fail);
    EXPECT_EQ(bad.m_faults.size(), 1u);
}

struct Unusable
{
    std::uint64_t m_size;
    std::size_t m_blockSize;
    Outcome m_outcome;
};

TEST(Reading, refusesWhatCannotBeRead)
{
    for (Unusable const& row :
         {Unusable{0, kBlock, Outcome::NoMedia}, Unusable{kBlock, 0, Outcome::BadParameters},
          Unusable{kBlock, 1000, Outcome::BadParameters},
          Unusable{kBlock, 2 * kMostBlockSize, Outcome::BadParameters}}) {
        PaperDrive drive(row.m_size);
        ReadPlan plan = surface();
        plan.m_blockSize = row.m_blockSize;
        ReportLog host;
        EXPECT_EQ(runReadTest(host, drive, plan).m_outcome, row.m_outcome)
            << row.m_size << " " << row.m_blockSize;
        EXPECT_EQ(host.m_problems.size(), 1u);
        EXPECT_EQ(drive.m_reads, 0u);
    }
    PaperDrive drive(kBlock);
    ReadPlan largest = surface();
    largest.m_blockSize = kMostBlockSize;
    ReportLog host;
    EXPECT_EQ(runReadTest(host, drive, largest).m_outcome, Outcome::Pass);
}

TEST(Reading, belowItsFloorIsAFault)
{
    PaperDrive drive(10 * kBlock);
    ReadPlan plan = surface();
    plan.m_floor = 1e12;
    ReportLog host;
    EXPECT_EQ(runReadTest(host, drive, plan).m_outcome, Outcome::Fail);
    ASSERT_EQ(host.m_faults.size(), 1u);
    EXPECT_EQ(host.m_faults[0].rfind("StorageTooSlow Speed=", 0), 0u);

    ReportLog stopped;
    stopped.m_stopAfterQuestions = 0;
    EXPECT_EQ(runReadTest(stopped, drive, plan).m_outcome, Outcome::Stopped);
    EXPECT_TRUE(stopped.m_faults.empty()) << "nothing was measured";
    EXPECT_NE(stopped.m_notes.back().find(" Speed=0.00 "), std::string::npos) << stopped.m_notes.back();

    drive.m_bad[1] = EIO;
    ReportLog bad;
    EXPECT_EQ(runReadTest(bad, drive, plan).m_outcome, Outcome::Fail);
    EXPECT_EQ(bad.m_faults.size(), 1u) << "of a drive that is bad its speed says nothing";
}

} // namespace
} // namespace krel5::modules::storage
