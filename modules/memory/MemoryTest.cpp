#include <memory/MemoryTest.h>

#include <common/RandomSeed.h>
#include <memory/BusTest.h>
#include <memory/CheckRegion.h>
#include <memory/Events.h>
#include <memory/RegionSize.h>
#include <memory/Texts.h>
#include <memory/linux/BusErrors.h>
#include <memory/linux/LockedMemory.h>
#include <memory/linux/MachineMemory.h>

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
    if (algorithm == Algorithm::Random)
        host.note(Report(kEventSeed, {{"Seed", std::to_string(prepared.m_seed)}}));
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

Outcome checkBus(TestHost& host, MemorySettings const& settings, Prepared const& prepared)
{
    LockedMemory const& region = prepared.m_region;
    host.note(Report(kEventSeed, {{"Seed", std::to_string(prepared.m_seed)}}));
    MemoryReport report(host, region.words(), prepared.m_brokenPages.pageBytes());
    FaultLog log;
    BusTest bus(region.words(), region.wordCount(), prepared.m_threads, prepared.m_seed, log,
                prepared.m_brokenPages, CopyPastCaches());
    bool const finished = bus.run(host, std::chrono::seconds(settings.m_busSeconds));
    PassName const name{kTextBus.m_english, kTextCopy.m_english, prepared.m_seed};
    for (auto const& page : prepared.m_brokenPages.take())
        report.report(name, page);
    for (auto const& fault : log.take())
        report.report(name, fault);
    std::uint64_t const faults = log.total() + prepared.m_brokenPages.total();
    report.summarize(faults);
    constexpr std::uint64_t kWordsInMebibyte = kMebibyte / sizeof(std::uint64_t);
    host.note(Report(kEventCopied, {{"MiB", std::to_string(bus.wordsCopied() / kWordsInMebibyte)}}));
    if (faults != 0)
        return Outcome::Fail;
    return finished ? Outcome::Pass : Outcome::Stopped;
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

/// `check` gets the memory once it is there.
template <typename Check>
Outcome runOnMemory(TestHost& host, MemorySettings const& settings, Check const& check)
{
    if (settings.m_threads > MemorySettings::kMaxThreads)
        return badParameter(
            host, "Threads", std::to_string(settings.m_threads),
            host.text(kTextMostThreads, {{"Most", std::to_string(MemorySettings::kMaxThreads)}}));
    unsigned const threads = threadCount(settings.m_threads);
    std::uint64_t const available = availableMemory(settings.m_root) / kMebibyte;
    std::uint64_t const mebibytes = sizeToTest(host, settings, available, threads);
    if (mebibytes == 0)
        return settings.m_mebibytes ? Outcome::BadParameters : Outcome::CannotRun;
    auto const made = LockedMemory::make(
        mebibytes * kMebibyte, [&host] { return host.stopRequested(); },
        {[&settings] { return availableMemory(settings.m_root); }, floorMebibytes(available) * kMebibyte});
    if (!made.m_memory)
        return lockFailed(host, made);
    std::uint64_t const seed = settings.m_seed ? *settings.m_seed : randomSeed();
    host.note(Report(kEventRegion, {{"SizeMiB", std::to_string(mebibytes)},
                                    {"TotalMiB", std::to_string(totalMemory(settings.m_root) / kMebibyte)},
                                    {"Threads", std::to_string(threads)}}));
    BrokenPages brokenPages(pageSize());
    BusErrors const busErrors(made.m_memory->words(), made.m_memory->wordCount() * sizeof(std::uint64_t),
                              brokenPages);
    try {
        return check(Prepared{*made.m_memory, threads, seed, brokenPages});
    } catch (std::system_error const& error) {
        host.problem(
            Report(kEventNoMemory, {{"Reason", host.text(kTextNoThread, {{"Error", error.what()}})}}));
        return Outcome::CannotRun;
    }
}

} // namespace

Outcome runMemoryTest(TestHost& host, Algorithm algorithm, MemorySettings const& settings)
{
    return runOnMemory(host, settings, [&](Prepared const& prepared) {
        return checkPasses(host, algorithm, settings, prepared);
    });
}

Outcome runBusTest(TestHost& host, MemorySettings const& settings)
{
    return runOnMemory(host, settings,
                       [&](Prepared const& prepared) { return checkBus(host, settings, prepared); });
}

} // namespace krel5::modules::memory
