#pragma once
// The read checks of a drive. They only read.
//
//     ReadPlan plan;
//     plan.m_order = ReadPlan::Order::Random;
//     ReadSummary summary = runReadTest(host, source, plan);
//
// A read that is under way is not interrupted: a stop request is heeded before the next one, be it a repeat
// or one of those that look for the bad sectors of a block. A healthy drive answers within milliseconds; a
// failing one may hold a single read for its own time-out, often 30 seconds.
//
// Thread rule: called from one thread, on which everything happens.

#include <common/TestHost.h>
#include <storage/BlockSource.h>
#include <storage/DriveError.h>

#include <optional>

namespace krel5::modules::storage {

struct ReadPlan
{
    enum class Order {
        Sequential, ///< from the start, `m_amount` bytes
        Random,     ///< `m_amount` bytes in blocks anywhere
        Surface     ///< everything, from the first sector to the last
    };
    Order m_order = Order::Sequential;
    std::uint64_t m_amount = std::uint64_t(1) << 30;
    std::size_t m_blockSize = std::size_t(1) << 20;
    unsigned m_repeats = 3;
    /// Bad blocks after which the test ends: a drive that is dying is not to be read to death.
    unsigned m_mostFaults = 16;
    std::uint64_t m_seed = 1;
    /// Slower than this many MB/s (10^6 bytes) is a fault; 0 only reports the speed.
    double m_floor = 0;
    double m_slowSeconds = 1; ///< longer reads are counted, and a warning
    /// What the content has to be; null where nobody knows.
    ContentCheck const* m_check = nullptr;
};

struct ReadSummary
{
    Outcome m_outcome = Outcome::Pass;
    std::uint64_t m_bytes = 0;
    double m_seconds = 0; ///< of reading alone
    double megabytesPerSecond() const { return m_seconds > 0 ? double(m_bytes) / 1e6 / m_seconds : 0; }
};

/// Largest block that a plan may ask for.
constexpr std::size_t kMostBlockSize = std::size_t(64) << 20;

struct Ending
{
    Outcome m_outcome;
    EventKey m_event; ///< takes Offset, Error, Reason
};

/// How a test ends after an error that the medium is not to blame for.
Ending endingOf(DriveError error);

/// Says why a plan cannot be carried out on sectors of that size, with the problem "StorageBadBlockSize"
/// (BlockSize, SectorSize, Most); nothing when it can.
std::optional<Outcome> refusedPlan(TestHost& host, ReadPlan const& plan, std::uint32_t sectorSize);

/// Faults: "StorageBadSectors" (Lba, LastLba, Offset, Length, Error, Reason) where every sector of the range
/// is unreadable, "StorageBadWithin" where some of them are, "StorageBadBlock" where they cannot be read in
/// one piece, each with the same values; "StorageContentWrong" (Lba, Offset), "StorageTooSlow" (Speed,
/// Floor). Warnings: "StorageReadRepeated" and, for a read that failed and was not repeated because of a
/// stop, "StorageReadNotRepeated" (Lba, Offset, Repeats, Error, Reason); "StorageEndedEarly" (BadBlocks); "StorageSlowReads" (Count, Blocks, Milliseconds).
/// Problems: "StorageDeviceGone", "StorageNoMedia", "StorageUnanswered", "StorageDriveGaveUp",
/// "StoragePathFailed", "StorageReserved", "StorageBusy", "StorageTryAgain", "StorageReadRefused" (Offset, Error,
/// Reason), and refusedPlan's. Notes: "StorageRead" (Blocks, Planned, Bad, Repeated, Bytes, Seconds, Speed, SlowestLba,
/// SlowestMilliseconds, and P50, P99, P999: milliseconds within which so many percent of the good blocks were read), and for Random "StorageSeed" (Seed). A sign of life at a block's first failing read:
/// "StorageReadFailing" (Lba, Offset, Error, Reason). After a fault the outcome is Fail, whatever ended the
/// test.
ReadSummary runReadTest(TestHost& host, BlockSource& source, ReadPlan const& plan);

} // namespace krel5::modules::storage
