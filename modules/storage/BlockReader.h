#pragma once
// Reads one block for sure: repeats a failing read, and finds which sectors of a block cannot be read.
//
//     BlockReader reader(source, 3);
//     BlockVerdict verdict = reader.read(offset, block);
//     if (verdict.m_kind == BlockVerdict::Kind::Bad)
//         report(verdict.m_badOffset, verdict.m_badLength, verdict.m_error);
//
// Thread rule: used from one thread at a time.

#include <storage/BlockSource.h>

#include <functional>

namespace krel5::modules {

struct BlockVerdict
{
    enum class Kind {
        Good,
        Recovered, ///< failed, then succeeded when repeated
        Bad,       ///< some sectors fail however often they are read
        Gone,      ///< the device is no longer there
        NoMedia,   ///< nothing in the device
        Refused,   ///< the request itself was not accepted; says nothing about the medium
        Stopped
    };
    Kind m_kind = Kind::Good;
    /// The first error; zero for a short read.
    int m_error = 0;
    /// Repeats that were needed.
    unsigned m_repeats = 0;
    /// From the first sector to the last one that fails; sectors between them may be
    /// good. The whole block when it fails and its parts do not.
    std::uint64_t m_badOffset = 0;
    std::uint64_t m_badLength = 0;
};

class BlockReader
{
public:
    /// `repeats`: how often a failing read is tried again. `stopping` is asked between reads.
    BlockReader(BlockSource& source, unsigned repeats, std::function<bool()> stopping)
        : m_source(source), m_repeats(repeats), m_stopping(std::move(stopping))
    {}

    /// Reads the whole block. A block that fails for good costs at most 2·log2(sectors)+3 further reads, each
    /// repeated. A Recovered block is filled; after all other kinds but Good its content is undefined.
    BlockVerdict read(std::uint64_t offset, std::span<std::byte> block);

private:
    BlockVerdict attempt(std::uint64_t offset, std::span<std::byte> part);
    BlockVerdict narrow(std::uint64_t offset, std::span<std::byte> block, BlockVerdict found);

    BlockSource& m_source;
    unsigned m_repeats;
    std::function<bool()> m_stopping;
};

} // namespace krel5::modules
