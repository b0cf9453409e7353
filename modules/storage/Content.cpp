#include <common/SplitMix.h>
#include <storage/Content.h>

#include <cstring>

namespace krel5::modules::storage {
namespace {

// Fits the second-level cache, so that checking stays far faster than any drive.
constexpr std::size_t kTilesBytes = 64 * SeededContent::kUnit;

constexpr std::uint64_t kSpread = 0x9E3779B97F4A7C15u;

/// By which an odd number becomes one, modulo 2^64: Newton's iteration doubles the right bits, of which an odd number's own are
/// three.
constexpr std::uint64_t inverse(std::uint64_t odd) noexcept
{
    std::uint64_t x = odd;
    for (int i = 0; i < 5; ++i)
        x *= 2 - odd * x;
    return x;
}

/// The state before the step of splitMix that gave `z`.
std::uint64_t splitMixBackwards(std::uint64_t z) noexcept
{
    z ^= z >> 31 ^ z >> 62;
    z *= inverse(0x94D049BB133111EBu);
    z ^= z >> 27 ^ z >> 54;
    z *= inverse(0xBF58476D1CE4E5B9u);
    z ^= z >> 30 ^ z >> 60;
    return z - kSpread;
}

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
    std::uint64_t state = m_seed ^ (offset / kUnit * kSpread);
    return splitMix(state);
}

std::optional<std::uint64_t> SeededContent::placeOf(std::span<std::byte const> unit) const
{
    std::uint64_t head = 0;
    if (unit.size() != kUnit)
        return std::nullopt;
    std::memcpy(&head, unit.data(), sizeof head);
    std::uint64_t const offset = (splitMixBackwards(head) ^ m_seed) * inverse(kSpread) * kUnit;
    if (firstWrong(offset, unit) != unit.size())
        return std::nullopt;
    return offset;
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
