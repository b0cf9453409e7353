#include <common/SplitMix.h>
#include <storage/Content.h>

#include <cstring>

namespace krel5::modules::storage {
namespace {

// Fits the second-level cache, so that checking stays far faster than any drive.
constexpr std::size_t kTilesBytes = 64 * SeededContent::kUnit;

} // namespace

SeededContent::SeededContent(std::uint64_t seed) : m_seed(seed), m_tiles(kTilesBytes)
{
    std::uint64_t state = seed;
    for (std::size_t i = 0; i != kTilesBytes; i += 8) {
        std::uint64_t const word = splitMix(state);
        std::memcpy(m_tiles.data() + i, &word, 8);
    }
}

std::uint64_t SeededContent::stamp(std::uint64_t offset) const noexcept
{
    std::uint64_t state = m_seed ^ (offset / kUnit * 0x9E3779B97F4A7C15u);
    return splitMix(state);
}

std::byte const* SeededContent::tile(std::uint64_t offset) const noexcept
{
    return m_tiles.data() + static_cast<std::size_t>(offset % kTilesBytes);
}

void SeededContent::fill(std::uint64_t offset, std::span<std::byte> bytes) const
{
    for (std::size_t i = 0; i < bytes.size(); i += kUnit) {
        std::uint64_t const head = stamp(offset + i);
        std::memcpy(bytes.data() + i, tile(offset + i), kUnit);
        std::memcpy(bytes.data() + i, &head, sizeof head);
    }
}

std::size_t SeededContent::firstWrong(std::uint64_t offset, std::span<std::byte const> bytes) const
{
    for (std::size_t i = 0; i < bytes.size(); i += kUnit) {
        std::uint64_t const head = stamp(offset + i);
        std::byte const* const right = tile(offset + i);
        std::byte const* const found = bytes.data() + i;
        if (std::memcmp(found, &head, sizeof head) == 0 &&
            std::memcmp(found + sizeof head, right + sizeof head, kUnit - sizeof head) == 0)
            continue;
        std::vector<std::byte> expected(kUnit);
        fill(offset + i, expected);
        std::size_t wrong = 0;
        while (expected[wrong] == found[wrong])
            ++wrong;
        return i + wrong;
    }
    return bytes.size();
}

} // namespace krel5::modules::storage
