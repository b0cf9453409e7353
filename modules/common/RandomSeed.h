#pragma once

#include <cstdint>
#include <random>

namespace krel5::modules {

/// For a run that was not given one.
inline std::uint64_t randomSeed()
{
    std::random_device device;
    return (static_cast<std::uint64_t>(device()) << 32) | device();
}

/// That of a pass, from 1, of a run: the first is the run's, those of the others are spread over all numbers, since a test
/// may go on from its seed one by one.
/// Source: the mixing step of SplitMix64 (Steele, Lea, Flood: Fast Splittable Pseudorandom Number Generators, 2014).
inline std::uint64_t seedOfPass(std::uint64_t seed, unsigned pass)
{
    if (pass <= 1)
        return seed;
    std::uint64_t mixed = seed + (pass - 1) * 0x9E3779B97F4A7C15u;
    mixed = (mixed ^ (mixed >> 30)) * 0xBF58476D1CE4E5B9u;
    mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EBu;
    return mixed ^ (mixed >> 31);
}

} // namespace krel5::modules
