#include <common/SplitMix.h>
#include <storage/BlockReader.h>
#include <storage/DriveError.h>
#include <storage/Events.h>
#include <storage/Latencies.h>
#include <storage/ReadTest.h>
#include <storage/Texts.h>

#include <common/ErrorText.h>
#include <common/Stopwatch.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <new>

namespace krel5::modules::storage {
namespace {

struct AlignedDelete
{
    void operator()(std::byte* bytes) const noexcept
    {
        ::operator delete(bytes, std::align_val_t(kReadAlignment));
    }
};
using AlignedBytes = std::unique_ptr<std::byte, AlignedDelete>;

AlignedBytes alignedBytes(std::size_t size)
{
    return AlignedBytes(static_cast<std::byte*>(::operator new(size, std::align_val_t(kReadAlignment))));
}

std::string decimal(double value, int places = 2)
{
    char digits[400]; // the largest double has 309 before its point
    std::snprintf(digits, sizeof digits, "%.*f", places, value);
    return digits;
}

std::string reasonOf(TestHost& host, int error)
{
    return error == 0 ? host.text(kTextShortRead) : errorText(error);
}

/// The blocks of a plan, in the order in which it reads them.
class BlockOrder
{
public:
    BlockOrder(ReadPlan const& plan, std::uint64_t size)
        : m_plan(plan), m_size(size), m_state(plan.m_seed), m_blocks(unitsOf(size, plan.m_blockSize))
    {
        std::uint64_t const asked = unitsOf(plan.m_amount, plan.m_blockSize);
        m_count = plan.m_order == ReadPlan::Order::Random    ? std::max<std::uint64_t>(asked, 1)
                  : plan.m_order == ReadPlan::Order::Surface ? m_blocks
                                                             : std::clamp<std::uint64_t>(asked, 1, m_blocks);
    }

    std::uint64_t count() const noexcept { return m_count; }
    std::uint64_t offset(std::uint64_t number) noexcept
    {
        std::uint64_t const block =
            m_plan.m_order == ReadPlan::Order::Random ? splitMix(m_state) % m_blocks : number;
        return block * m_plan.m_blockSize;
    }
    std::size_t length(std::uint64_t offset) const noexcept
    {
        return static_cast<std::size_t>(std::min<std::uint64_t>(m_plan.m_blockSize, m_size - offset));
    }

private:
    ReadPlan const& m_plan;
    std::uint64_t m_size;
    std::uint64_t m_state;
    std::uint64_t m_blocks;
    std::uint64_t m_count = 0;
};

EventKey eventOf(BadRange::Extent extent)
{
    switch (extent) {
    case BadRange::Extent::Exact:
        return kEventBadSectors;
    case BadRange::Extent::Within:
        return kEventBadWithin;
    case BadRange::Extent::Whole:
        return kEventBadBlock;
    }
    return kEventBadBlock;
}

/// Bad places as they come in, each reported once. Sectors at the end of a block wait for the next one, which
/// may go on with them; nothing else waits, since the blocks of a dying drive take minutes each.
class BadPlaces
{
public:
    BadPlaces(TestHost& host, std::uint32_t sectorSize) : m_host(host), m_sectorSize(sectorSize) {}

    void add(BadRange const& range)
    {
        for (BadRange const& known : m_places)
            if (known.m_offset <= range.m_offset && endOf(range) <= endOf(known))
                return; // a random test came by again
        if (!m_lastReported && joins(m_places.back(), range)) {
            m_places.back().m_length += range.m_length;
            return;
        }
        flush();
        m_places.push_back(range);
        m_lastReported = false;
        if (range.m_extent != BadRange::Extent::Exact)
            flush();
    }

    void flush()
    {
        if (m_lastReported)
            return;
        m_lastReported = true;
        BadRange const& place = m_places.back();
        m_host.fault({eventOf(place.m_extent),
                      {{"Lba", std::to_string(place.m_offset / m_sectorSize)},
                       {"LastLba", std::to_string((endOf(place) - 1) / m_sectorSize)},
                       {"Offset", std::to_string(place.m_offset)},
                       {"Length", std::to_string(place.m_length)},
                       {"Error", std::to_string(place.m_error)},
                       {"Reason", reasonOf(m_host, place.m_error)}}});
    }

private:
    static std::uint64_t endOf(BadRange const& range) { return range.m_offset + range.m_length; }
    static bool joins(BadRange const& last, BadRange const& next)
    {
        return endOf(last) == next.m_offset && last.m_error == next.m_error &&
               next.m_extent == BadRange::Extent::Exact;
    }

    TestHost& m_host;
    std::uint32_t m_sectorSize;
    std::vector<BadRange> m_places;
    bool m_lastReported = true;
};

class ReadRun
{
public:
    ReadRun(TestHost& host, BlockSource& source, ReadPlan const& plan)
        : m_host(host), m_source(source), m_plan(plan), m_order(plan, source.size()),
          m_reader(
              source, plan.m_repeats, [&host] { return host.stopRequested(); },
              [this](std::uint64_t offset, int error) { failing(offset, error); }),
          m_bad(host, source.sectorSize()), m_memory(alignedBytes(plan.m_blockSize))
    {}

    ReadSummary run()
    {
        if (m_plan.m_order == ReadPlan::Order::Random)
            m_host.note({kEventSeed, {{"Seed", std::to_string(m_plan.m_seed)}}});
        for (std::uint64_t i = 0; i < m_order.count() && m_summary.m_outcome == Outcome::Pass; ++i) {
            if (m_host.stopRequested())
                m_summary.m_outcome = Outcome::Stopped;
            else
                readBlock(m_order.offset(i));
            progress(i + 1);
        }
        m_bad.flush();
        finish();
        return m_summary;
    }

private:
    void readBlock(std::uint64_t offset)
    {
        std::span<std::byte> const block(m_memory.get(), m_order.length(offset));
        Stopwatch watch;
        BlockVerdict const verdict = m_reader.read(offset, block);
        double const seconds = watch.getElapsed();
        m_summary.m_seconds += seconds;
        ++m_blocksRead;
        bool const filled =
            verdict.m_kind == BlockVerdict::Kind::Good || verdict.m_kind == BlockVerdict::Kind::Recovered;
        if (verdict.m_kind == BlockVerdict::Kind::Recovered)
            repeated(offset, verdict);
        if (filled) {
            m_summary.m_bytes += block.size();
            m_slowest = std::max(m_slowest, {seconds, offset});
            m_latencies.add(seconds);
            m_slowBlocks += seconds > m_plan.m_slowSeconds;
            m_bad.flush();
            checkContent(offset, block);
        } else if (verdict.m_kind == BlockVerdict::Kind::Bad) {
            for (BadRange const& range : verdict.m_bad)
                m_bad.add(range);
            countBad();
            endAs(verdict.m_ending, offset, verdict.m_endingError);
        } else {
            if (verdict.m_failedBeforeStop)
                m_host.warning({kEventReadNotRepeated, valuesOf(offset, verdict)});
            endAs(verdict.m_kind, offset, verdict.m_error);
        }
    }

    /// Ends the test where a read says more than that its sectors are good or bad.
    void endAs(BlockVerdict::Kind kind, std::uint64_t offset, int error)
    {
        switch (kind) {
        case BlockVerdict::Kind::Good:
        case BlockVerdict::Kind::Recovered:
        case BlockVerdict::Kind::Bad:
            return;
        case BlockVerdict::Kind::Ended: {
            Ending const ending = endingOf(driveErrorOf(error));
            return end(ending.m_outcome, ending.m_event, offset, error);
        }
        case BlockVerdict::Kind::Stopped:
            m_summary.m_outcome = Outcome::Stopped;
            return;
        }
    }

    TextValues valuesOf(std::uint64_t offset, BlockVerdict const& verdict)
    {
        return {{"Lba", std::to_string(offset / m_source.sectorSize())},
                {"Offset", std::to_string(offset)},
                {"Repeats", std::to_string(verdict.m_repeats)},
                {"Error", std::to_string(verdict.m_error)},
                {"Reason", reasonOf(m_host, verdict.m_error)}};
    }

    /// A sign of life: what follows may take half a minute a read.
    void failing(std::uint64_t offset, int error)
    {
        if (++m_failingBlocks <= m_plan.m_mostFaults)
            m_host.signOfLife({kEventReadFailing,
                               {{"Lba", std::to_string(offset / m_source.sectorSize())},
                                {"Offset", std::to_string(offset)},
                                {"Error", std::to_string(error)},
                                {"Reason", reasonOf(m_host, error)}}});
    }

    void repeated(std::uint64_t offset, BlockVerdict const& verdict)
    {
        if (++m_repeatedBlocks > m_plan.m_mostFaults)
            return;
        m_host.warning({kEventReadRepeated, valuesOf(offset, verdict)});
    }

    void checkContent(std::uint64_t offset, std::span<std::byte const> block)
    {
        std::size_t const wrong = m_plan.m_check ? m_plan.m_check->firstWrong(offset, block) : block.size();
        if (wrong == block.size())
            return;
        m_host.fault({kEventContentWrong,
                      {{"Lba", std::to_string((offset + wrong) / m_source.sectorSize())},
                       {"Offset", std::to_string(offset + wrong)}}});
        countBad();
    }

    void countBad()
    {
        m_failed = true; // stays so, whatever ends the test
        if (++m_badBlocks < std::max(1u, m_plan.m_mostFaults))
            return;
        m_bad.flush();
        m_host.warning({kEventEndedEarly, {{"BadBlocks", std::to_string(m_badBlocks)}}});
        m_summary.m_outcome = Outcome::Fail;
    }

    void end(Outcome outcome, EventKey event, std::uint64_t offset, int error)
    {
        m_bad.flush();
        m_host.problem({event,
                        {{"Offset", std::to_string(offset)},
                         {"Error", std::to_string(error)},
                         {"Reason", reasonOf(m_host, error)}}});
        m_summary.m_outcome = outcome;
    }

    void progress(std::uint64_t done)
    {
        int const percent = static_cast<int>(100.0 * double(done) / double(m_order.count()));
        if (percent > m_percent && m_summary.m_outcome == Outcome::Pass)
            m_host.progress(m_percent = percent);
    }

    void finish()
    {
        double const speed = m_summary.megabytesPerSecond();
        auto const milliseconds = [this](double percent) {
            return decimal(m_latencies.percentile(percent) * 1000, 2);
        };
        m_host.note({kEventRead,
                     {{"Blocks", std::to_string(m_blocksRead)},
                      {"Planned", std::to_string(m_order.count())},
                      {"Bad", std::to_string(m_badBlocks)},
                      {"Bytes", std::to_string(m_summary.m_bytes)},
                      {"Repeated", std::to_string(m_repeatedBlocks)},
                      {"Seconds", decimal(m_summary.m_seconds)},
                      {"Speed", decimal(speed)},
                      {"SlowestLba", std::to_string(m_slowest.second / m_source.sectorSize())},
                      {"SlowestMilliseconds", decimal(m_slowest.first * 1000, 1)},
                      {"P50", milliseconds(50)},
                      {"P99", milliseconds(99)},
                      {"P999", milliseconds(99.9)}}});
        if (m_slowBlocks > 0)
            m_host.warning({kEventSlowReads,
                            {{"Count", std::to_string(m_slowBlocks)},
                             {"Blocks", std::to_string(m_blocksRead)},
                             {"Milliseconds", decimal(m_plan.m_slowSeconds * 1000, 0)}}});
        if (m_summary.m_outcome == Outcome::Pass && !m_failed && speed < m_plan.m_floor) {
            m_host.fault({kEventTooSlow, {{"Speed", decimal(speed)}, {"Floor", decimal(m_plan.m_floor)}}});
            m_failed = true;
        }
        if (m_failed)
            m_summary.m_outcome = Outcome::Fail;
    }

    TestHost& m_host;
    BlockSource& m_source;
    ReadPlan const& m_plan;
    BlockOrder m_order;
    BlockReader m_reader;
    BadPlaces m_bad;
    AlignedBytes m_memory;
    ReadSummary m_summary;
    std::uint64_t m_blocksRead = 0;
    std::uint64_t m_repeatedBlocks = 0;
    std::uint64_t m_failingBlocks = 0;
    std::pair<double, std::uint64_t> m_slowest; // seconds, and the offset of the block
    Latencies m_latencies;
    std::uint64_t m_slowBlocks = 0;
    unsigned m_badBlocks = 0;
    bool m_failed = false;
    int m_percent = -1;
};

} // namespace

Ending endingOf(DriveError error)
{
    switch (error) {
    case DriveError::Gone:
        return {Outcome::NoDevice, kEventDeviceGone};
    case DriveError::NoMedia:
        return {Outcome::NoMedia, kEventNoMedia};
    case DriveError::Unanswered:
        return {Outcome::CannotRun, kEventUnanswered};
    case DriveError::GaveUp:
        return {Outcome::CannotRun, kEventDriveGaveUp};
    case DriveError::PathFailed:
        return {Outcome::CannotRun, kEventPathFailed};
    case DriveError::Reserved:
        return {Outcome::CannotRun, kEventReserved};
    case DriveError::Busy:
        return {Outcome::CannotRun, kEventBusy};
    case DriveError::TryAgain:
        return {Outcome::CannotRun, kEventTryAgain};
    case DriveError::Medium:
    case DriveError::Refused:
        return {Outcome::CannotRun, kEventReadRefused};
    }
    return {Outcome::CannotRun, kEventReadRefused};
}

std::optional<Outcome> refusedPlan(TestHost& host, ReadPlan const& plan, std::uint32_t sectorSize)
{
    if (plan.m_blockSize > 0 && plan.m_blockSize <= kMostBlockSize && plan.m_blockSize % sectorSize == 0)
        return std::nullopt;
    host.problem({kEventBadBlockSize,
                  {{"BlockSize", std::to_string(plan.m_blockSize)},
                   {"SectorSize", std::to_string(sectorSize)},
                   {"Most", std::to_string(kMostBlockSize)}}});
    return Outcome::BadParameters;
}

ReadSummary runReadTest(TestHost& host, BlockSource& source, ReadPlan const& plan)
{
    ReadSummary summary;
    if (source.size() == 0) {
        host.problem(
            {kEventNoMedia, {{"Offset", "0"}, {"Error", "0"}, {"Reason", host.text(kTextSizeZero)}}});
        summary.m_outcome = Outcome::NoMedia;
        return summary;
    }
    if (auto const refused = refusedPlan(host, plan, source.sectorSize())) {
        summary.m_outcome = *refused;
        return summary;
    }
    return ReadRun(host, source, plan).run();
}

} // namespace krel5::modules::storage
