#pragma once
// The tests that the module offers, each as a list of passes. What each finds: see MarchTest.h and
// docs/modules/memory.md.

#include <memory/Checker.h>

#include <array>
#include <limits>

namespace krel5::modules::memory {

enum class Algorithm {
    Quick,    ///< March C- over every background
    Thorough, ///< March SL and March RAW over every background
    Patterns, ///< own address, walking ones and zeros, checkerboard, moving inversions
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
bool walkBits(CheckerType& checker, std::string_view name, typename CheckerType::Word mask)
{
    using Word = typename CheckerType::Word;
    for (int bit = 0; bit < std::numeric_limits<Word>::digits; ++bit) {
        auto const word = static_cast<Word>(static_cast<Word>(Word{1} << bit) ^ mask);
        if (!checker.fillAndVerify(name, Solid<Word>{word}, word))
            return false;
    }
    return true;
}

template <typename CheckerType>
bool runPatterns(CheckerType& checker)
{
    using Word = typename CheckerType::Word;
    constexpr auto kOnes = static_cast<Word>(~Word{0});
    constexpr auto kAlternating = background<Word>(1);
    checker.expectWork(2 * 2 + 2 * 2 * std::numeric_limits<Word>::digits + 2 * 2 +
                       backgroundCount<Word>() * kMovingInversions.length());
    return checker.fillAndVerify("Own address", OwnAddress<Word>{0}, 0) &&
           checker.fillAndVerify("Own address, complemented", OwnAddress<Word>{kOnes}, kOnes) &&
           walkBits(checker, "Walking ones", 0) && walkBits(checker, "Walking zeros", kOnes) &&
           checker.fillAndVerify("Checkerboard", Checkerboard<Word>{kAlternating}, kAlternating) &&
           checker.fillAndVerify("Checkerboard, complemented",
                                 Checkerboard<Word>{static_cast<Word>(~kAlternating)},
                                 static_cast<Word>(~kAlternating)) &&
           marchAllBackgrounds<kMovingInversions>(checker);
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

/// False when stopped. `seed` matters to Algorithm::Random alone.
template <typename CheckerType>
bool runAlgorithm(Algorithm algorithm, CheckerType& checker, std::uint64_t seed)
{
    constexpr auto kBackgrounds = backgroundCount<typename CheckerType::Word>();
    switch (algorithm) {
    case Algorithm::Quick:
        checker.expectWork(kBackgrounds * kMarchCMinus.length());
        return detail::marchAllBackgrounds<kMarchCMinus>(checker);
    case Algorithm::Thorough:
        checker.expectWork(kBackgrounds * (kMarchSL.length() + kMarchRaw.length()));
        return detail::marchAllBackgrounds<kMarchSL>(checker) &&
               detail::marchAllBackgrounds<kMarchRaw>(checker);
    case Algorithm::Patterns:
        return detail::runPatterns(checker);
    case Algorithm::Random:
        break;
    }
    return detail::runRandom(checker, seed);
}

} // namespace krel5::modules::memory
