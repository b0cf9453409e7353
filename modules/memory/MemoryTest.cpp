#include <memory/MemoryTest.h>

#include <common/RandomSeed.h>
#include <memory/CheckRegion.h>
#include <memory/CoverRun.h>
#include <memory/Events.h>
#include <memory/HammerRun.h>
#include <memory/RegionSize.h>
#include <memory/Texts.h>
#include <memory/linux/BusErrors.h>
#include <memory/linux/LockedMemory.h>
#include <memory/linux/MachineMemory.h>
#include <memory/linux/MemoryNodes.h>

#include <algorithm>
#include <charconv>
#include <string>
#include <string_view>
#include <system_error>

namespace krel5::modules::memory {
namespace {

constexpr std::uint64_t kMebibyte = std::uint64_t{1} << 20;

Outcome badParameter(TestHost& host, std::string name, std::string value, std::string reason)
{
    host.problem(
        Report(kEventParameters,
               {{"Parameter", std::move(name)}, {"Value", std::move(value)}, {"Reason", std::move(reason)}}));
    return Outcome::BadParameters;
}

/// The memory of a run, and how it is to be used.
struct Prepared
{
    LockedMemory const& m_region;
    unsigned m_threads;
    std::uint64_t m_seed;
    BrokenPages& m_brokenPages;
};

Outcome checkPasses(TestHost& host, Algorithm algorithm, MemorySettings const& settings,
                    Prepared const& prepared)
{
    LockedMemory const& region = prepared.m_region;
    auto const check = [&](auto const& memory) {
        return checkRegion(host, algorithm, memory, region.words(), region.wordCount(), prepared.m_threads,
                           prepared.m_seed, prepared.m_brokenPages,
                           std::chrono::seconds(settings.m_pauseSeconds));
    };
    if (settings.m_flush == FlushMode::Operation)
        return check(UncachedMemory(region.words()));
    return check(
        RealMemory(region.words(), settings.m_flush == FlushMode::Pass ? bestLineFlush() : LineFlush::None));
}

// Threads that wait for a processor would keep this one from its processor too, and with that a stop request
// from being heard: hundreds of them for longer than a stop may take.
unsigned threadCount(unsigned asked)
{
    unsigned const processors = usableProcessors();
    return std::min({asked == 0 ? processors : asked, processors, MemorySettings::kMaxThreads});
}

/// The MiB to test of those `available`; 0 when that many are refused, or when there are none, after a
/// `problem` that says so.
std::uint64_t sizeToTest(TestHost& host, MemorySettings const& settings, std::uint64_t available,
                         unsigned threads)
{
    std::uint64_t const most = mostMebibytes(available);
    std::uint64_t const asked = settings.m_percent
                                    ? std::max<std::uint64_t>(1, most * settings.m_percent / 100)
                                    : settings.m_mebibytes;
    TextValues const figures = {{"MiB", std::to_string(available)},
                                {"Margin", std::to_string(marginMebibytes(available))},
                                {"Most", std::to_string(most)}};
    if (asked > most)
        badParameter(host, "SizeMiB", std::to_string(asked), host.text(kTextMostMemory, figures));
    else if (most == 0)
        host.problem(Report(kEventNoMemory, {{"Reason", host.text(kTextLittleMemory, figures)}}));
    else
        return asked ? asked : defaultMebibytes(available, threads);
    return 0;
}

Outcome lockFailed(TestHost& host, LockedMemory::Made const& made)
{
    if (made.m_error == LockError::Stopped)
        return Outcome::Stopped;
    bool const refused = made.m_error == LockError::NotPermitted;
    host.problem(Report(refused ? kEventNotPermitted : kEventNoMemory,
                        {{"Reason", host.text(made.m_reason, made.m_values)}}));
    return refused ? Outcome::InsufficientPrivilege : Outcome::CannotRun;
}

} // namespace

bool readFlushMode(TestHost& host, std::string const& text, FlushMode& mode)
{
    if (text == "none")
        mode = FlushMode::None;
    else if (text == "pass")
        mode = FlushMode::Pass;
    else if (text == "operation" && kCanFlush)
        mode = FlushMode::Operation;
    else {
        bool const known = text == "operation";
        badParameter(host, "CacheFlush", text, host.text(known ? kTextFlushNotOffered : kTextFlushValues));
        return false;
    }
    return true;
}

bool readSize(TestHost& host, std::string const& text, MemorySettings& settings)
{
    std::string_view number = text;
    bool const isShare = number.ends_with('%');
    if (isShare)
        number.remove_suffix(1);
    std::uint64_t value = 0;
    auto const [end, error] = std::from_chars(number.data(), number.data() + number.size(), value);
    bool const isNumber = error == std::errc() && end == number.data() + number.size();
    if (text == "max")
        settings.m_percent = 100;
    else if (isNumber && isShare && value >= 1 && value <= 100)
        settings.m_percent = static_cast<unsigned>(value);
    else if (isNumber && !isShare)
        settings.m_mebibytes = value;
    else {
        badParameter(host, "SizeMiB", text, host.text(kTextSizeValues));
        return false;
    }
    return true;
}

namespace {

/// What a run needs to know before it takes memory.
struct Plan
{
    std::uint64_t m_available = 0; ///< MiB
    std::uint64_t m_mebibytes = 0; ///< of a region
    std::uint64_t m_total = 0;     ///< bytes that the machine has; 0: not told
    unsigned m_threads = 0;
    std::uint64_t m_seed = 0;
    bool m_saysSeed = false;
    bool m_testsAll = true; ///< of a region
};

void notePlan(TestHost& host, MemorySettings const& settings, Plan const& plan)
{
    TextValues values = {{"SizeMiB", std::to_string(plan.m_mebibytes)},
                         {"TotalMiB", std::to_string(plan.m_total / kMebibyte)},
                         {"Threads", std::to_string(plan.m_threads)}};
    if (settings.m_cover)
        values.emplace_back("Wanted", std::to_string(settings.m_cover));
    host.note(Report(settings.m_cover ? kEventCover : kEventRegion, values));
    if (plan.m_saysSeed)
        host.note(Report(kEventSeed, {{"Seed", std::to_string(plan.m_seed)}}));
}

LockedMemory::Made lockRegion(TestHost& host, MemorySettings const& settings, Plan const& plan,
                              std::uint64_t bytes)
{
    return LockedMemory::make(bytes, [&host] { return host.stopRequested(); },
                              {[&settings] { return availableMemory(settings.m_root); },
                               floorMebibytes(plan.m_available) * kMebibyte, memoryNodes(settings.m_root)});
}

std::string percentText(std::uint64_t part, std::uint64_t whole)
{
    auto const tenths = static_cast<std::uint64_t>(1000.0 * static_cast<double>(part) /
                                                   static_cast<double>(std::max<std::uint64_t>(whole, 1)));
    return std::to_string(tenths / 10) + "." + std::to_string(tenths % 10);
}

TextValues shareOf(Plan const& plan, std::uint64_t bytes)
{
    return {{"TestedMiB", std::to_string(bytes / kMebibyte)},
            {"TotalMiB", std::to_string(plan.m_total / kMebibyte)},
            {"Percent", percentText(bytes, plan.m_total)}};
}

void noteShare(TestHost& host, Plan const& plan, std::uint64_t bytes)
{
    if (plan.m_total != 0)
        host.note(Report(kEventShare, shareOf(plan, bytes)));
}

/// `isWhole` becomes false when too many pages broke for the test to go on.
template <typename Check>
Outcome checkLocked(TestHost& host, LockedMemory const& region, Plan const& plan, Check const& check,
                    bool& isWhole)
{
    BrokenPages brokenPages(pageSize());
    BusErrors const busErrors(region.words(), region.wordCount() * sizeof(std::uint64_t), brokenPages);
    try {
        auto const outcome = check(host, Prepared{region, plan.m_threads, plan.m_seed, brokenPages});
        isWhole = !brokenPages.isFull();
        return outcome;
    } catch (std::system_error const& error) {
        host.problem(
            Report(kEventNoMemory, {{"Reason", host.text(kTextNoThread, {{"Error", error.what()}})}}));
        return Outcome::CannotRun;
    }
}

template <typename Check>
Outcome runOnOneRegion(TestHost& host, MemorySettings const& settings, Plan const& plan, Check const& check)
{
    auto const made = lockRegion(host, settings, plan, plan.m_mebibytes * kMebibyte);
    if (!made.m_memory)
        return lockFailed(host, made);
    notePlan(host, settings, plan);
    bool isWhole = true;
    auto const outcome = checkLocked(host, *made.m_memory, plan, check, isWhole);
    bool const isTested = (outcome == Outcome::Pass || outcome == Outcome::Fail) && isWhole;
    if (isTested && plan.m_testsAll && !host.stopRequested())
        noteShare(host, plan, made.m_memory->wordCount() * sizeof(std::uint64_t));
    return outcome;
}

/// Regions for CoverRun, as many as the margin allows.
class LockedRegions
{
public:
    LockedRegions(TestHost& host, MemorySettings const& settings, Plan const& plan)
        : m_host(host), m_settings(settings), m_plan(plan)
    {}

    std::unique_ptr<LockedMemory> take(bool fine)
    {
        constexpr std::uint64_t kFine = 64 * kMebibyte;
        constexpr std::uint64_t kLeast = 2 * kMebibyte; // smaller ones are mostly the cost of taking them
        std::uint64_t const all = m_plan.m_mebibytes * kMebibyte;
        std::uint64_t const available = availableMemory(m_settings.m_root);
        std::uint64_t const margin = marginMebibytes(m_plan.m_available) * kMebibyte;
        std::uint64_t const rest = available - std::min(available, margin);
        std::uint64_t bytes = fine ? std::min(all, kFine) : all;
        if (bytes > rest)
            bytes = rest / kLeast * kLeast;
        if (bytes == 0)
            return nullptr;
        auto made = lockRegion(m_host, m_settings, m_plan, bytes);
        m_failed = {nullptr, made.m_error, made.m_reason, made.m_values};
        return std::move(made.m_memory);
    }
    std::vector<std::uint64_t> frames(LockedMemory const& region) const
    {
        return frameNumbers(region.words(), region.wordCount() * sizeof(std::uint64_t),
                            [this] { return m_host.stopRequested(); });
    }
    /// Why the last one was not given.
    LockedMemory::Made const& failed() const { return m_failed; }

private:
    TestHost& m_host;
    MemorySettings const& m_settings;
    Plan const& m_plan;
    LockedMemory::Made m_failed{};
};

Outcome tellShort(TestHost& host, MemorySettings const& settings, Plan const& plan, std::uint64_t bytes)
{
    auto values = shareOf(plan, bytes);
    values.emplace_back("Wanted", std::to_string(settings.m_cover));
    host.problem(Report(kEventCoverShort, values));
    return Outcome::CannotRun;
}

template <typename Check>
Outcome runOnShare(TestHost& host, MemorySettings const& settings, Plan const& plan, Check const& check)
{
    notePlan(host, settings, plan);
    LockedRegions regions(host, settings, plan);
    std::uint64_t const all = std::max<std::uint64_t>(plan.m_total / pageSize(), 1);
    auto const checkOne = [&](TestHost& part, LockedMemory const& region) {
        bool isWhole = true; // pages that broke are no longer where they were, and so do not count
        return checkLocked(part, region, plan, check, isWhole);
    };
    CoverRun run(host, regions, CoverGoal{(all * settings.m_cover + 99) / 100, all}, checkOne);
    auto const covered = run.run();
    std::uint64_t const bytes = covered.m_frames * pageSize();
    if (bytes != 0)
        noteShare(host, plan, bytes);
    switch (covered.m_end) {
    case CoverEnd::Reached:
    case CoverEnd::Ended:
        return covered.m_outcome;
    case CoverEnd::Stopped:
        return Outcome::Stopped;
    case CoverEnd::NoFrames:
        host.problem(Report(kEventNoFrames, {}));
        return Outcome::InsufficientPrivilege;
    case CoverEnd::NoRegion:
        return lockFailed(host, regions.failed());
    case CoverEnd::Short:
        break;
    }
    return tellShort(host, settings, plan, bytes);
}

/// `check` gets the memory once it is there.
template <typename Check>
Outcome runOnMemory(TestHost& host, MemorySettings const& settings, bool saysSeed, Check const& check,
                    bool testsAll = true)
{
    if (settings.m_threads > MemorySettings::kMaxThreads)
        return badParameter(
            host, "Threads", std::to_string(settings.m_threads),
            host.text(kTextMostThreads, {{"Most", std::to_string(MemorySettings::kMaxThreads)}}));
    Plan plan;
    plan.m_threads = threadCount(settings.m_threads);
    plan.m_available = availableMemory(settings.m_root) / kMebibyte;
    plan.m_mebibytes = sizeToTest(host, settings, plan.m_available, plan.m_threads);
    if (plan.m_mebibytes == 0)
        return settings.m_mebibytes ? Outcome::BadParameters : Outcome::CannotRun;
    plan.m_total = totalMemory(settings.m_root);
    plan.m_saysSeed = saysSeed;
    plan.m_testsAll = testsAll;
    plan.m_seed = settings.m_seed ? *settings.m_seed : randomSeed();
    return settings.m_cover ? runOnShare(host, settings, plan, check)
                            : runOnOneRegion(host, settings, plan, check);
}

} // namespace

Outcome runMemoryTest(TestHost& host, Algorithm algorithm, MemorySettings const& settings)
{
    return runOnMemory(host, settings, algorithm == Algorithm::Random,
                       [&](TestHost& part, Prepared const& prepared) {
                           return checkPasses(part, algorithm, settings, prepared);
                       });
}

Outcome runBusTest(TestHost& host, MemorySettings const& settings)
{
    return runOnMemory(host, settings, true, [&](TestHost& part, Prepared const& prepared) {
        LockedMemory const& region = prepared.m_region;
        return checkBus(part, region.words(), region.wordCount(), prepared.m_threads, prepared.m_seed,
                        prepared.m_brokenPages, std::chrono::seconds(settings.m_busSeconds),
                        CopyPastCaches());
    });
}

Outcome runHammerTest(TestHost& host, MemorySettings const& settings)
{
    auto const check = [&](TestHost& part, Prepared const& prepared) {
        return checkHammer(part, settings, prepared.m_region, prepared.m_seed, prepared.m_brokenPages);
    };
    return runOnMemory(host, settings, true, check, false);
}

} // namespace krel5::modules::memory
