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

} // namespace krel5::modules
