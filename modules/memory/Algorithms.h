#pragma once
// The tests that the module offers, each as a list of passes. What each finds: see MarchTest.h and
// docs/modules/memory.md.

#include <memory/Checker.h>

#include <array>
#include <chrono>

namespace krel5::modules::memory {

enum class Algorithm {
    Quick,    ///< March C- over every background
    Standard, ///< March AB over every background
    Thorough, ///< March SL, March RAW and write after write over every background
    Patterns, ///< own address, checkerboard, moving inversions
    Fade,     ///< zeros, then ones, each held for a pause
    Random    ///< random data and its complement
};

namespace detail {

template <MarchTest const& kTest, typename CheckerType>
bool marchAllBackgrounds(CheckerType& checker)
{
    using Word = typename CheckerType::Word;
    for (std::size_t i = 0; i < backgroundCount<Word>(); ++i) {
        if (!checker.template march<kTest>(background<Word>(i)))
            return false;
    }
    return true;
}

template <typename CheckerType>
bool runPatterns(CheckerType& checker)
{
    using Word = typename CheckerType::Word;
    constexpr auto kOnes = static_cast<Word>(~Word{0});
    constexpr auto kAlternating = stripes<Word>(0);
    checker.expectWork(2 * 2 + 2 * 2 + backgroundCount<Word>() * kMovingInversions.length());
    return checker.fillAndVerify("Own address", OwnAddress<Word>{0}, 0) &&
           checker.fillAndVerify("Own address, complemented", OwnAddress<Word>{kOnes}, kOnes) &&
           checker.fillAndVerify("Checkerboard", Checkerboard<Word>{kAlternating}, kAlternating) &&
           checker.fillAndVerify("Checkerboard, complemented",
                                 Checkerboard<Word>{static_cast<Word>(~kAlternating)},
                                 static_cast<Word>(~kAlternating)) &&
           marchAllBackgrounds<kMovingInversions>(checker);
}

template <typename CheckerType>
bool runFade(CheckerType& checker, std::chrono::seconds pause)
{
    using Word = typename CheckerType::Word;
    constexpr auto kOnes = static_cast<Word>(~Word{0});
    checker.expectWork(2 * (2 + checker.workOf(pause)));
    return checker.fillHoldAndVerify("Fade", Solid<Word>{0}, 0, pause) &&
           checker.fillHoldAndVerify("Fade", Solid<Word>{kOnes}, kOnes, pause);
}

template <typename CheckerType>
bool runRandom(CheckerType& checker, std::uint64_t seed)
{
    using Word = typename CheckerType::Word;
    constexpr unsigned kRounds = 4;
    checker.expectWork(kRounds * 4);
    for (unsigned round = 0; round < kRounds; ++round) {
        if (!checker.fillAndVerify("Random data", RandomData<Word>{seed + round, 0}, seed + round) ||
            !checker.fillAndVerify("Random data, complemented",
                                   RandomData<Word>{seed + round, static_cast<Word>(~Word{0})}, seed + round))
            return false;
    }
    return true;
}

} // namespace detail

/// False when stopped. `seed` matters to Algorithm::Random alone, and `pause` to Algorithm::Fade.
template <typename CheckerType>
bool runAlgorithm(Algorithm algorithm, CheckerType& checker, std::uint64_t seed,
                  std::chrono::seconds pause = std::chrono::seconds(0))
{
    constexpr auto kBackgrounds = backgroundCount<typename CheckerType::Word>();
    switch (algorithm) {
    case Algorithm::Quick:
        checker.expectWork(kBackgrounds * kMarchCMinus.length());
        return detail::marchAllBackgrounds<kMarchCMinus>(checker);
    case Algorithm::Standard:
        checker.expectWork(kBackgrounds * kMarchAB.length());
        return detail::marchAllBackgrounds<kMarchAB>(checker);
    case Algorithm::Thorough:
        checker.expectWork(kBackgrounds * (kMarchSL.length() + kMarchRaw.length() + kWriteWrite.length()));
        return detail::marchAllBackgrounds<kMarchSL>(checker) &&
               detail::marchAllBackgrounds<kMarchRaw>(checker) &&
               detail::marchAllBackgrounds<kWriteWrite>(checker);
    case Algorithm::Patterns:
        return detail::runPatterns(checker);
    case Algorithm::Fade:
        return detail::runFade(checker, pause);
    case Algorithm::Random:
        break;
    }
    return detail::runRandom(checker, seed);
}

} // namespace krel5::modules::memory
