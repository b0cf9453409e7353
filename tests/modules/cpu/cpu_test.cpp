#include <modules/ReportLog.h>
#include <modules/cpu/PaperCores.h>

#include <cpu/Coherence.h>
#include <cpu/CoreTest.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <fstream>
#include <map>
#include <numeric>
#include <set>
#include <thread>

namespace krel5::modules::cpu {
namespace {

Answer rightEverywhere(std::uint64_t) noexcept { return {{7}}; }
Answer wrongOnCoreFive(std::uint64_t) noexcept { return {{t_core == 5 ? 6u : 7u}}; }

constexpr Kernel kInjected[] = {
    {"sound", "by construction", CpuFeature::None, rightEverywhere, {{7}}},
    {"broken", "by construction", CpuFeature::None, wrongOnCoreFive, {{7}}},
};

struct Table
{
    char const* m_name;
    KernelTable (*m_kernels)() noexcept;
};

void PrintTo(Table const& one, std::ostream* out) { *out << one.m_name; } // the test's name

// The answer is the same whatever the seed: the least, the greatest, and what a run may draw.
constexpr std::uint64_t kSeeds[] = {0, 1, 2, 0x8000000000000000, ~std::uint64_t(0), 0x123456789ABCDEF, 4711};

class Kernels : public testing::TestWithParam<Table>
{};

TEST_P(Kernels, giveTheirKnownAnswersHere)
{
    std::set<std::string> names;
    for (Kernel const& kernel : GetParam().m_kernels()) {
        EXPECT_TRUE(names.insert(kernel.m_name).second) << kernel.m_name;
        EXPECT_STRNE(kernel.m_source, "") << kernel.m_name;
        EXPECT_NE(kernel.m_expected, Answer{})
            << kernel.m_name << ": a kernel that computes nothing would pass";
        if (hasFeature(kernel.m_feature)) {
            for (std::uint64_t const seed : kSeeds)
                EXPECT_EQ(kernel.m_run(seed).text(), kernel.m_expected.text())
                    << kernel.m_name << ", seed " << seed;
        }
    }
}
INSTANTIATE_TEST_SUITE_P(Tables, Kernels,
                         testing::Values(Table{"integer", &integerKernels},
                                         Table{"floating point", &floatingPointKernels},
                                         Table{"vector", &vectorKernels}));

TEST(Answer, isShownWithoutTheZerosAtItsEnd)
{
    EXPECT_EQ(Answer{}.text(), "0000000000000000");
    EXPECT_EQ((Answer{{1, 0, 0xAB}}.text()), "0000000000000001:0000000000000000:00000000000000ab");
    EXPECT_EQ((Answer{{1, 2, 3, 4}}.text().size()), 4 * 17u - 1);
}

#if defined(__x86_64__)
TEST(Features, areThoseThatTheKernelLists)
{
    std::ifstream file("/proc/cpuinfo");
    std::string line;
    while (std::getline(file, line) && !line.starts_with("flags")) {
    }
    ASSERT_FALSE(line.empty());
    auto const lists = [&line](char const* flag) {
        return (line + " ").find(" " + std::string(flag) + " ") != std::string::npos;
    };
    EXPECT_TRUE(hasFeature(CpuFeature::None));
    std::map<CpuFeature, bool> listed;
    for (CpuFeatureRow const& row : cpuFeatureRows()) {
        listed.try_emplace(row.m_feature, true);
        listed[row.m_feature] = listed[row.m_feature] && lists(row.m_flag);
    }
    for (auto const& [feature, present] : listed)
        EXPECT_EQ(hasFeature(feature), present) << static_cast<int>(feature);
}
#endif

class CoreRuns : public testing::TestWithParam<bool>
{};

TEST_P(CoreRuns, nameTheCoreThatCalculatesWrongly)
{
    ReportLog host;
    PaperCores cores({2, 5, 9});
    EXPECT_EQ(runCoreTest(host, kInjected, cores, onePass(GetParam())), Outcome::Fail);
    ASSERT_EQ(host.m_faults.size(), 1u);
    EXPECT_EQ(host.m_faults[0], "CpuWrongAnswer Core=5 Kernel=broken Expected=0000000000000007 "
                                "Actual=0000000000000006 Seed=41 Count=1 Source=by construction");
    EXPECT_EQ(host.m_notes.back(), "CpuTested Cores=3 Kernels=2 Runs=6");
}

std::atomic<std::uint64_t> s_seenSeeds{0}; // bit n: seed 100 + n, the first 64
std::atomic<bool> s_wrongGiven{false};
Answer wrongForSeed103(std::uint64_t seed) noexcept
{
    if (seed < 164)
        s_seenSeeds |= std::uint64_t(1) << (seed - 100);
    s_wrongGiven = s_wrongGiven || seed == 103;
    return {{seed == 103 ? 6u : 7u}};
}
constexpr Kernel kSeedDependent[] = {{"picky", "by construction", CpuFeature::None, wrongForSeed103, {{7}}}};

struct StopAfterWrong : ReportLog
{
    bool stopRequested() override { return s_wrongGiven; }
};

// The run ends by the stop only, and what was found before it stays a failure.
TEST_P(CoreRuns, takeNewOperandsEachTimeAndNameThoseOfTheFault)
{
    s_seenSeeds = 0;
    s_wrongGiven = false;
    StopAfterWrong host;
    PaperCores cores({0, 1});
    EXPECT_EQ(runCoreTest(host, kSeedDependent, cores, {1e6, 100, GetParam()}), Outcome::Fail);
    EXPECT_EQ(s_seenSeeds & 15u, 15u) << "100 to 103, in steps of one";
    ASSERT_FALSE(host.m_faults.empty());
    EXPECT_NE(host.m_faults[0].find(" Seed=103 "), std::string::npos) << host.m_faults[0];
    EXPECT_EQ(host.m_notes.at(0), "CpuSeed Seed=100");
}

std::atomic<unsigned> s_runs{0};
Answer neverRight(std::uint64_t) noexcept { return ++s_runs, Answer{}; }
constexpr Kernel kNeverRight[] = {{"first", "by construction", CpuFeature::None, neverRight, {{7}}},
                                  {"other", "by construction", CpuFeature::None, neverRight, {{7}}}};

struct StopAfterManyRuns : ReportLog
{
    bool stopRequested() override { return s_runs >= 1000; }
};

TEST_P(CoreRuns, countWhatIsWrongForEachKernelAndCore)
{
    s_runs = 0;
    StopAfterManyRuns host;
    PaperCores cores({3});
    EXPECT_EQ(runCoreTest(host, kNeverRight, cores, {1e6, 0, GetParam()}), Outcome::Fail);
    ASSERT_EQ(host.m_faults.size(), 2u);
    std::uint64_t counted = 0;
    for (std::string const& fault : host.m_faults)
        counted += std::stoull(fault.substr(fault.find(" Count=") + 7));
    EXPECT_EQ(counted, s_runs);
    EXPECT_EQ(host.m_notes.back(), "CpuTested Cores=1 Kernels=2 Runs=" + std::to_string(s_runs));
}

TEST_P(CoreRuns, runEveryKernelOnEveryCoreAndReachTheEnd)
{
    ReportLog host;
    PaperCores cores({0, 3, 4, 8});
    cores.m_online = 4;
    EXPECT_EQ(runCoreTest(host, kInjected, cores, onePass(GetParam())), Outcome::Pass);
    EXPECT_TRUE(host.m_faults.empty() && host.m_warnings.empty());
    EXPECT_EQ(host.m_notes.back(), "CpuTested Cores=4 Kernels=2 Runs=8");
    EXPECT_EQ(host.m_percent, 100);
}

TEST_P(CoreRuns, endAtOnceWhenStopped)
{
    ReportLog host;
    host.m_stopAfterQuestions = 2;
    PaperCores cores({0, 1, 2});
    CoreTestOptions options = onePass(GetParam());
    options.m_seconds = 1e6;
    EXPECT_EQ(runCoreTest(host, kInjected, cores, options), Outcome::Stopped);
}

TEST_P(CoreRuns, sayWhichCoreCannotBeUsed)
{
    ReportLog host;
    PaperCores cores({0, 1});
    cores.m_refused = 1;
    EXPECT_EQ(runCoreTest(host, kInjected, cores, onePass(GetParam())), Outcome::CannotRun);
    ASSERT_EQ(host.m_problems.size(), 1u);
    EXPECT_EQ(host.m_problems[0].rfind("CpuCoreNotUsable Core=1 Reason=", 0), 0u);
}
INSTANTIATE_TEST_SUITE_P(OneByOneAndTogether, CoreRuns, testing::Bool());

TEST(CoreRun, withoutCoresSaysSo)
{
    ReportLog host;
    PaperCores none({});
    EXPECT_EQ(runCoreTest(host, kInjected, none, onePass(false)), Outcome::CannotRun);
    EXPECT_EQ(host.m_problems.size(), 1u);
}

TEST(SystemAffinity, pinsToEachProcessorItOffersAndToNoOther)
{
    auto const cores = systemAffinity().usable();
    ASSERT_FALSE(cores.empty());
    ReportLog host;
    EXPECT_EQ(runCoreTest(host, kInjected, systemAffinity(), onePass(true)), Outcome::Pass);
    EXPECT_NE(systemAffinity().pin(1u << 20), 0);
}

TEST(CorePairs, coverEveryCoreFirstAndEachPairOnce)
{
    using Pairs = std::vector<std::pair<unsigned, unsigned>>;
    EXPECT_EQ(corePairs({4}, 9), Pairs{});
    EXPECT_EQ(corePairs({4, 7}, 9), (Pairs{{4, 7}}));
    EXPECT_EQ(corePairs({0, 1, 2, 3}, 4), (Pairs{{0, 1}, {2, 3}, {1, 2}, {3, 0}}));
    for (unsigned count = 2; count < 9; ++count) {
        std::vector<unsigned> cores;
        for (unsigned core = 0; core < count; ++core)
            cores.push_back(core);
        std::set<unsigned> paired;
        for (auto const& [a, b] : corePairs(cores, (count + 1) / 2))
            paired.insert({a, b});
        EXPECT_EQ(paired.size(), count) << "half as many pairs leave no core out";
        std::set<std::set<unsigned>> distinct;
        auto const pairs = corePairs(cores, 1000);
        for (auto const& [a, b] : pairs)
            distinct.insert({a, b});
        EXPECT_EQ(pairs.size(), count * (count - 1) / 2);
        EXPECT_EQ(distinct.size(), pairs.size());
    }
}

CoherenceOptions shortRun(LoadTap tap = nullptr)
{
    CoherenceOptions options;
    options.m_rounds = 300;
    options.m_tap = tap;
    return options;
}

// Loads of one core in the order in which the checks make them: 6 for each ball, 2 after the increments, then
// 2 for each litmus round.
constexpr std::uint64_t kBallLoads = 6 * 300;

std::uint64_t bitFlipsOnCoreTwo(unsigned core, std::uint64_t loaded) noexcept
{
    return core == 2 && ++t_loads == 100 ? loaded ^ 8u : loaded;
}
std::uint64_t lostIncrementOnCoreTwo(unsigned core, std::uint64_t loaded) noexcept
{
    return core == 2 && ++t_loads == kBallLoads + 1 ? loaded - 1 : loaded;
}
// Both cores see the round before: the forbidden outcome.
std::uint64_t staleLitmusLoads(unsigned, std::uint64_t loaded) noexcept
{
    return ++t_loads == kBallLoads + 3 ? 0 : loaded;
}

struct Injection
{
    LoadTap m_tap;
    char const* m_check;
};

void PrintTo(Injection const& one, std::ostream* out) { *out << one.m_check; } // the test's name

class Incoherences : public testing::TestWithParam<Injection>
{};

TEST_P(Incoherences, areFaultsOfTheirPair)
{
    ReportLog host;
    PaperCores cores({1, 2});
    EXPECT_EQ(runCoherenceTest(host, cores, shortRun(GetParam().m_tap)), Outcome::Fail);
    ASSERT_EQ(host.m_faults.size(), 1u);
    EXPECT_EQ(
        host.m_faults[0].rfind(std::string("CpuIncoherent CoreA=1 CoreB=2 Check=") + GetParam().m_check, 0),
        0u)
        << host.m_faults[0];
}
INSTANTIATE_TEST_SUITE_P(Each, Incoherences,
                         testing::Values(Injection{bitFlipsOnCoreTwo, "pingpong"},
                                         Injection{lostIncrementOnCoreTwo, "increments"},
                                         Injection{staleLitmusLoads, "storebuffer"}));

std::atomic<bool> s_wrongLoaded{false};
std::uint64_t bitFlipThatIsTold(unsigned core, std::uint64_t loaded) noexcept
{
    std::uint64_t const given = bitFlipsOnCoreTwo(core, loaded);
    s_wrongLoaded = s_wrongLoaded || given != loaded;
    return given;
}

struct StopAfterWrongLoad : ReportLog
{
    bool stopRequested() override { return s_wrongLoaded; }
};

TEST(Coherence, faultThatWasFoundBeforeAStopStaysAFailure)
{
    s_wrongLoaded = false;
    StopAfterWrongLoad host;
    PaperCores cores({1, 2, 3, 4});
    EXPECT_EQ(runCoherenceTest(host, cores, shortRun(bitFlipThatIsTold)), Outcome::Fail);
    EXPECT_EQ(host.m_faults.size(), 1u);
    EXPECT_TRUE(host.m_notes.empty()) << "it was stopped before the other pairs";
}

/// Seconds that the clock has run on: a full slice with each question.
double s_threadSeconds = 0;
double fullSlices() noexcept { return s_threadSeconds += Patience::kLongestSlice; }

TEST(Patience, countsTheThreadsOwnTimeAndNoPause)
{
    s_threadSeconds = 0;
    Patience patience(10 * Patience::kLongestSlice, fullSlices);
    for (int asked = 1; asked <= 10; ++asked) {
        EXPECT_FALSE(patience.isOver()) << asked;
        s_threadSeconds += 3600; // the virtual machine was paused
    }
    EXPECT_FALSE(Patience(0, []() noexcept { return 7.0; }).isOver());
    while (s_threadSeconds < 1e6 && !patience.isOver()) {
    }
    EXPECT_LT(s_threadSeconds, 1e5) << "it ends";
}

TEST(ThreadTime, runsWithWorkOnly)
{
    double const before = threadTime();
    while (threadTime() - before < 0.02) {
    }
    double const start = threadTime();
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_LT(threadTime() - start, 0.05);
}

/// Core two holds still in its first load until the other has asked `s_mostQuestions` times.
std::atomic<unsigned> s_questions{0};
unsigned s_mostQuestions = 0;
std::uint64_t stillOnCoreTwo(unsigned core, std::uint64_t loaded) noexcept
{
    while (core == 2 && s_questions < s_mostQuestions)
        std::this_thread::yield();
    return loaded;
}
double noTimeAtAll() noexcept { return ++s_questions, 0.0; }

CoherenceOptions besideAStillCore(double patienceSeconds, unsigned mostQuestions)
{
    CoherenceOptions options = shortRun(stillOnCoreTwo);
    options.m_patienceSeconds = patienceSeconds;
    options.m_clock = noTimeAtAll;
    s_questions = 0;
    s_mostQuestions = mostQuestions;
    return options;
}

TEST(Coherence, isNotJudgedByAPartnerThatNeverAnswers)
{
    ReportLog host;
    PaperCores cores({1, 2});
    // Out of patience with the first question of any wait: the one that core two's stillness makes, if none before.
    EXPECT_EQ(runCoherenceTest(host, cores, besideAStillCore(-1, 1)), Outcome::CannotRun);
    EXPECT_TRUE(host.m_faults.empty());
    ASSERT_EQ(host.m_problems.size(), 1u);
    EXPECT_TRUE(host.m_problems[0].starts_with("CpuNoAnswer Core=1 Waiting=2 ") ||
                host.m_problems[0].starts_with("CpuNoAnswer Core=2 Waiting=1 "))
        << host.m_problems[0];
    EXPECT_NE(host.m_problems[0].find(" Seconds=-1"), std::string::npos);
    EXPECT_TRUE(host.m_notes.empty()) << "nothing was tested";
}

TEST(Coherence, waitsForAPartnerWithoutUsingTime)
{
    ReportLog host;
    PaperCores cores({1, 2});
    EXPECT_EQ(runCoherenceTest(host, cores, besideAStillCore(0, 1000)), Outcome::Pass);
    EXPECT_GE(s_questions, 1000u);
}

TEST(Coherence, holdsForEveryPairOfSoundCores)
{
    ReportLog host;
    PaperCores cores({0, 1, 2});
    EXPECT_EQ(runCoherenceTest(host, cores, shortRun()), Outcome::Pass);
    EXPECT_EQ(host.m_notes.back(), "CpuCoherenceTested Cores=3 Pairs=3");
    EXPECT_EQ(host.m_percent, 100);
}

TEST(Coherence, putsEveryCoreIntoAPairHoweverManyThereAre)
{
    std::vector<unsigned> many(130);
    std::iota(many.begin(), many.end(), 0u);
    PaperCores cores(many);
    CoherenceOptions options;
    options.m_rounds = 1;
    for (auto const& [most, pairs] : {std::pair{0u, "65"}, std::pair{2u, "2"}}) {
        options.m_maxPairs = most;
        ReportLog host;
        EXPECT_EQ(runCoherenceTest(host, cores, options), Outcome::Pass);
        EXPECT_EQ(host.m_notes.back(), "CpuCoherenceTested Cores=130 Pairs=" + std::string(pairs));
    }
}

TEST(Coherence, hasNoMeaningOnOneCoreAndStopsWhenAsked)
{
    ReportLog single;
    PaperCores one({3});
    EXPECT_EQ(runCoherenceTest(single, one, shortRun()), Outcome::NotApplicable);
    EXPECT_EQ(single.m_problems, std::vector<std::string>{"CpuSingleCore Core=3"});

    ReportLog stopping;
    stopping.m_stopAfterQuestions = 1;
    PaperCores two({0, 1});
    CoherenceOptions endless = shortRun();
    endless.m_rounds = ~0u;
    EXPECT_EQ(runCoherenceTest(stopping, two, endless), Outcome::Stopped);

    ReportLog refused;
    two.m_refused = 1;
    EXPECT_EQ(runCoherenceTest(refused, two, shortRun()), Outcome::CannotRun);
}

} // namespace
} // namespace krel5::modules::cpu
