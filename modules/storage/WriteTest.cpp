#include <storage/WriteTest.h>

#include <storage/DriveError.h>
#include <storage/Events.h>
#include <storage/ReadTest.h>
#include <storage/Texts.h>

#include <common/ErrorText.h>
#include <common/Stopwatch.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <new>
#include <optional>

namespace krel5::modules::storage {
namespace {

constexpr int kWritingShare = 50; // percent

struct Free
{
    void operator()(std::byte* bytes) const noexcept { std::free(bytes); }
};

class WriteTest
{
public:
    WriteTest(TestHost& host, WritableDrive const& drive, WritePlan const& plan)
        : m_host(host), m_drive(drive), m_plan(plan), m_source(*drive.source), m_content(plan.seed),
          m_bytes(sizeOf(drive, plan)),
          m_memory(static_cast<std::byte*>(std::aligned_alloc(kReadAlignment, plan.blockSize)))
    {
        if (!m_memory)
            throw std::bad_alloc();
    }

    Outcome run()
    {
        m_host.note({kEventSeed, {{"Seed", std::to_string(m_plan.seed)}}});
        std::optional<Outcome> end =
            each(0, kWritingShare, m_writing, [this](auto at, auto block) { return writeBlock(at, block); });
        if (!end || (end == Outcome::Fail && m_tried > 0)) // what was written is looked at, whatever failed
            end = readBack(end);
        m_host.note({kEventWriteDone,
                     {{"Bytes", std::to_string(m_bytes)},
                      {"Written", std::to_string(m_written)},
                      {"WriteSpeed", speed(m_written, m_writing)},
                      {"ReadSpeed", speed(m_read, m_reading)}}});
        if (m_isBad)
            return Outcome::Fail;
        return end.value_or(Outcome::Pass);
    }

private:
    using Block = std::span<std::byte>;
    using Values = std::vector<std::pair<std::string, std::string>>;

    static std::uint64_t sizeOf(WritableDrive const& drive, WritePlan const& plan)
    {
        std::uint64_t const whole = drive.source->size() / SeededContent::kUnit * SeededContent::kUnit;
        std::uint64_t const wanted = plan.amount / SeededContent::kUnit * SeededContent::kUnit;
        return plan.amount == 0 ? whole
                                : std::min(whole, std::max<std::uint64_t>(wanted, SeededContent::kUnit));
    }
    static std::string speed(std::uint64_t bytes, double seconds)
    {
        char text[32];
        std::snprintf(text, sizeof text, "%.2f",
                      seconds > 0 ? static_cast<double>(bytes) / 1e6 / seconds : 0.0);
        return text;
    }
    Values placed(std::uint64_t offset) const
    {
        return {{"Lba", std::to_string(offset / m_source.sectorSize())}, {"Offset", std::to_string(offset)}};
    }
    void fault(EventKey key, Values values)
    {
        m_isBad = true;
        if (++m_badBlocks <= m_plan.mostFaults)
            m_host.fault({key, std::move(values)});
    }

    /// Nothing: to the end. Fail: enough was found.
    template <typename Deed>
    std::optional<Outcome> each(int from, int share, double& seconds, Deed deed)
    {
        std::uint64_t const end = from == 0 ? m_bytes : m_tried;
        int told = -1;
        for (std::uint64_t at = 0; at < end; at += m_plan.blockSize) {
            if (m_host.stopRequested())
                return Outcome::Stopped;
            int const percent =
                from + static_cast<int>(share * (static_cast<double>(at) / static_cast<double>(m_bytes)));
            if (percent > told)
                m_host.progress(told = percent);
            Block const block(m_memory.get(),
                              static_cast<std::size_t>(std::min<std::uint64_t>(m_plan.blockSize, end - at)));
            Stopwatch const watch;
            std::optional<Outcome> const outcome = deed(at, block);
            seconds += watch.getElapsed();
            if (outcome)
                return outcome;
            if (m_badBlocks >= m_plan.mostFaults) {
                m_host.warning({kEventEndedEarly, {{"BadBlocks", std::to_string(m_badBlocks)}}});
                return Outcome::Fail;
            }
        }
        return std::nullopt;
    }

    /// Nothing: the medium's fault, or the end of it. Where the medium is not to blame the test ends.
    std::optional<Outcome> endFor(int error, std::uint64_t offset)
    {
        DriveError const what = driveErrorOf(error);
        if (what == DriveError::Medium)
            return std::nullopt;
        Ending ending = endingOf(what);
        if (what == DriveError::Refused) // says nothing about the drive
            ending.m_event = kEventWriteRefused;
        m_host.problem({ending.m_event,
                        {{"Offset", std::to_string(offset)},
                         {"Error", std::to_string(error)},
                         {"Reason", errorText(error)}}});
        return ending.m_outcome;
    }

    std::optional<Outcome> writeBlock(std::uint64_t at, Block block)
    {
        m_content.fill(at, block);
        int const error = m_drive.write(at, block);
        m_tried = at + block.size();
        if (error == 0) {
            m_written += block.size();
            return std::nullopt;
        }
        if (auto const end = endFor(error, at))
            return end;
        Values values = placed(at);
        values.emplace_back("Reason", errorText(error));
        fault(kEventWriteBad, std::move(values));
        return std::nullopt;
    }

    std::optional<Outcome> readBack(std::optional<Outcome> writing)
    {
        if (int const error = m_drive.sync(); error != 0) {
            if (auto const end = endFor(error, 0))
                return end;
            fault(kEventWriteNotKept, {{"Reason", errorText(error)}});
        }
        unsigned const before = std::exchange(m_badBlocks, 0u); // reading has as many of its own
        auto const end = each(kWritingShare, 100 - kWritingShare, m_reading,
                              [this](auto at, auto block) { return readBlock(at, block); });
        m_badBlocks += before;
        return end ? end : writing;
    }

    std::optional<Outcome> readBlock(std::uint64_t at, Block block)
    {
        ReadOutcome const outcome = m_source.readAt(at, block);
        m_read += outcome.m_bytes;
        std::size_t const whole = outcome.m_bytes / SeededContent::kUnit * SeededContent::kUnit;
        judge(at, block.first(whole));
        if (outcome.complete(block.size()))
            return std::nullopt;
        if (auto const end = outcome.m_error != 0 ? endFor(outcome.m_error, at + whole) : std::nullopt)
            return end;
        Values values = placed(at + whole);
        values.emplace_back("Reason",
                            outcome.m_error != 0 ? errorText(outcome.m_error) : m_host.text(kTextShortRead));
        fault(kEventWriteUnread, std::move(values));
        return std::nullopt;
    }

    /// One fault a block: what is wrong first.
    void judge(std::uint64_t at, Block block)
    {
        std::size_t const wrong = m_content.firstWrong(at, block);
        if (wrong == block.size())
            return;
        std::size_t const unit = wrong / SeededContent::kUnit * SeededContent::kUnit;
        Values values = placed(at + wrong);
        if (auto const held = m_content.placeOf(block.subspan(unit, SeededContent::kUnit))) {
            values = placed(at + unit);
            values.emplace_back("Held", std::to_string(*held));
            values.emplace_back("HeldLba", std::to_string(*held / m_source.sectorSize()));
            return fault(kEventWriteMisplaced, std::move(values));
        }
        fault(kEventWriteChanged, std::move(values));
    }

    TestHost& m_host;
    WritableDrive const& m_drive;
    WritePlan const& m_plan;
    BlockSource& m_source;
    SeededContent const m_content;
    std::uint64_t const m_bytes;
    std::unique_ptr<std::byte, Free> m_memory;
    std::uint64_t m_tried = 0;               // up to which byte it was written to, or tried
    std::uint64_t m_written = 0, m_read = 0; // bytes
    double m_writing = 0, m_reading = 0;     // seconds
    unsigned m_badBlocks = 0;
    bool m_isBad = false;
};

} // namespace

Outcome runWriteTest(TestHost& host, WritableDrive const& drive, WritePlan const& plan)
{
    ReadPlan asRead;
    asRead.m_blockSize = plan.blockSize;
    if (auto const refused = refusedPlan(host, asRead, SeededContent::kUnit))
        return *refused;
    return WriteTest(host, drive, plan).run();
}

} // namespace krel5::modules::storage
