// Which faults each test finds, counted by injecting them one at a time into simulated memory. The table that
// this prints is the one of docs/modules/memory.md.

#include <modules/memory/Coverage.h>
#include <modules/memory/FaultClasses.h>

#include <functional>
#include <gtest/gtest.h>

namespace krel5::modules::memory::test {
namespace {

template <typename Word>
void injectOne(CoverageRow& row, std::size_t words, std::string const& fault, Cell aggressor, Cell victim)
{
    FaultyMemory<Word> memory(words);
    injectAll(memory, fault, aggressor, victim);
    row.add(memory, words, {victim.m_word}, std::uint64_t{1} << victim.m_bit);
}

/// Every cell of `kWords` words of 64 bits.
template <std::size_t kWords>
void everyCell(CoverageRow& row, std::string const& fault)
{
    for (std::size_t word = 0; word < kWords; ++word) {
        for (int bit = 0; bit < 64; ++bit)
            injectOne<std::uint64_t>(row, kWords, fault, {}, {word, bit});
    }
}

/// Every ordered pair of cells that lie in different words of a memory of 4 words of 8 bits.
void betweenWords(CoverageRow& row, std::string const& fault)
{
    for (std::size_t aggressor = 0; aggressor < 32; ++aggressor) {
        for (std::size_t victim = 0; victim < 32; ++victim) {
            if (aggressor / 8 != victim / 8)
                injectOne<std::uint8_t>(row, 4, fault, {aggressor / 8, static_cast<int>(aggressor % 8)},
                                        {victim / 8, static_cast<int>(victim % 8)});
        }
    }
}

/// Every ordered pair of 3 lines of 8 words of 8 bits, with the same places in both: no background tells them apart,
/// and what one element leaves out no other background makes up for.
void betweenLines(CoverageRow& row, std::string const& fault)
{
    constexpr std::size_t kLines = 3;
    for (std::size_t pair = 0; pair < kLines * kLines; ++pair) {
        for (std::size_t place = 0; place < kWordsPerLine * 8 && pair / kLines != pair % kLines; place += 7)
            injectOne<std::uint8_t>(row, kLines * kWordsPerLine, fault,
                                    {pair / kLines * kWordsPerLine + place / 8, static_cast<int>(place % 8)},
                                    {pair % kLines * kWordsPerLine + place / 8, static_cast<int>(place % 8)});
    }
}

/// Every ordered pair of 64 words of 16 bits, with one pair of bits for each.
void betweenManyWords(CoverageRow& row, std::string const& fault)
{
    for (std::size_t aggressor = 0; aggressor < 64; ++aggressor) {
        for (std::size_t victim = 0; victim < 64; ++victim) {
            if (aggressor != victim)
                injectOne<std::uint16_t>(row, 64, fault,
                                         {aggressor, static_cast<int>((aggressor * 3 + victim) % 16)},
                                         {victim, static_cast<int>((victim * 5 + aggressor) % 16)});
        }
    }
}

/// Every ordered pair of bits of the middle one of 3 words of 64 bits.
void withinWord(CoverageRow& row, std::string const& fault)
{
    for (int aggressor = 0; aggressor < 64; ++aggressor) {
        for (int victim = 0; victim < 64; ++victim) {
            if (aggressor != victim)
                injectOne<std::uint64_t>(row, 3, fault, {1, aggressor}, {1, victim});
        }
    }
}

/// The four ways in which decoder faults occur in a memory with as many addresses as words: x selects nothing
/// and word x is never selected (AF1+2); y selects x and y, x nothing (AF1+3); x selects y alone (AF2+4); x
/// selects both (AF3+4). A report of x or y is right.
void decoderFaults(CoverageRow& row, int kind, unsigned slices)
{
    for (std::size_t x = 0; x < 64; ++x) {
        for (std::size_t y = 0; y < (kind == 0 ? 1 : 64); ++y) {
            for (auto const wired : {WiredRead::And, WiredRead::Or}) {
                FaultyMemory<std::uint64_t> memory(64);
                if (x == y && kind != 0)
                    continue;
                if (kind < 2)
                    memory.remap(x, {}, wired);
                if (kind == 1)
                    memory.remap(y, {x, y}, wired);
                if (kind == 2)
                    memory.remap(x, {y}, wired);
                if (kind == 3)
                    memory.remap(x, {x, y}, wired);
                row.add(memory, 64, {x, kind == 0 ? x : y}, ~std::uint64_t{0}, slices);
            }
        }
    }
}

using Injector = void (*)(CoverageRow&, std::string const&);

/// A promise is a row of which every fault is found and reported where it is. Of the others, which are for comparison,
/// some are not.
struct Line
{
    FaultClass const& m_class;
    Injector m_inject;
    char const* m_place;
    std::vector<Algorithm> m_promisedBy;
};

constexpr auto kQuick = Algorithm::Quick;
constexpr auto kStandard = Algorithm::Standard;
constexpr auto kThorough = Algorithm::Thorough;
constexpr auto kPatterns = Algorithm::Patterns;
constexpr auto kRandom = Algorithm::Random;

std::vector<Line> const kLines = {
    {kStuckAt, everyCell<64>, "", {kQuick, kStandard, kThorough, kPatterns, kRandom}},
    {kTransition, everyCell<64>, "", {kQuick, kStandard, kThorough, kPatterns, kRandom}},
    {kReadDestructive, everyCell<8>, "", {kQuick, kStandard, kThorough, kPatterns, kRandom}},
    {kIncorrectRead, everyCell<8>, "", {kQuick, kStandard, kThorough, kPatterns, kRandom}},
    {kWriteDisturb, everyCell<8>, "", {kStandard, kThorough}},
    {kDeceptiveRead, everyCell<8>, "", {kStandard, kThorough}},
    {kInversion, betweenWords, "", {kQuick, kStandard, kThorough, kPatterns}},
    {kIdempotent, betweenWords, "", {kQuick, kStandard, kThorough}},
    {kIdempotent, betweenLines, ", lines", {kQuick, kStandard, kThorough}},
    {kState, betweenWords, "", {kQuick, kStandard, kThorough}},
    {kState, betweenLines, ", lines", {kQuick, kStandard, kThorough}},
    {kInversion, betweenManyWords, ", 64 words", {kQuick, kStandard, kThorough, kPatterns}},
    {kIdempotent, betweenManyWords, ", 64 words", {kQuick, kStandard, kThorough}},
    {kState, betweenManyWords, ", 64 words", {kQuick, kStandard, kThorough}},
    {kInversion, withinWord, ", bits of a word", {kQuick, kStandard, kThorough, kPatterns}},
    {kIdempotent, withinWord, ", bits of a word", {kQuick, kStandard, kThorough, kPatterns}},
    {kState, withinWord, ", bits of a word", {kQuick, kStandard, kThorough, kPatterns}},
    {kDisturb, betweenWords, "", {kStandard, kThorough}},
    {kDisturb, betweenLines, ", lines", {kStandard, kThorough}},
    {kCoupledTransition, betweenWords, "", {kQuick, kStandard, kThorough}},
    {kCoupledTransition, betweenLines, ", lines", {kQuick, kStandard, kThorough}},
    {kCoupledWriteDisturb, betweenWords, "", {kStandard, kThorough}},
    {kCoupledWriteDisturb, betweenLines, ", lines", {kStandard, kThorough}},
    {kCoupledRead, betweenWords, "", {kQuick, kStandard, kThorough}},
    {kCoupledRead, betweenLines, ", lines", {kQuick, kStandard, kThorough}},
    {kCoupledDeceptive, betweenWords, "", {kStandard, kThorough}},
    {kCoupledDeceptive, betweenLines, ", lines", {kStandard, kThorough}},
    {kCoupledIncorrect, betweenWords, "", {kQuick, kStandard, kThorough}},
    {kCoupledIncorrect, betweenLines, ", lines", {kQuick, kStandard, kThorough}},
    {kDynamicRead, everyCell<8>, "", {kStandard, kThorough}},
    {kDynamicDeceptive, everyCell<8>, "", {kStandard, kThorough}},
    {kDynamicIncorrect, everyCell<8>, "", {kStandard, kThorough}},
    {kDynamicDisturb, betweenWords, "", {kStandard, kThorough}},
    {kDynamicDisturb, betweenLines, ", lines", {kStandard, kThorough}},
    {kCoupledDynamicRead, betweenWords, "", {kStandard, kThorough}},
    {kCoupledDynamicRead, betweenLines, ", lines", {kStandard, kThorough}},
    {kCoupledDynamicDeceptive, betweenWords, "", {kStandard, kThorough}},
    {kCoupledDynamicDeceptive, betweenLines, ", lines", {kStandard, kThorough}},
    {kCoupledDynamicIncorrect, betweenWords, "", {kStandard, kThorough}},
    {kCoupledDynamicIncorrect, betweenLines, ", lines", {kStandard, kThorough}},
    {kDynamicWrite, everyCell<8>, "", {kThorough}},
    {kCoupledDynamicWrite, betweenWords, "", {kThorough}},
    {kCoupledDynamicWrite, betweenLines, ", lines", {kThorough}},
    {kDynamicWriteDisturb, betweenWords, "", {kThorough}},
    {kDynamicWriteDisturb, betweenLines, ", lines", {kThorough}},
};

void expectPromise(CoverageRow const& row, bool promised)
{
    row.print();
    EXPECT_GT(row.m_injected, 0);
    if (promised) {
        EXPECT_EQ(row.m_right, row.m_injected) << row.m_name;
    } else if (row.m_algorithm <
               kPatterns) { // the others find all of some class where seed or place are lucky
        EXPECT_LT(row.m_right, row.m_injected) << row.m_name << " is found, and not promised";
    }
}

bool promises(Line const& line, Algorithm algorithm)
{
    return std::ranges::count(line.m_promisedBy, algorithm) != 0;
}

class Coverage : public testing::TestWithParam<Algorithm>
{
protected:
    /// The classes that only the thorough test promises are shown beside the quick one, to tell the two
    /// apart.
    static bool worthShowing(Line const& line)
    {
        return promises(line, GetParam()) || promises(line, kQuick) || GetParam() == kQuick ||
               GetParam() == kStandard;
    }
};

TEST_P(Coverage, FindsWhatItPromisesWhereItIs)
{
    for (auto const& line : kLines) {
        if (!worthShowing(line))
            continue;
        CoverageRow row(GetParam(), std::string(line.m_class.m_name) + line.m_place);
        for (auto const& fault : line.m_class.m_faults)
            line.m_inject(row, fault);
        expectPromise(row, promises(line, GetParam()));
    }
}

TEST_P(Coverage, FindsDecoderFaults)
{
    static constexpr char const* kNames[] = {"AF1+2 no cell, no address", "AF1+3 no cell, several cells",
                                             "AF2+4 no address, several addresses",
                                             "AF3+4 several cells, several addresses"};
    for (int kind = 0; kind < 4; ++kind) {
        for (unsigned const slices : {1u, 5u}) {
            CoverageRow row(GetParam(), kNames[kind] + (slices == 1 ? std::string() : ", 5 slices"));
            decoderFaults(row, kind, slices);
            expectPromise(row, true);
        }
    }
}

TEST_P(Coverage, FindsCellsThatNothingReaches)
{
    CoverageRow row(GetParam(), "SOF stuck-open");
    for (std::size_t cell = 0; cell < 64 * 64; ++cell) {
        FaultyMemory<std::uint64_t> memory(64);
        memory.open({cell / 64, static_cast<int>(cell % 64)});
        row.add(memory, 64, {cell / 64}, std::uint64_t{1} << cell % 64);
    }
    expectPromise(row, GetParam() != kRandom);
}

TEST_P(Coverage, ReportsNothingOnSoundMemory)
{
    for (std::size_t const words : {1u, 3u, 64u, 1000u}) {
        for (unsigned const slices : {1u, 2u, 7u}) {
            FaultyMemory<std::uint64_t> memory(words);
            Detective detective({}, 0);
            Checker<SimulatedMemory<std::uint64_t>, InlineRunner> checker(detective, detective, {&memory},
                                                                          words, slices, s_noBrokenPages);
            EXPECT_TRUE(runAlgorithm(GetParam(), checker, 4711));
            EXPECT_EQ(checker.faults(), 0u) << words << " words, " << slices << " slices";
            EXPECT_EQ(detective.m_progress.back(), 100);
            EXPECT_EQ(std::ranges::count(detective.m_progress, 100), 1) << "no more work than expected";
        }
    }
}

std::string testName(testing::TestParamInfo<Algorithm> const& parameter) { return nameOf(parameter.param); }

INSTANTIATE_TEST_SUITE_P(Each, Coverage, testing::Values(kQuick, kStandard, kThorough, kPatterns, kRandom),
                         testName);

} // namespace
} // namespace krel5::modules::memory::test
