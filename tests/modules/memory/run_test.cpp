// A run as a whole: what is reported and how much of it, stop requests, parameters, the machine's facts.

#include <memory/CheckRegion.h>
#include <memory/Events.h>
#include <memory/MemoryTest.h>
#include <memory/RegionSize.h>
#include <memory/Texts.h>
#include <memory/linux/LockedMemory.h>
#include <memory/linux/MachineMemory.h>
#include <modules/RecordingHost.h>
#include <modules/memory/Coverage.h>

#include <array>
#include <atomic>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace krel5::modules::memory::test {
namespace {

using modules::test::RecordingHost;
using modules::test::valueOf;

/// Every word reads as zero.
struct DeadMemory
{
    using Word = std::uint64_t;
    static constexpr std::size_t kPollWords = 4096;
    Word read(std::size_t) const { return 0; }
    void write(std::size_t, Word) {}
    void leaveLine(std::size_t) {}
    void settle() {}
    void hold(std::chrono::milliseconds) {}
};

TEST(MemoryRun, DeadMemoryIsCountedInFullAndReportedInPart)
{
    constexpr std::size_t kWords = 20000;
    std::array<std::uint64_t, 1> start{};
    for (unsigned const threads : {1u, 3u}) {
        RecordingHost host;
        MemoryReport report(host, start.data(), 4096);
        Checker<DeadMemory> checker(host, report, {}, kWords, threads, s_noBrokenPages);
        ASSERT_TRUE(runAlgorithm(Algorithm::Random, checker, 1));
        report.summarize(checker.faults());
        // Four rounds of two fills each; no random word of this seed is zero.
        EXPECT_EQ(checker.faults(), 8 * kWords);
        ASSERT_EQ(host.m_faults.size(), 8 * FaultLog::kKeptPerPass + 1);
        EXPECT_EQ(host.m_faults.back().m_eventKey, kEventMoreFaults);
        EXPECT_EQ(valueOf(host.m_faults.back(), "Total"), std::to_string(8 * kWords));
    }
}

TEST(MemoryRun, OneStuckBitAmongManyWordsFailsEveryTest)
{
    std::vector<std::uint64_t> words(5000);
    for (auto const algorithm : kAllAlgorithms) {
        FaultyMemory<std::uint64_t> memory(words.size());
        RecordingHost sound;
        EXPECT_EQ(checkRegion(sound, algorithm, SimulatedMemory<std::uint64_t>{&memory}, words.data(),
                              words.size(), 1, 3, s_noBrokenPages),
                  Outcome::Pass);
        EXPECT_TRUE(sound.m_faults.empty());
        memory.inject({parsePrimitive("<1/0/->"), {4321, 17}, {}});
        RecordingHost host;
        EXPECT_EQ(checkRegion(host, algorithm, SimulatedMemory<std::uint64_t>{&memory}, words.data(),
                              words.size(), 1, 3, s_noBrokenPages),
                  Outcome::Fail);
        ASSERT_FALSE(host.m_faults.empty()) << nameOf(algorithm);
        for (auto const& fault : host.m_faults) {
            if (fault.m_eventKey == kEventMoreFaults)
                continue;
            EXPECT_EQ(valueOf(fault, "Offset"), "0x8708");
            EXPECT_EQ(valueOf(fault, "DifferingBits"), "0x20000");
        }
    }
}

TEST(MemoryRun, FaultNamesAddressesAndBits)
{
    std::vector<std::uint64_t> words(16);
    RecordingHost host;
    MemoryReport report(host, words.data(), 4096);
    report.report({"March C-", "up(r0,w1)", 0x5555}, WordFault{5, 0xFF00, 0xF001});
    report.summarize(1);
    ASSERT_EQ(host.m_faults.size(), 1u);
    auto const& fault = host.m_faults[0];
    char address[32];
    std::snprintf(address, sizeof address, "0x%zx", reinterpret_cast<std::size_t>(&words[5]));
    EXPECT_EQ(fault.m_eventKey, kEventFault);
    EXPECT_EQ(valueOf(fault, "Test"), "March C-");
    EXPECT_EQ(valueOf(fault, "Step"), "up(r0,w1)");
    EXPECT_EQ(valueOf(fault, "Background"), "0x5555");
    EXPECT_EQ(valueOf(fault, "Offset"), "0x28");
    EXPECT_EQ(valueOf(fault, "VirtualAddress"), address);
    auto const physical = physicalAddress(&words[5]);
    std::snprintf(address, sizeof address, "0x%zx", std::size_t{physical.value_or(0)});
    EXPECT_EQ(valueOf(fault, "PhysicalAddress"), physical ? address : host.text(kTextNoAddress));
    EXPECT_EQ(valueOf(fault, "Expected"), "0xff00");
    EXPECT_EQ(valueOf(fault, "Actual"), "0xf001");
    EXPECT_EQ(valueOf(fault, "DifferingBits"), "0xf01");
    EXPECT_EQ(valueOf(fault, "DifferingBitCount"), "5");
}

struct StopAtFirstFault : RecordingHost
{
    bool stopRequested() override { return !m_faults.empty(); }
};

TEST(MemoryRun, FaultThatWasFoundBeforeAStopStaysAFailure)
{
    std::vector<std::uint64_t> words(64);
    FaultyMemory<std::uint64_t> memory(words.size());
    memory.inject({parsePrimitive("<1/0/->"), {7, 0}, {}});
    StopAtFirstFault host;
    EXPECT_EQ(checkRegion(host, Algorithm::Thorough, SimulatedMemory<std::uint64_t>{&memory}, words.data(),
                          words.size(), 1, 3, s_noBrokenPages),
              Outcome::Fail);
    EXPECT_LT(host.m_progress.back(), 100) << "it was stopped";
}

/// Counts how many words are read or written after the stop flag could have been seen.
struct CountingMemory
{
    using Word = std::uint64_t;
    static constexpr std::size_t kPollWords = 4096;
    std::atomic<std::uint64_t>* m_operations;
    Word read(std::size_t) { return ++*m_operations, 0; }
    void write(std::size_t, Word) { ++*m_operations; }
    void leaveLine(std::size_t) {}
    void settle() {}
    void hold(std::chrono::milliseconds) {}
};

/// Asks for a stop as soon as one operation was done.
struct ImpatientHost : RecordingHost
{
    std::atomic<std::uint64_t>* m_operations = nullptr;
    bool stopRequested() override { return *m_operations != 0; }
};

TEST(MemoryRun, StopIsSeenWithinAPass)
{
    // A pass over this region would take hours: ending at all shows that workers poll inside a pass.
    constexpr std::size_t kWords = std::size_t{1} << 44;
    std::atomic<std::uint64_t> operations{0};
    ImpatientHost host;
    host.m_operations = &operations;
    MemoryReport report(host, nullptr, 4096);
    Checker<CountingMemory> checker(host, report, {&operations}, kWords, 2, s_noBrokenPages);
    EXPECT_FALSE(runAlgorithm(Algorithm::Thorough, checker, 1));
}

/// Raises the stop flag in its first operation.
struct AlarmedMemory : CountingMemory
{
    static constexpr std::size_t kPollWords = UncachedMemory::kPollWords;
    WorkerControl* m_control;
    Word read(std::size_t index) { return m_control->stop(), CountingMemory::read(index); }
    void write(std::size_t index, Word word) { m_control->stop(), CountingMemory::write(index, word); }
};

struct RunnerWithControl
{
    static inline WorkerControl* s_control = nullptr;
    bool operator()(TestHost&, unsigned, std::uint64_t, Work const& work, ProgressSpan) const
    {
        work(0, *s_control);
        return !s_control->stopping();
    }
};

TEST(MemoryRun, SlowMemoryIsLeftAfterAFewWords)
{
    constexpr std::uint64_t kMostOperations = 1000; // of half a microsecond: a small part of a stop's 100 ms
    for (auto const algorithm : kAllAlgorithms) {
        std::atomic<std::uint64_t> operations{0};
        WorkerControl control;
        RunnerWithControl::s_control = &control;
        RecordingHost host;
        MemoryReport report(host, nullptr, 4096);
        Checker<AlarmedMemory, RunnerWithControl> checker(host, report, {{&operations}, &control}, 1 << 20, 1,
                                                          s_noBrokenPages);
        EXPECT_FALSE(runAlgorithm(algorithm, checker, 1));
        EXPECT_GT(operations, 0u);
        EXPECT_LE(operations, kMostOperations) << nameOf(algorithm);
    }
}

TEST(MemoryRun, ProgressCountsEveryWordOfAPassOnce)
{
    WorkerControl control;
    RunnerWithControl::s_control = &control;
    RecordingHost host;
    MemoryReport report(host, nullptr, 4096);
    std::atomic<std::uint64_t> operations{0};
    constexpr std::size_t kWords = 3 * 4096 + 5;
    Checker<CountingMemory, RunnerWithControl> checker(host, report, {&operations}, kWords, 1,
                                                       s_noBrokenPages);
    ASSERT_TRUE(checker.fillAndVerify("", Solid<std::uint64_t>{0}, 0));
    EXPECT_EQ(control.done(), 2 * kWords) << "filled and verified";
}

/// Notes what the progress was as its last word was written.
struct WatchedMemory : CountingMemory
{
    std::size_t m_last;
    std::uint64_t* m_doneAtLast;
    void write(std::size_t index, Word)
    {
        if (index == m_last)
            *m_doneAtLast = RunnerWithControl::s_control->done();
    }
};

TEST(MemoryRun, ProgressIsCountedWithinAPass)
{
    WorkerControl control;
    RunnerWithControl::s_control = &control;
    RecordingHost host;
    MemoryReport report(host, nullptr, 4096);
    std::atomic<std::uint64_t> operations{0};
    constexpr std::size_t kWords = 3 * 4096 + 5;
    std::uint64_t doneAtLast = 0;
    Checker<WatchedMemory, RunnerWithControl> checker(host, report, {{&operations}, kWords - 1, &doneAtLast},
                                                      kWords, 1, s_noBrokenPages);
    ASSERT_TRUE(checker.fillAndVerify("", Solid<std::uint64_t>{0}, 0));
    EXPECT_EQ(doneAtLast, 3 * 4096u);
}

/// Notes each pass, and is stopped in one of them.
struct NotingRunner
{
    static inline std::vector<ProgressSpan> s_spans;
    static inline std::size_t s_stopIn = 0; // from 1 on; 0: in none
    bool operator()(TestHost&, unsigned, std::uint64_t, Work const& work, ProgressSpan span) const
    {
        s_spans.push_back(span);
        WorkerControl control;
        work(0, control);
        return s_spans.size() != s_stopIn;
    }
};

TEST(MemoryRun, WorkIsKnownBeforehandAndNoPassBeginsAfterAStop)
{
    std::atomic<std::uint64_t> operations{0};
    auto const run = [&operations](Algorithm algorithm, std::size_t stopIn) {
        NotingRunner::s_spans.clear();
        NotingRunner::s_stopIn = stopIn;
        operations = 0;
        RecordingHost host;
        struct : FaultReporter
        {
            void report(PassName const&, WordFault const&) override {}
            void report(PassName const&, BrokenPage const&) override {}
        } nobody;
        Checker<CountingMemory, NotingRunner> checker(host, nobody, {&operations}, 1, 1, s_noBrokenPages);
        return runAlgorithm(algorithm, checker, 1);
    };
    auto const& spans = NotingRunner::s_spans;
    for (auto const& [algorithm, expected] : {std::pair{Algorithm::Quick, 10 * 10u},
                                              {Algorithm::Standard, 10 * 22u},
                                              {Algorithm::Thorough, 10 * (41 + 26 + 56u)},
                                              {Algorithm::Patterns, (2 + 2) * 2 + 10 * 6u},
                                              {Algorithm::Fade, 2 * 2u},
                                              {Algorithm::Random, 4 * 4u}}) {
        ASSERT_TRUE(run(algorithm, 0));
        EXPECT_EQ(operations, expected) << nameOf(algorithm);
        EXPECT_EQ(spans.front().m_from, 0) << nameOf(algorithm);
        EXPECT_LT(spans.back().m_from, 100) << nameOf(algorithm);
        EXPECT_EQ(spans.back().m_to, 100) << nameOf(algorithm);
        for (std::size_t pass = spans.size(); pass > 0; --pass) {
            EXPECT_FALSE(run(algorithm, pass)) << nameOf(algorithm) << ", pass " << pass;
            EXPECT_EQ(spans.size(), pass) << nameOf(algorithm);
        }
    }
}

struct LoggingMemory : CountingMemory
{
    std::vector<Word>* m_log;
    void write(std::size_t, Word word) { m_log->push_back(word); }
};

TEST(MemoryRun, RandomDataIsThatOfItsSeedThenItsComplement)
{
    NotingRunner::s_stopIn = 0;
    std::atomic<std::uint64_t> operations{0};
    std::vector<std::uint64_t> log;
    RecordingHost host;
    MemoryReport report(host, nullptr, 4096);
    Checker<LoggingMemory, NotingRunner> checker(host, report, {{&operations}, &log}, 3, 1, s_noBrokenPages);
    ASSERT_TRUE(runAlgorithm(Algorithm::Random, checker, 1234567));
    ASSERT_EQ(log.size(), 4 * 2 * 3u);
    // SplitMix64's first ones, as published for this seed.
    EXPECT_EQ(std::vector(log.begin(), log.begin() + 3),
              (std::vector<std::uint64_t>{6457827717110365317u, 3203168211198807973u, 9817491932198370423u}));
    for (std::size_t at = 0; at < log.size(); ++at)
        if (at / 3 % 2 == 0) {
            EXPECT_EQ(log[at + 3], ~log[at]) << at;
        }
    ASSERT_EQ(host.m_faults.size(), log.size()) << "every word reads as zero";
    EXPECT_EQ(valueOf(host.m_faults[5], "Background"), "0x12d687");
    EXPECT_EQ(valueOf(host.m_faults[6], "Background"), "0x12d688");
    EXPECT_EQ(valueOf(host.m_faults[11], "Background"), "0x12d688") << "as its complement";
}

TEST(MemoryRun, MoreThreadsThanProcessorsAreNotMade)
{
    RecordingHost host;
    MemorySettings settings;
    settings.m_mebibytes = 1;
    settings.m_threads = MemorySettings::kMaxThreads;
    ASSERT_EQ(runMemoryTest(host, Algorithm::Quick, settings), Outcome::Pass);
    EXPECT_EQ(valueOf(host.m_notes.at(0), "Threads"),
              std::to_string(std::min(usableProcessors(), MemorySettings::kMaxThreads)));
}

TEST(RegionSize, LeavesTheSystemAMarginAndGrowsWithTheMachine)
{
    struct Case
    {
        std::uint64_t m_available;
        unsigned m_threads;
        std::uint64_t m_most;
        std::uint64_t m_default;
    };
    Case const cases[] = {
        {0, 4, 0, 0},
        {100, 4, 0, 0},
        {128, 4, 0, 0},
        {130, 4, 2, 2},
        {200, 4, 72, 72},
        {2048, 4, 1920, 1024},
        {8000, 4, 7500, 4000},
        {64000, 1, 60000, 2048},
        {64000, 8, 60000, 16384},
        {64000, 64, 60000, 32000},
        {UINT64_MAX >> 20, 1024, (UINT64_MAX >> 20) - (UINT64_MAX >> 24), 1 << 21},
    };
    for (auto const& one : cases) {
        EXPECT_EQ(mostMebibytes(one.m_available), one.m_most) << one.m_available;
        EXPECT_EQ(defaultMebibytes(one.m_available, one.m_threads), one.m_default) << one.m_available;
    }
}

TEST(MemoryRun, RealMemoryRunsThroughEveryTest)
{
    for (auto const algorithm : kAllAlgorithms) {
        for (auto const flush : {FlushMode::None, FlushMode::Pass}) {
            RecordingHost host;
            MemorySettings settings;
            settings.m_mebibytes = 1;
            settings.m_threads = 2;
            settings.m_seed = 77;
            settings.m_pauseSeconds = 0;
            settings.m_flush = flush;
            ASSERT_EQ(runMemoryTest(host, algorithm, settings), Outcome::Pass) << nameOf(algorithm);
            ASSERT_FALSE(host.m_progress.empty());
            EXPECT_TRUE(std::ranges::is_sorted(host.m_progress));
            EXPECT_EQ(host.m_progress.back(), 100);
            EXPECT_EQ(valueOf(host.m_notes.at(0), "SizeMiB"), "1");
            EXPECT_EQ(valueOf(host.m_notes.at(0), "TotalMiB"), std::to_string(totalMemory() >> 20));
            if (algorithm == Algorithm::Random) {
                EXPECT_EQ(valueOf(host.m_notes.at(1), "Seed"), "77");
            }
        }
    }
}

// A test whose lines stay in the caches looks the same but for the time that it takes.
TEST(MemoryRun, WhatIsFlushedTakesTheTimeOfTheMemory)
{
    if (!kCanFlush)
        GTEST_SKIP() << "no flush for programs";
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "sanitizers take longer than memory";
#endif
    auto const milliseconds = [](Algorithm algorithm, FlushMode flush) {
        RecordingHost host;
        MemorySettings settings;
        settings.m_mebibytes = 1;
        settings.m_threads = 1;
        settings.m_flush = flush;
        auto const begin = std::chrono::steady_clock::now();
        EXPECT_EQ(runMemoryTest(host, algorithm, settings), Outcome::Pass);
        return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - begin).count();
    };
    double none = 1e9,
           quick = 1e9; // the shortest of many, one beside the other, as other programs come and go
    for (int i = 0; i < 41; ++i) {
        none = std::min(none, milliseconds(Algorithm::Quick, FlushMode::None));
        quick = std::min(quick, milliseconds(Algorithm::Quick, FlushMode::Pass));
    }
    EXPECT_GT(quick, 1.1 * none);
    double const pass = milliseconds(Algorithm::Random, FlushMode::Pass);
    EXPECT_GT(milliseconds(Algorithm::Random, FlushMode::Operation), 10 * pass);
}

TEST(MemoryRun, StopBeforeAndDuringLocking)
{
    for (int const polls : {0, 1, 2}) {
        RecordingHost host;
        host.m_pollsBeforeStop = polls;
        MemorySettings settings;
        settings.m_mebibytes = 16;
        EXPECT_EQ(runMemoryTest(host, Algorithm::Thorough, settings), Outcome::Stopped);
        EXPECT_TRUE(host.m_problems.empty());
    }
}

TEST(MemoryRun, BadParametersNameThemselvesAndTheLimit)
{
    RecordingHost host;
    MemorySettings settings;
    settings.m_mebibytes = std::uint64_t{1} << 60;
    EXPECT_EQ(runMemoryTest(host, Algorithm::Quick, settings), Outcome::BadParameters);
    settings.m_mebibytes = 1;
    settings.m_threads = MemorySettings::kMaxThreads + 1;
    EXPECT_EQ(runMemoryTest(host, Algorithm::Quick, settings), Outcome::BadParameters);
    ASSERT_EQ(host.m_problems.size(), 2u);
    EXPECT_EQ(valueOf(host.m_problems[0], "Parameter"), "SizeMiB");
    EXPECT_EQ(valueOf(host.m_problems[0], "Value"), std::to_string(std::uint64_t{1} << 60));
    EXPECT_NE(valueOf(host.m_problems[0], "Reason").find(" MiB are left to the system: at most "),
              std::string::npos);
    EXPECT_EQ(valueOf(host.m_problems[1], "Parameter"), "Threads");
    EXPECT_EQ(valueOf(host.m_problems[1], "Value"), std::to_string(MemorySettings::kMaxThreads + 1));
}

TEST(MemoryRun, FlushModeIsReadFromItsText)
{
    RecordingHost host;
    FlushMode mode = FlushMode::Operation;
    EXPECT_TRUE(readFlushMode(host, "none", mode));
    EXPECT_EQ(mode, FlushMode::None);
    EXPECT_TRUE(readFlushMode(host, "pass", mode));
    EXPECT_EQ(mode, FlushMode::Pass);
    EXPECT_EQ(readFlushMode(host, "operation", mode), kCanFlush);
    host.m_problems.clear();
    EXPECT_FALSE(readFlushMode(host, "Pass", mode));
    ASSERT_EQ(host.m_problems.size(), 1u);
    EXPECT_EQ(valueOf(host.m_problems[0], "Value"), "Pass");
    EXPECT_EQ(valueOf(host.m_problems[0], "Reason"), host.text(kTextFlushValues));
}

constexpr int kNotEnforced = 99;

/// In a child, as it gives up what this process may need later.
int outcomeWithoutPrivilege()
{
    pid_t const child = fork();
    if (child == 0) {
        rlimit const limit{4096, 4096};
        if (setrlimit(RLIMIT_MEMLOCK, &limit) != 0 || (geteuid() == 0 && setuid(65534) != 0))
            _exit(100);
        static char s_probe[1 << 16];
        if (mlock(s_probe, sizeof s_probe) == 0)
            _exit(kNotEnforced);
        RecordingHost host;
        MemorySettings settings;
        settings.m_mebibytes = 1;
        auto const outcome = runMemoryTest(host, Algorithm::Quick, settings);
        bool const explained =
            host.m_problems.size() == 1 &&
            valueOf(host.m_problems[0], "Reason").find("RLIMIT_MEMLOCK") != std::string::npos;
        _exit(explained ? static_cast<int>(outcome) : 101);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST(MemoryRun, RefusedLockIsAMatterOfPrivilege)
{
    int const outcome = outcomeWithoutPrivilege();
    if (outcome == kNotEnforced)
        GTEST_SKIP() << "locking is not refused here: sanitizers replace mlock by nothing";
    EXPECT_EQ(outcome, static_cast<int>(Outcome::InsufficientPrivilege));
}

TEST(LockedMemory, NeighboursInAPageAreNeighboursInMemory)
{
    auto const made = LockedMemory::make(1, [] { return false; }, {[] { return UINT64_MAX; }});
    ASSERT_NE(made.m_memory, nullptr);
    EXPECT_EQ(made.m_memory->wordCount() * sizeof(std::uint64_t), pageSize());
    auto const first = physicalAddress(made.m_memory->words()),
               sixth = physicalAddress(made.m_memory->words() + 5);
    EXPECT_EQ(first.has_value(), sixth.has_value());
    if (first) {
        EXPECT_EQ(*first % pageSize(), 0u);
        EXPECT_EQ(*sixth - *first, 5 * sizeof(std::uint64_t));
    }
}

TEST(LockedMemory, ImpossibleSizesAreRefused)
{
    auto const never = [] { return false; };
    for (std::size_t const bytes : {std::size_t{0}, SIZE_MAX, SIZE_MAX / 2}) {
        auto const made = LockedMemory::make(bytes, never, {[] { return UINT64_MAX; }});
        EXPECT_EQ(made.m_memory, nullptr);
        EXPECT_EQ(made.m_error, LockError::NoMemory);
        EXPECT_NE(std::string(made.m_reason.m_english), "");
    }
}

} // namespace
} // namespace krel5::modules::memory::test
