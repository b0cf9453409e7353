#include <memory/MemoryTest.h>

#include <common/RandomSeed.h>
#include <memory/CheckRegion.h>
#include <memory/Events.h>
#include <memory/RegionSize.h>
#include <memory/Texts.h>
#include <memory/linux/BusErrors.h>
#include <memory/linux/LockedMemory.h>
#include <memory/linux/MachineMemory.h>

#include <algorithm>
#include <string>
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

Outcome checkFlushing(TestHost& host, Algorithm algorithm, LockedMemory const& region,
                      MemorySettings const& settings, unsigned threads, std::uint64_t seed)
{
    BrokenPages brokenPages(pageSize());
    BusErrors const busErrors(region.words(), region.wordCount() * sizeof(std::uint64_t), brokenPages);
    auto const check = [&](auto const& memory) {
        return checkRegion(host, algorithm, memory, region.words(), region.wordCount(), threads, seed,
                           brokenPages, std::chrono::seconds(settings.m_pauseSeconds));
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
std::uint64_t sizeToTest(TestHost& host, std::uint64_t asked, std::uint64_t available, unsigned threads)
{
    std::uint64_t const most = mostMebibytes(available);
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

Outcome runMemoryTest(TestHost& host, Algorithm algorithm, MemorySettings const& settings)
{
    if (settings.m_threads > MemorySettings::kMaxThreads)
        return badParameter(
            host, "Threads", std::to_string(settings.m_threads),
            host.text(kTextMostThreads, {{"Most", std::to_string(MemorySettings::kMaxThreads)}}));
    unsigned const threads = threadCount(settings.m_threads);
    std::uint64_t const available = availableMemory(settings.m_root) / kMebibyte;
    std::uint64_t const mebibytes = sizeToTest(host, settings.m_mebibytes, available, threads);
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
    if (algorithm == Algorithm::Random)
        host.note(Report(kEventSeed, {{"Seed", std::to_string(seed)}}));
    try {
        return checkFlushing(host, algorithm, *made.m_memory, settings, threads, seed);
    } catch (std::system_error const& error) {
        host.problem(
            Report(kEventNoMemory, {{"Reason", host.text(kTextNoThread, {{"Error", error.what()}})}}));
        return Outcome::CannotRun;
    }
}

} // namespace krel5::modules::memory
