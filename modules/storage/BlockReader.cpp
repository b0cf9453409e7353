#include <storage/BlockReader.h>

#include <cerrno>

namespace krel5::modules {
namespace {

using Kind = BlockVerdict::Kind;

/// Which errors of read(2) on a drive are about the drive as a whole and not about the sectors read.
Kind kindOf(int error) noexcept
{
    switch (error) {
    case ENXIO:
    case ENODEV:
    case ESHUTDOWN:
        return Kind::Gone;
#if defined(ENOMEDIUM)
    case ENOMEDIUM:
        return Kind::NoMedia;
#endif
    case EINVAL:
    case EACCES:
    case EPERM:
    case EBADF:
    case EFAULT:
    case ENOMEM:
    case EOPNOTSUPP:
        return Kind::Refused;
    default:
        return Kind::Bad;
    }
}

bool decided(Kind kind) noexcept
{
    return kind != Kind::Good && kind != Kind::Recovered && kind != Kind::Bad;
}

} // namespace

BlockVerdict BlockReader::attempt(std::uint64_t offset, std::span<std::byte> part)
{
    BlockVerdict verdict;
    for (unsigned tries = 0; tries <= m_repeats; ++tries) {
        if (tries > 0 && m_stopping()) {
            verdict.m_kind = Kind::Stopped;
            return verdict;
        }
        ReadOutcome const outcome = m_source.readAt(offset, part);
        verdict.m_repeats = tries;
        if (outcome.complete(part.size())) {
            verdict.m_kind = tries == 0 ? Kind::Good : Kind::Recovered;
            return verdict;
        }
        if (tries == 0)
            verdict.m_error = outcome.m_error;
        verdict.m_kind = kindOf(outcome.m_error);
        if (verdict.m_kind != Kind::Bad) {
            verdict.m_error = outcome.m_error;
            return verdict;
        }
    }
    return verdict;
}

BlockVerdict BlockReader::read(std::uint64_t offset, std::span<std::byte> block)
{
    BlockVerdict const verdict = attempt(offset, block);
    return verdict.m_kind == Kind::Bad ? narrow(offset, block, verdict) : verdict;
}

/// Halves from the front for the first bad sector, then from the back for the last one. Counted in sectors.
BlockVerdict BlockReader::narrow(std::uint64_t offset, std::span<std::byte> block, BlockVerdict found)
{
    std::uint64_t const sector = m_source.sectorSize();
    std::uint64_t first = 0, last = block.size() / sector;
    // Invariant: the sectors before `first` are good, and one in [first, end) is bad.
    for (std::uint64_t end = last; end - first > 1;) {
        std::uint64_t const middle = first + (end - first) / 2;
        BlockVerdict const half = attempt(offset + first * sector, block.first((middle - first) * sector));
        if (decided(half.m_kind))
            return half;
        if (half.m_kind == Kind::Bad)
            end = middle;
        else
            first = middle;
    }
    // Invariant: the sectors from `last` on are good; `first` is taken as bad.
    for (std::uint64_t begin = first; last - begin > 1;) {
        std::uint64_t const middle = begin + (last - begin) / 2;
        BlockVerdict const half = attempt(offset + middle * sector, block.first((last - middle) * sector));
        if (decided(half.m_kind))
            return half;
        if (half.m_kind == Kind::Bad)
            begin = middle;
        else
            last = middle;
    }
    // A failure that no part shows belongs to the block as a whole, such as a request that is too long for
    // the drive.
    BlockVerdict const rest = attempt(offset + first * sector, block.subspan(0, (last - first) * sector));
    if (decided(rest.m_kind))
        return rest;
    bool const confirmed = rest.m_kind == Kind::Bad;
    found.m_badOffset = confirmed ? offset + first * sector : offset;
    found.m_badLength = confirmed ? (last - first) * sector : block.size();
    return found;
}

} // namespace krel5::modules
