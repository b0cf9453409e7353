// Linked faults: two primitives on one victim, of which the second puts right what the first did wrong before
// anyone reads it. The standard test promises them but for LF3, the thorough one all.

#include <modules/memory/Coverage.h>
#include <modules/memory/FaultClasses.h>

#include <gtest/gtest.h>

namespace krel5::modules::memory::test {
namespace {

std::vector<Primitive> primitivesOf(std::vector<FaultClass> const& classes)
{
    std::vector<Primitive> result;
    for (auto const& one : classes) {
        for (auto const& text : one.m_faults)
            result.push_back(parsePrimitive(text));
    }
    return result;
}

/// The second finds the victim as the first left it, and takes it back.
bool canLink(Primitive const& first, Primitive const& second)
{
    return second.m_victimState == first.m_final && second.m_final != first.m_final;
}

constexpr std::size_t kLines = 4;
constexpr std::size_t kSize = kLines * kWordsPerLine;

void linkAt(CoverageRow& row, Primitive const& first, Primitive const& second, Cell firstAggressor,
            Cell secondAggressor, Cell victim)
{
    FaultyMemory<std::uint8_t> memory(kSize);
    memory.inject({first, victim, firstAggressor});
    memory.inject({second, victim, secondAggressor});
    row.add(memory, kSize, {victim.m_word}, std::uint64_t{1} << victim.m_bit);
}

/// Every order of the cells, which lie at one place of different lines: no background tells them apart.
void link(CoverageRow& row, Primitive const& first, Primitive const& second, bool sameAggressor)
{
    auto const cell = [](std::size_t line) { return Cell{line * kWordsPerLine + 5, 3}; };
    for (std::size_t v = 0; v < kLines; ++v) {
        for (std::size_t a = 0; a < kLines; ++a) {
            for (std::size_t b = 0; b < kLines; ++b) {
                if (a != v && b != v && (a == b) == sameAggressor)
                    linkAt(row, first, second, cell(a), cell(b), cell(v));
            }
        }
    }
}

struct LinkKind
{
    char const* m_name;
    bool m_firstCoupled;
    bool m_secondCoupled;
    bool m_sameAggressor;
};

void PrintTo(LinkKind const& one, std::ostream* out) { *out << one.m_name; } // the test's name

class LinkedFaults : public testing::TestWithParam<LinkKind>
{};

TEST_P(LinkedFaults, AreFoundByTheLongerTests)
{
    // A first primitive that a read reveals at once is as good as unlinked.
    auto const single = primitivesOf({kTransition, kWriteDisturb, kDeceptiveRead});
    auto const pair =
        primitivesOf({kIdempotent, kDisturb, kCoupledTransition, kCoupledWriteDisturb, kCoupledDeceptive});
    auto const maskingSingle = primitivesOf({kWriteDisturb, kReadDestructive, kDeceptiveRead});
    auto const maskingPair =
        primitivesOf({kIdempotent, kDisturb, kCoupledWriteDisturb, kCoupledRead, kCoupledDeceptive});
    auto const kind = GetParam();
    for (auto const algorithm : {Algorithm::Quick, Algorithm::Standard, Algorithm::Thorough}) {
        CoverageRow row(algorithm, kind.m_name);
        for (auto const& first : kind.m_firstCoupled ? pair : single) {
            for (auto const& second : kind.m_secondCoupled ? maskingPair : maskingSingle) {
                if (canLink(first, second))
                    link(row, first, second, kind.m_sameAggressor);
            }
        }
        row.print();
        EXPECT_GT(row.m_injected, 0);
        if (algorithm == Algorithm::Thorough ||
            (algorithm == Algorithm::Standard && (kind.m_sameAggressor || !kind.m_secondCoupled))) {
            EXPECT_EQ(row.m_right, row.m_injected);
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Each, LinkedFaults,
                         testing::Values(LinkKind{"LF1 one cell", false, false, true},
                                         LinkKind{"LF2aa one aggressor, twice", true, true, true},
                                         LinkKind{"LF2av aggressor, then victim alone", true, false, true},
                                         LinkKind{"LF2va victim alone, then aggressor", false, true, true},
                                         LinkKind{"LF3 two aggressors", true, true, false}));

} // namespace
} // namespace krel5::modules::memory::test
