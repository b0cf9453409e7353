#pragma once
// Reads one block for sure: repeats a failing read, and finds which sectors of a block cannot be read.
//
//     BlockReader reader(source, 3, stopRequested, sayWhatFails);
//     BlockVerdict verdict = reader.read(offset, block);
//     for (BadRange const& range : verdict.m_bad)
//         report(range.m_offset, range.m_length, range.m_error);
//
// Thread rule: used from one thread at a time.

#include <storage/BlockSource.h>

#include <functional>
#include <vector>

namespace krel5::modules::storage {

struct BadRange
{
    enum class Extent {
        Exact,  ///< every unit of the drive in it was read by itself and failed
        Within, ///< reads in it fail; which of its sectors are to blame was not found out
        Whole   ///< reading the block fails, reading its parts one by one does not
    };
    std::uint64_t m_offset = 0; ///< bytes, from the start of the source
    std::uint64_t m_length = 0;
    int m_error = 0; ///< errno value of its last read; zero for a short one
    Extent m_extent = Extent::Exact;
};

struct BlockVerdict
{
    enum class Kind {
        Good,
        Recovered, ///< failed, then succeeded when repeated
        Bad,       ///< the medium fails however often it is read
        Ended,     ///< an error that does not speak of the medium; driveErrorOf(m_error) says of what
        Stopped
    };
    Kind m_kind = Kind::Good;
    /// The first error, or for Ended the last one; zero for a short read.
    int m_error = 0;
    /// Repeats that were made.
    unsigned m_repeats = 0;
    /// True when a read of the block failed before the stop; its repeats are then not complete.
    bool m_failedBeforeStop = false;
    /// Of a Bad block, in the order of the source; at least one.
    std::vector<BadRange> m_bad;
    /// Of a Bad block: what came up while its bad sectors were looked for, Ended or Stopped; Good when
    /// nothing did.
    Kind m_ending = Kind::Good;
    int m_endingError = 0;
};

class BlockReader
{
public:
    /// A failing read of a dying drive takes up to half a minute, so that looking for the bad sectors has a
    /// stock of reads that may fail: kMostFailures at first and never more, kFurtherFailures new ones for
    /// every bad block. One bad sector costs at most log2(units of the block) of them. When the stock is
    /// empty, what has not been told apart is Within.
    static constexpr unsigned kMostFailures = 32;
    static constexpr unsigned kFurtherFailures = 8;

    /// `repeats`: how often a failing read of a block is tried again, where that may help. `stopping` is
    /// asked before every read but the first of a block. `failing` is told of the first failing read of a
    /// block before anything else is read.
    using Failing = std::function<void(std::uint64_t offset, int error)>;
    BlockReader(BlockSource& source, unsigned repeats, std::function<bool()> stopping, Failing failing)
        : m_source(source), m_repeats(repeats), m_stopping(std::move(stopping)), m_failing(std::move(failing))
    {}

    /// Reads the whole block. A Recovered block is filled; after all other kinds but Good its content is
    /// undefined.
    BlockVerdict read(std::uint64_t offset, std::span<std::byte> block);

private:
    void narrow(std::uint64_t offset, std::span<std::byte> block, BlockVerdict& found);

    BlockSource& m_source;
    unsigned m_repeats;
    std::function<bool()> m_stopping;
    Failing m_failing;
    unsigned m_failuresLeft = kMostFailures;
};

} // namespace krel5::modules::storage
