// Which faults of the memory behind a processor's cache each test finds, in each mode of flushing. The tables that
// this prints are those of docs/modules/memory.md.

#include <modules/memory/CachedMemory.h>
#include <modules/memory/Coverage.h>
#include <modules/memory/FaultClasses.h>

#include <array>
#include <gtest/gtest.h>
#include <tuple>

namespace krel5::modules::memory::test {
namespace {

constexpr int kLineBits = 64;

/// `cell` counts lines and bits of lines.
void injectBehindCache(CoverageRow& row, FlushMode mode, std::size_t lines, std::string const& fault,
                       Cell aggressor, Cell victim)
{
    FaultyMemory<Cache::Line> memory(lines);
    injectAll(memory, fault, aggressor, victim);
    Cache cache(memory, lines / 2);
    row.run(CachedMemory{&cache, mode}, lines * kWordsPerLine,
            {victim.m_word * kWordsPerLine + static_cast<std::size_t>(victim.m_bit) / 8},
            std::uint64_t{1} << victim.m_bit % 8);
}

void cells(CoverageRow& row, FlushMode mode, std::string const& fault)
{
    for (std::size_t line = 0; line < 3; ++line) {
        for (int bit = 0; bit < kLineBits; bit += 5)
            injectBehindCache(row, mode, 3, fault, {}, {line, bit});
    }
}

/// Pairs of bits of one line, every bit as a victim and with each aggressor that some stripe is to tell it from.
void withinLine(CoverageRow& row, FlushMode mode, std::string const& fault)
{
    for (int victim = 0; victim < kLineBits; ++victim) {
        for (int aggressor = victim % 5; aggressor < kLineBits; aggressor += 5) {
            if (aggressor != victim)
                injectBehindCache(row, mode, 2, fault, {1, aggressor}, {1, victim});
        }
    }
}

/// Every ordered pair of lines, with some pairs of bits.
void betweenLines(CoverageRow& row, FlushMode mode, std::string const& fault)
{
    constexpr std::size_t kLines = 6;
    for (std::size_t pair = 0; pair < kLines * kLines; ++pair) {
        std::size_t const aggressor = pair / kLines, victim = pair % kLines;
        for (int bit = 0; bit < kLineBits && aggressor != victim; bit += 21)
            injectBehindCache(
                row, mode, kLines, fault,
                {aggressor, static_cast<int>(pair + static_cast<std::size_t>(bit) * 5) % kLineBits},
                {victim, bit});
    }
}

using Injector = void (*)(CoverageRow&, FlushMode, std::string const&);

/// What is promised: by tests of which rank on, and whether the caches have to be flushed after every operation.
struct Line
{
    FaultClass const& m_class;
    Injector m_inject;
    char const* m_place;
    Algorithm m_from = Algorithm::Quick;
    FlushMode m_mode = FlushMode::Pass;
    bool m_reachesMemory =
        true; ///< a cache fetches a line before it writes: two writes in a row never get there
};

constexpr auto kStandard = Algorithm::Standard;
constexpr auto kOperation = FlushMode::Operation;

std::vector<Line> const kLines = {
    {kStuckAt, cells, ""},
    {kTransition, cells, ""},
    {kReadDestructive, cells, ""},
    {kIncorrectRead, cells, ""},
    {kInversion, withinLine, ", bits of a line"},
    {kIdempotent, withinLine, ", bits of a line"},
    {kState, withinLine, ", bits of a line"},
    {kInversion, betweenLines, ", lines"},
    {kIdempotent, betweenLines, ", lines"},
    {kState, betweenLines, ", lines"},
    {kCoupledTransition, betweenLines, ", lines"},
    {kCoupledRead, betweenLines, ", lines"},
    {kCoupledIncorrect, betweenLines, ", lines"},
    {kWriteDisturb, cells, "", kStandard, kOperation},
    {kDeceptiveRead, cells, "", kStandard, kOperation},
    {kDisturb, betweenLines, ", lines", kStandard, kOperation},
    {kCoupledWriteDisturb, betweenLines, ", lines", kStandard, kOperation},
    {kCoupledDeceptive, betweenLines, ", lines", kStandard, kOperation},
    {kDynamicRead, cells, "", kStandard, kOperation},
    {kDynamicDeceptive, cells, "", kStandard, kOperation},
    {kDynamicDisturb, betweenLines, ", lines", kStandard, kOperation},
    {kDynamicWrite, cells, "", kStandard, kOperation, false},
};

constexpr char const* kModes[] = {"none: ", "pass: ", "operation: "};

bool isMarch(Algorithm algorithm) { return algorithm <= Algorithm::Thorough; }

class CacheCoverage : public testing::TestWithParam<std::tuple<Algorithm, FlushMode>>
{};

TEST_P(CacheCoverage, FindsWhatItPromisesWhereItIs)
{
    auto const [algorithm, mode] = GetParam();
    for (auto const& line : kLines) {
        CoverageRow row(algorithm,
                        std::string(kModes[static_cast<int>(mode)]) + line.m_class.m_name + line.m_place);
        for (auto const& fault : line.m_class.m_faults)
            line.m_inject(row, mode, fault);
        row.print();
        EXPECT_GT(row.m_injected, 0);
        if (!line.m_reachesMemory) {
            EXPECT_EQ(row.m_found, 0);
        } else if (isMarch(algorithm) && algorithm >= line.m_from && mode >= line.m_mode) {
            EXPECT_EQ(row.m_right, row.m_injected) << row.m_name;
        }
    }
}

TEST_P(CacheCoverage, FindsCellsThatNothingReaches)
{
    auto const [algorithm, mode] = GetParam();
    constexpr std::size_t kSize = 6;
    CoverageRow row(algorithm, std::string(kModes[static_cast<int>(mode)]) + "SOF stuck-open");
    for (std::size_t cell = 0; cell < kSize * kLineBits; ++cell) {
        FaultyMemory<Cache::Line> memory(kSize);
        Cell const open{cell / kLineBits, static_cast<int>(cell % kLineBits)};
        memory.open(open);
        Cache cache(memory, kSize / 2);
        row.run(CachedMemory{&cache, mode}, kSize * kWordsPerLine,
                {open.m_word * kWordsPerLine + static_cast<std::size_t>(open.m_bit) / 8},
                std::uint64_t{1} << open.m_bit % 8);
    }
    row.print();
    if (isMarch(algorithm) && mode == kOperation) {
        EXPECT_EQ(row.m_right, row.m_injected);
    }
}

/// The four ways of coverage_test.cpp, where an address is that of a line.
void wire(FaultyMemory<Cache::Line>& memory, int kind, std::size_t x, std::size_t y, WiredRead wired)
{
    if (kind < 2)
        memory.remap(x, {}, wired);
    if (kind == 1)
        memory.remap(y, {x, y}, wired);
    if (kind == 2)
        memory.remap(x, {y}, wired);
    if (kind == 3)
        memory.remap(x, {x, y}, wired);
}

TEST_P(CacheCoverage, FindsDecoderFaultsBetweenLines)
{
    auto const [algorithm, mode] = GetParam();
    constexpr std::size_t kSize = 8;
    CoverageRow row(algorithm, std::string(kModes[static_cast<int>(mode)]) + "AF address decoder");
    for (std::size_t fault = 0; fault < kSize * kSize * 8; ++fault) {
        std::size_t const x = fault / 8 % kSize, y = fault / 8 / kSize;
        if (x == y)
            continue;
        FaultyMemory<Cache::Line> memory(kSize);
        wire(memory, static_cast<int>(fault % 4), x, y, fault & 4 ? WiredRead::And : WiredRead::Or);
        std::vector<std::size_t> words;
        for (std::size_t word = 0; word < kWordsPerLine; ++word)
            words.insert(words.end(), {x * kWordsPerLine + word, y * kWordsPerLine + word});
        Cache cache(memory, kSize / 2);
        row.run(CachedMemory{&cache, mode}, kSize * kWordsPerLine, words, 0xFF);
    }
    row.print();
    if (isMarch(algorithm) && mode != FlushMode::None) {
        EXPECT_EQ(row.m_right, row.m_injected);
    }
}

std::string nameOfRun(testing::TestParamInfo<std::tuple<Algorithm, FlushMode>> const& run)
{
    static constexpr char const* kNames[] = {"None", "Pass", "Operation"};
    return nameOf(std::get<0>(run.param)) + std::string(kNames[static_cast<int>(std::get<1>(run.param))]);
}

constexpr auto kTests = {Algorithm::Quick, Algorithm::Standard, Algorithm::Thorough, Algorithm::Patterns,
                         Algorithm::Random};
constexpr auto kModesOfFlushing = {FlushMode::None, FlushMode::Pass, FlushMode::Operation};

INSTANTIATE_TEST_SUITE_P(Each, CacheCoverage,
                         testing::Combine(testing::ValuesIn(kTests), testing::ValuesIn(kModesOfFlushing)),
                         nameOfRun);

// The word of a memory chip is a line: with stripes that end at a word, the same bits of two words never differ.
TEST(Backgrounds, GiveEveryTwoBitsOfALineBothEqualAndDifferentValues)
{
    constexpr std::size_t kBits = 64 * kWordsPerLine;
    auto const bitOf = [](std::size_t which, std::size_t bit) {
        return background<std::uint64_t>(which)(bit / 64) >> bit % 64 & 1;
    };
    for (std::size_t pair = 0; pair < kBits * kBits; ++pair) {
        bool equal = false, different = false;
        for (std::size_t which = 0; which < backgroundCount<std::uint64_t>(); ++which)
            (bitOf(which, pair / kBits) == bitOf(which, pair % kBits) ? equal : different) = true;
        ASSERT_TRUE(equal && (different || pair / kBits == pair % kBits)) << pair;
    }
}

/// Drops what it holds after half a minute, unless it is written again.
struct ForgetfulMemory
{
    using Word = std::uint64_t;
    static constexpr std::size_t kPollWords = 4096;
    std::array<Word, 40>* m_words;
    std::size_t m_weak; ///< the word whose bit 5 cannot hold a one
    Word read(std::size_t index) { return (*m_words)[index]; }
    void write(std::size_t index, Word word) { (*m_words)[index] = word, m_age = {}; }
    void leaveLine(std::size_t) {}
    void settle() {}
    void hold(std::chrono::milliseconds time)
    {
        m_age += time;
        if (m_age > std::chrono::seconds(30))
            (*m_words)[m_weak] &= ~Word{32};
    }
    std::chrono::milliseconds m_age{};
};

TEST(Fade, FindsCellsThatLoseTheirChargeInThePauseAndNotBefore)
{
    for (auto const pause : {30, 31}) {
        std::array<std::uint64_t, 40> words{};
        Detective detective({17}, 32);
        Checker<ForgetfulMemory, InlineRunner> checker(detective, detective, {&words, 17}, 40, 1,
                                                       s_noBrokenPages);
        (void)runAlgorithm(Algorithm::Fade, checker, 0, std::chrono::seconds(pause));
        EXPECT_EQ(detective.m_right, pause == 31);
        EXPECT_EQ(checker.faults(), pause == 31 ? 1u : 0u);
        EXPECT_LT(detective.m_progress.at(0), 20) << "filling takes no time";
        EXPECT_GT(detective.m_progress.at(1), 40) << "the pause does";
    }
}

} // namespace
} // namespace krel5::modules::memory::test
