// A drive that is overwritten, with the faults that only writing shows: each is found and called by its name, and nothing else is.
#include <modules/RecordingHost.h>

#include <storage/Events.h>
#include <storage/WriteTest.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <functional>
#include <vector>

namespace krel5::modules::storage {
namespace {

using test::RecordingHost;
using test::valueOf;

constexpr std::size_t kBlock = 64 * 1024;

struct PaperDisk : BlockSource
{
    std::vector<std::byte> bytes;
    std::uint64_t claimed;
    std::function<std::uint64_t(std::uint64_t offset)> place = [](std::uint64_t offset) { return offset; };
    std::function<int(std::uint64_t offset)> writeError = [](std::uint64_t) { return 0; };
    std::function<int(std::uint64_t offset)> readError = [](std::uint64_t) { return 0; };
    std::function<bool(std::uint64_t offset)> isLost = [](std::uint64_t) { return false; };
    int syncError = 0;
    std::uint64_t writes = 0;

    explicit PaperDisk(std::uint64_t size) : bytes(size), claimed(size) {}
    std::uint64_t size() const override { return claimed; }
    std::uint32_t sectorSize() const override { return 512; }
    ReadOutcome readAt(std::uint64_t offset, std::span<std::byte> into) override
    {
        if (int const error = readError(offset); error != 0)
            return {0, error};
        for (std::size_t i = 0; i < into.size(); i += 512)
            std::memcpy(&into[i], &bytes.at(place(offset + i)), 512);
        return {into.size(), 0};
    }
    int write(std::uint64_t offset, std::span<std::byte const> from)
    {
        ++writes;
        if (int const error = writeError(offset); error != 0)
            return error;
        for (std::size_t i = 0; i < from.size(); i += 512)
            if (!isLost(offset + i))
                std::memcpy(&bytes.at(place(offset + i)), &from[i], 512);
        return 0;
    }
};

/// The test owns the source: it is lent, not given.
struct Lent : BlockSource
{
    explicit Lent(PaperDisk& disk) : m_disk(disk) {}
    std::uint64_t size() const override { return m_disk.size(); }
    std::uint32_t sectorSize() const override { return m_disk.sectorSize(); }
    ReadOutcome readAt(std::uint64_t offset, std::span<std::byte> into) override
    {
        return m_disk.readAt(offset, into);
    }
    PaperDisk& m_disk;
};

WritableDrive driveOf(PaperDisk& disk)
{
    WritableDrive drive;
    drive.source = std::make_unique<Lent>(disk);
    drive.write = [&disk](std::uint64_t offset, std::span<std::byte const> from) {
        return disk.write(offset, from);
    };
    drive.sync = [&disk] { return disk.syncError; };
    return drive;
}

WritePlan plan() { return {0, kBlock, 16, 42}; }

struct Case
{
    char const* what;
    std::function<void(PaperDisk&)> change;
    Outcome outcome;
    char const* says; ///< events of faults and problems, each with "Lba", where it has one
};

TEST(WriteTest, everyFaultIsFoundAndNamed)
{
    Case const cases[] = {
        {"sound", [](auto&) {}, Outcome::Pass, ""},
        {"a capacity that is not there: the second half is the first",
         [](auto& d) { d.place = [](auto at) { return at % (8 * kBlock); }; }, Outcome::Fail,
         "WriteMisplaced@0 WriteMisplaced@128 WriteMisplaced@256 WriteMisplaced@384 WriteMisplaced@512 "
         "WriteMisplaced@640 "
         "WriteMisplaced@768 WriteMisplaced@896 "},
        {"one address line", [](auto& d) { d.place = [](auto at) { return at == 9 * kBlock ? 4096 : at; }; },
         Outcome::Fail, "WriteChanged@8 "},
        {"a byte that sticks",
         [](auto& d) { d.place = [&d](auto at) { return d.bytes[5000] = std::byte(), at; }; }, Outcome::Fail,
         "WriteChanged@9 "},
        {"one sector that does not take what is written",
         [](auto& d) { d.isLost = [](auto at) { return at == 3 * kBlock + 512; }; }, Outcome::Fail,
         "WriteChanged@385 "},
        {"a block that cannot be written",
         [](auto& d) { d.writeError = [](auto at) { return at == kBlock ? EIO : 0; }; }, Outcome::Fail,
         "WriteBad@128 WriteChanged@128 "},
        {"a block that cannot be read",
         [](auto& d) { d.readError = [](auto at) { return at == kBlock ? EIO : 0; }; }, Outcome::Fail,
         "WriteUnread@128 "},
        {"the cache is lost", [](auto& d) { d.syncError = EIO; }, Outcome::Fail, "WriteNotKept "},
        {"gone while written",
         [](auto& d) { d.writeError = [](auto at) { return at >= kBlock ? ENXIO : 0; }; }, Outcome::NoDevice,
         "StorageDeviceGone "},
        {"gone while read", [](auto& d) { d.readError = [](auto at) { return at >= kBlock ? ENODEV : 0; }; },
         Outcome::NoDevice, "StorageDeviceGone "},
        {"refused by the system",
         [](auto& d) { d.writeError = [](auto at) { return at >= kBlock ? EPERM : 0; }; }, Outcome::CannotRun,
         "WriteRefused "},
        {"reading back is refused",
         [](auto& d) { d.readError = [](auto at) { return at >= kBlock ? EINVAL : 0; }; }, Outcome::CannotRun,
         "WriteRefused "},
        {"no answer", [](auto& d) { d.writeError = [](auto at) { return at >= kBlock ? ETIMEDOUT : 0; }; },
         Outcome::CannotRun, "StorageUnanswered "},
    };
    for (Case const& one : cases) {
        PaperDisk disk(16 * kBlock + 1024);
        if (one.what[0] == 'a' && one.what[2] == 'c')
            disk.bytes.resize(8 * kBlock + 1024);
        one.change(disk);
        RecordingHost host;
        EXPECT_EQ(one.outcome, runWriteTest(host, driveOf(disk), plan())) << one.what;
        std::string said;
        auto const tell = [&said](Report const& report) {
            std::string const lba = valueOf(report, "Lba");
            said += std::string(report.m_eventKey.text()) + (lba == "(none)" ? "" : "@" + lba) + " ";
        };
        for (Report const& fault : host.m_faults)
            tell(fault);
        for (Report const& problem : host.m_problems)
            tell(problem);
        EXPECT_EQ(one.says, said) << one.what;
    }
}

TEST(WriteTest, whereTheOtherBlockIsIsTold)
{
    PaperDisk disk(16 * kBlock);
    disk.place = [](auto at) { return at % (8 * kBlock); };
    RecordingHost host;
    EXPECT_EQ(Outcome::Fail, runWriteTest(host, driveOf(disk), plan()));
    ASSERT_FALSE(host.m_faults.empty());
    EXPECT_EQ("0", valueOf(host.m_faults[0], "Offset"));
    EXPECT_EQ(std::to_string(8 * kBlock), valueOf(host.m_faults[0], "Held"));
}

TEST(WriteTest, oldContentIsNotTakenForNew)
{
    PaperDisk disk(4 * kBlock);
    RecordingHost first;
    EXPECT_EQ(Outcome::Pass, runWriteTest(first, driveOf(disk), plan()));
    disk.isLost = [](auto) { return true; };
    RecordingHost again;
    WritePlan other = plan();
    other.seed = 43;
    EXPECT_EQ(Outcome::Fail, runWriteTest(again, driveOf(disk), other));
    EXPECT_EQ(4u, again.m_faults.size());
}

TEST(WriteTest, whatIsBadAllOverEndsSoon)
{
    PaperDisk disk(1000 * kBlock);
    disk.writeError = [](auto) { return EIO; };
    RecordingHost host;
    EXPECT_EQ(Outcome::Fail, runWriteTest(host, driveOf(disk), plan()));
    EXPECT_EQ(16u, disk.writes);
    EXPECT_LE(host.m_faults.size(), 32u);
}

TEST(WriteTest, aStopIsHeededAndASizeIsKept)
{
    for (int const polls : {0, 3, 100}) {
        PaperDisk disk(64 * kBlock);
        RecordingHost host;
        host.m_pollsBeforeStop = polls;
        EXPECT_EQ(Outcome::Stopped, runWriteTest(host, driveOf(disk), plan())) << polls;
        EXPECT_EQ(std::min(polls, 64), int(disk.writes));
    }
    PaperDisk disk(64 * kBlock);
    WritePlan some = plan();
    some.amount = 10 * kBlock + 100;
    RecordingHost host;
    EXPECT_EQ(Outcome::Pass, runWriteTest(host, driveOf(disk), some));
    EXPECT_TRUE(std::all_of(disk.bytes.begin() + 10 * kBlock, disk.bytes.end(),
                            [](auto byte) { return byte == std::byte(); }));
    EXPECT_EQ(10u, disk.writes);
    some.blockSize = 1000;
    EXPECT_EQ(Outcome::BadParameters, runWriteTest(host, driveOf(disk), some));
}

} // namespace
} // namespace krel5::modules::storage
