#include <storage/BlockReader.h>
#include <storage/ReadTest.h>
#include <storage/SplitMix.h>
#include <storage/Texts.h>

#include <common/ErrorText.h>
#include <common/Stopwatch.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <new>

namespace krel5::modules {
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

std::string decimal(double value)
{
    char digits[40];
    std::snprintf(digits, sizeof digits, "%.2f", value);
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
        : m_plan(plan), m_size(size), m_state(plan.m_seed),
          m_blocks((size + plan.m_blockSize - 1) / plan.m_blockSize)
    {
        std::uint64_t const asked =
            plan.m_amount / plan.m_blockSize + (plan.m_amount % plan.m_blockSize ? 1 : 0);
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

/// Bad places as they come in, joined where they touch, each reported once.
class BadPlaces
{
public:
    BadPlaces(TestHost& host, std::uint32_t sectorSize) : m_host(host), m_sectorSize(sectorSize) {}

    void add(BlockVerdict const& verdict)
    {
        Place const place{verdict.m_badOffset, verdict.m_badOffset + verdict.m_badLength, verdict.m_error};
        for (Place const& known : m_places)
            if (place.m_begin < known.m_end && known.m_begin < place.m_end)
                return; // a random test came by again
        if (!m_places.empty() && !m_lastReported && m_places.back().m_end == place.m_begin &&
            m_places.back().m_error == place.m_error) {
            m_places.back().m_end = place.m_end;
            return;
        }
        flush();
        m_places.push_back(place);
        m_lastReported = false;
    }

    void flush()
    {
        if (m_lastReported)
            return;
        m_lastReported = true;
        Place const& place = m_places.back();
        m_host.fault({"StorageBadSectors",
                      {{"Lba", std::to_string(place.m_begin / m_sectorSize)},
                       {"Offset", std::to_string(place.m_begin)},
                       {"Length", std::to_string(place.m_end - place.m_begin)},
                       {"Error", std::to_string(place.m_error)},
                       {"Reason", reasonOf(m_host, place.m_error)}}});
    }

private:
    struct Place
    {
        std::uint64_t m_begin, m_end;
        int m_error;
    };
    TestHost& m_host;
    std::uint32_t m_sectorSize;
    std::vector<Place> m_places;
    bool m_lastReported = true;
};

class ReadRun
{
public:
    ReadRun(TestHost& host, BlockSource& source, ReadPlan const& plan)
        : m_host(host), m_source(source), m_plan(plan), m_order(plan, source.size()),
          m_reader(source, plan.m_repeats, [&host] { return host.stopRequested(); }),
          m_bad(host, source.sectorSize()), m_memory(alignedBytes(plan.m_blockSize))
    {}

    ReadSummary run()
    {
        if (m_plan.m_order == ReadPlan::Order::Random)
            m_host.note({"StorageSeed", {{"Seed", std::to_string(m_plan.m_seed)}}});
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
        m_summary.m_seconds += watch.getElapsed();
        ++m_blocksRead;
        switch (verdict.m_kind) {
        case BlockVerdict::Kind::Recovered:
            repeated(offset, verdict);
            [[fallthrough]];
        case BlockVerdict::Kind::Good:
            m_summary.m_bytes += block.size();
            checkContent(offset, block);
            break;
        case BlockVerdict::Kind::Bad:
            m_bad.add(verdict);
            countBad();
            break;
        case BlockVerdict::Kind::Gone:
            end(Outcome::NoDevice, "StorageDeviceGone", offset, verdict.m_error);
            break;
        case BlockVerdict::Kind::NoMedia:
            end(Outcome::NoMedia, "StorageNoMedia", offset, verdict.m_error);
            break;
        case BlockVerdict::Kind::Refused:
            end(Outcome::CannotRun, "StorageReadRefused", offset, verdict.m_error);
            break;
        case BlockVerdict::Kind::Stopped:
            m_summary.m_outcome = Outcome::Stopped;
            break;
        }
    }

    void repeated(std::uint64_t offset, BlockVerdict const& verdict)
    {
        if (++m_repeatedBlocks > m_plan.m_mostFaults)
            return;
        m_host.warning({"StorageReadRepeated",
                        {{"Lba", std::to_string(offset / m_source.sectorSize())},
                         {"Offset", std::to_string(offset)},
                         {"Repeats", std::to_string(verdict.m_repeats)},
                         {"Error", std::to_string(verdict.m_error)},
                         {"Reason", reasonOf(m_host, verdict.m_error)}}});
    }

    void checkContent(std::uint64_t offset, std::span<std::byte const> block)
    {
        std::size_t const wrong = m_plan.m_check ? m_plan.m_check->firstWrong(offset, block) : block.size();
        if (wrong == block.size())
            return;
        m_host.fault({"StorageContentWrong",
                      {{"Lba", std::to_string((offset + wrong) / m_source.sectorSize())},
                       {"Offset", std::to_string(offset + wrong)}}});
        countBad();
    }

    void countBad()
    {
        m_failed = true;
        if (++m_badBlocks < std::max(1u, m_plan.m_mostFaults))
            return;
        m_host.warning({"StorageEndedEarly", {{"BadBlocks", std::to_string(m_badBlocks)}}});
        m_summary.m_outcome = Outcome::Fail;
    }

    void end(Outcome outcome, char const* eventKey, std::uint64_t offset, int error)
    {
        m_host.problem({eventKey,
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
        m_host.note({"StorageRead",
                     {{"Blocks", std::to_string(m_blocksRead)},
                      {"Bytes", std::to_string(m_summary.m_bytes)},
                      {"Repeated", std::to_string(m_repeatedBlocks)},
                      {"Seconds", decimal(m_summary.m_seconds)},
                      {"Speed", decimal(speed)}}});
        if (m_summary.m_outcome == Outcome::Pass && !m_failed && m_plan.m_floor > 0 &&
            speed < m_plan.m_floor) {
            m_host.fault({"StorageTooSlow", {{"Speed", decimal(speed)}, {"Floor", decimal(m_plan.m_floor)}}});
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
    unsigned m_badBlocks = 0;
    bool m_failed = false;
    int m_percent = -1;
};

} // namespace

ReadSummary runReadTest(TestHost& host, BlockSource& source, ReadPlan const& plan)
{
    ReadSummary summary;
    if (source.size() == 0) {
        host.problem(
            {"StorageNoMedia", {{"Offset", "0"}, {"Error", "0"}, {"Reason", host.text(kTextSizeZero)}}});
        summary.m_outcome = Outcome::NoMedia;
        return summary;
    }
    if (plan.m_blockSize == 0 || plan.m_blockSize > kMostBlockSize ||
        plan.m_blockSize % source.sectorSize() != 0) {
        host.problem({"StorageBadBlockSize",
                      {{"BlockSize", std::to_string(plan.m_blockSize)},
                       {"SectorSize", std::to_string(source.sectorSize())},
                       {"Most", std::to_string(kMostBlockSize)}}});
        summary.m_outcome = Outcome::BadParameters;
        return summary;
    }
    return ReadRun(host, source, plan).run();
}

} // namespace krel5::modules
