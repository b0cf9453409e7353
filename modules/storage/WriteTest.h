#pragma once
// Overwrites a drive from its first block to its last, and reads back whether each block holds what was written to it. It finds
// what reading alone does not: blocks that cannot be written, that come back changed or old, and drives that lead two places to one
// block, as those do that claim more room than they have.
//
//     WritableDrive drive = openDriveForWriting("/dev/sdb");
//     Outcome outcome = runWriteTest(host, drive, WritePlan{});
//
// A write that is under way is not interrupted: a stop request is heeded before the next one.
//
// Thread rule: called from one thread, on which everything happens.

#include <common/TestHost.h>
#include <storage/Drive.h>

namespace krel5::modules::storage {

struct WritePlan
{
    std::uint64_t amount = 0; ///< bytes from the start; 0: everything
    std::size_t blockSize = std::size_t(1) << 20;
    unsigned mostFaults = 16; ///< then the test ends
    std::uint64_t seed = 1;
};

/// Every unit of 4 KiB gets a stamp of its offset and the seed; what is left behind the last whole one is not touched. Faults:
/// "WriteBad" (Lba, Offset, Reason) of a write, "WriteUnread" (Lba, Offset, Reason) of a read, "WriteMisplaced" (Lba, Offset, Held,
/// HeldLba) where a unit holds what was written elsewhere, "WriteChanged" (Lba, Offset) where it holds anything else; "WriteNotKept"
/// (Reason) where the drive could not write out its cache. Warning "StorageEndedEarly" (BadBlocks). Problem "WriteRefused" (Offset, Error, Reason), and those of
/// runReadTest, for
/// errors that the medium is not to blame for, and "StorageBadBlockSize". Notes "StorageSeed" (Seed), "WriteDone" (Bytes, Written,
/// WriteSpeed, ReadSpeed).
Outcome runWriteTest(TestHost& host, WritableDrive const& drive, WritePlan const& plan);

} // namespace krel5::modules::storage
