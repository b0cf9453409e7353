// Generators of random numbers on paper: stuck, repeating, lopsided, drying up.
#include <modules/WarningHost.h>

#include <board/Events.h>
#include <board/NoiseTest.h>

#include <common/SplitMix.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <memory>

namespace krel5::modules::board {
namespace {

using State = NoiseSource::State;

/// Bytes by number; `piece` of them at a time.
NoiseSource source(std::function<std::uint8_t(std::size_t, std::uint64_t random)> byte,
                   std::size_t piece = 1000)
{
    struct Position
    {
        std::size_t at = 0;
        std::uint64_t random = 1;
    };
    auto const position = std::make_shared<Position>();
    return {"paper", 0, [=](std::span<std::uint8_t> into) -> NoiseSource::Reading {
                std::size_t const count = std::min(piece, into.size());
                for (std::size_t i = 0; i < count; ++i) {
                    position->random = position->random * 6364136223846793005u + 1442695040888963407u;
                    into[i] = byte(position->at++, position->random >> 33);
                }
                return {State::Some, count};
            }};
}

/// A byte as good as random, of a number.
std::uint8_t mixed(std::uint64_t number) { return static_cast<std::uint8_t>(splitMix(number)); }

// SP 800-90B gives, for windows of 512 and 2^-20, the cutoffs 1 + critbinom(512, 2^-H, 1 - 2^-20); here it is 2^-40.
TEST(BoardNoise, cutoffsAreThoseOfTheFormulas)
{
    EXPECT_EQ(41u, mostInARow(1));
    EXPECT_EQ(11u, mostInARow(4));
    EXPECT_EQ(6u, mostInARow(8));
    // P(X >= c) <= 2^-40 < P(X >= c - 1), summed anew with exact factors.
    for (unsigned const entropy : {1u, 2u, 4u, 8u}) {
        long double const p = 1.0L / (1u << entropy);
        long double term = 1;
        for (int i = 0; i < 512; ++i)
            term *= 1 - p;     // P(X = 0); 2^-512 is no subnormal of this type
        long double below = 0; // P(X < k)
        unsigned const cutoff = mostInAWindow(entropy);
        std::vector<long double> terms;
        for (unsigned k = 0; k <= 512; ++k) {
            terms.push_back(term);
            term = term * (512 - k) / (k + 1) * p / (1 - p);
        }
        long double tail = 0;
        for (unsigned k = 512; k >= cutoff; --k)
            tail += terms[k];
        below = tail + terms[cutoff - 1];
        EXPECT_LE(tail, 0x1p-40L) << entropy;
        EXPECT_GT(below, 0x1p-40L) << entropy;
    }
}

TEST(BoardNoise, aFailedGeneratorIsFound)
{
    struct Row
    {
        char const* what;
        NoiseSource noise;
        Outcome outcome;
        char const* says;
    } const rows[] = {
        {"sound", source([](auto, auto random) { return random; }), Outcome::Pass, ""},
        {"all ones", source([](auto, auto) { return 0xFF; }), Outcome::Fail, "BoardNoiseRepeats "},
        {"stuck after a while", source([](auto i, auto random) { return i < 50'000 ? random : 7; }),
         Outcome::Fail, "BoardNoiseRepeats "},
        // The greatest number that may be, and one more.
        {"ten equal bytes", source([](auto i, auto random) {
             return i < 4999 || i > 5010 ? random : i > 4999 && i < 5010 ? 7 : 8;
         }),
         Outcome::Pass, ""},
        {"eleven equal bytes", source([](auto i, auto random) {
             return i < 4999 || i > 5011 ? random : i > 4999 && i < 5011 ? 7 : 8;
         }),
         Outcome::Fail, "BoardNoiseRepeats "},
        {"a short cycle", source([](auto i, auto) { return i % 4; }), Outcome::Fail, "BoardNoiseCycle "},
        {"the same word of eight bytes all the time",
         source([](auto i, auto) { return "\x12\x34\x56\x78\x9A\xBC\xDE\xF1"[i % 8]; }), Outcome::Fail,
         "BoardNoiseCycle "},
        {"the same buffer again and again", source([](auto i, auto) { return mixed(i % 3000); }),
         Outcome::Fail, "BoardNoiseCycle "},
        {"a cycle that is entered late",
         source([](auto i, auto random) { return i < 60'000 ? random : mixed(i % 4096); }), Outcome::Fail,
         "BoardNoiseCycle "},
        {"one byte in four the same", source([](auto, auto r) { return r % 4 == 0 ? 9 : r >> 8; }),
         Outcome::Fail, "BoardNoiseUneven "},
        {"two bits only", source([](auto, auto random) { return random & 3; }), Outcome::Fail,
         "BoardNoiseUneven "},
        {"refuses",
         {"paper", 0,
          [](auto) {
              return NoiseSource::Reading{State::Failed, 0, "why"};
          }},
         Outcome::Fail,
         "BoardNoiseFails "},
        {"dries up",
         {"paper", 0, [](auto) { return NoiseSource::Reading{State::Later}; }},
         Outcome::CannotRun,
         "BoardNoiseSlow "},
    };
    for (auto const& row : rows) {
        test::WarningHost host;
        NoiseSettings settings;
        settings.bytes = 200'000;
        settings.seconds = row.outcome == Outcome::CannotRun ? 0.05 : 60;
        EXPECT_EQ(row.outcome, runNoiseTest(host, {row.noise}, settings)) << row.what;
        EXPECT_EQ(row.says, test::keysOf(host)) << row.what;
    }
    // One that nobody could open was not tested, whatever the others are.
    test::WarningHost refused;
    EXPECT_EQ(Outcome::CannotRun, runNoiseTest(refused, {rows[0].noise, {"full", EMFILE}}, {}));
    EXPECT_EQ("BoardNoiseRefused ", test::keysOf(refused));
    test::WarningHost host;
    EXPECT_EQ(Outcome::NotSupported, runNoiseTest(host, {}, {}));
    // A bad one is FAIL whatever comes behind it.
    EXPECT_EQ(Outcome::Fail, runNoiseTest(host, {rows[1].noise, rows[0].noise}, {}));
    EXPECT_EQ(Outcome::Fail, runNoiseTest(host, {rows[0].noise, rows[1].noise}, {}));
}

} // namespace
} // namespace krel5::modules::board
