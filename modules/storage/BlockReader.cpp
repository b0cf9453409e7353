#include <storage/BlockReader.h>
#include <storage/DriveError.h>

#include <algorithm>

namespace krel5::modules::storage {
namespace {

using Kind = BlockVerdict::Kind;

/// Units of a block, counted from its start.
struct Part
{
    std::uint64_t m_first, m_count;
    int m_error;
};

/// Looks for the bad units of one block by halving what fails, level by level: a search that has to end early
/// has then enclosed all bad places equally well.
class Search
{
public:
    Search(BlockSource& source, std::function<bool()> const& stopping, std::uint64_t offset,
           std::span<std::byte> block, unsigned& failuresLeft)
        : m_source(source), m_stopping(stopping), m_offset(offset), m_block(block),
          m_failuresLeft(failuresLeft)
    {
        bool const fits = offset % source.unitSize() == 0;
        m_unit = fits ? source.unitSize() : source.sectorSize();
    }

    /// Leaves the parts that fail, and why the search ended early, in `found`.
    void run(BlockVerdict& found)
    {
        std::vector<Part> parts{{0, unitsOf(m_block.size(), m_unit), found.m_error}};
        for (bool halving = true; halving;) {
            halving = false;
            std::vector<Part> smaller;
            for (Part const& part : parts) {
                if (part.m_count == 1 || over()) {
                    smaller.push_back(part);
                    continue;
                }
                halve(part, smaller);
                halving = true;
            }
            parts = std::move(smaller);
        }
        for (Part const& part : parts)
            add(part, found.m_bad);
        if (parts.empty())
            found.m_bad = {{m_offset, m_block.size(), found.m_error, BadRange::Extent::Whole}};
        found.m_ending = m_ending;
        found.m_endingError = m_endingError;
    }

private:
    enum class Answer { Reads, Fails, Over };

    bool over() const noexcept { return m_failuresLeft == 0 || m_ending != Kind::Good; }

    void halve(Part const& part, std::vector<Part>& into)
    {
        std::uint64_t const half = part.m_count / 2;
        Part left{part.m_first, half, part.m_error};
        Part right{part.m_first + half, part.m_count - half, part.m_error};
        Answer const leftAnswer = ask(left);
        // When the left half is good, it is the right one that fails. That costs no read, which may take half
        // a minute, unless it is a single unit, which is called bad only once it was read by itself.
        Answer const rightAnswer =
            leftAnswer == Answer::Reads && right.m_count > 1 ? Answer::Fails : ask(right);
        if (leftAnswer == Answer::Over || rightAnswer == Answer::Over) {
            into.push_back(part);
            return;
        }
        if (leftAnswer == Answer::Fails)
            into.push_back(left);
        if (rightAnswer == Answer::Fails)
            into.push_back(right);
    }

    Answer ask(Part& part)
    {
        if (over())
            return Answer::Over;
        if (m_stopping()) {
            m_ending = Kind::Stopped;
            return Answer::Over;
        }
        auto const length = static_cast<std::size_t>(bytesOf(part));
        ReadOutcome const outcome = m_source.readAt(m_offset + part.m_first * m_unit, m_block.first(length));
        if (outcome.complete(length))
            return Answer::Reads;
        if (driveErrorOf(outcome.m_error) != DriveError::Medium) {
            m_ending = Kind::Ended;
            m_endingError = outcome.m_error;
            return Answer::Over;
        }
        part.m_error = outcome.m_error;
        --m_failuresLeft;
        return Answer::Fails;
    }

    /// The last unit of a drive may be cut short.
    std::uint64_t bytesOf(Part const& part) const noexcept
    {
        return std::min(part.m_count * m_unit, m_block.size() - part.m_first * m_unit);
    }

    void add(Part const& part, std::vector<BadRange>& bad) const
    {
        BadRange const range{m_offset + part.m_first * m_unit, bytesOf(part), part.m_error,
                             part.m_count == 1 ? BadRange::Extent::Exact : BadRange::Extent::Within};
        if (!bad.empty() && bad.back().m_offset + bad.back().m_length == range.m_offset &&
            bad.back().m_error == range.m_error && bad.back().m_extent == range.m_extent)
            bad.back().m_length += range.m_length;
        else
            bad.push_back(range);
    }

    BlockSource& m_source;
    std::function<bool()> const& m_stopping;
    std::uint64_t m_offset;
    std::span<std::byte> m_block;
    unsigned& m_failuresLeft;
    std::uint64_t m_unit = 0;
    Kind m_ending = Kind::Good;
    int m_endingError = 0;
};

} // namespace

BlockVerdict BlockReader::read(std::uint64_t offset, std::span<std::byte> block)
{
    BlockVerdict verdict;
    for (unsigned tries = 0; tries <= m_repeats; ++tries) {
        if (tries > 0 && m_stopping()) {
            verdict.m_kind = Kind::Stopped;
            verdict.m_failedBeforeStop = true;
            return verdict;
        }
        ReadOutcome const outcome = m_source.readAt(offset, block);
        verdict.m_repeats = tries;
        if (outcome.complete(block.size())) {
            verdict.m_kind = tries == 0 ? Kind::Good : Kind::Recovered;
            return verdict;
        }
        DriveError const error = driveErrorOf(outcome.m_error);
        verdict.m_kind = error == DriveError::Medium ? Kind::Bad : Kind::Ended;
        if (tries == 0 || verdict.m_kind == Kind::Ended)
            verdict.m_error = outcome.m_error;
        if (!mayPass(error))
            return verdict;
        if (tries == 0)
            m_failing(offset, outcome.m_error);
    }
    if (verdict.m_kind == Kind::Bad)
        narrow(offset, block, verdict);
    return verdict;
}

void BlockReader::narrow(std::uint64_t offset, std::span<std::byte> block, BlockVerdict& found)
{
    Search(m_source, m_stopping, offset, block, m_failuresLeft).run(found);
    m_failuresLeft = std::min(m_failuresLeft + kFurtherFailures, kMostFailures);
}

} // namespace krel5::modules::storage
